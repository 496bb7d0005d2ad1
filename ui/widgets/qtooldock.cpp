#include "ui/widgets/qtooldock.h"

#include "ui/widgets/contrast.h"
#include "ui/widgets/qmaterialicon.h"

#include <QAction>
#include <QActionEvent>
#include <QBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

namespace {

constexpr char IndexProperty[] = "iaction";
constexpr int Gap = 6;
constexpr int WideParent = 400;
constexpr int Radius = 15;

// The brush of the palette on which icons of this colour have the most contrast: the light theme
// keeps the platform's palette, which may be dark.
QBrush backgroundFor(const QColor &iconColor, const QPalette &palette)
{
    const QBrush &base = palette.base();
    const QBrush &text = palette.text();
    const bool isBaseBetter =
        contrastRatio(iconColor, base.color()) >= contrastRatio(iconColor, text.color());
    return isBaseBetter ? base : text;
}

QString styleSheetFor(const QColor &accent)
{
    return QStringLiteral("QToolDock QToolButton {color: white; background-color: rgba(0,0,0,0); "
                          "border: 1px solid black; icon-size: 32px; border-radius: 4;}"
                          "QToolDock QToolButton:hover {color: %1; border: 1px solid %1;}"
                          // The icon's colour alone would not mark the current page and the focus.
                          "QToolDock QToolButton:checked {background-color: rgba(0,0,0,210); "
                          "border: 1px solid %1;}"
                          "QToolDock QToolButton:focus {border: 2px solid palette(highlight);}")
        .arg(accent.name());
}

} // namespace

QToolDock::QToolDock(QWidget *parent, Side side)
    : QWidget(parent)
    , m_side(side)
    , m_layout(
          new QBoxLayout(side == Bottom ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom, this))
{
    const QMaterialIcon &icons = QMaterialIcon::instance();
    m_layout->setSpacing(5);
    m_layout->setContentsMargins(10, 10, 10, 10);
    QPalette colored = palette();
    colored.setBrush(QPalette::Window, backgroundFor(icons.color(QMaterialIcon::Base), colored));
    setPalette(colored);
    setAutoFillBackground(true);
    setStyleSheet(styleSheetFor(icons.color(QMaterialIcon::Checked)));
    parent->installEventFilter(this);
    reposition();
}

int QToolDock::extent() const
{
    const QSize hint = sizeHint();
    return (m_side == Bottom ? hint.height() : hint.width()) + 2 * Gap;
}

bool QToolDock::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::Resize) {
        reposition();
    }
    return QWidget::eventFilter(watched, event);
}

bool QToolDock::event(QEvent *event)
{
    const bool handled = QWidget::event(event);
    // The style settles the size of the buttons late.
    if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) {
        reposition();
    }
    return handled;
}

void QToolDock::actionEvent(QActionEvent *event)
{
    QAction *const action = event->action();
    switch (event->type()) {
    case QEvent::ActionAdded:
        addButton(action);
        break;
    case QEvent::ActionChanged:
        updateButton(action);
        break;
    case QEvent::ActionRemoved: {
        // Later: the click that is being handled may be what deletes the action.
        QToolButton *const button = m_buttons.take(action);
        button->hide();
        button->deleteLater();
        break;
    }
    default:
        break;
    }
    reposition();
}

void QToolDock::resizeEvent(QResizeEvent * /*event*/)
{
    const QRect bar = rect();
    if (qMin(bar.width(), bar.height()) <= 2 * Radius) {
        setMask(bar);
        return;
    }
    QPainterPath shape;
    shape.addRoundedRect(bar, Radius, Radius);
    setMask(shape.toFillPolygon().toPolygon());
}

// Draws the parent's colour over the mask's jagged edge, antialiased.
void QToolDock::paintEvent(QPaintEvent * /*event*/)
{
    QPainterPath bar;
    bar.addRoundedRect(rect(), Radius + 2, Radius + 2);
    QPainterPath outside;
    outside.addRect(rect());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outside.subtracted(bar), parentWidget()->palette().window());
}

void QToolDock::addButton(QAction *action)
{
    auto *button = new QToolButton(this);
    const int index = m_nextIndex++;
    button->setProperty(IndexProperty, index);
    button->setDefaultAction(action);
    button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    connect(button, &QToolButton::clicked, this, [this, index] {
        emit action_triggered(index);
        emit clicked();
    });
    m_layout->addWidget(button);
    m_buttons.insert(action, button);
    updateButton(action);
}

// QToolButton itself follows its default action in everything else.
void QToolDock::updateButton(QAction *action)
{
    QToolButton *const button = m_buttons.value(action);
    button->setAccessibleName(action->iconText());
    button->setVisible(action->isVisible());
}

void QToolDock::reposition()
{
    const QSize space = parentWidget()->size();
    const int icon = space.width() >= WideParent ? 32 : 24;
    for (QToolButton *button : qAsConst(m_buttons)) {
        button->setIconSize(QSize(icon, icon));
    }
    resize(sizeHint());
    const int x = qMax(0, (space.width() - width()) / 2);
    const int y = qMax(0, (space.height() - height()) / 2);
    switch (m_side) {
    case Left:
        move(Gap, y);
        break;
    case Right:
        move(space.width() - width() - Gap, y);
        break;
    case Bottom:
        move(x, space.height() - height() - Gap);
        break;
    }
    raise();
    if (extent() != m_extent) {
        m_extent = extent();
        emit extentChanged(m_extent);
    }
}
