#include "settings/settingsstore.h"
#include "tests/support/widgettestmain.h"
#include "ui/registrationwizard.h"
#include "ui/widgets/qcountdownlcd.h"

#include <QAbstractEventDispatcher>
#include <QClipboard>
#include <QDesktopServices>
#include <QInputDialog>
#include <QJsonArray>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>

using Wizard = RegistrationWizard;

class TestRegistrationWizard : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_wizard = std::make_unique<Wizard>();
        m_state = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::stateWanted);
        m_begun = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::registrationWanted);
        m_renamed = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::renameRequested);
    }

    void theFirstStepAsksForTheState_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("canStart");
        QTest::newRow("none") << 0 << "Step 1. Fill in the thing names" << true;
        QTest::newRow("partial") << 1 << "Step 1. Fill in the thing names" << true;
        QTest::newRow("complete") << 2 << "Your registration process is complete" << false;
    }
    void theFirstStepAsksForTheState()
    {
        QFETCH(int, state);
        m_wizard->setStep(Wizard::R_SERIAL);
        QCOMPARE(label(), QString("Querying..."));
        QVERIFY(!button("cloudGetCodeButton")->isEnabled());
        QCOMPARE(m_state->size(), 1);
        m_wizard->showState(state);
        QTEST(label(), "label");
        QTEST(button("cloudGetCodeButton")->isEnabled(), "canStart");

        // An answer that comes late must not relabel a later step.
        m_wizard->on_cloudGetCodeButton_clicked();
        m_wizard->showState(state);
        QCOMPARE(label(), QString("Step 2. Connecting to the cloud"));
        QCOMPARE(step(), int(Wizard::R_CONN));
        QCOMPARE(m_begun->size(), 1);
    }

    void namesAreAskedForInOrderAndThenRegistrationBegins()
    {
        m_wizard->askForAliases({"lamp_1_A", "lamp_1_<i>B_2", "gateway"});
        QStringList proposals;
        for (const char *const name : {"<b>lamp / A</b>", "<b>lamp / &lt;i&gt;B_2</b>",
                                       "<b>gateway / </b>"}) {
            QVERIFY(m_begun->isEmpty());
            QInputDialog *const prompt = openPrompt();
            QVERIFY(prompt != nullptr);
            QCOMPARE(prompt->windowTitle(), QString("Thing Name"));
            QVERIFY2(prompt->labelText().contains(name), qPrintable(prompt->labelText()));
            proposals += prompt->textValue();
            prompt->accept();
        }
        QVERIFY(openPrompt() == nullptr);
        QVERIFY(proposals.at(0).startsWith("lamp_") && proposals.at(2).startsWith("gateway_"));
        QVERIFY(proposals.at(0) != proposals.at(1));
        QCOMPARE(m_renamed->size(), 3);
        QCOMPARE(m_renamed->at(1), QVariantList({"lamp_1_<i>B_2", proposals.at(1)}));
        QCOMPARE(step(), int(Wizard::R_CONN));
        QCOMPARE(m_begun->size(), 1);

        m_wizard->askForAliases({}); // nothing to ask for: at once
        QCOMPARE(m_begun->size(), 2);
    }

    void aCancelledPromptEndsTheRun()
    {
        m_wizard->on_cloudGetCodeButton_clicked();
        m_wizard->askForAliases({"gone_1_A"});
        m_wizard->askForAliases({"lamp_1_A", "lamp_1_B", "lamp_1_C"}); // in place of the former
        QCOMPARE(openPrompts().size(), 1);
        openPrompt()->setTextValue("  desk ");
        openPrompt()->accept();
        openPrompt()->reject();
        QVERIFY(openPrompt() == nullptr);
        QCOMPARE(m_renamed->size(), 1);
        QCOMPARE(m_renamed->first(), QVariantList({"lamp_1_A", "desk"}));
        QCOMPARE(m_begun->size(), 1); // the click alone
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(m_state->size(), 1);
    }

    void codesAreShownAndCopied_data()
    {
        QTest::addColumn<QJsonObject>("code");
        QTest::addColumn<QString>("copied");
        QTest::newRow("value") << QJsonObject{{"value", 42}, {"code", 7}} << "42";
        QTest::newRow("code") << QJsonObject{{"code", 123456}} << "123456";
        QTest::newRow("text") << QJsonObject{{"code", "0042"}} << "42";
        QTest::newRow("long") << QJsonObject{{"value", 2147483647}} << "2147483647";
        QTest::newRow("too long") << QJsonObject{{"value", 1e300}} << "0";
        QTest::newRow("nonsense") << QJsonObject{{"code", QJsonArray{1}}} << "0";
    }
    void codesAreShownAndCopied()
    {
        QFETCH(QJsonObject, code);
        code["timeout"] = 60;
        const QSignalSpy notice(m_wizard.get(), &Wizard::notice);
        m_wizard->showCode(code);
        QCOMPARE(step(), int(Wizard::R_CODE));
        QCOMPARE(label(), QString("Step 3. Enter the code in the cloud"));
        QCOMPARE(countdown()->intValue(), 60);
        QVERIFY(countdown()->isRunning());
        button("cloudCodeCopyButton")->click();
        QTEST(QGuiApplication::clipboard()->text(), "copied");
        QCOMPARE(notice.first(), QVariantList({"Code copied to clipboard", 1500}));
        m_wizard->showResult({});
        QVERIFY(!countdown()->isRunning()); // or it would expire behind the results
    }

    void anExpiredCodeOffersANewSession()
    {
        m_wizard->showCode({{"value", 42}, {"timeout", 1}});
        QVERIFY(!button("cloudExpiredButton")->isVisibleTo(m_wizard.get()));
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(countdown());
        QCOMPARE(timers.size(), 1);
        QTimerEvent tick(timers.first().timerId);
        QCoreApplication::sendEvent(countdown(), &tick);
        QVERIFY(label().startsWith("The code has expired"));
        QVERIFY(!button("cloudCodeCopyButton")->isEnabled());
        QVERIFY(button("cloudExpiredButton")->isVisibleTo(m_wizard.get()));
        button("cloudExpiredButton")->click();
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(m_state->size(), 1);

        m_wizard->showCode({{"value", 43}, {"timeout", 60}});
        QVERIFY(button("cloudCodeCopyButton")->isEnabled());
        QVERIFY(!button("cloudExpiredButton")->isVisibleTo(m_wizard.get()));
    }

    void errorsAreToldAsTheyAre_data()
    {
        QTest::addColumn<QJsonObject>("result");
        QTest::addColumn<QString>("text");
        const QString begin = "Registation has completed with an error.<br>";
        QTest::newRow("escaped") << QJsonObject{{"error", "<b>no</b>"}, {"code", 5}}
                                 << begin + "&lt;b&gt;no&lt;/b&gt; (5)";
        QTest::newRow("without code") << QJsonObject{{"error", 12}} << begin + "12 (0)";
        QTest::newRow("place holder") << QJsonObject{{"error", "%1"}} << begin + "%1 (0)";
    }
    void errorsAreToldAsTheyAre()
    {
        QFETCH(QJsonObject, result);
        result["id"] = "x";
        result["alias"] = "y";
        QVERIFY(!m_wizard->showResult(result));
        auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        QVERIFY(box != nullptr);
        QCOMPARE(box->windowTitle(), QString("Registration Error"));
        QTEST(box->text(), "text");
        box->button(QMessageBox::Ok)->click();
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(results(), QString());
    }

    void resultsAreListedTheGatewayFirst_data()
    {
        QTest::addColumn<QJsonObject>("result");
        QTest::addColumn<QString>("lines");
        const QJsonArray fleet{QJsonObject{{"alias", "b"}, {"id", "2"}}, "odd",
                               QJsonObject{{"alias", "%1"}, {"id", "1"}}};
        QTest::newRow("all") << QJsonObject{{"fleet", fleet}, {"id", "g"}, {"alias", "house"}}
                             << "house (gateway): g|b: 2|: |%1: 1";
        QTest::newRow("fleet alone") << QJsonObject{{"fleet", fleet}, {"id", "g"}}
                                     << "b: 2|: |%1: 1";
        QTest::newRow("empty") << QJsonObject{{"fleet", 3}} << "";
    }
    void resultsAreListedTheGatewayFirst()
    {
        QFETCH(QJsonObject, result);
        QVERIFY(m_wizard->showResult({{"id", "former"}, {"alias", "former"}}));
        QVERIFY(m_wizard->showResult(result));
        QCOMPARE(step(), int(Wizard::R_FIN));
        QTEST(results(), "lines");
        button("cloudRestartRegButton")->click();
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(results(), QString());
    }

    void onlyWebPagesAreOpened()
    {
        for (const char *const scheme : {"https", "file"}) {
            QDesktopServices::setUrlHandler(scheme, this, "open");
        }
        m_wizard->showCode({});
        SettingsStore().set(keys::Portal, QString("https://portal.example"));
        button("cloudOpenKVGButton")->click();
        QCOMPARE(m_opened, QUrl("https://portal.example/things"));
        SettingsStore().set(keys::Portal, QString("file:///usr/bin"));
        button("cloudOpenKVGButton")->click();
        QCOMPARE(m_opened, QUrl("https://portal.example/things"));
    }

public slots:
    void open(const QUrl &url) { m_opened = url; }

private:
    QString label() const { return m_wizard->findChild<QLabel *>("regStepLabel")->text(); }
    int step() const { return m_wizard->findChild<QStackedWidget *>("regSteps")->currentIndex(); }
    QPushButton *button(const char *name) const { return m_wizard->findChild<QPushButton *>(name); }
    QCountDownLCD *countdown() const { return m_wizard->findChild<QCountDownLCD *>(); }
    QString results() const
    {
        QStringList lines;
        const auto *const list = m_wizard->findChild<QListWidget *>("regResults");
        for (int i = 0; i < list->count(); ++i) {
            lines += list->item(i)->text();
        }
        return lines.join('|');
    }
    QList<QInputDialog *> openPrompts() const
    {
        QList<QInputDialog *> open;
        for (QInputDialog *const prompt : m_wizard->findChildren<QInputDialog *>()) {
            if (prompt->isVisible()) {
                open += prompt;
            }
        }
        return open;
    }
    QInputDialog *openPrompt() const { return openPrompts().value(0); }

    std::unique_ptr<Wizard> m_wizard;
    std::unique_ptr<QSignalSpy> m_state;
    std::unique_ptr<QSignalSpy> m_begun;
    std::unique_ptr<QSignalSpy> m_renamed;
    QUrl m_opened;
};

KVG_WIDGET_TEST_MAIN(TestRegistrationWizard)
#include "tst_registrationwizard.moc"
