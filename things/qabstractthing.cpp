#include "things/qabstractthing.h"

namespace {

QString joined(const QString &type, const QString &version, const QString &serial)
{
    return type + QLatin1Char('_') + version + QLatin1Char('_') + serial;
}

} // namespace

QAbstractThing::~QAbstractThing() = default;

QString QAbstractThing::regid() const
{
    return m_regid;
}

void QAbstractThing::setRegidFromCid(const QString &cid)
{
    const QString prefix = shortid() + QLatin1Char('_');
    if (cid.startsWith(prefix)) {
        setRegid(cid.mid(prefix.size()));
    }
}

QString QAbstractThing::alias() const
{
    return m_alias;
}

void QAbstractThing::setAlias(const QString &a)
{
    if (a == m_alias) {
        return;
    }
    m_alias = a;
    emit nameChanged(a);
}

void QAbstractThing::rename(const QString &a)
{
    if (!a.isEmpty()) {
        setAlias(a);
    }
}

bool QAbstractThing::isActive() const
{
    return m_active;
}

void QAbstractThing::setActive(bool on)
{
    m_active = on;
}

bool QAbstractThing::matches(const QString &type, const QString &version,
                             const QString &serial) const
{
    return this->type() == type && this->version() == version && this->serial() == serial;
}

bool QAbstractThing::ownsCloudid(const QString &id) const
{
    return id.startsWith(shortid());
}

void QAbstractThing::setSettings(const QVariantHash & /*settings*/) {}

bool QAbstractThing::applyUpdate(const QJsonObject & /*update*/)
{
    return false;
}

void QAbstractThing::statePublished() {}

QString QAbstractThing::shortid() const
{
    return joined(type(), version(), serial());
}

QString QAbstractThing::cloudid() const
{
    const QString id = regid();
    return id.isEmpty() ? shortid() : shortid() + QLatin1Char('_') + id;
}

void QAbstractThing::setRegid(const QString &regid)
{
    m_regid = regid;
}
