#include "tools/plugincheck/contract.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <optional>

namespace {

const QLatin1String mark("@kvg-plugin-check "); // the plugin may print, too
const char *const words[] = {"ok", "FAILED", "skipped", "unusable"};

void tell(const QString &kind, const QString &text)
{
    const QString line = mark + kind + QLatin1Char(' ') + text.simplified() + QLatin1Char('\n');
    std::fputs(line.toUtf8().constData(), stdout);
    std::fflush(stdout);
}

// Checks one rule, on a thread like the gateway's, and tells the parent process.
int checkHere(const CheckOptions &options, const QString &name)
{
    for (const Rule &rule : contractRules()) {
        if (name == QLatin1String(rule.name)) {
            const std::unique_ptr<QThread> thread(QThread::create([&] {
                const Verdict verdict =
                    checkRule(rule, options, [](const QString &call) { tell("call", call); });
                tell(words[verdict.kind], verdict.text);
            }));
            QObject::connect(thread.get(), &QThread::finished, qApp, &QCoreApplication::quit);
            // From the event loop, because it may deadlock on Windows when a plugin's libraries are
            // loaded while the main thread still makes its first, hidden window.
            QTimer::singleShot(0, thread.get(), [&] { thread->start(); });
            QCoreApplication::exec();
            thread->wait();
        }
    }
    return 0;
}

// Checks one rule in a process of its own, which may crash or hang.
Verdict checkInChild(const Rule &rule, const QStringList &arguments, int timeout)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                QStringList{"--rule", rule.name} + arguments, QIODevice::ReadOnly);
    QElapsedTimer silence; // of the check; what the plugin prints does not count
    silence.start();
    QString lastCall = QStringLiteral("the start of the process");
    std::optional<Verdict> verdict;
    const auto read = [&] {
        while (child.canReadLine()) {
            const QString line = QString::fromUtf8(child.readLine());
            const int begin = line.indexOf(mark);
            const QString told = begin < 0 ? QString() : line.mid(begin + mark.size()).trimmed();
            const QString kind = told.section(QLatin1Char(' '), 0, 0);
            const QString text = told.section(QLatin1Char(' '), 1);
            if (kind == QLatin1String("call")) {
                lastCall = text;
                silence.start();
            }
            for (const auto result :
                 {Verdict::Kept, Verdict::Broken, Verdict::NotChecked, Verdict::Unusable}) {
                if (kind == QLatin1String(words[result])) {
                    verdict = Verdict{result, text};
                    lastCall = QStringLiteral("the end of the process");
                    silence.start();
                }
            }
        }
    };
    while (!silence.hasExpired(timeout) && child.waitForReadyRead(timeout)) {
        read();
    }
    read();
    if (child.state() != QProcess::NotRunning &&
        (silence.hasExpired(timeout) || !child.waitForFinished(timeout))) {
        child.kill();
        child.waitForFinished();
        return {Verdict::Broken, QStringLiteral("hangs in ") + lastCall};
    }
    if (verdict && verdict->kind == Verdict::Broken) {
        return *verdict;
    }
    const QString status = QString::number(child.exitCode());
    if (!verdict || child.exitStatus() == QProcess::CrashExit || child.exitCode() != 0) {
        return {Verdict::Broken,
                child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0
                    ? QStringLiteral("ended the process, or closed its output, in ") + lastCall
                    : QStringLiteral("crashed in %1 (status %2)").arg(lastCall, status)};
    }
    return *verdict;
}

int checkAll(const CheckOptions &options, const QStringList &arguments, int timeout)
{
    std::printf("%s, seed %u\n", qPrintable(QFileInfo(options.file).fileName()), options.seed);
    bool isKept = true;
    Verdict missing; // what keeps the rest from being checked
    for (const Rule &rule : contractRules()) {
        const bool isSkipped = missing.kind == Verdict::Broken ||
                               (missing.kind == Verdict::NotChecked && rule.needsThing);
        const Verdict verdict = isSkipped ? Verdict{Verdict::NotChecked, missing.text}
                                          : checkInChild(rule, arguments, timeout);
        if (verdict.kind == Verdict::Unusable) {
            std::fprintf(stderr, "%s cannot be checked: %s\n", qPrintable(options.file),
                         qPrintable(verdict.text));
            return 2;
        }
        if (verdict.kind != Verdict::Kept && rule.isRequired && missing.kind == Verdict::Kept) {
            missing = verdict;
            if (verdict.kind == Verdict::Broken) {
                missing.text = QStringLiteral("needs \"%1\"").arg(QLatin1String(rule.name));
            }
        }
        isKept = isKept && verdict.kind != Verdict::Broken;
        QString text = QLatin1String(rule.promise);
        if (verdict.kind == Verdict::NotChecked) {
            text = QStringLiteral("not checked: ") + verdict.text;
        } else if (verdict.kind == Verdict::Broken) {
            text = verdict.text;
        } else if (!verdict.text.isEmpty()) {
            text += QStringLiteral(" (%1)").arg(verdict.text);
        }
        std::printf("%-7s  %-8s  %s\n", words[verdict.kind], rule.name, qPrintable(text));
        std::fflush(stdout);
    }
    return isKept ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Checks whether a plugin keeps the contract of device types.\n"
        "Exit status: 0 it does, 1 it breaks a rule, 2 it cannot be loaded, or wrong usage.");
    parser.addPositionalArgument("FILE", "The plugin, thing_<name>.so or thing_<name>.dll.");
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption set("set", "Sets a setting, so that a device is found.", "NAME=VALUE");
    const QCommandLineOption seconds("seconds", "How long to wait for signals (default: 2).", "N",
                                     "2");
    const QCommandLineOption timeout("timeout", "Seconds after which a call hangs (default: 30).",
                                     "N", "30");
    const QCommandLineOption rounds("rounds", "How many random values to try (default: 1000).", "N",
                                    "1000");
    const QCommandLineOption seed("seed", "Repeats the random values of an earlier run.", "N",
                                  QString::number(QRandomGenerator::global()->bounded(1000000)));
    const QCommandLineOption libraries(
        "libraries", "Where the libraries of \"deps\" are (default: beside the plugin).", "FOLDER");
    QCommandLineOption rule("rule", "Checks one rule, in this process.", "NAME");
    rule.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({set, seconds, timeout, rounds, seed, libraries, rule});
    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "%s\n", qPrintable(parser.errorText()));
        return 2;
    }
    if (parser.isSet(help)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    const QStringList files = parser.positionalArguments();
    if (files.size() != 1) {
        std::fputs(qPrintable(parser.helpText()), stderr);
        return 2;
    }
    QString wrong;
    const auto number = [&](const QCommandLineOption &option, double min) {
        constexpr double max = 1000000;
        bool isNumber = false;
        const double value = parser.value(option).toDouble(&isNumber);
        if (!isNumber || !(value >= min && value <= max)) {
            wrong = option.names().constFirst();
        }
        return qBound(min, value, max); // never NaN
    };
    CheckOptions options;
    options.milliseconds = qRound(1000 * number(seconds, 0));
    options.seed = quint32(number(seed, 0));
    options.rounds = int(number(rounds, 0));
    const int limit = qRound(1000 * number(timeout, 1));
    if (!wrong.isEmpty()) {
        std::fprintf(stderr, "--%s: no number in the valid range\n", qPrintable(wrong));
        return 2;
    }
    const QFileInfo file(files.first());
    options.file = file.absoluteFilePath();
    options.libraries = parser.isSet(libraries) ? parser.value(libraries) : file.absolutePath();
    options.settings = parser.values(set);
    if (parser.isSet(rule)) {
        QLoggingCategory::setFilterRules(QStringLiteral("kvg.loader.info=false\nkvg.watch=false"));
        return checkHere(options, parser.value(rule));
    }
    const QStringList arguments =
        QStringList{"--seed", QString::number(options.seed)} + QCoreApplication::arguments().mid(1);
    return checkAll(options, arguments, limit);
}
