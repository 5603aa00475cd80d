// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/backends/file/FilePreferencesDatabase.h"
#include "support/Settings.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusConnection>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

using namespace clipmule;

namespace {

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");

class ChangeCounter final : public Object {
public:
    void changed() { ++count; }
    int count = 0;
};

} // namespace

// The real program, in a home of its own, on a real session bus, beside a process that listens as
// the agent does.
class ClipmulePreferencesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _home = std::make_unique<QTemporaryDir>();
        QVERIFY(_bus.start());
    }

    void end() override { _bus.stop(); }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
    }
    void aRunningAgentFollowsAtOnce() {
        FilePreferencesDatabase database(folder());
        const auto notifications = makeDistributedNotifications();
        ZRKUserDefaults::Environment environment;
        environment.database = &database;
        environment.distributedNotifications = notifications.get();
        const auto center = std::make_shared<ZRKNotificationCenter>();
        environment.localCenter = center.get();
        ChangeCounter shared;
        ChangeCounter own;
        center->addObserver(&shared, selector<&ChangeCounter::changed>("changed"),
                            ZRKUserDefaultsDidChangeNotification);
        center->addObserver(&own, selector<&ChangeCounter::changed>("changed"),
                            NSUserDefaultsDidChangeNotification);
        const auto sharedDefaults = ZRKUserDefaults::initWithIdentifier(sharedDomain, environment);
        sharedDefaults->listenForChanges();
        const auto agentDefaults = Settings::openForAgent(environment);
        awaitDelivery(*notifications); // both observe now

        run({QStringLiteral("register"), QStringLiteral("Anna’s phone"), QStringLiteral("--name"),
             QStringLiteral("Anna"), QStringLiteral("--wait=0")});
        QCOMPARE(_status, 0);
        QCOMPARE(_output, QByteArray("paired Anna’s phone as Anna\n"));
        QCOMPARE(_errors, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(shared.count, 1, kit::patience);
        const auto phones = sharedDefaults->objectForKey(QStringLiteral("serverServices"));
        QVERIFY(phones);
        const PropertyList expected = PropertyList::List{PropertyList::Dictionary{
            {QStringLiteral("serverService"), QStringLiteral("Anna’s phone")},
            {QStringLiteral("serverName"), QStringLiteral("Anna")}}};
        QCOMPARE(*phones, expected);
        QCOMPARE(own.count, 0);

        run({QStringLiteral("disable")});
        QCOMPARE(_status, 0);
        QTRY_COMPARE_WITH_TIMEOUT(own.count, 1, kit::patience);
        QCOMPARE(agentDefaults->objectForKey(QStringLiteral("syncEnabled")),
                 std::optional(PropertyList(false)));
        QCOMPARE(shared.count, 1);

        // And the other way round: what the agent writes, the program shows.
        agentDefaults->setBoolForKey(true, QStringLiteral("syncEnabled"));
        run({QStringLiteral("get"), QStringLiteral("syncEnabled"), QStringLiteral("--domain"),
             QStringLiteral("agent")});
        QCOMPARE(_output, QByteArray("true\n"));
        center->removeObserver(&shared);
        center->removeObserver(&own);
    }

    void settingsLastFromOneRunToTheNext() {
        run({QStringLiteral("set"), QStringLiteral("ratio"), QStringLiteral("0.5")});
        QCOMPARE(_status, 0);
        QCOMPARE(_output, QByteArray());
        run({QStringLiteral("get"), QStringLiteral("ratio")});
        QCOMPARE(_output, QByteArray("0.5\n"));
        QVERIFY(QFile::exists(folder() + QStringLiteral("/com.zendrik.ClipmuleSync.shared.plist")));
        run({QStringLiteral("list")});
        QCOMPARE(_status, 0);
        QCOMPARE(_output, QByteArray());
    }

    void theStatusKnowsWhetherAnAgentRuns() {
        run({QStringLiteral("status")});
        QCOMPARE(_status, 0);
        QVERIFY(_output.contains("\nagent: not running\n"));
        BusConnection agent(BusConnection::Bus::Session);
        QVERIFY(agent.open());
        QVERIFY(QDBusConnection(agent.connection())
                    .registerService(QStringLiteral("com.zendrik.ClipmuleSync")));
        run({QStringLiteral("status")});
        // It has the name, and tells nothing.
        QVERIFY(_output.contains("\nagent: running, but it does not answer\n"));
    }

    // A watch ends well when it is interrupted.
    void aWatchEndsWhenItIsInterrupted_data() {
        QTest::addColumn<int>("signal");
        QTest::newRow("interrupted") << SIGINT;
        QTest::newRow("terminated") << SIGTERM;
    }
    void aWatchEndsWhenItIsInterrupted() {
        QFETCH(int, signal);
        QProcess program;
        program.setProcessEnvironment(environment());
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-preferences"),
                      {QStringLiteral("status"), QStringLiteral("--watch")});
        QTRY_VERIFY_WITH_TIMEOUT(program.canReadLine(), kit::patience);
        QVERIFY(program.readLine().startsWith("{\"agentRuns\":false,\"enabled\":true,"));
        run({QStringLiteral("disable")});
        QTRY_VERIFY_WITH_TIMEOUT(program.canReadLine(), kit::patience);
        QVERIFY(program.readLine().startsWith("{\"agentRuns\":false,\"enabled\":false,"));
        QCOMPARE(::kill(pid_t(program.processId()), signal), 0);
        QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, kit::patience);
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        QCOMPARE(program.readAllStandardError(), QByteArray());
    }

    void withoutABusSettingsAreSavedAllTheSame() {
        _bus.stop();
        run({QStringLiteral("disable")});
        QCOMPARE(_status, 0);
        QCOMPARE(_output, QByteArray("sync is off\n"));
        // That, and nothing else.
        QCOMPARE(_errors, QByteArray("clipmule-preferences: saved, but without a session bus a "
                                     "running agent is not told\n"));
        run({QStringLiteral("status")});
        QCOMPARE(_status, 0);
        QVERIFY(_output.startsWith("sync: off\nagent: unknown (no session bus)\n"));
    }

    void aFolderThatCannotBeWrittenIsAFailure() {
        QFile file(_home->filePath(QStringLiteral("clipmule-sync")));
        QVERIFY(file.open(QIODevice::WriteOnly)); // a file where the folder should be
        run({QStringLiteral("set"), QStringLiteral("key"), QStringLiteral("7")});
        QCOMPARE(_status, 1);
        const QByteArray reason = _home->filePath(QStringLiteral("clipmule-sync")).toUtf8();
        QVERIFY(_errors.contains("clipmule-preferences: key could not be written: " + reason +
                                 "/.lock: Not a directory\n"));
    }

    void aDamagedFileIsKeptAside() {
        QVERIFY(QDir().mkpath(folder()));
        QFile file(folder() + QStringLiteral("/com.zendrik.ClipmuleSync.shared.plist"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("half a <");
        file.close();
        run({QStringLiteral("register"), QStringLiteral("one"), QStringLiteral("--wait=0")});
        QCOMPARE(_status, 0);
        QFile aside(file.fileName() + QStringLiteral(".damaged-1"));
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), QByteArray("half a <"));
        run({QStringLiteral("list")});
        QCOMPARE(_output, QByteArray("one\tone\n"));
    }

    // In a file with time and kind, for the journal with the number that it sorts by.
    void logLinesCarryTheirPriority() {
        QVERIFY(QDir().mkpath(folder()));
        QFile damaged(folder() + QStringLiteral("/com.zendrik.ClipmuleSync.shared.plist"));
        QVERIFY(damaged.open(QIODevice::WriteOnly));
        damaged.write("half a <");
        damaged.close();
        QFile log(_home->filePath(QStringLiteral("log")));
        QVERIFY(log.open(QIODevice::ReadWrite));
        struct stat status {};
        QCOMPARE(::fstat(log.handle(), &status), 0);
        QProcessEnvironment forJournal = environment();
        forJournal.insert(QStringLiteral("JOURNAL_STREAM"),
                          QStringLiteral("%1:%2").arg(status.st_dev).arg(status.st_ino));
        const auto firstLine = [&](const QProcessEnvironment &variables) {
            QProcess program;
            program.setProcessEnvironment(variables);
            program.setStandardErrorFile(log.fileName(), QIODevice::Append);
            program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-preferences"),
                          {QStringLiteral("list")});
            const bool hasEnded = program.waitForFinished();
            const QByteArray line = log.readLine();
            log.readAll();
            return hasEnded ? QString::fromUtf8(line) : QString();
        };
        const QString inFile = firstLine(environment());
        QVERIFY2(
            QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d warning "
                                              "clipmule\\.preferences: preferences not read"))
                .match(inFile)
                .hasMatch(),
            qPrintable(inFile));
        const QString inJournal = firstLine(forJournal);
        QVERIFY2(inJournal.startsWith(u"<4>clipmule.preferences: preferences not read"),
                 qPrintable(inJournal));
    }

    void badArgumentsGiveOneLineAndStatus2_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("unknown command") << QStringList{QStringLiteral("frobnicate")};
        QTest::newRow("missing operand") << QStringList{QStringLiteral("register")};
        QTest::newRow("unknown option alone") << QStringList{QStringLiteral("--nonsense")};
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("list"), QStringLiteral("--colour")};
        QTest::newRow("line break")
            << QStringList{QStringLiteral("register"), QStringLiteral("a\nb")};
    }
    void badArgumentsGiveOneLineAndStatus2() {
        QFETCH(QStringList, arguments);
        run(arguments);
        QCOMPARE(_status, 2);
        QCOMPARE(_output, QByteArray());
        QVERIFY(_errors.startsWith("clipmule-preferences: "));
        QCOMPARE(_errors.count('\n'), 1);
        QVERIFY(_errors.endsWith('\n'));
        QVERIFY(!QFile::exists(folder()));
    }

    // Without a command there is a window, where there is a display.
    void withoutADisplayItTellsSo_data() {
        QTest::addColumn<QByteArray>("display");
        QTest::newRow("none") << QByteArray();
        QTest::newRow("named, and empty") << QByteArray("");
        QTest::newRow("nobody answers") << QByteArray(":7654");
    }
    void withoutADisplayItTellsSo() {
        QFETCH(QByteArray, display);
        for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            qunsetenv(variable);
        if (!display.isNull())
            qputenv("DISPLAY", display);
        run({});
        QCOMPARE(_status, 1);
        QCOMPARE(_errors, QByteArray("clipmule-preferences: there is no display to open a window "
                                     "on; --help tells what can be done without\n"));
        QVERIFY(!QFile::exists(folder()));
    }

    void helpAndVersion() {
        run({QStringLiteral("--help")});
        QCOMPARE(_status, 0);
        QVERIFY(_output.startsWith("Usage: clipmule-preferences [COMMAND [OPTION…]]"));
        run({QStringLiteral("--version")});
        QCOMPARE(_status, 0);
        QVERIFY(
            QRegularExpression(QStringLiteral("^clipmule-preferences [0-9]+\\.[0-9]+\\.[0-9]+\n$"))
                .match(QString::fromUtf8(_output))
                .hasMatch());
    }

private:
    QString folder() const { return _home->filePath(QStringLiteral("clipmule-sync")); }

    static void awaitDelivery(DistributedNotifications &notifications) {
        bool done = false;
        notifications.whenDelivered([&](bool) { done = true; });
        QTRY_VERIFY_WITH_TIMEOUT(done, kit::patience);
    }

    [[nodiscard]] QProcessEnvironment environment() const {
        QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
        result.insert(QStringLiteral("HOME"), _home->path());
        result.insert(QStringLiteral("XDG_CONFIG_HOME"), _home->path());
        result.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        return result;
    }
    void run(const QStringList &arguments) {
        QProcess program;
        program.setProcessEnvironment(environment());
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-preferences"), arguments);
        // The run loop goes on meanwhile: this process listens.
        QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, kit::patience);
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        _status = program.exitCode();
        _output = program.readAllStandardOutput();
        _errors = program.readAllStandardError();
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<QTemporaryDir> _home;
    QByteArray _output;
    QByteArray _errors;
    int _status = -1;
};

QTEST_GUILESS_MAIN(ClipmulePreferencesTest)
#include "tst_clipmule_preferences.moc"
