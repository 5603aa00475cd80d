// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QuitSignals.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QProcess>
#include <QTest>
#include <QThread>

#include <atomic>
#include <csignal>

using namespace clipmule;

class QuitSignalsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void eachSignalIsOneCallbackFromTheRunLoop_data() {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }
    void eachSignalIsOneCallbackFromTheRunLoop() {
        QFETCH(int, number);
        QList<int> seen;
        const QuitSignals signals([&seen](int signal) { seen.append(signal); });
        raise(number);
        QVERIFY(seen.isEmpty());
        QTRY_COMPARE(seen, QList<int>({number}));
    }

    // A toolkit may have started threads before: the signal may find one of those.
    void aThreadThatWasThereBeforeDoesNotLoseIt() {
        std::atomic<pthread_t> handle{};
        std::atomic<bool> end = false;
        const std::unique_ptr<QThread> thread(QThread::create([&handle, &end] {
            handle = pthread_self();
            end.wait(false);
        }));
        thread->start();
        QTRY_VERIFY(handle != pthread_t{});
        QList<int> seen;
        const QuitSignals signals([&seen](int signal) { seen.append(signal); });
        // NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread): that it is not killed is the point.
        pthread_kill(handle, SIGTERM);
        QTRY_COMPARE(seen, QList<int>({SIGTERM}));
        end = true;
        end.notify_all();
        thread->wait();
    }

    // Whose SIGTERM is blocked, it cannot be ended.
    void aProgramThatWasStartedGetsTheSignalsAsUsual() {
        const QuitSignals signals([](int) {});
        QProcess program;
        program.start(QStringLiteral("cat"), {QStringLiteral("/proc/self/status")});
        QVERIFY(program.waitForFinished());
        const QByteArray status = program.readAllStandardOutput();
        QVERIFY2(status.contains("SigBlk:\t0000000000000000"), status.constData());
    }

    void whatWasThereBeforeIsRestored() {
        struct sigaction before {};
        sigaction(SIGTERM, nullptr, &before);
        {
            const QuitSignals signals([](int) {});
            struct sigaction meanwhile {};
            sigaction(SIGTERM, nullptr, &meanwhile);
            QVERIFY(meanwhile.sa_handler != before.sa_handler);
        }
        struct sigaction after {};
        sigaction(SIGTERM, nullptr, &after);
        QVERIFY(after.sa_handler == before.sa_handler);
    }
};

QTEST_GUILESS_MAIN(QuitSignalsTest)
#include "tst_quitsignals.moc"
