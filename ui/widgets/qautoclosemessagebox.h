#pragma once

#include <QMessageBox>
#include <QPointer>
#include <QTimer>

// A message box that clicks its default button when the timeout is over. While it is shown, the
// button's text ends with the seconds left. Interface thread. Without a default button, or with a
// timeout of 0, a plain message box.
class QAutoCloseMessageBox : public QMessageBox
{
    Q_OBJECT
    Q_PROPERTY(int timeout READ timeout WRITE setTimeout NOTIFY timeoutChanged)

public:
    QAutoCloseMessageBox(Icon icon, const QString &title, const QString &text,
                         StandardButtons buttons = NoButton, QWidget *parent = nullptr);

    // Seconds, 0 at first. In a box that is shown, only 0 has an effect: it ends the counting.
    int timeout() const { return m_timeout; }
    void setTimeout(int seconds);

signals:
    void timeoutChanged(int value);

protected:
    void showEvent(QShowEvent *event) override;

private slots:
    void d_timeout();
    void d_finished(int result);

private:
    void showRemaining();
    void endCounting();

    QTimer m_timer;
    int m_timeout = 0;
    int m_remaining = 0;
    QPointer<QPushButton> m_button;
    QString m_buttonText;
};
