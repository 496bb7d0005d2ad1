#include "settings/settingsstore.h"
#include "tests/support/testclock.h"
#include "tests/support/widgettestmain.h"
#include "ui/registrationwizard.h"
#include "ui/widgets/qcountdownlcd.h"

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
        m_asked = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::stateWanted);
        m_begun = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::registrationWanted);
        m_renamed = std::make_unique<QSignalSpy>(m_wizard.get(), &Wizard::renameRequested);
    }

    void namesAreAskedForInOrderAndThenRegistrationBegins()
    {
        m_wizard->askForAliases({"lamp_1_A", "lamp_1_<i>B_2"});
        QStringList proposals;
        for (const char *const name : {"<b>lamp / A</b>", "<b>lamp / &lt;i&gt;B_2</b>"}) {
            QVERIFY(m_begun->isEmpty());
            QCOMPARE(prompts().size(), 1);
            QVERIFY2(prompts().at(0)->labelText().contains(name), name);
            proposals += prompts().at(0)->textValue();
            prompts().at(0)->accept();
        }
        QVERIFY(proposals.at(0).startsWith("lamp_") && proposals.at(1).startsWith("lamp_"));
        QVERIFY(proposals.at(0) != proposals.at(1));
        QCOMPARE(m_renamed->size(), 2);
        QCOMPARE(m_renamed->at(1), QVariantList({"lamp_1_<i>B_2", proposals.at(1)}));
        m_wizard->showState(0); // an answer that comes late must not relabel a later step
        QCOMPARE(label(), QString("Step 2. Connecting to the cloud"));
        QCOMPARE(m_begun->size(), 1);
    }

    void aCancelledPromptEndsTheRun()
    {
        m_wizard->askForAliases({"gone_1_A"});
        m_wizard->askForAliases({"lamp_1_A", "lamp_1_B", "lamp_1_C"}); // in place of the former
        QCOMPARE(prompts().size(), 1);
        prompts().at(0)->setTextValue("  desk ");
        prompts().at(0)->accept();
        prompts().at(0)->reject();
        QVERIFY(prompts().isEmpty());
        QCOMPARE(m_renamed->size(), 1);
        QCOMPARE(m_renamed->first(), QVariantList({"lamp_1_A", "desk"}));
        QVERIFY(m_begun->isEmpty());
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(m_asked->size(), 1);
    }

    void codesAreShownAndCopied()
    {
        const std::pair<QJsonObject, QString> rows[] = {
            {{{"value", 42}, {"code", 7}, {"timeout", 60}}, "42"},
            {{{"code", "0042"}, {"timeout", 60}}, "42"},
            {{{"value", 2147483647}, {"timeout", 60}}, "2147483647"}};
        for (const auto &[code, copied] : rows) {
            init();
            m_wizard->showCode(code);
            QCOMPARE(step(), int(Wizard::R_CODE));
            QCOMPARE(countdown()->intValue(), 60);
            button("cloudCodeCopyButton")->click();
            QCOMPARE(QGuiApplication::clipboard()->text(), copied);
            m_wizard->showResult({});
            QVERIFY(!countdown()->isRunning()); // or it would expire behind the results
        }
        for (const QJsonValue &unknown : {QJsonValue(), QJsonValue("soon"), QJsonValue(-1)}) {
            m_wizard->showCode({{"value", 42}, {"timeout", unknown}});
            QCOMPARE(step(), int(Wizard::R_CODE));
            QVERIFY(!countdown()->isRunning() && countdown()->isHidden());
        }
        m_wizard->showCode({{"value", 42}, {"timeout", 60}});
        QVERIFY(countdown()->isRunning() && !countdown()->isHidden());
    }

    void anExpiredCodeOffersANewSession()
    {
        m_wizard->showCode({{"value", 42}, {"timeout", 1}});
        testclock::advance(std::chrono::milliseconds(1100));
        QCoreApplication::processEvents();
        QVERIFY(label().startsWith("The code has expired"));
        QVERIFY(!button("cloudCodeCopyButton")->isEnabled());
        const QSignalSpy cancelled(m_wizard.get(), &Wizard::registrationCancelled);
        button("cloudExpiredButton")->click();
        QCOMPARE(cancelled.size(), 1); // or the next session would find the registrar busy
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(m_asked->size(), 1);

        m_wizard->showCode({{"value", 42}, {"timeout", 60}}); // was on its way
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        m_wizard->on_cloudGetCodeButton_clicked();
        m_wizard->showCode({{"value", 43}, {"timeout", 60}});
        QVERIFY(button("cloudCodeCopyButton")->isEnabled());
    }

    void aCodeThatIsNoneEndsTheSession()
    {
        const QSignalSpy cancelled(m_wizard.get(), &Wizard::registrationCancelled);
        for (const QJsonObject &code :
             {QJsonObject{{"value", 1e300}, {"timeout", 60}}, {{"code", QJsonArray{1}}}, {}}) {
            m_wizard->showCode(code);
            QCOMPARE(step(), int(Wizard::R_SERIAL));
        }
        QCOMPARE(cancelled.size(), 3);
    }

    void errorsAreToldAsTheyAre()
    {
        const QMap<QString, QJsonObject> errors{
            {"&lt;b&gt;no&lt;/b&gt; (5)", {{"error", "<b>no</b>"}, {"code", 5}, {"id", "x"}}},
            {"12 (0)", {{"error", 12}}},
            {"%1 (0)", {{"error", "%1"}}}};
        for (auto it = errors.begin(); it != errors.end(); ++it) {
            QVERIFY(!m_wizard->showResult(it.value()));
            auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box != nullptr);
            QCOMPARE(box->windowTitle(), QString("Registration Error"));
            QCOMPARE(box->text(), "Registation has completed with an error.<br>" + it.key());
            box->button(QMessageBox::Ok)->click();
            QCOMPARE(step(), int(Wizard::R_SERIAL));
        }
        QCOMPARE(m_asked->size(), 3);
    }

    void resultsAreListedTheGatewayFirst()
    {
        const QJsonArray fleet{QJsonObject{{"alias", "b"}, {"id", "2"}}, "odd",
                               QJsonObject{{"alias", "%1"}, {"id", "1"}}};
        QVERIFY(m_wizard->showResult({{"fleet", fleet}, {"id", "g"}, {"alias", "house"}}));
        QCOMPARE(results(), QString("house (gateway): g|b: 2|: |%1: 1"));
        button("cloudRestartRegButton")->click();
        QCOMPARE(step(), int(Wizard::R_SERIAL));
        QCOMPARE(results(), QString());
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
    QString results() const
    {
        QStringList lines;
        const auto *const list = m_wizard->findChild<QListWidget *>("regResults");
        for (int i = 0; i < list->count(); ++i) {
            lines += list->item(i)->text();
        }
        return lines.join('|');
    }
    QList<QInputDialog *> prompts() const
    {
        auto prompts = m_wizard->findChildren<QInputDialog *>();
        const auto isOver = [](const QInputDialog *prompt) { return !prompt->isVisible(); };
        prompts.erase(std::remove_if(prompts.begin(), prompts.end(), isOver), prompts.end());
        return prompts;
    }

    std::unique_ptr<Wizard> m_wizard;
    std::unique_ptr<QSignalSpy> m_asked;
    std::unique_ptr<QSignalSpy> m_begun;
    std::unique_ptr<QSignalSpy> m_renamed;
    QUrl m_opened;
};

KVG_WIDGET_TEST_MAIN(TestRegistrationWizard)
#include "tst_registrationwizard.moc"
