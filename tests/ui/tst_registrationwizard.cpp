#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/aliasrule.h"
#include "ui/registrationwizard.h"
#include "ui/widgets/qcountdownlcd.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QInputDialog>
#include <QJsonArray>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>

using Wizard = RegistrationWizard;

class TestRegistrationWizard : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_wizard = std::make_unique<Wizard>();
        m_emitted.clear();
        const Wizard *const wizard = m_wizard.get();
        connect(wizard, &Wizard::stateRequested, this, [this] { m_emitted += "state?"; });
        connect(wizard, &Wizard::registrationRequested, this, [this] { m_emitted += "register"; });
        connect(wizard, &Wizard::registrationCancelled, this, [this] { m_emitted += "cancel"; });
        connect(wizard, &Wizard::renameRequested, this,
                [this](const QString &id, const QString &alias) { m_emitted += id + '=' + alias; });
    }

    void namesAreAskedForInOrderAndThenRegistrationBegins()
    {
        m_wizard->askForAliases({"gone_1_A"});
        m_wizard->askForAliases({"a_1_A", "b_1_<i>B_2", "c_1_C"}); // replaces the former list
        for (const char *const name : {"<b>a / A</b>", "<b>b / &lt;i&gt;B_2</b>"}) {
            QVERIFY2(prompt()->labelText().contains(name), name);
            prompt()->setTextValue("  desk ");
            prompt()->accept();
        }
        prompt()->reject(); // the others are not asked for
        m_wizard->showState(0);
        m_wizard->showState(ZugatewRunner::Complete);
        QVERIFY(button("cloudGetCodeButton")->isHidden());
        m_wizard->on_cloudGetCodeButton_clicked();
        QVERIFY(!m_wizard->findChild<QProgressBar *>()->isHidden());
        m_wizard->askForAliases({"c_1_C"});
        QVERIFY(m_wizard->findChild<QProgressBar *>()->isHidden()); // nothing is connecting
        const QString proposal = prompt()->textValue();
        QVERIFY(QRegularExpression("^c_[0-9a-f]+$").match(proposal).hasMatch());
        prompt()->accept();
        QCOMPARE(m_emitted, QStringList({"a_1_A=desk", "b_1_<i>B_2=desk", "state?", "register",
                                         "c_1_C=" + proposal, "register"}));
        m_wizard->showState(0); // a late answer must not relabel a later step
        QCOMPARE(label(), QString("Step 2. Connecting to the cloud"));
    }

    void unnamedThingsAreListedWithProposals()
    {
        auto *const table = m_wizard->findChild<QTableView *>("unnamedThings");
        QAbstractItemModel &names = *table->model();
        const auto alias = [&names](int row) { return names.index(row, 2).data().toString(); };
        const auto edit = [&names](int row, const QString &text) {
            return names.setData(names.index(row, 2), text, Qt::EditRole);
        };
        QVERIFY(table->isHidden() && button("cloudUseNamesButton")->isHidden());
        QStringList sids;
        QSet<QString> proposals;
        const QString longType(200, 'x');
        for (int i = 0; i < 10000; ++i) {
            sids += QString("%1_1_%2").arg(i == 0 ? longType : "lamp").arg(i);
        }
        m_wizard->showUnnamed(sids);
        for (int row = 0; row < sids.size(); ++row) {
            QCOMPARE(alias(row), cleanAlias(alias(row)));
            proposals += alias(row);
        }
        QCOMPARE(proposals.size(), sids.size());
        QVERIFY(edit(1, " Kitchen\n lamp ") && !edit(2, "Kitchen lamp") && !edit(2, " "));
        const QString other = alias(3);
        m_wizard->showUnnamed({"new_1_A_b", "lamp_1_3", "lamp_1_1"});
        QCOMPARE(QStringList({alias(0), alias(1)}), QStringList({"Kitchen lamp", other}));
        QCOMPARE(names.index(2, 1).data().toString(), QString("A_b"));
        button("cloudUseNamesButton")->click();
        m_emitted.sort();
        QCOMPARE(m_emitted, QStringList({"lamp_1_1=Kitchen lamp", "lamp_1_3=" + other,
                                         "new_1_A_b=" + alias(2)}));
        m_wizard->askForAliases({"lamp_1_1"});
        QCOMPARE(prompt()->textValue(), QString("Kitchen lamp"));
        m_wizard->showUnnamed({});
        QVERIFY(table->isHidden() && names.rowCount() == 0);
    }

    void codesAreShownAndCopied()
    {
        const std::tuple<QJsonObject, QString, int> rows[] = {
            {{{"value", 2147483647}}, "2147483647", 13}, // 214 748 36 47
            {{{"value", 351890}}, "351890", 7},
            {{{"value", 42}, {"code", 7}, {"timeout", 60}}, "42", 2},
            {{{"code", "0042"}, {"timeout", -1}}, "42", 2},
            {{{"value", 2}, {"timeout", "soon"}}, "2", 1}};
        for (const auto &[code, copied, width] : rows) {
            m_wizard->showCode(code);
            const auto *const display = m_wizard->findChild<QLCDNumber *>("cloudCode");
            QCOMPARE(display->digitCount(), width);
            QCOMPARE(display->accessibleName(), copied);
            QCOMPARE(step(), int(Wizard::R_CODE));
            const bool isTimed = code["timeout"] == 60;
            QCOMPARE(countdown()->isRunning(), isTimed);
            QCOMPARE(countdown()->isHidden(), !isTimed);
            button("cloudCodeCopyButton")->click();
            QCOMPARE(QGuiApplication::clipboard()->text(), copied);
            QVERIFY(m_wizard->showResult({}));
            QVERIFY(!countdown()->isRunning()); // or it would expire behind the results
        }
    }

    void anExpiredCodeOffersANewSession()
    {
        m_wizard->showCode({{"value", 42}, {"timeout", 1}});
        testclock::advance(std::chrono::milliseconds(1100));
        QTRY_VERIFY(label().startsWith("The code has expired"));
        QVERIFY(!button("cloudCodeCopyButton")->isEnabled());
        QVERIFY(!button("cloudOpenKVGButton")->isEnabled());
        button("cloudExpiredButton")->click();
        // Cancelled, or the next session would find the registrar busy.
        QCOMPARE(m_emitted, QStringList({"cancel", "state?"}));
        m_wizard->showCode({{"value", 42}, {"timeout", 60}}); // was already on its way
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        m_wizard->on_cloudGetCodeButton_clicked();
        m_wizard->showCode({{"value", 43}, {"timeout", 60}});
        QVERIFY(button("cloudCodeCopyButton")->isEnabled());
    }

    void anInvalidCodeEndsTheSession()
    {
        for (const QJsonObject &code : {QJsonObject{{"value", 1e300}}, {{"code", QJsonArray{1}}}}) {
            m_wizard->showCode(code);
        }
        QCOMPARE(m_emitted, QStringList({"cancel", "state?", "cancel", "state?"}));
    }

    void errorTextsAreEscaped()
    {
        QVERIFY(!m_wizard->showResult({{"error", "<b>%1</b>"}, {"code", 5}, {"id", "x"}}));
        QCOMPARE(QApplication::activeModalWidget()->property("text").toString(),
                 QString("Registation has completed with an error.<br>&lt;b&gt;%1&lt;/b&gt; (5)"));
        QCOMPARE(m_emitted, QStringList("state?"));
    }

    void resultsAreListedTheGatewayFirst()
    {
        const QJsonArray fleet{QJsonObject{{"alias", "b"}, {"id", "2"}}, "odd",
                               QJsonObject{{"alias", "%1"}, {"id", "1"}}};
        QVERIFY(m_wizard->showResult({{"fleet", fleet}, {"id", "g"}, {"alias", "house"}}));
        const auto *const list = m_wizard->findChild<QListWidget *>("regResults");
        QStringList lines;
        for (int i = 0; i < list->count(); ++i) {
            lines += list->item(i)->text();
        }
        QCOMPARE(lines, QStringList({"house (gateway): g", "b: 2", ": ", "%1: 1"}));
        button("cloudRestartRegButton")->click();
        QCOMPARE(list->count(), 0);
    }

    void onlyWebPagesAreOpened()
    {
        for (const char *const portal : {"https://portal.example", "file:///usr/bin"}) {
            QDesktopServices::setUrlHandler(QUrl(portal).scheme(), this, "open");
            SettingsStore().set(keys::Portal, QString(portal));
            button("cloudOpenKVGButton")->click();
            QCOMPARE(m_opened, QUrl("https://portal.example/things"));
        }
    }

public slots:
    void open(const QUrl &url) { m_opened = url; }

private:
    QString label() const { return m_wizard->findChild<QLabel *>("regStepLabel")->text(); }
    int step() const { return m_wizard->findChild<QStackedWidget *>("regSteps")->currentIndex(); }
    QPushButton *button(const char *name) const { return m_wizard->findChild<QPushButton *>(name); }
    QCountDownLCD *countdown() const { return m_wizard->findChild<QCountDownLCD *>(); }
    static QInputDialog *prompt()
    {
        return qobject_cast<QInputDialog *>(QApplication::activeModalWidget());
    }

    std::unique_ptr<Wizard> m_wizard;
    QStringList m_emitted; // what the wizard's signals said
    QUrl m_opened;
};

KVG_WIDGET_TEST_MAIN(TestRegistrationWizard)
#include "tst_registrationwizard.moc"
