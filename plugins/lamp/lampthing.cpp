#include "plugins/lamp/lampthing.h"

#include "plugins/lamp/lampboard.h"
#include "plugins/lamp/lampsettings.h"

#include <QJsonValue>

#include <algorithm>
#include <optional>
#include <utility>

namespace {

std::optional<quint32> color(const QString &text)
{
    const auto isHex = [](QChar c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    };
    if (text.size() != 7 || text.front() != '#' ||
        !std::all_of(text.begin() + 1, text.end(), isHex)) {
        return {};
    }
    return text.midRef(1).toUInt(nullptr, 16);
}

template <typename Value>
bool assign(Value &member, Value value)
{
    return std::exchange(member, value) != value;
}

} // namespace

LampThing::LampThing(int number, bool on, std::shared_ptr<LampBoard> board)
    : m_board(std::move(board))
    , m_number(number)
    , m_on(on)
{
    QAbstractThing::setActive(true);
    m_board->add(this);
}

LampThing::~LampThing()
{
    m_board->remove(this);
}

QString LampThing::type() const
{
    return QStringLiteral("lamp");
}

QString LampThing::version() const
{
    return QStringLiteral("1");
}

int LampThing::kind() const
{
    return 1;
}

QString LampThing::serial() const
{
    return QString::number(m_number).rightJustified(4, '0');
}

void LampThing::setSettings(const QVariantHash &settings)
{
    const LampSettings checked(settings);
    m_board->setBlink(checked.blink);
    m_board->setCount(checked.count);
}

QJsonObject LampThing::state() const
{
    return {{"on", m_on},
            {"brightness", m_brightness},
            {"color", '#' + QString::number(m_color, 16).rightJustified(6, '0')}};
}

bool LampThing::applyUpdate(const QJsonObject &update)
{
    if (m_detached) {
        return false;
    }
    bool changed = false;
    const QJsonValue on = update["on"];
    if (on.isBool()) {
        changed |= assign(m_on, on.toBool());
    }
    const int brightness = update["brightness"].toInt(-1); // -1 if it is no integer
    if (brightness >= 0 && brightness <= 100) {
        changed |= assign(m_brightness, static_cast<qint8>(brightness));
    }
    if (const auto rgb = color(update["color"].toString())) {
        changed |= assign(m_color, *rgb);
    }
    if (changed) {
        m_board->markChanged(m_number);
    }
    return changed;
}

int LampThing::number() const
{
    return m_number;
}

bool LampThing::isDetached() const
{
    return m_detached;
}

void LampThing::detach()
{
    if (!m_detached) {
        m_detached = true;
        m_board->remove(this);
        emit mediumGone();
    }
}

void LampThing::toggle()
{
    m_on = !m_on;
    m_board->markChanged(m_number);
    emit stateChanged(state());
}

LampRecord LampThing::record() const
{
    return {m_number, m_color, m_brightness, m_on, LampRecord::Attached};
}
