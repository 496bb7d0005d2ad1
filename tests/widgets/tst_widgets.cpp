#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/widgets/contrast.h"
#include "ui/widgets/qautoclosemessagebox.h"
#include "ui/widgets/qcountdownlcd.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qtooldock.h"

#include <QAction>
#include <QActionGroup>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>

using namespace std::chrono_literals;

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void aFaultyGlyphTableAndAMissingFontDoNoHarm()
    {
        const QMaterialIcon &icons = QMaterialIcon::instance();
        QCOMPARE(icons.glyph("astral"), QString("\U0001f600"));
        QCOMPARE(icons.glyph("last"), QString(QChar(0xe0ff)));
        for (const char *name : {"", "short", "word", "surrogate", "beyond"}) {
            QCOMPARE(icons.glyph(name), QString());
        }
        // Adding a file to the icon clones the engine.
        QIcon icon = icons.icon("dashboard");
        icon.addFile("another");
        QCOMPARE(icon.pixmap(32).toImage().pixelColor(0, 0).alpha(), 0);
    }

    void boxCountsDownAndClicksItsDefaultButton()
    {
        QAutoCloseMessageBox box(QMessageBox::Question, "Title", "Text",
                                 QMessageBox::Ok | QMessageBox::Cancel);
        const auto *const button = box.button(QMessageBox::Ok);
        const QString plain = button->text();
        QSignalSpy finished(&box, &QDialog::finished);
        box.setTimeout(3);
        box.setDefaultButton(QMessageBox::Ok);
        box.show();
        QMetaObject::invokeMethod(&box, "d_timeout");
        box.hide(); // no answer, so the next one counts from the start
        box.show();
        QCOMPARE(button->text(), plain + " (3)");
        for (int second = 0; second < 3; ++second) {
            QVERIFY(finished.isEmpty());
            QMetaObject::invokeMethod(&box, "d_timeout");
        }
        QTRY_COMPARE(finished, QList<QVariantList>{{QMessageBox::Ok}});
        QCOMPARE(button->text(), plain);
    }

    void countdownChangesColourAtFifteenAndEndsOnceAtZero()
    {
        QCountDownLCD lcd;
        QSignalSpy timeout(&lcd, &QCountDownLCD::timeout);
        const auto color = [&lcd] { return lcd.palette().color(QPalette::WindowText); };
        const QColor alert = QMaterialIcon::instance().color(QMaterialIcon::Error);
        // Within a second, more or less: the timer is a coarse one.
        const auto reaches = [&lcd](int count) {
            for (int tenth = 0; tenth < 12 && lcd.intValue() > count; ++tenth) {
                testclock::advance(100ms);
                QCoreApplication::processEvents();
            }
            return lcd.intValue() == count;
        };
        lcd.start(5); // replaced by the next
        lcd.start(17);
        QVERIFY(reaches(16) && color() != alert);
        for (int count = 15; count > 0; --count) {
            QVERIFY(reaches(count) && color() == alert && timeout.isEmpty());
        }
        QVERIFY(reaches(0));
        testclock::advance(2s);
        QCoreApplication::processEvents();
        QCOMPARE(timeout.size(), 1);
    }

    // At least 4.5 to 1 in both themes.
    void coloursAreLegible()
    {
        QCOMPARE(contrastRatio(Qt::white, Qt::black), 21.0);
        QMaterialIcon &icons = QMaterialIcon::instance();
        for (const bool dark : {false, true}) {
            icons.setDark(dark);
            const QColor window = dark ? QColor(53, 53, 53) : QColor(239, 239, 239);
            for (const auto role :
                 {QMaterialIcon::Success, QMaterialIcon::Warning, QMaterialIcon::Error}) {
                const QColor color = icons.color(role);
                QVERIFY(contrastRatio(color, legibleBackground(color, window)) >= 4.5);
                QCOMPARE(legibleBackground(color, window) == window,
                         contrastRatio(color, window) >= 4.5);
                QVERIFY(contrastRatio(legibleForeground(color, window), window) >= 4.5);
                // A dot has the colour in its middle, and at its rim what it stands out from.
                QPalette palette(window, window);
                palette.setColor(QPalette::Base, dark ? QColor(25, 25, 25) : Qt::white);
                const QImage dot = statusDot(color, 16, 2, palette).toImage();
                QCOMPARE(dot.pixelColor(16, 16), color);
                const QColor rim =
                    dot.pixelColor(2, 16).alpha() > 0 ? dot.pixelColor(2, 16) : window;
                QVERIFY(contrastRatio(color, rim) >= 3);
                QVERIFY(contrastRatio(color, statusGround) >= 4.5);
            }
        }
        icons.setDark(false);
    }

    void dockButtonsFollowTheirActions()
    {
        QWidget parent;
        QToolDock dock(&parent, QToolDock::Left);
        auto *const sync = new QAction("Sync", &parent);
        dock.addAction(new QAction("&Cloud", &parent));
        dock.addAction(sync);
        const auto buttons = dock.findChildren<QToolButton *>();
        QVERIFY(buttons[0]->focusPolicy() & Qt::TabFocus);
        QSignalSpy triggered(&dock, &QToolDock::action_triggered);
        connect(sync, &QAction::triggered, [sync] { delete sync; });
        buttons[1]->click();
        QCOMPARE(triggered, QList<QVariantList>{{1}});
        QTRY_COMPARE(dock.findChildren<QToolButton *>().size(), 1);
    }

    void dockHasWordsWhereTheyFitAndFocusMovesNothing()
    {
        QWidget parent;
        QActionGroup group(&parent);
        QToolDock dock(&parent, QToolDock::Left);
        for (const char *const text : {"Devices", "Cloud", "Search", "Settings of devices",
                                       "Abcdefghijklmnopqrstuvwxyz", "Known devices"}) {
            dock.addAction(group.addAction(text));
            dock.actions().constLast()->setCheckable(true);
        }
        const auto buttons = dock.findChildren<QToolButton *>();
        parent.show();
        parent.resize(2000, 2000);
        QTRY_COMPARE(buttons[0]->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
        QCoreApplication::processEvents();
        const QSize needed(dock.extent() * 6, dock.height() + 12);
        const std::tuple<QSize, bool> sizes[] = {{needed, true},
                                                 {needed - QSize(1, 0), false},
                                                 {QSize(2000, needed.height() - 1), false},
                                                 {QSize(2000, 100), false},
                                                 {QSize(2000, 2000), true}};
        for (const auto &[size, words] : sizes) {
            parent.resize(size);
            QTRY_COMPARE(buttons[0]->toolButtonStyle() == Qt::ToolButtonTextUnderIcon, words);
            QCoreApplication::processEvents();
            for (QToolButton *const button : buttons) { // the buttons' texts are set anew
                button->click();
                QCoreApplication::processEvents();
                QCOMPARE(button->toolButtonStyle() == Qt::ToolButtonTextUnderIcon, words);
            }
            QVERIFY(parent.rect().contains(dock.geometry()));
        }
        parent.activateWindow();
        const QList<QRect> before{buttons[1]->geometry(), dock.geometry()};
        const QSize hint = buttons[1]->sizeHint();
        buttons[1]->setFocus();
        QTRY_VERIFY(buttons[1]->hasFocus());
        buttons[1]->click(); // the button forgets its size
        QCoreApplication::processEvents();
        QCOMPARE(buttons[1]->sizeHint(), hint);
        QCOMPARE((QList<QRect>{buttons[1]->geometry(), dock.geometry()}), before);
    }
};

KVG_WIDGET_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
