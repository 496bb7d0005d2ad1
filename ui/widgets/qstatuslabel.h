#pragma once

#include <QLabel>

// A label for states: plain text, never HTML. In a status colour it is a chip on a dark ground,
// alike in both themes; in the palette's own colour it stands without one, its text at the same
// place. Interface thread.
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
