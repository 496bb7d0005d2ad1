#include "history/historysource.h"
#include "plot/plotlibrary.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/plotwindows.h"

#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeWidget>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>

using namespace std::chrono_literals;

namespace {

constexpr qint64 hour = 3'600'000; // milliseconds
const double unknown = std::numeric_limits<double>::quiet_NaN();
const QRgb firstInk = 0xff0072b2;

// Answers when it is told to.
class FakeHistory : public HistorySource
{
public:
    struct Request
    {
        QStringList members;
        qint64 from;
        qint64 to;
        int maxPoints;
        QPointer<QObject> context;
        std::function<void(const QVector<HistoryPoints> &)> ready;
    };
    struct Export
    {
        QString file;
        QStringList members;
        qint64 from;
        qint64 to;
        std::function<void(const QString &)> done;
    };

    void members(const QString & /*device*/, QObject *context,
                 const std::function<void(const QVector<QString> &)> &ready) override
    {
        QTimer::singleShot(0, context, [this, ready] { ready(recorded); });
    }
    void fetch(const QVector<HistoryMember> &members, qint64 from, qint64 to, int maxPoints,
               QObject *context,
               const std::function<void(const QVector<HistoryPoints> &)> &ready) override
    {
        requests.append({names(members), from, to, maxPoints, context, ready});
    }
    void exportCsv(const QString &file, const QVector<HistoryMember> &members, qint64 from,
                   qint64 to, QObject * /*context*/,
                   const std::function<void(const QString &)> &done) override
    {
        exports.append({file, names(members), from, to, done});
    }
    // Answers the oldest request, unless its context has been deleted.
    void answer(const QVector<HistoryPoints> &points)
    {
        const Request request = requests.takeFirst();
        if (request.context) {
            request.ready(points);
        }
    }

    QVector<QString> recorded;
    QVector<Request> requests;
    QVector<Export> exports;

private:
    static QStringList names(const QVector<HistoryMember> &members)
    {
        QStringList names;
        for (const HistoryMember &member : members) {
            names += member.device + '/' + member.member;
        }
        return names;
    }
};

QString programFolder()
{
    return QCoreApplication::applicationDirPath() + "/../../bin";
}

QWidget *canvasOf(const QWidget *window)
{
    const auto widgets = window->findChild<QWidget *>("plot")->findChildren<QWidget *>();
    const auto canvas = std::find_if(widgets.begin(), widgets.end(), [](const QWidget *widget) {
        return widget->inherits("QwtPlotCanvas");
    });
    return canvas == widgets.end() ? nullptr : *canvas;
}

int pixels(const QImage &image, QRgb color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += image.pixel(x, y) == color ? 1 : 0;
        }
    }
    return count;
}

} // namespace

class TestPlot : public QObject
{
    Q_OBJECT

private:
    // Opens the window of the device "d" and answers its first request.
    QWidget *open(const PlotSubject &subject, const QVector<HistoryPoints> &points = {})
    {
        m_windows.open(m_history, subject, m_parent.get());
        auto *const window = m_parent->findChild<QWidget *>("plotWindow");
        if (window == nullptr || !QTest::qWaitForWindowExposed(window) ||
            m_history.requests.isEmpty()) {
            return nullptr;
        }
        m_history.answer(points);
        QCoreApplication::processEvents();
        return window;
    }
    QPushButton *button(const char *name) const { return m_parent->findChild<QPushButton *>(name); }
    void choose(int action, const QString &file) const
    {
        button("plotExport")->menu()->actions().at(action)->trigger();
        auto *const dialog = m_parent->findChild<QFileDialog *>();
        QVERIFY(dialog != nullptr);
        emit dialog->fileSelected(file);
        delete dialog;
    }

    FakeHistory m_history;
    PlotWindows m_windows{programFolder()};
    std::unique_ptr<QWidget> m_parent;
    const PlotSubject m_two{"d", "Device", {{"a", "A", "K", true}, {"b", "B", "%"}}};

private slots:
    void init()
    {
        m_history = FakeHistory();
        m_parent = std::make_unique<QWidget>();
    }

    void aMissingLibraryIsTold()
    {
        const QTemporaryDir empty;
        PlotWindows(empty.path()).open(m_history, m_two, m_parent.get());
        QTRY_VERIFY(m_parent->findChild<QMessageBox *>() != nullptr);
    }

    void aDeviceHasOneWindow()
    {
        QVERIFY(open(m_two) != nullptr);
        m_windows.open(m_history, m_two, m_parent.get());
        QCOMPARE(m_parent->findChildren<QWidget *>("plotWindow").size(), 1);
        m_windows.open(m_history, {"e", "Other", {}}, m_parent.get());
        QCOMPARE(m_parent->findChildren<QWidget *>("plotWindow").size(), 2);
    }

    // Known from 6 to 12 and from 18 to the end of the day that is shown.
    void nothingIsDrawnWhereNothingIsKnown()
    {
        const qint64 from = QDateTime::currentMSecsSinceEpoch() - 24 * hour;
        QWidget *const window =
            open(m_two, {{{from, unknown, unknown, unknown},
                          {from + 6 * hour, 1, 1, 1},
                          {from + 7 * hour, 5, 5, 5},
                          {from + 12 * hour, unknown, unknown, unknown},
                          {from + 15 * hour, 2, 2, unknown}, // merged: known for a while
                          {from + 16 * hour, unknown, unknown, unknown},
                          {from + 18 * hour, 3, 3, 3},
                          {from + 24 * hour, 3, 3, 3}}});
        QVERIFY(window != nullptr);
        button("plotDay")->click();
        const QImage image = canvasOf(window)->grab().toImage();
        const auto drawn = [&](double first, double last, int rows) {
            const int left = int(image.width() * first / 24) + 3;
            const int right = int(image.width() * last / 24) - 3;
            return pixels(image.copy(left, 0, right - left, rows), firstInk);
        };
        const int all = image.height();
        QCOMPARE(drawn(0, 6, all), 0);
        QVERIFY(drawn(6, 7, all) > 0);
        QCOMPARE(drawn(6, 7, all / 2), 0);  // a value holds
        QVERIFY(drawn(8, 12, all / 2) > 0); // until another one is known
        QCOMPARE(drawn(12, 15, all), 0);
        QVERIFY(drawn(15, 16, all) > 0);
        QCOMPARE(drawn(16, 18, all), 0);
        QVERIFY(drawn(18, 24, all) > 0);
    }

    void rangesAreAskedFor()
    {
        QWidget *const window = open(m_two);
        QVERIFY(window != nullptr);
        button("plotHour")->click();
        QCOMPARE(m_history.requests.size(), 1);
        const FakeHistory::Request shown = m_history.requests.last();
        QCOMPARE(shown.members, QStringList("d/a"));
        QCOMPARE(shown.to - shown.from, hour);
        QVERIFY(shown.maxPoints >= 100 && shown.maxPoints <= window->width());

        // From a quarter to the middle, to the left; while a request waits there is no other one.
        QWidget *const canvas = canvasOf(window);
        const int width = canvas->width();
        QTest::mousePress(canvas, Qt::LeftButton, {}, {width / 2, 20});
        QTest::mouseRelease(canvas, Qt::LeftButton, {}, {width / 4, 30});
        QCOMPARE(m_history.requests.size(), 1);
        m_history.answer({});
        QCOMPARE(m_history.requests.size(), 1);
        const FakeHistory::Request zoomed = m_history.requests.last();
        QVERIFY(qAbs(zoomed.from - (shown.from + hour / 4)) < hour / 50);
        QVERIFY(qAbs(zoomed.to - (shown.from + hour / 2)) < hour / 50);

        m_history.answer({});
        QTest::keyClick(window, Qt::Key_Escape);
        QCOMPARE(m_history.requests.size(), 1);
        QCOMPARE(m_history.requests.last().to - m_history.requests.last().from, hour);

        // There is nothing to see behind now.
        m_history.answer({});
        QTest::keyClick(window->findChild<QWidget *>("plot"), Qt::Key_Right);
        QVERIFY(m_history.requests.last().to <= QDateTime::currentMSecsSinceEpoch());
        QCOMPARE(m_history.requests.last().to - m_history.requests.last().from, hour);
    }

    void aLiveRangeMovesOnWhileItIsVisible()
    {
        if (!testclock::canAdvance()) {
            QSKIP("needs the test clock");
        }
        QWidget *const window = open(m_two);
        QVERIFY(window != nullptr);
        testclock::advance(2min);
        QTRY_COMPARE(m_history.requests.size(), 1);
        m_history.answer({});
        window->hide();
        testclock::advance(10min);
        QCoreApplication::processEvents();
        QVERIFY(m_history.requests.isEmpty());
    }

    void atMostEightAreShown()
    {
        for (int i = 0; i < 10; ++i) {
            m_history.recorded.append(QString::number(i));
        }
        PlotSubject subject{"d", "Device", {}};
        for (const QString &name : qAsConst(m_history.recorded)) {
            subject.members.append({name, name, {}, true});
        }
        m_history.recorded.append("another");
        QVERIFY(open(subject) != nullptr);
        auto *const list = m_parent->findChild<QTreeWidget *>("plotMembers");
        QTRY_COMPARE(list->topLevelItemCount(), 11);
        QVERIFY(list->topLevelItem(10)->isDisabled());
        list->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        QVERIFY(!list->topLevelItem(10)->isDisabled());
        list->topLevelItem(10)->setCheckState(0, Qt::Checked);
        QCOMPARE(m_history.requests.last().members.size(), 7);
        m_history.answer({});
        QCOMPARE(m_history.requests.last().members.last(), QString("d/another"));
    }

    void hostileTextsStayPlain()
    {
        const QString red = "<p style='background:#ff0000;color:#ff0000'>x</p>";
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        QWidget *const window = open({"d", red, {{"a", red, "<hr color='#ff0000'>", true}}},
                                     {{{now - 20 * hour, 1, 2, 1}, {now, 3, 3, 3}}});
        QVERIFY(window != nullptr);
        QMouseEvent moved(QEvent::MouseMove, QPointF(100, 100), Qt::NoButton, {}, {});
        QApplication::sendEvent(canvasOf(window), &moved); // shows the values there
        auto *const list = window->findChild<QTreeWidget *>("plotMembers");
        QVERIFY(!list->topLevelItem(0)->toolTip(0).contains('<'));
        QVERIFY(pixels(window->grab().toImage(), firstInk) > 0);
        QCOMPARE(pixels(window->grab().toImage(), 0xffff0000), 0);

        const QTemporaryDir folder;
        button("plotSave")->click();
        auto *const dialog = window->findChild<QFileDialog *>();
        const QString proposed = QFileInfo(dialog->selectedFiles().value(0)).fileName();
        QVERIFY2(!proposed.contains('<') && proposed.endsWith(".png"), qPrintable(proposed));
        emit dialog->fileSelected(folder.filePath("p.png"));
        const QImage saved(folder.filePath("p.png"));
        QVERIFY(pixels(saved, firstInk) > 0);
        QCOMPARE(pixels(saved, 0xffff0000), 0);
        emit dialog->fileSelected(folder.filePath("missing/p.png"));
        QTRY_VERIFY(window->findChild<QMessageBox *>() != nullptr);
    }

    void whatIsChosenIsExported()
    {
        m_history.recorded = {"a", "c"};
        QWidget *const window = open(m_two);
        QVERIFY(window != nullptr);
        QTRY_COMPARE(m_parent->findChild<QTreeWidget *>("plotMembers")->topLevelItemCount(), 3);
        for (int action = 0; action < 3; ++action) {
            choose(action, "f");
            QVERIFY(!button("plotExport")->isEnabled());
            m_history.exports.last().done(action == 2 ? QString("disk full") : QString());
            QVERIFY(button("plotExport")->isEnabled());
        }
        QCOMPARE(m_history.exports[0].members, QStringList("d/a"));
        QCOMPARE(m_history.exports[0].to - m_history.exports[0].from, hour);
        QCOMPARE(m_history.exports[1].members, QStringList({"d/a", "d/b", "d/c"}));
        QCOMPARE(m_history.exports[1].from, 0);
        QCOMPARE(m_history.exports[2].members, QStringList());
        QCOMPARE(window->findChild<QMessageBox *>()->text(), QString("disk full"));
    }

    // To the history, no members means everything.
    void aDeviceWithoutMembersIsNotExportedAsEverything()
    {
        m_windows.open(m_history, {"d", "Device", {}}, m_parent.get());
        QMenu *const menu = button("plotExport")->menu();
        emit menu->aboutToShow();
        QVERIFY(!menu->actions().at(0)->isEnabled() && !menu->actions().at(1)->isEnabled());
        QVERIFY(menu->actions().at(2)->isEnabled());
    }

    void answersAfterTheWindowWasClosedDoNoHarm()
    {
        QWidget *const window = open(m_two);
        QVERIFY(window != nullptr);
        button("plotHour")->click();
        const QPointer<QWidget> closed = window;
        window->close();
        QTRY_VERIFY(!closed);
        QVERIFY(!m_history.requests.first().context);
        m_history.answer({{{0, 1, 1, 1}}});
        QVERIFY(open(m_two) != nullptr);
    }
};

KVG_WIDGET_TEST_MAIN(TestPlot)
#include "tst_plot.moc"
