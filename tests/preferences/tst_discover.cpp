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

        const QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.path());
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=/nonexistent"));
        QProcess program;
        program.setProcessEnvironment(environment);
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

private:
    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(DiscoverTest)
#include "tst_discover.moc"
