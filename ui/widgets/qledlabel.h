#pragma once

#include "ui/widgets/qmaterialicon.h"

#include <QLabel>

// A small status light: one icon of the icon set, as large as its parent is high less 6 pixels,
// between 16 and 24. Interface thread. The label holds no text: whoever sets the icon gives it
// a tooltip and an accessible name that say the same.
class QLedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QLedLabel(QWidget *parent = nullptr);

public slots:
    // `name` is a glyph of the icon set; one that it does not hold shows nothing.
    void setIcon(const QString &name, QMaterialIcon::Color color = QMaterialIcon::Base);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int side() const;
    void draw();

    QString m_name;
    QMaterialIcon::Color m_color = QMaterialIcon::Base;
};
