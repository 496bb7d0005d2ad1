#pragma once

#include "ui/widgets/qmaterialicon.h"

#include <QLabel>

// A status light: one icon of the icon set, 6 pixels smaller than the parent is high, from 16
// to 24. Interface thread. It has no text: set a tool tip and an accessible name that say the same.
class QLedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit QLedLabel(QWidget *parent = nullptr);

public slots:
    // `name` is a glyph of the icon set; an unknown one shows nothing.
    void setIcon(const QString &name, QMaterialIcon::Color color = QMaterialIcon::Base);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int side() const;
    void draw();

    QString m_name;
    QMaterialIcon::Color m_color = QMaterialIcon::Base;
};
