// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/QtRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

// The real program on a network of its own, with avahi-daemon and a phone's announcement.
class DiscoverTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void anAnnouncedPhoneIsShown() {
        const auto responder = dnssd::makeBackend();
        const auto phone = responder->makePublisher();
        QString published;
        phone->onPublished = [&](const QString &name) { published = name; };
        phone->start({QStringLiteral("Anna’s phone. 📱"), QStringLiteral("_clipmule-s2._tcp"),
                      QStringLiteral("local")},
                     7000, QByteArray(1, '\0'));
        QTRY_VERIFY_WITH_TIMEOUT(!published.isEmpty(), 30000);

        QProcess program;
        program.setProcessEnvironment(environment());
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-preferences"),
                      {QStringLiteral("discover"), QStringLiteral("--wait"), QStringLiteral("60")});
        // It says so as soon as the phone is found.
        QTRY_VERIFY_WITH_TIMEOUT(program.canReadLine(), 30000);
        QCOMPARE(program.readLine(), QByteArray("Anna’s phone. 📱\n"));
        program.terminate();
        QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, 30000);
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 128 + 15);
    }

    void aProgramOfTheSessionIsPairedByItsName() {
        const auto session = dnssd::makeLocalBackend(_home.path().toLocal8Bit());
        const auto phone = session->makePublisher();
        phone->start(
            {QStringLiteral("Anna"), QStringLiteral("_clipmule-s2._tcp"), QStringLiteral("local")},
            4711, QByteArray());
        // It ends as soon as the phone is seen.
        QCOMPARE(answerTo({QStringLiteral("local/Anna"), QStringLiteral("--wait=600")}),
                 QByteArray("paired local/Anna as Anna\n"));
        QCOMPARE(
            answerTo({QStringLiteral("local/Zebediah"), QStringLiteral("--wait=0.1")}),
            QByteArray("paired local/Zebediah as Zebediah\nclipmule-preferences: no phone on this "
                       "computer is called local/Zebediah now; it connects when it is there\n"));
        QCOMPARE(answerTo({QStringLiteral("local/Anna"), QStringLiteral("--address=host:80")}),
                 QByteArray("clipmule-preferences: local/Anna is a program on this computer, which "
                            "has no address\n"));
    }

private:
    [[nodiscard]] QProcessEnvironment environment() const {
        QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
        result.insert(QStringLiteral("HOME"), _home.path());
        result.insert(QStringLiteral("XDG_CONFIG_HOME"), _home.path());
        result.insert(QStringLiteral("XDG_RUNTIME_DIR"), _home.path());
        result.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        result.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                      QStringLiteral("unix:path=/nonexistent"));
        return result;
    }
    /// What "pair" says, but for the complaint that there is no bus.
    QByteArray answerTo(const QStringList &arguments) {
        QProcess program;
        program.setProcessEnvironment(environment());
        program.start(QStringLiteral(CLIPMULE_BIN "/clipmule-preferences"),
                      QStringList(QStringLiteral("pair")) + arguments);
        (void)QTest::qWaitFor([&] { return program.state() == QProcess::NotRunning; }, 30000);
        QByteArrayList said;
        for (const QByteArray &line : program.readAllStandardError().split('\n')) {
            if (!line.contains("session bus"))
                said.append(line);
        }
        return program.readAllStandardOutput() + said.join('\n');
    }

    const QTemporaryDir _home;
    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(DiscoverTest)
#include "tst_discover.moc"
