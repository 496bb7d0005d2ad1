#include "plugins/lamp/lampthing.h"

#include "plugins/lamp/lampboard.h"
#include "plugins/lamp/lampsettings.h"

#include <QColor>
#include <QJsonValue>

#include <optional>
#include <utility>

namespace {

std::optional<quint32> color(const QString &text)
{
    // QColor also reads other lengths, and names.
    const QColor color(text.size() == 7 && text.front() == '#' ? text : QString());
    return color.isValid() ? std::optional(color.rgb() & RGB_MASK) : std::nullopt;
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
    return {{"on", m_on}, {"brightness", m_brightness}, {"color", QColor(m_color).name()}};
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
