#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/widgets/contrast.h"
#include "ui/widgets/qautoclosemessagebox.h"
#include "ui/widgets/qcountdownlcd.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qtooldock.h"

#include <QAction>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>
#include <QtTest/qtestspontaneevent.h>

using namespace std::chrono_literals;

namespace {

// A second passes, more or less: the timer is a coarse one.
void tick(const QCountDownLCD &lcd)
{
    const int before = lcd.intValue();
    for (int part = 0; part < 12 && lcd.intValue() == before; ++part) {
        testclock::advance(100ms);
        QCoreApplication::processEvents();
    }
    QCOMPARE(lcd.intValue(), before - 1);
}

} // namespace

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void aFaultyGlyphTableAndAMissingFontDoNoHarm()
    {
        const QMaterialIcon &icons = QMaterialIcon::instance();
        const uint astral = 0x1f600;
        QCOMPARE(icons.glyph("astral"), QString::fromUcs4(&astral, 1));
        QCOMPARE(icons.glyph("last"), QString(QChar(0xe0ff)));
        for (const char *name : {"", "short", "word", "surrogate", "beyond"}) {
            QCOMPARE(icons.glyph(name), QString());
        }
        // A copy that is added to clones the engine.
        QIcon icon = icons.icon("dashboard");
        icon.addFile("another");
        QCOMPARE(icon.pixmap(32).toImage().pixelColor(0, 0).alpha(), 0);
    }

    void boxCountsOnItsDefaultButtonAndClicksItAtTheThirdTick()
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
        QMetaObject::invokeMethod(&box, "d_timeout");
        QShowEvent restored;
        QSpontaneKeyEvent::setSpontaneous(&restored);
        qApp->notify(&box, &restored);
        QMetaObject::invokeMethod(&box, "d_timeout");
        QCOMPARE(button->text(), plain + " (1)");
        QMetaObject::invokeMethod(&box, "d_timeout");
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(finished.first().first().toInt(), int(QMessageBox::Ok));
        QCOMPARE(button->text(), plain);
    }

    void countdownTurnsAtFifteenAndEndsOnceAtZero()
    {
        QCountDownLCD lcd;
        QSignalSpy timeout(&lcd, &QCountDownLCD::timeout);
        const auto ink = [&lcd] { return lcd.palette().color(QPalette::WindowText); };
        const QColor alert = QMaterialIcon::instance().color(QMaterialIcon::Error);
        lcd.start(5); // given up by the next
        lcd.start(17);
        tick(lcd);
        QVERIFY(lcd.intValue() == 16 && ink() != alert);
        tick(lcd);
        QCOMPARE(ink(), alert);
        while (lcd.intValue() > 0) {
            QCOMPARE(timeout.size(), 0);
            tick(lcd);
        }
        QCOMPARE(timeout.size(), 1);
        testclock::advance(2s);
        QCoreApplication::processEvents();
        QCOMPARE(timeout.size(), 1);
        QVERIFY(!lcd.checkOverflow(1234567890));
    }

    // 4.5 to 1, whatever the theme and its pale colours are.
    void coloursStayLegible()
    {
        QCOMPARE(contrastRatio(Qt::white, Qt::black), 21.0);
        QMaterialIcon &icons = QMaterialIcon::instance();
        for (const bool dark : {false, true}) {
            icons.setDark(dark);
            const QColor window = dark ? QColor(53, 53, 53) : QColor(239, 239, 239);
            for (const auto role :
                 {QMaterialIcon::Success, QMaterialIcon::Warning, QMaterialIcon::Error}) {
                const QColor ink = icons.color(role);
                const QColor ground = legibleGround(ink, window);
                QVERIFY(contrastRatio(ink, ground) >= 4.5);
                QCOMPARE(ground == window, contrastRatio(ink, window) >= 4.5);
                QVERIFY(contrastRatio(legibleInk(ink, window), window) >= 4.5);
            }
        }
        icons.setDark(false);
    }

    void dockButtonsAreTheirActions()
    {
        QWidget parent;
        QToolDock dock(&parent, QToolDock::Left);
        QAction cloud("&Cloud");
        auto *const sync = new QAction("Sync", &parent);
        dock.addAction(&cloud);
        dock.addAction(sync);
        const auto buttons = dock.findChildren<QToolButton *>();
        QVERIFY(buttons[0]->focusPolicy() & Qt::TabFocus);
        QSignalSpy triggered(&dock, &QToolDock::action_triggered);
        connect(sync, &QAction::triggered, [sync] { delete sync; });
        buttons[1]->click();
        QCOMPARE(triggered, QList<QVariantList>{{1}});
        QTRY_COMPARE(dock.findChildren<QToolButton *>().size(), 1);
    }
};

KVG_WIDGET_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
