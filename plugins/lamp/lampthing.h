#pragma once

#include "plugins/lamp/lampbatch.h"
#include "things/qabstractthing.h"

#include <memory>

class LampBoard;

// A virtual lamp. Its state, of which an update may hold any part:
//   "on"          true or false
//   "brightness"  0 to 100
//   "color"       "#rrggbb"
class LampThing : public QAbstractThing
{
    Q_OBJECT

public:
    // `number` counts from 1. The lamp is active from the start: its values are as real as
    // they will ever be.
    LampThing(int number, bool on, std::shared_ptr<LampBoard> board);
    ~LampThing() override;

    QString type() const override;
    QString version() const override;
    int kind() const override;
    QString serial() const override;

    // Tells the board, which ends this lamp when there are fewer now.
    void setSettings(const QVariantHash &settings) override;
    QJsonObject state() const override;
    // Takes the members that make sense and leaves the others. Whoever applied the update
    // announces the state; stateChanged() is for what the lamp does by itself.
    bool applyUpdate(const QJsonObject &update) override;

    int number() const;
    // The lamp has said mediumGone(), which it does once.
    bool hasEnded() const;
    void end();
    void toggle();
    LampRecord record() const;

private:
    const std::shared_ptr<LampBoard> m_board;
    const int m_number;
    quint32 m_color = 0xffffff; // 0xrrggbb
    qint8 m_brightness = 100;
    bool m_on;
    bool m_ended = false;
};
