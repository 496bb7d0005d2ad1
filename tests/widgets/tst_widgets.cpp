#include "tests/support/widgettestmain.h"
#include "ui/widgets/qautoclosemessagebox.h"
#include "ui/widgets/qcountdownlcd.h"
#include "ui/widgets/qfonticonengine.h"
#include "ui/widgets/qledlabel.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qstatuslabel.h"
#include "ui/widgets/qtooldock.h"

#include <QAbstractEventDispatcher>
#include <QAction>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>
#include <QtTest/qtestspontaneevent.h>

Q_DECLARE_METATYPE(QIcon::Mode)
Q_DECLARE_METATYPE(QIcon::State)

namespace {

// The most opaque colour of a picture, which is that of the pen; invalid when it is empty.
QColor inkOf(const QPixmap &pixmap)
{
    const QImage image = pixmap.toImage();
    QColor ink;
    int alpha = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor color = image.pixelColor(x, y);
            if (color.alpha() > alpha) {
                alpha = color.alpha();
                ink = QColor(color.rgb());
            }
        }
    }
    return ink;
}

// A second passes for the one timer of `object`.
void tick(QObject *object)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(object);
    QCOMPARE(timers.size(), 1);
    QTimerEvent event(timers.first().timerId);
    QCoreApplication::sendEvent(object, &event);
}

} // namespace

class TestWidgets : public QObject
{
    Q_OBJECT

private slots:
    void faultyLinesOfTheGlyphTableAreSkipped()
    {
        const QMaterialIcon &icons = QMaterialIcon::instance();
        const uint astral = 0x1f600;
        QCOMPARE(icons.glyph("dashboard"), QString(QChar(0xe871)));
        QCOMPARE(icons.glyph("astral"), QString::fromUcs4(&astral, 1));
        QCOMPARE(icons.glyph("last"), QString(QChar(0xe0ff)));
        for (const char *name : {"", "short", "word", "surrogate", "beyond"}) {
            QCOMPARE(icons.glyph(name), QString());
        }
    }

    void withoutTheFontIconsDrawNothing()
    {
        const QMaterialIcon &icons = QMaterialIcon::instance();
        const QIcon icon = icons.icon("dashboard", QMaterialIcon::Base, QMaterialIcon::Checked);
        QCOMPARE(icon.pixmap(32).size(), QSize(32, 32));
        QVERIFY(!inkOf(icon.pixmap(32)).isValid());
        QVERIFY(!inkOf(icons.pixmap("nowhere", 16, QMaterialIcon::Error)).isValid());
    }

    void inkFollowsModeAndState_data()
    {
        QTest::addColumn<QColor>("color");
        QTest::addColumn<QColor>("checked");
        QTest::addColumn<QIcon::Mode>("mode");
        QTest::addColumn<QIcon::State>("state");
        QTest::addColumn<QColor>("expected");
        const QColor none;
        const QPalette palette = QApplication::palette();
        const QColor &text = palette.color(QPalette::Active, QPalette::ButtonText);
        const QColor &faint = palette.color(QPalette::Disabled, QPalette::ButtonText);
        const QColor red = Qt::red;
        const QColor blue = Qt::blue;
        QTest::newRow("palette") << none << none << QIcon::Normal << QIcon::Off << text;
        QTest::newRow("own") << red << blue << QIcon::Normal << QIcon::Off << red;
        QTest::newRow("checked") << red << blue << QIcon::Active << QIcon::On << blue;
        QTest::newRow("on, none set") << red << none << QIcon::Normal << QIcon::On << red;
        QTest::newRow("disabled") << red << blue << QIcon::Disabled << QIcon::On << faint;
        QTest::newRow("selected") << red << blue << QIcon::Selected << QIcon::On << text;
    }

    void inkFollowsModeAndState()
    {
        QFETCH(QColor, color);
        QFETCH(QColor, checked);
        QFETCH(QIcon::Mode, mode);
        QFETCH(QIcon::State, state);
        const bool on = state == QIcon::On;
        auto *engine = new QFontIconEngine("DejaVu Sans", on ? "" : "M", on ? "M" : "", color);
        if (checked.isValid()) {
            engine->setCheckedColor(checked);
        }
        QIcon icon(engine);
        QIcon copy = icon;
        copy.addFile("detached"); // which makes it clone the engine
        QTEST(inkOf(icon.pixmap(32, mode, state)), "expected");
        QTEST(inkOf(copy.pixmap(32, mode, state)), "expected");
    }

    void boxCountsOnItsDefaultButtonAndClicksItAtTheThirdTick()
    {
        QAutoCloseMessageBox box(QMessageBox::Question, "Title", "Text",
                                 QMessageBox::Ok | QMessageBox::Cancel);
        box.setDefaultButton(QMessageBox::Ok);
        box.setTimeout(3);
        const auto *const button = box.button(QMessageBox::Ok);
        const QString plain = button->text();
        QSignalSpy finished(&box, &QDialog::finished);
        box.show();
        QMetaObject::invokeMethod(&box, "d_timeout");
        box.hide(); // no answer, so the next one counts from the start
        box.show();
        QCOMPARE(button->text(), plain + " (3)");
        QMetaObject::invokeMethod(&box, "d_timeout");
        QShowEvent restored;
        QSpontaneKeyEvent::setSpontaneous(&restored);
        qApp->notify(&box, &restored);
        QCOMPARE(button->text(), plain + " (2)");
        QMetaObject::invokeMethod(&box, "d_timeout");
        QCOMPARE(button->text(), plain + " (1)");
        QVERIFY(!button->isDown());
        QMetaObject::invokeMethod(&box, "d_timeout");
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(finished.first().first().toInt(), int(QMessageBox::Ok));
        QCOMPARE(button->text(), plain);
    }

    void boxWithoutTimeoutOrDefaultButtonIsAPlainOne()
    {
        for (const auto &[timeout, button] :
             {std::pair(0, QMessageBox::Ok), {3, QMessageBox::NoButton}}) {
            QAutoCloseMessageBox box(QMessageBox::Question, "Title", "Text",
                                     QMessageBox::Ok | QMessageBox::Cancel);
            box.setDefaultButton(button);
            box.setTimeout(timeout);
            box.show();
            QMetaObject::invokeMethod(&box, "d_timeout");
            QVERIFY(!box.button(QMessageBox::Ok)->text().contains('('));
            QVERIFY(!box.button(QMessageBox::Ok)->isDown());
        }
    }

    void countdownTurnsAtFifteenAndEndsOnceAtZero()
    {
        const QMaterialIcon &icons = QMaterialIcon::instance();
        QCountDownLCD lcd;
        QSignalSpy timeout(&lcd, &QCountDownLCD::timeout);
        const auto ink = [&lcd] { return lcd.palette().color(QPalette::WindowText); };
        lcd.start(5); // given up by the next
        lcd.start(17);
        tick(&lcd);
        QCOMPARE(lcd.intValue(), 16);
        QCOMPARE(ink(), icons.color(QMaterialIcon::Base));
        tick(&lcd);
        QCOMPARE(ink(), icons.color(QMaterialIcon::Error));
        while (lcd.intValue() > 1) {
            tick(&lcd);
        }
        QCOMPARE(timeout.size(), 0);
        tick(&lcd);
        QCOMPARE(lcd.intValue(), 0);
        QCOMPARE(timeout.size(), 1);
        QVERIFY(!lcd.isRunning());
        QVERIFY(QAbstractEventDispatcher::instance()->registeredTimers(&lcd).isEmpty());
        QCOMPARE(ink(), QApplication::palette().color(QPalette::WindowText));
        lcd.start(-1);
        tick(&lcd);
        QCOMPARE(timeout.size(), 2);
        lcd.start(1234567890);
        QVERIFY(!lcd.checkOverflow(lcd.intValue()));
    }

    void dockButtonsAreTheirActions()
    {
        QWidget parent;
        QToolDock dock(&parent, QToolDock::Left);
        QAction cloud("&Cloud");
        auto *const sync = new QAction("Sync", &parent);
        cloud.setCheckable(true);
        dock.addAction(&cloud);
        dock.addAction(sync);
        parent.show();
        const auto buttons = dock.findChildren<QToolButton *>();
        QCOMPARE(buttons.size(), 2);
        QCOMPARE(buttons[0]->accessibleName(), QString("Cloud"));
        QCOMPARE(buttons[1]->property("iaction").toInt(), 1);
        QVERIFY(buttons[0]->focusPolicy() & Qt::TabFocus);

        QSignalSpy triggered(&dock, &QToolDock::action_triggered);
        QSignalSpy clicked(&dock, &QToolDock::clicked);
        QTest::keyClick(buttons[0], Qt::Key_Space);
        QVERIFY(cloud.isChecked() && buttons[0]->isChecked());
        QCOMPARE(triggered, QList<QVariantList>({{0}}));
        QCOMPARE(clicked.size(), 1);

        cloud.setEnabled(false);
        cloud.setText("Clouds");
        QVERIFY(!buttons[0]->isEnabled());
        QCOMPARE(buttons[0]->accessibleName(), QString("Clouds"));
        const int height = dock.height();
        connect(sync, &QAction::triggered, [sync] { delete sync; });
        buttons[1]->click();
        QVERIFY(dock.height() < height);
        QTRY_COMPARE(dock.findChildren<QToolButton *>().size(), 1);
    }

    void dockStaysAtItsSideAndFitsTheParentsWidth()
    {
        for (const auto side : {QToolDock::Left, QToolDock::Right, QToolDock::Bottom}) {
            QWidget parent;
            QToolDock dock(&parent, side);
            QSignalSpy extents(&dock, &QToolDock::extentChanged);
            dock.addAction(new QAction(&dock));
            const auto *const button = dock.findChild<QToolButton *>();
            parent.show();
            for (const QSize size : {QSize(400, 300), QSize(399, 200), QSize(800, 600)}) {
                parent.resize(size);
                const int icon = size.width() == 399 ? 24 : 32;
                QCOMPARE(button->iconSize(), QSize(icon, icon));
                QTRY_COMPARE(button->size(), button->sizeHint());
                QCOMPARE(extents.last().first().toInt(), dock.extent());
                const int half = dock.extent() / 2;
                const QPoint middle = parent.rect().center();
                const QPoint expected = side == QToolDock::Left ? QPoint(half, middle.y())
                                        : side == QToolDock::Right
                                            ? QPoint(size.width() - half, middle.y())
                                            : QPoint(middle.x(), size.height() - half);
                QVERIFY((dock.geometry().center() - expected).manhattanLength() <= 2);
            }
        }
    }

    void dockChoosesAGroundForItsIcons()
    {
        QMaterialIcon &icons = QMaterialIcon::instance();
        QWidget parent;
        for (const bool dark : {true, false}) { // light at the end, as before
            icons.setDark(dark);
            const QToolDock dock(&parent, QToolDock::Left);
            const int ground = qGray(dock.palette().color(QPalette::Window).rgb());
            QVERIFY(qAbs(ground - qGray(icons.color(QMaterialIcon::Base).rgb())) > 150);
        }
    }

    void statusIsPlainTextInItsColor()
    {
        QStatusLabel label;
        label.setText("<b>Connected</b>", Qt::red);
        label.setText("<b>Gone</b>", QColor());
        QCOMPARE(label.palette().color(QPalette::Disabled, QPalette::WindowText), QColor(Qt::red));
        label.setText("<b>Gone</b>"); // QLabel's own
        QCOMPARE(label.textFormat(), Qt::PlainText);
    }

    void ledFollowsTheHeightOfItsParent()
    {
        QLedLabel alone;
        alone.setIcon("dashboard");
        QCOMPARE(alone.pixmap(Qt::ReturnByValue).size(), QSize(16, 16));
        QWidget parent;
        QLedLabel led(&parent);
        led.setIcon("dashboard", QMaterialIcon::Success);
        for (const auto &[height, side] : {std::pair(10, 16), {26, 20}, {100, 24}}) {
            parent.resize(100, height);
            led.grab();
            QCOMPARE(led.pixmap(Qt::ReturnByValue).size(), QSize(side, side));
        }
    }
};

KVG_WIDGET_TEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
