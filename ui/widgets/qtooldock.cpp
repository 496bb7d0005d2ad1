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
constexpr int MaxShare = 6;    // a bar with words takes at most a sixth of its parent
constexpr int MaxLetters = 12; // of a line

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

// The text in one line or two.
QString wrapped(const QString &text, const QFontMetrics &metrics)
{
    const int width = metrics.averageCharWidth() * MaxLetters;
    QStringList lines{text};
    int widest = metrics.horizontalAdvance(text);
    for (int at = text.indexOf(u' '); at >= 0 && widest > width; at = text.indexOf(u' ', at + 1)) {
        const QStringList broken{text.left(at), text.mid(at + 1)};
        const int wider = qMax(metrics.horizontalAdvance(broken.first()),
                               metrics.horizontalAdvance(broken.last()));
        if (wider < widest) {
            widest = wider;
            lines = broken;
        }
    }
    for (QString &line : lines) {
        line = metrics.elidedText(line, Qt::ElideRight, width);
    }
    return lines.join(u'\n');
}

QString styleSheetFor(const QColor &accent, const QColor &text, const QColor &disabledText)
{
    return QStringLiteral("QToolDock QToolButton {color: white; background-color: rgba(0,0,0,0); "
                          "border: 1px solid black; icon-size: 32px; border-radius: 4;}"
                          "QToolDock QToolButton:hover {color: %1; border: 1px solid %1;}"
                          // Words have to be legible; on the checked button's ground, the
                          // accent is.
                          "QToolDock QToolButton, QToolDock QToolButton:hover {color: %2; "
                          "padding: 1px;}"
                          "QToolDock QToolButton:disabled {color: %3;}"
                          // The icon's colour alone would not mark the current page and the focus.
                          "QToolDock QToolButton:checked {background-color: rgba(0,0,0,210); "
                          "border: 1px solid %1; color: %1;}"
                          // As wide as padding and border without the focus.
                          "QToolDock QToolButton:focus {border: 2px solid palette(highlight); "
                          "padding: 0px;}")
        .arg(accent.name(), text.name(), disabledText.name());
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
    setStyleSheet(styleSheetFor(icons.color(QMaterialIcon::Checked),
                                icons.color(QMaterialIcon::Base),
                                colored.color(QPalette::Disabled, QPalette::ButtonText)));
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
    if (event->type() == QEvent::Show) {
        m_sizeWithWords = QSize();
    }
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
        reposition();
        break;
    case QEvent::ActionRemoved: {
        // Later: the click that is being handled may be what deletes the action.
        QToolButton *const button = m_buttons.take(action);
        disconnect(action, nullptr, button, nullptr);
        button->hide();
        button->deleteLater();
        m_sizeWithWords = QSize();
        reposition();
        break;
    }
    default: // ActionChanged: the button has yet to follow, and requests a layout
        break;
    }
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
    QFont font = button->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    button->setFont(font);
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding); // all as wide as one
    // Comes after the button has taken the action's text.
    connect(action, &QAction::changed, button, [this, action] { updateButton(action); });
    connect(button, &QToolButton::clicked, this, [this, index] {
        emit action_triggered(index);
        emit clicked();
    });
    m_layout->addWidget(button);
    m_buttons.insert(action, button);
    button->setToolButtonStyle(m_hasWords ? Qt::ToolButtonTextUnderIcon : Qt::ToolButtonIconOnly);
    updateButton(action);
}

// QToolButton itself follows its default action in everything else.
void QToolDock::updateButton(QAction *action)
{
    QToolButton *const button = m_buttons.value(action);
    button->setText(wrapped(action->iconText(), button->fontMetrics()));
    if (button->accessibleName() != action->iconText()) {
        button->setAccessibleName(action->iconText());
        m_sizeWithWords = QSize();
    }
    button->setVisible(action->isVisible());
}

// Whether the bar has room for words. Their size is measured with the words shown, and kept:
// showing them for each measurement would request another layout each time.
bool QToolDock::fitsWords(const QSize &space)
{
    if (m_hasWords) {
        m_sizeWithWords = sizeHint();
    }
    const QSize needed = m_sizeWithWords + QSize(2 * Gap, 2 * Gap);
    return !m_sizeWithWords.isValid() ||
           (m_side == Bottom
                ? needed.width() <= space.width() && needed.height() * MaxShare <= space.height()
                : needed.height() <= space.height() && needed.width() * MaxShare <= space.width());
}

void QToolDock::reposition()
{
    const QSize space = parentWidget()->size();
    const int icon = space.width() >= WideParent ? 32 : 24;
    for (QToolButton *button : qAsConst(m_buttons)) {
        button->setIconSize(QSize(icon, icon));
    }
    // The words may turn out too large once they are measured.
    for (bool fits = fitsWords(space); fits != m_hasWords; fits = fitsWords(space)) {
        m_hasWords = fits;
        for (QToolButton *button : qAsConst(m_buttons)) {
            button->setToolButtonStyle(fits ? Qt::ToolButtonTextUnderIcon : Qt::ToolButtonIconOnly);
        }
    }
    resize(sizeHint().boundedTo(space - QSize(2 * Gap, 2 * Gap)));
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
