#pragma once

#include "plugins/lamp/lampbatch.h"
#include "things/qabstractthing.h"

#include <memory>

class LampBoard;

// A virtual lamp. Its state; an update may hold any part of it:
//   "on"          true or false
//   "brightness"  0 to 100
//   "color"       "#rrggbb"
class LampThing : public QAbstractThing
{
    Q_OBJECT

public:
    // `number` counts from 1. The lamp is active from the start.
    LampThing(int number, bool on, std::shared_ptr<LampBoard> board);
    ~LampThing() override;

    QString type() const override;
    QString version() const override;
    int kind() const override;
    QString serial() const override;

    // Passes them to the board, which detaches this lamp if its number is above the new count.
    void setSettings(const QVariantHash &settings) override;
    QJsonObject state() const override;
    // Ignores invalid members. Emits nothing: the caller publishes the new state.
    bool applyUpdate(const QJsonObject &update) override;

    int number() const;
    bool isDetached() const;
    void detach(); // emits mediumGone(), once
    void toggle();
    LampRecord record() const;

private:
    const std::shared_ptr<LampBoard> m_board;
    const int m_number;
    quint32 m_color = 0xffffff; // 0xrrggbb
    qint8 m_brightness = 100;
    bool m_on;
    bool m_detached = false;
};
