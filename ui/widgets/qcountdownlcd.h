#pragma once

#include <QLCDNumber>

// Counts seconds down, in the icon set's base colour and for the last ones in its error colour.
// Interface thread. Ten digits, which fit any int.
class QCountDownLCD : public QLCDNumber
{
    Q_OBJECT

public:
    explicit QCountDownLCD(QWidget *parent = nullptr);

    bool isRunning() const { return m_timerId > 0; }

public slots:
    // Shows `seconds` and counts, in place of a running count. A negative number counts as 0,
    // which ends at the first tick.
    void start(int seconds);
    // Keeps the number shown, in the application's colours. Emits nothing.
    void stop();

signals:
    // The count has reached 0 and stopped.
    void timeout();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void setDigitColor(const QColor &color);

    int m_count = 0;
    int m_timerId = -1;
};
