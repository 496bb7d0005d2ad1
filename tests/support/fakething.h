#pragma once

#include "things/qabstractthing.h"

// A scriptable thing that records the calls.
class FakeThing : public QAbstractThing
{
public:
    explicit FakeThing(const QString &serial, QObject *parent = nullptr,
                       const QString &type = "fake")
        : QAbstractThing(parent)
        , m_type(type)
        , m_serial(serial)
    {
        setObjectName(serial); // also after changeSerial()
        setActive(true);
    }

    QString type() const override { return m_type; }
    QString version() const override { return "1"; }
    int kind() const override { return 1; }
    QString serial() const override { return m_serial; }
    QJsonObject state() const override
    {
        if (vanishesWhenAsked) {
            emit const_cast<FakeThing *>(this)->mediumGone();
        }
        return current;
    }
    bool applyUpdate(const QJsonObject &update) override
    {
        updates.append(update);
        if (vanishesWhenAsked) {
            emit mediumGone();
        }
        current = update;
        return takesUpdates;
    }
    void statePublished() override { ++published; }
    void setSettings(const QVariantHash &values) override { settings.append(values); }

    void change(const QJsonObject &state)
    {
        current = state;
        emit stateChanged(state);
    }
    void changeSerial(const QString &serial)
    {
        const QString old = m_serial;
        m_serial = serial;
        emit serialChanged(old, serial);
    }

    QJsonObject current{{"on", true}};
    QList<QJsonObject> updates;
    QList<QVariantHash> settings;
    int published = 0;
    bool takesUpdates = true;
    bool vanishesWhenAsked = false;

private:
    QString m_type;
    QString m_serial;
};
