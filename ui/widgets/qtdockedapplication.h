#pragma once

#include <QApplication>

// The application object, which reports clicks on its entry in the dock. Interface thread.
// Only macOS reports such clicks to a running application. Elsewhere the signal is never
// emitted: there a click on the launcher starts a second instance, which wakes the first.
class QtDockedApplication : public QApplication
{
    Q_OBJECT

public:
    // As QApplication: both must outlive the object.
    QtDockedApplication(int &argc, char **argv);

signals:
    void clickedOnDock();

protected:
    bool event(QEvent *event) override;

private:
    bool m_active = false;
};
