#pragma once

#include <QLCDNumber>

// Seconds that run down, in the icon set's base colour, and in its error colour from 15 on.
// Interface thread. Ten digits, which any int fits.
class QCountDownLCD : public QLCDNumber
{
    Q_OBJECT

public:
    explicit QCountDownLCD(QWidget *parent = nullptr);

    bool isRunning() const { return m_timerId > 0; }

public slots:
    // Shows `seconds` and counts; a running count is given up. Less than 0 counts as 0, which
    // ends at the first tick.
    void start(int seconds);
    // Keeps the number shown, in the application's colours. Emits nothing.
    void stop();

signals:
    // The count has reached 0 and stopped. Once for each start() that is not stopped before.
    void timeout();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void setDigitColor(const QColor &color);

    int m_count = 0;
    int m_timerId = -1;
};
