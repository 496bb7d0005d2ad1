#include "ui/deviceforms.h"

#include "settings/settingsstore.h"
#include "ui/devicewords.h"
#include "ui/log.h"
#include "ui/pagestyle.h"
#include "ui/widgets/wheelguard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMetaProperty>
#include <QSet>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// Descriptions come from plugins: more than this would make the page unusable.
constexpr int maxSettings = 200;
constexpr int maxChoices = 1000;
constexpr int maxTextLength = 200; // of a name, a label or a choice

// Shows as many decimals as the number has, and accepts point and comma as the decimal point:
// QDoubleSpinBox would drop the one that the locale does not use, and turn 0.5 into 5.
class FloatEditor : public QDoubleSpinBox
{
public:
    using QDoubleSpinBox::QDoubleSpinBox;

    QString textFromValue(double value) const override
    {
        QLocale plain = locale();
        plain.setNumberOptions(QLocale::OmitGroupSeparator);
        return plain.toString(value, 'f', QLocale::FloatingPointShortest);
    }
    QValidator::State validate(QString &input, int &pos) const override
    {
        input.replace(QLatin1Char('.'), locale().decimalPoint());
        input.replace(QLatin1Char(','), locale().decimalPoint());
        return QDoubleSpinBox::validate(input, pos);
    }
};

int decimalsOf(double number)
{
    const QString text = QString::number(number, 'f', QLocale::FloatingPointShortest);
    return text.section(QLatin1Char('.'), 1).size();
}

// The described range; the whole range of `Number` when the description has no valid one.
template <typename Number>
std::pair<Number, Number> rangeOf(const QJsonObject &setting)
{
    constexpr Number lowest = std::numeric_limits<Number>::lowest();
    constexpr Number highest = std::numeric_limits<Number>::max();
    const double from = setting["min"].toDouble(lowest);
    const double to = setting["max"].toDouble(highest);
    // Also false for NaN.
    if (!(from <= to && from <= highest && to >= lowest)) {
        return {lowest, highest};
    }
    return {static_cast<Number>(std::max<double>(from, lowest)),
            static_cast<Number>(std::min<double>(to, highest))};
}

QWidget *makeInteger(const QJsonObject &setting, QWidget *parent)
{
    auto *const editor = new QSpinBox(parent);
    const auto [from, to] = rangeOf<int>(setting);
    editor->setRange(from, to);
    return editor;
}

QWidget *makeFloat(const QJsonObject &setting, double value, double defaultValue, QWidget *parent)
{
    auto *const editor = new FloatEditor(parent);
    const auto [from, to] = rangeOf<double>(setting);
    // First, because the editor rounds value and range to its decimals.
    editor->setDecimals(std::max(
        {6, decimalsOf(from), decimalsOf(to), decimalsOf(value), decimalsOf(defaultValue)}));
    editor->setRange(from, to);
    // At least a hundred steps for the whole range, and none larger than 1.
    editor->setSingleStep(qBound(1e-6, std::pow(10, std::floor(std::log10(to - from)) - 2), 1.0));
    return editor;
}

QWidget *makeList(const QJsonObject &setting, QWidget *parent)
{
    QStringList choices;
    int longest = 0;
    const QJsonArray described = setting["values"].toArray();
    for (const QJsonValue &choice : described) {
        const QString text = choice.toString();
        if (choice.isString() && text.size() <= maxTextLength && choices.size() < maxChoices) {
            choices.append(text);
            longest = qMax(longest, text.size());
        }
    }
    if (choices.isEmpty()) {
        return nullptr; // an editor would store an empty text over the default
    }
    auto *const editor = new QComboBox(parent);
    editor->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    editor->setMinimumContentsLength(qMin(longest, 30));
    editor->addItems(choices);
    return editor;
}

// Null when the description makes no editor.
QWidget *makeEditor(const QJsonObject &setting, const QVariant &stored, QWidget *parent)
{
    const QString type = setting["type"].toString();
    const QVariant defaultValue = storedPluginValue(setting["value"].toVariant(), type);
    QVariant value = storedPluginValue(stored, type);
    if (!value.isValid()) {
        value = defaultValue;
    }
    QWidget *editor = nullptr;
    if (type == QLatin1String("bool")) {
        editor = new QCheckBox(parent);
    } else if (type == QLatin1String("int")) {
        editor = makeInteger(setting, parent);
    } else if (type == QLatin1String("float")) {
        editor = makeFloat(setting, value.toDouble(), defaultValue.toDouble(), parent);
    } else if (type == QLatin1String("list")) {
        editor = makeList(setting, parent);
    } else if (type == QLatin1String("string")) {
        editor = new QLineEdit(parent);
    }
    if (editor != nullptr) {
        const QMetaProperty shown = editor->metaObject()->userProperty();
        const QVariant zero(shown.userType(), nullptr);
        shown.write(editor, value.isValid() ? value : zero);
        editor->setProperty("default_value", defaultValue.isValid() ? defaultValue : zero);
        guardFromWheel(editor);
    }
    return editor;
}

// Names become parts of a settings key, in which QSettings takes both slashes for separators.
bool isKeyPart(const QString &name)
{
    return !name.isEmpty() && name.size() <= maxTextLength && !name.contains(QLatin1Char('/')) &&
           !name.contains(QLatin1Char('\\'));
}

// QLabel and QGroupBox would take a single ampersand for a mnemonic.
QString escapeAmpersands(QString text)
{
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

void addRow(QGridLayout &grid, int row, const QString &description, QWidget *editor)
{
    auto *const label = new QLabel(editor->parentWidget());
    label->setTextFormat(Qt::PlainText);
    label->setText(escapeAmpersands(description) + QLatin1Char(':'));
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setWordWrap(true);
    label->setBuddy(editor);
    editor->setAccessibleName(description);
    grid.addWidget(label, row, 0);
    // Texts take the whole width; the other editors share the width of the widest.
    const bool wide = qobject_cast<QLineEdit *>(editor) != nullptr;
    grid.addWidget(editor, row, 1, 1, wide ? 2 : 1);
}

// Numbers only: a list or a text has its unit in the values.
void showUnit(QWidget *editor, const QString &unit)
{
    const QString suffix = unit.isEmpty() ? QString() : QChar(0xa0) + unit;
    if (auto *const number = qobject_cast<QSpinBox *>(editor)) {
        number->setSuffix(suffix);
    } else if (auto *const real = qobject_cast<QDoubleSpinBox *>(editor)) {
        real->setSuffix(suffix);
    }
}

QGroupBox *makeForm(const QString &type, const QJsonObject &description, QWidget &container)
{
    const QJsonArray settings = description["settings"].toArray();
    const QString title = DeviceWords::translated(description["title"]);
    auto *const box = new QGroupBox(escapeAmpersands(title.isEmpty() ? type : title), &container);
    box->setObjectName(type);
    box->setToolTip(pagestyle::toolTip(DeviceWords::translated(description["descr"])));
    auto *const grid = new QGridLayout(box);
    grid->setColumnMinimumWidth(1, box->fontMetrics().averageCharWidth() * 18);
    grid->setColumnStretch(2, 1);

    const QString enabledName = QLatin1String(keys::PluginEnabled);
    const SettingsStore store;
    auto *const enabled = new QCheckBox(QCoreApplication::translate("deviceforms", "Enabled"), box);
    enabled->setObjectName(enabledName);
    enabled->setProperty("default_value", true);
    enabled->setChecked(store.pluginEnabled(type));
    grid->addWidget(enabled, 0, 1, 1, 2);

    const QVariantHash stored = store.pluginValues(type);
    QSet<QString> names = {enabledName};
    const int rows = qMin(settings.size(), maxSettings);
    for (int i = 0; i < rows; ++i) {
        const int row = i + 1;
        const QJsonObject setting = settings.at(i).toObject();
        if (setting["type"].toString() == QLatin1String("spacer")) {
            grid->setRowMinimumHeight(row, box->fontMetrics().height());
            continue;
        }
        const QString name = setting["name"].toString();
        QWidget *editor = nullptr;
        if (isKeyPart(name) && !names.contains(name)) {
            editor = makeEditor(setting, stored.value(name), box);
        }
        if (editor == nullptr) {
            qCWarning(lcUi) << "Ignored setting" << row << "of device type" << type
                            << "because its description is invalid";
            continue;
        }
        names.insert(name);
        editor->setObjectName(name);
        showUnit(editor, DeviceWords::translated(setting["unit"]));
        const QString label = DeviceWords::translated(setting["descr"]);
        addRow(*grid, row, label.isEmpty() ? name : label, editor);
    }
    return box;
}

// Gives the label columns of all forms one width. Puts the editors, which are created after the
// page's buttons, before them in the tab order.
void alignLabelsAndSetTabOrder(QWidget &container)
{
    int widest = 0;
    const auto labels = container.findChildren<QLabel *>();
    for (const QLabel *const label : labels) {
        // The size hint of a label with word wrap is narrower than its text.
        const QFontMetrics metrics = label->fontMetrics();
        const int text = metrics.boundingRect(label->text()).width() + metrics.averageCharWidth();
        widest = qMax(widest, qMin(text, metrics.averageCharWidth() * 44));
    }
    QWidget *previous = container.parentWidget();
    while (previous != nullptr && previous->focusPolicy() == Qt::NoFocus) {
        previous = previous->parentWidget();
    }
    const auto boxes = container.findChildren<QGroupBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QGroupBox *const box : boxes) {
        static_cast<QGridLayout *>(box->layout())->setColumnMinimumWidth(0, widest);
        const auto children = box->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
        for (QWidget *const editor : children) {
            if (editor->focusPolicy() != Qt::NoFocus) {
                QWidget::setTabOrder(previous, editor);
                previous = editor;
            }
        }
    }
}

} // namespace

void deviceforms::build(QWidget &container, const QJsonObject &descriptions)
{
    if (container.layout() != nullptr || descriptions.isEmpty()) {
        return;
    }
    auto *const layout = new QVBoxLayout(&container);
    layout->setContentsMargins(0, 0, 0, 0); // the page has margins
    for (auto it = descriptions.begin(); it != descriptions.end(); ++it) {
        const QJsonObject description = it.value().toObject();
        if (!description["settings"].toArray().isEmpty() && isKeyPart(it.key())) {
            layout->addWidget(makeForm(it.key(), description, container));
        }
    }
    layout->addStretch();
    alignLabelsAndSetTabOrder(container);
}

QVector<QWidget *> deviceforms::editors(const QWidget &container)
{
    QVector<QWidget *> editors;
    const auto forms = container.findChildren<QGroupBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QGroupBox *const form : forms) {
        // Direct children only: a spin box has a line edit of its own.
        const auto widgets = form->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
        for (QWidget *const widget : widgets) {
            if (widget->metaObject()->userProperty().isValid()) { // a label has none
                editors.append(widget);
            }
        }
    }
    return editors;
}

bool deviceforms::write(const QWidget &container)
{
    SettingsStore store;
    const QVector<QWidget *> widgets = editors(container);
    for (const QWidget *const widget : widgets) {
        store.setPluginValue(widget->parent()->objectName(), widget->objectName(),
                             widget->metaObject()->userProperty().read(widget));
    }
    return store.flush();
}
