// The form for a device type's settings, as its description has them: what is stored is what the
// plugin gets.
#include "fuzz/fuzz.h"
#include "runner/pluginsettings.h"
#include "settings/settingsstore.h"
#include "ui/deviceforms.h"

#include <QJsonDocument>
#include <QMetaProperty>
#include <QWidget>

void fuzz(const QByteArray &bytes)
{
    const QJsonObject description = QJsonDocument::fromJson(bytes).object();
    const QString type = QStringLiteral("lamp");
    SettingsStore().clear();
    for (int round = 0; round < 2 && !description.isEmpty(); ++round) { // with what was stored
        QWidget page;
        QWidget container(&page);
        deviceforms::build(container, {{type, description}});
        require(deviceforms::write(container));
        const QVariantHash values = pluginSettings(type, description);
        const QVector<QWidget *> editors = deviceforms::editors(container);
        for (const QWidget *const editor : editors) {
            const QVariant shown = editor->metaObject()->userProperty().read(editor);
            require(values.value(editor->objectName()) == shown);
        }
    }
}
