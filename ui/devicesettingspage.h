#pragma once

#include <QJsonObject>
#include <QWidget>

class QLabel;
class QPushButton;
class QScrollArea;
class UnsavedChanges;

// The settings of the device types, in forms that the types describe. Interface thread.
class DeviceSettingsPage : public QWidget
{
    Q_OBJECT

public:
    explicit DeviceSettingsPage(QWidget *parent = nullptr);

    // Rebuilds the forms from the plugin list: plugin name to metadata.
    void showPlugins(const QJsonObject &plugins);

public slots:
    // Shows what is stored; edits are discarded.
    void on_deviceConfigsReadButton_clicked();
    void on_deviceConfigsWriteButton_clicked();

signals:
    // The settings were stored and are still to be applied.
    void stored();
    void notice(const QString &text, int milliseconds);

private:
    QJsonObject m_plugins;
    UnsavedChanges *m_changes;
    QScrollArea *m_area;
    QLabel *m_hint;
    QPushButton *m_readButton;
    QPushButton *m_writeButton;
};
