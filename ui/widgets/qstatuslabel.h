#pragma once

#include <QLabel>

// A label for states: plain text, never HTML, in a colour of its own, on a dark background where
// the window's would make it illegible. Interface thread.
class QStatusLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QStatusLabel(QWidget *parent = nullptr);

public slots:
    // An invalid colour leaves the colour as it is.
    void setText(const QString &text, const QColor &color);

public:
    // The slot above would hide it.
    using QLabel::setText;

protected:
    void paintEvent(QPaintEvent *event) override;
};
