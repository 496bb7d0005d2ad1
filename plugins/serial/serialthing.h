#pragma once

#include "things/qabstractthing.h"

#include <QPointer>

class BoardPort;

// A board at a serial port. Its state holds what the board prints; an update is sent to the board
// as a line. The thing closes the port when it is deleted.
class SerialThing : public QAbstractThing
{
    Q_OBJECT

public:
    // Takes the board of the port, which is ready. `port` is borrowed and may be deleted first.
    explicit SerialThing(BoardPort &port);
    ~SerialThing() override;

    QString type() const override;
    QString version() const override;
    int kind() const override;
    QString serial() const override;
    QJsonObject state() const override;
    // Returns false: the board tells its new state.
    bool applyUpdate(const QJsonObject &update) override;

    QString deviceKey() const; // empty when the board is gone

private:
    void readState();
    void lose();

    QPointer<BoardPort> m_port; // null when the board is gone
    const QString m_key;
    const QString m_serial;
    QJsonObject m_state;
};
