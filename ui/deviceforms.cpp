#include "ui/deviceforms.h"

#include "settings/settingsstore.h"
#include "ui/log.h"
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
#include <QSet>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// No description needs more; what goes beyond would only make the page unusable.
constexpr int mostSettings = 200;
constexpr int mostChoices = 1000;
constexpr int longestText = 200; // characters of a name, a label or a choice

// Shows as many decimals as the number has, and takes point and comma for the decimal point:
// whichever the locale does not know would be dropped, and 0.5 become 5.
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

// What the description says about the range of an editor for `Number`; all that there is where
// it says nothing of use.
template <typename Number>
std::pair<Number, Number> rangeOf(const QJsonObject &setting)
{
    constexpr Number lowest = std::numeric_limits<Number>::lowest();
    constexpr Number highest = std::numeric_limits<Number>::max();
    const double from = setting["min"].toDouble(lowest);
    const double to = setting["max"].toDouble(highest);
    // Also false when one of them is not a number.
    if (!(from <= to && from <= highest && to >= lowest)) {
        return {lowest, highest};
    }
    return {static_cast<Number>(std::max<double>(from, lowest)),
            static_cast<Number>(std::min<double>(to, highest))};
}

QWidget *makeInteger(const QJsonObject &setting, int value, QWidget *parent)
{
    auto *const editor = new QSpinBox(parent);
    const auto [from, to] = rangeOf<int>(setting);
    editor->setRange(from, to);
    editor->setValue(value);
    return editor;
}

QWidget *makeFloat(const QJsonObject &setting, double value, double fallback, QWidget *parent)
{
    auto *const editor = new FloatEditor(parent);
    const auto [from, to] = rangeOf<double>(setting);
    // First, because the editor rounds whatever it is given, the range too.
    editor->setDecimals(
        std::max({6, decimalsOf(from), decimalsOf(to), decimalsOf(value), decimalsOf(fallback)}));
    editor->setRange(from, to);
    // A hundred steps or more for the whole range, and never more than one at a time.
    editor->setSingleStep(qBound(1e-6, std::pow(10, std::floor(std::log10(to - from)) - 2), 1.0));
    editor->setValue(value);
    return editor;
}

QWidget *makeList(const QJsonObject &setting, const QString &value, QWidget *parent)
{
    QStringList choices;
    int longest = 0;
    const QJsonArray described = setting["values"].toArray();
    for (const QJsonValue &choice : described) {
        const QString text = choice.toString();
        if (choice.isString() && text.size() <= longestText && choices.size() < mostChoices) {
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
    editor->setCurrentText(value);
    return editor;
}

// Null when the description makes no editor.
QWidget *makeEditor(const QJsonObject &setting, const QVariant &stored, QWidget *parent)
{
    const QString type = setting["type"].toString();
    const QVariant fallback = storedPluginValue(setting["value"].toVariant(), type);
    QVariant value = storedPluginValue(stored, type);
    if (!value.isValid()) {
        value = fallback;
    }
    QWidget *editor = nullptr;
    QVariant typed;
    if (type == QLatin1String("bool")) {
        auto *const box = new QCheckBox(parent);
        box->setChecked(value.toBool());
        typed = fallback.toBool();
        editor = box;
    } else if (type == QLatin1String("int")) {
        editor = makeInteger(setting, value.toInt(), parent);
        typed = fallback.toInt();
    } else if (type == QLatin1String("float")) {
        editor = makeFloat(setting, value.toDouble(), fallback.toDouble(), parent);
        typed = fallback.toDouble();
    } else if (type == QLatin1String("list")) {
        editor = makeList(setting, value.toString(), parent);
        typed = fallback.toString();
    } else if (type == QLatin1String("string")) {
        editor = new QLineEdit(value.toString(), parent); // expands by itself
        typed = fallback.toString();
    }
    if (editor != nullptr) {
        editor->setProperty("default_value", typed);
        WheelGuard::install(editor);
    }
    return editor;
}

// Names become parts of a key of the store, which knows both slashes for separators.
bool isKeyPart(const QString &name)
{
    return !name.isEmpty() && name.size() <= longestText && !name.contains(QLatin1Char('/')) &&
           !name.contains(QLatin1Char('\\'));
}

// The catalogue knows the descriptions of the device types that come with the gateway.
QString translated(const QString &description)
{
    return QCoreApplication::translate("Plugins", description.toUtf8().constData());
}

// For places where an ampersand would mark a key.
QString literally(QString text)
{
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

void addRow(QGridLayout &grid, int row, const QString &description, QWidget *editor)
{
    auto *const label = new QLabel(editor->parentWidget());
    label->setTextFormat(Qt::PlainText);
    label->setText(literally(description) + QLatin1Char(':'));
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setWordWrap(true);
    label->setBuddy(editor);
    editor->setAccessibleName(description);
    grid.addWidget(label, row, 0);
    // Texts take the whole width; the other editors share the width of the widest.
    const bool wide = qobject_cast<QLineEdit *>(editor) != nullptr;
    grid.addWidget(editor, row, 1, 1, wide ? 2 : 1);
}

QGroupBox *makeForm(const QString &type, const QJsonArray &settings, QWidget &container)
{
    auto *const box = new QGroupBox(literally(type), &container);
    box->setObjectName(type);
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
    const int rows = qMin(settings.size(), mostSettings);
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
            qCWarning(lcUi) << "Device type" << type << "describes setting" << row
                            << "in a way that makes no editor";
            continue;
        }
        names.insert(name);
        editor->setObjectName(name);
        const QString description =
            translated(setting["descr"].toString().left(longestText).simplified());
        addRow(*grid, row, description.isEmpty() ? name : description, editor);
    }
    return box;
}

// The label columns of all forms are one line down the page, and the tab key follows the rows,
// from where the page stands in its window: the editors are younger than the rest of it.
void alignAndChain(QWidget &container)
{
    int widest = 0;
    const auto labels = container.findChildren<QLabel *>();
    for (const QLabel *const label : labels) {
        // A label that may break its lines asks for less than the text, however short that is.
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

// Direct children only: the line edit within a spin box is not an editor of the form.
template <typename Editor, typename Value>
void writeAll(SettingsStore &store, const QGroupBox &form, Value value)
{
    const auto editors = form.findChildren<Editor *>(QString(), Qt::FindDirectChildrenOnly);
    for (const Editor *const editor : editors) {
        store.setPluginValue(form.objectName(), editor->objectName(), (editor->*value)());
    }
}

} // namespace

void deviceforms::build(QWidget &container, const QJsonObject &descriptions)
{
    if (container.layout() != nullptr || descriptions.isEmpty()) {
        return;
    }
    auto *const layout = new QVBoxLayout(&container);
    for (auto it = descriptions.begin(); it != descriptions.end(); ++it) {
        const QJsonArray settings = it.value().toObject()["settings"].toArray();
        if (!settings.isEmpty() && isKeyPart(it.key())) {
            layout->addWidget(makeForm(it.key(), settings, container));
        }
    }
    layout->addStretch();
    alignAndChain(container);
}

bool deviceforms::write(const QWidget &container)
{
    SettingsStore store;
    const auto forms = container.findChildren<QGroupBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QGroupBox *const form : forms) {
        writeAll<QCheckBox>(store, *form, &QCheckBox::isChecked);
        writeAll<QSpinBox>(store, *form, &QSpinBox::value);
        writeAll<QDoubleSpinBox>(store, *form, &QDoubleSpinBox::value);
        writeAll<QComboBox>(store, *form, &QComboBox::currentText);
        writeAll<QLineEdit>(store, *form, &QLineEdit::text);
    }
    return store.flush();
}
