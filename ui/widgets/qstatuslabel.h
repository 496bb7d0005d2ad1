#pragma once

#include <QLabel>

// A label for states: plain text, never HTML, and a colour of its own, on a dark ground where the
// window's would leave it illegible. Interface thread.
class QStatusLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QStatusLabel(QWidget *parent = nullptr);

public slots:
    // An invalid colour leaves the colour as it is.
    void setText(const QString &text, const QColor &color);

public:
    // Sets the text alone; hidden otherwise by the slot above.
    using QLabel::setText;

protected:
    void paintEvent(QPaintEvent *event) override;
};
