#include "plugins/lamp/lamptype.h"

#include "plugins/lamp/lampboard.h"
#include "plugins/lamp/lampthing.h"

namespace {

QString keyOf(int number)
{
    return QLatin1String("lamp-") + QString::number(number);
}

} // namespace

LampType::LampType()
    : m_board(std::make_shared<LampBoard>())
{
}

LampType::~LampType() = default;

void LampType::configure(const QVariantHash &settings)
{
    m_settings = LampSettings(settings);
    m_board->setBlink(m_settings.blink);
}

QHash<QString, QVariant> LampType::discover()
{
    m_board->setCount(m_settings.count);
    QHash<QString, QVariant> lamps;
    lamps.reserve(m_settings.count);
    for (int number = 1; number <= m_settings.count; ++number) {
        if (!m_board->isUnplugged(number)) {
            lamps.insert(keyOf(number), number);
        }
    }
    return lamps;
}

QAbstractThing *LampType::create(const QString &key, const QVariant &descriptor,
                                 const QVariantHash &settings, QObject **ui)
{
    const int number = descriptor.toInt();
    if (number < 1 || number > m_settings.count || key != keyOf(number) ||
        m_board->isUnplugged(number)) {
        return nullptr;
    }
    auto *const lamp = new LampThing(number, LampSettings(settings).startOn, m_board);
    if (ui != nullptr) {
        *ui = m_board->createPanel();
    }
    return lamp;
}

bool LampType::claims(const QString &key, const QAbstractThing *thing)
{
    return !key.isEmpty() && deviceKey(thing) == key;
}

QString LampType::deviceKey(const QAbstractThing *thing) const
{
    const auto *lamp = qobject_cast<const LampThing *>(thing);
    return lamp == nullptr || lamp->isDetached() ? QString() : keyOf(lamp->number());
}
