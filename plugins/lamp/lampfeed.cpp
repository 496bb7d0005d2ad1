#include "plugins/lamp/lampfeed.h"

#include "plugins/lamp/lampboard.h"

#include <utility>

LampFeed::LampFeed(LampBoard &board)
    : m_board(board)
{
}

void LampFeed::sendAll()
{
    m_changed = m_board.numbers();
    m_countChanged = true;
    sendNext();
}

void LampFeed::markChanged(int number)
{
    m_changed.insert(number);
    send();
}

void LampFeed::markCountChanged()
{
    m_countChanged = true;
    send();
}

void LampFeed::sendNext()
{
    m_batchPending = false;
    send();
}

void LampFeed::send()
{
    if (m_batchPending || (m_changed.isEmpty() && !m_countChanged)) {
        return;
    }
    LampBatch batch;
    batch.count = m_board.count();
    batch.lamps.reserve(m_changed.size());
    for (const int number : std::exchange(m_changed, {})) {
        batch.lamps.append(m_board.record(number));
    }
    m_countChanged = false;
    m_batchPending = true;
    emit batchReady(batch);
}
