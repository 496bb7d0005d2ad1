#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/widgettestmain.h"
#include "ui/regthingseditor.h"

#include <QAbstractItemModelTester>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>

namespace {

// "serial=regid" of every stored entry.
QString storedEntries()
{
    QStringList entries;
    const DevicePool pool = DevicePool::read();
    for (int i = 0; i < pool.size(); ++i) {
        entries += pool.at(i).serial + '=' + pool.at(i).regid;
    }
    return entries.join(' ');
}

void storeEntry(const QString &serial, const QString &regid, const QString &alias = "name")
{
    DevicePool::update([&](DevicePool &pool) { pool.put({"lamp", "1", serial, regid, alias}); });
}

} // namespace

class TestRegThingsEditor : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        SettingsStore().clear();
        for (const char *const serial : {"s0", "s1", "s2", "s3", "s4"}) {
            storeEntry(serial, "");
        }
        m_editor = std::make_unique<RegThingsEditor>();
        m_table = m_editor->findChild<QTableView *>("registeredThings");
        m_table->setSelectionMode(QAbstractItemView::MultiSelection);
    }

    void forgettingKeepsTheOthersAndWhatWasStoredMeanwhile()
    {
        const QAbstractItemModelTester tester(m_table->model());
        auto *const button = m_editor->findChild<QPushButton *>("forgetButton");
        const QSignalSpy modified(m_editor.get(), &RegThingsEditor::modified);
        const QSignalSpy forgotten(m_editor.get(), &RegThingsEditor::forgotten);
        QVERIFY(!button->isEnabled());
        m_table->selectRow(1);
        m_table->selectRow(3);
        storeEntry("s2", "newer");
        storeEntry("s5", "found");
        button->click();
        QCOMPARE(modified.size(), 1);
        QStringList ids = forgotten.value(0).value(0).toStringList();
        ids.sort();
        QCOMPARE(ids, QStringList({"lamp_1_s1", "lamp_1_s3"}));
        QCOMPARE(storedEntries(), QString("s0= s2=newer s4= s5=found"));
        QCOMPARE(serial(2), QString("s4"));
        QCOMPARE(serial(3), QString());
        m_editor->sync();
        QCOMPARE(serial(3), QString("s5"));
        m_editor->show();
        m_editor->activateWindow();
        m_table->setFocus();
        QTRY_VERIFY(m_table->hasFocus());
        m_table->selectRow(0);
        QTest::keyClick(m_table, Qt::Key_Delete);
        QCOMPARE(serial(0), QString("s2"));
    }

    void forgettingRegisteredDevicesIsConfirmedOnce()
    {
        storeEntry("s1", "1", "Desk");
        storeEntry("s3", "3", "");
        DevicePool::update([](DevicePool &pool) { pool.put({"gateway", "200", "S", "G", ""}); });
        m_editor->sync();
        const auto forget = [this](const QList<int> &rows, QMessageBox::StandardButton answer) {
            m_table->clearSelection();
            for (const int row : rows) {
                m_table->selectRow(row);
            }
            m_editor->findChild<QPushButton *>("forgetButton")->click();
            const std::unique_ptr<QMessageBox> box(m_editor->findChild<QMessageBox *>());
            box->button(answer)->click();
            return box->text();
        };
        QVERIFY(forget({0, 1, 3}, QMessageBox::No).contains("Desk, lamp_1_s3."));
        QVERIFY(forget({1, 5}, QMessageBox::No).contains("The gateway itself"));
        QCOMPARE(storedEntries(), QString("s0= s1=1 s2= s3=3 s4= S=G"));
        forget({0, 1, 3}, QMessageBox::Yes);
        QCOMPARE(storedEntries(), QString("s2= s4= S=G"));
    }

private:
    QString serial(int row) const { return m_table->model()->index(row, 2).data().toString(); }

    std::unique_ptr<RegThingsEditor> m_editor;
    QTableView *m_table = nullptr;
};

KVG_WIDGET_TEST_MAIN(TestRegThingsEditor)
#include "tst_regthingseditor.moc"
