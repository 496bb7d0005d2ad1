#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "tests/support/widgettestmain.h"
#include "ui/regthingseditor.h"

#include <QJsonArray>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>

namespace {

QString stored()
{
    return SettingsStore().value(keys::DevicePool);
}

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

void storeEntry(const QString &serial, const QString &regid)
{
    DevicePool::update([&](DevicePool &pool) { pool.put({"lamp", "1", serial, regid, "name"}); });
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
            storeEntry(serial, "id");
        }
        m_editor = std::make_unique<RegThingsEditor>();
        m_table = m_editor->findChild<QTableView *>("registeredThings");
        m_button = m_editor->findChild<QPushButton *>("forgetButton");
        m_table->setSelectionMode(QAbstractItemView::MultiSelection);
    }

    void theOthersKeepTheirOrder()
    {
        const QSignalSpy modified(m_editor.get(), &RegThingsEditor::modified);
        QVERIFY(!m_button->isEnabled());
        m_table->selectRow(1);
        m_table->selectRow(3);
        QVERIFY(m_button->isEnabled());
        m_button->click();
        QCOMPARE(modified.size(), 1);
        QCOMPARE(storedEntries(), QString("s0=id s2=id s4=id"));
        QCOMPARE(rows(), QString("s0 s2 s4"));
        QVERIFY(!m_button->isEnabled());
    }

    void forgettingNothingWritesNothing()
    {
        const QString before = stored();
        const int generation = DevicePool::generation();
        const QSignalSpy modified(m_editor.get(), &RegThingsEditor::modified);
        m_editor->on_forgetButton_clicked();
        QCOMPARE(stored(), before);
        QCOMPARE(DevicePool::generation(), generation);
        QVERIFY(modified.isEmpty());
    }

    void whatTheRunnerStoredMeanwhileStays()
    {
        storeEntry("s2", "newer");
        storeEntry("s5", "found");
        m_table->selectRow(0);
        m_table->selectRow(4);
        m_button->click();
        QCOMPARE(storedEntries(), QString("s1=id s2=newer s3=id s5=found"));
        m_editor->sync();
        QCOMPARE(rows(), QString("s1 s2 s3 s5"));
    }

    void aPoolWithoutDevicesIsAnEmptyTable_data()
    {
        QTest::addColumn<QString>("pool");
        QTest::newRow("no member") << R"({"updated":"x"})";
        QTest::newRow("no list") << R"({"devices":{"type":"lamp"}})";
        QTest::newRow("no JSON") << "}{";
    }
    void aPoolWithoutDevicesIsAnEmptyTable()
    {
        QFETCH(QString, pool);
        SettingsStore().set(keys::DevicePool, pool);
        m_editor->sync();
        QCOMPARE(m_table->model()->rowCount(), 0);
        QVERIFY(!m_table->isVisibleTo(m_editor.get())); // the hint takes its place
        storeEntry("s0", "id");
        m_editor->sync();
        QVERIFY(m_table->isVisibleTo(m_editor.get()));
    }

private:
    QString rows() const
    {
        QStringList serials;
        for (int row = 0; row < m_table->model()->rowCount(); ++row) {
            serials += m_table->model()->index(row, 2).data().toString();
        }
        return serials.join(' ');
    }

    std::unique_ptr<RegThingsEditor> m_editor;
    QTableView *m_table = nullptr;
    QPushButton *m_button = nullptr;
};

KVG_WIDGET_TEST_MAIN(TestRegThingsEditor)
#include "tst_regthingseditor.moc"
