// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <ctime>
#include <memory>

using namespace clipmule;

namespace {

std::unique_ptr<RunLoop> makeRunLoop(const QString &name) {
    if (name == u"manual")
        return std::make_unique<kit::ManualRunLoop>();
    return std::make_unique<QtRunLoop>();
}

} // namespace

// One contract, over the real run loop and the manual one.
class RunLoopTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void firesInOrderOfTime_data() { backends(); }
    void firesInOrderOfTime() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        QString order;
        const auto late = loop->performAfter(RunLoop::Seconds(0.03), [&] { order += u'b'; });
        const auto early = loop->performAfter(RunLoop::Seconds(0.01), [&] { order += u'a'; });
        QVERIFY(late.isPending());
        loop->runFor(RunLoop::Seconds(0.05));
        QCOMPARE(order, QStringLiteral("ab"));
        QVERIFY(!late.isPending());
    }

    void destroyedHandleCancels_data() { backends(); }
    void destroyedHandleCancels() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        bool fired = false;
        {
            const auto timer = loop->performAfter(RunLoop::Seconds(0.001), [&] { fired = true; });
        }
        loop->runFor(RunLoop::Seconds(0.01));
        QVERIFY(!fired);
    }

    void assignmentCancelsThePendingOne_data() { backends(); }
    void assignmentCancelsThePendingOne() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        int first = 0;
        int second = 0;
        auto timer = loop->performAfter(RunLoop::Seconds(0.001), [&] { ++first; });
        timer = loop->performAfter(RunLoop::Seconds(0.002), [&] { ++second; });
        loop->runFor(RunLoop::Seconds(0.02));
        QCOMPARE(first, 0);
        QCOMPARE(second, 1);
    }

    void repeatsUntilItsCallbackCancelsIt_data() { backends(); }
    void repeatsUntilItsCallbackCancelsIt() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        int beats = 0;
        RunLoop::Timer timer;
        timer = loop->performEvery(RunLoop::Seconds(0.002), [&] {
            if (++beats == 3)
                timer.cancel();
        });
        loop->runFor(RunLoop::Seconds(0.1));
        QCOMPARE(beats, 3);
    }

    void callbackMayDestroyTheOwnerOfItsTimer_data() { backends(); }
    void callbackMayDestroyTheOwnerOfItsTimer() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        struct Owner {
            RunLoop::Timer timer;
            std::shared_ptr<int> value = std::make_shared<int>(7);
        };
        auto owner = std::make_unique<Owner>();
        int seen = 0;
        owner->timer = loop->performAfter(RunLoop::Seconds(0.001), [&, value = owner->value] {
            owner.reset();
            seen = *value; // the captures of a running callback are still there
        });
        loop->runFor(RunLoop::Seconds(0.02));
        QCOMPARE(seen, 7);
    }

    void nothingFiresFromInsideTheRequest_data() { backends(); }
    void nothingFiresFromInsideTheRequest() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        bool fired = false;
        loop->performSoon([&] { fired = true; });
        QVERIFY(!fired);
        loop->runFor(RunLoop::Seconds(0.01));
        QVERIFY(fired);
    }

    void aHandleMayOutliveItsRunLoop_data() { backends(); }
    void aHandleMayOutliveItsRunLoop() {
        QFETCH(QString, backend);
        auto loop = makeRunLoop(backend);
        auto timer = loop->performAfter(RunLoop::Seconds(1), [] {});
        loop.reset();
        timer.cancel();
        QVERIFY(!timer.isPending());
    }

    void pauseRunsNothing_data() { backends(); }
    void pauseRunsNothing() {
        QFETCH(QString, backend);
        const auto loop = makeRunLoop(backend);
        bool fired = false;
        const auto timer = loop->performAfter(RunLoop::Seconds(0.001), [&] { fired = true; });
        const auto before = loop->now();
        loop->pause(RunLoop::Seconds(0.005));
        QVERIFY(!fired);
        QVERIFY(loop->now() - before >= RunLoop::Seconds(0.0049));
        loop->runFor(RunLoop::Seconds(0.005));
        QVERIFY(fired);
    }

    // By the processor's time, which no other program takes.
    void aTurnThatTakesLongIsTold_data() {
        QTest::addColumn<QByteArray>("limit");
        QTest::addColumn<bool>("isTold");
        QTest::newRow("below") << QByteArray("5") << true;
        QTest::newRow("above") << QByteArray("1e6") << false;
        QTest::newRow("none") << QByteArray() << false;
        QTest::newRow("no number") << QByteArray("x") << false;
    }
    void aTurnThatTakesLongIsTold() {
        QFETCH(QByteArray, limit);
        QFETCH(bool, isTold);
        if (!limit.isNull())
            qputenv("CLIPMULE_LOOP_LIMIT", limit);
        QtRunLoop loop;
        qunsetenv("CLIPMULE_LOOP_LIMIT");
        static int told = 0;
        told = 0;
        const auto before =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
                told += text.startsWith(u"the run loop was held for ") ? 1 : 0;
            });
        const auto spin = loop.performAfter(RunLoop::Seconds(0), [] {
            const std::clock_t start = std::clock();
            while (std::clock() - start < CLOCKS_PER_SEC / 50) {
            }
        });
        loop.runFor(RunLoop::Seconds(0.001));
        // Waiting takes no processor's time.
        loop.pause(RunLoop::Seconds(0.02));
        loop.runFor(RunLoop::Seconds(0.001));
        qInstallMessageHandler(before);
        QCOMPARE(told, isTold ? 1 : 0);
    }

    void manualClockStandsAtTheTimeOfWhatFires() {
        kit::ManualRunLoop loop;
        const auto start = loop.now();
        RunLoop::Seconds seen{};
        const auto timer =
            loop.performAfter(RunLoop::Seconds(2), [&] { seen = loop.now() - start; });
        loop.advance(5.0);
        QCOMPARE(seen.count(), 2.0);
        QCOMPARE((loop.now() - start).count(), 5.0);
    }

    void aLoopOfZeroDelaysDoesNotHoldTheManualClock() {
        kit::ManualRunLoop loop;
        int turns = 0;
        RunLoop::Timer timer;
        std::function<void()> again = [&] {
            ++turns;
            timer = loop.performAfter(RunLoop::Seconds(0), again);
        };
        again();
        loop.runOnce();
        QCOMPARE(turns, 2);
    }

    void installationRestoresThePreviousOne() {
        kit::ManualRunLoop outer;
        kit::ManualRunLoop inner;
        const RunLoop::Installation first(outer);
        {
            const RunLoop::Installation second(inner);
            QCOMPARE(&RunLoop::current(), static_cast<RunLoop *>(&inner));
        }
        QCOMPARE(&RunLoop::current(), static_cast<RunLoop *>(&outer));
    }

private:
    static void backends() {
        QTest::addColumn<QString>("backend");
        QTest::newRow("manual") << QStringLiteral("manual");
        QTest::newRow("qt") << QStringLiteral("qt");
    }
};

QTEST_GUILESS_MAIN(RunLoopTest)
#include "tst_runloop.moc"
