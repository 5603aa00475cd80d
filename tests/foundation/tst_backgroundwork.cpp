// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/BackgroundWork.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/ManualWork.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"

#include <QTest>
#include <QThread>

#include <semaphore>

using namespace clipmule;
using namespace Qt::StringLiterals;
using Abandoned = BackgroundWork::Abandoned;
using Semaphore = std::counting_semaphore<>; // a thread sanitizer does not know Qt's

namespace {

// Waits until somebody gives it up.
int untilAbandoned(const Abandoned &isAbandoned, Semaphore &begun) {
    begun.release();
    while (!isAbandoned)
        QThread::yieldCurrentThread();
    return 1;
}

} // namespace

class BackgroundWorkTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theResultComesBackToTheRunLoop() {
        BackgroundWork work;
        QVERIFY(!work.isRunning());
        QList<int> results;
        std::atomic<QThread *> worker = nullptr;
        work.start<int>(
            [&](const Abandoned &isAbandoned) {
                worker = QThread::currentThread();
                return isAbandoned ? 0 : 42;
            },
            [&](int result) {
                QCOMPARE(QThread::currentThread(), QCoreApplication::instance()->thread());
                QVERIFY(!work.isRunning());
                results.append(result);
            });
        QVERIFY(work.isRunning());
        QVERIFY(results.isEmpty());
        QVERIFY(QTest::qWaitFor([&] { return !results.isEmpty(); }));
        QVERIFY(worker.load() && worker.load() != QThread::currentThread());
        QCOMPARE(results, QList<int>{42});
    }

    void theNewerOneIsHeardOfOnly() {
        BackgroundWork work;
        Semaphore begun{0};
        bool isOlderHeardOf = false;
        work.start<int>([&](const Abandoned &flag) { return untilAbandoned(flag, begun); },
                        [&](int) { isOlderHeardOf = true; });
        begun.acquire();
        QStringList results;
        work.start<QString>([](const Abandoned &) { return u"newer"_s; },
                            [&](const QString &result) { results.append(result); });
        QVERIFY(QTest::qWaitFor([&] { return !results.isEmpty(); }));
        QVERIFY(!isOlderHeardOf);
        QCOMPARE(results, QStringList{u"newer"_s});
    }

    // What waits behind it is let go of at once, with its input.
    void oneAtATime() {
        BackgroundWork work;
        Semaphore begun{0};
        std::atomic_int atWork = 0;
        std::atomic_int most = 0;
        const auto input = std::make_shared<int>(7);
        const auto task = [&](const Abandoned &flag) {
            most = std::max(most.load(), ++atWork);
            const int result = untilAbandoned(flag, begun);
            --atWork;
            return result;
        };
        work.start<int>(task, [](int) {});
        begun.acquire();
        work.start<int>([input](const Abandoned &) { return *input; }, [](int) {});
        work.start<int>(task, [](int) {});
        begun.acquire();
        QCOMPARE(input.use_count(), 1L);
        work.start<int>([](const Abandoned &) { return 1; }, [](int) {});
        QVERIFY(QTest::qWaitFor([&] { return !work.isRunning(); }));
        QCOMPARE(most.load(), 1);
    }

    void abandonedItIsNotHeardOf() {
        BackgroundWork work;
        Semaphore begun{0};
        bool isHeardOf = false;
        const auto heard = [&](int) { isHeardOf = true; };
        work.start<int>([&](const Abandoned &flag) { return untilAbandoned(flag, begun); }, heard);
        begun.acquire();
        work.abandon();
        QVERIFY(!work.isRunning());
        // Nor when its result is on its way already.
        Semaphore done{0};
        work.start<int>(
            [&](const Abandoned &) {
                done.release();
                return 1;
            },
            heard);
        done.acquire();
        work.abandon();
        bool isNextDone = false;
        work.start<int>([](const Abandoned &) { return 1; }, [&](int) { isNextDone = true; });
        QVERIFY(QTest::qWaitFor([&] { return isNextDone; }));
        QVERIFY(!isHeardOf);
    }

    void itsEndWaitsForTheThread() {
        std::atomic_bool isEnded = false;
        bool isHeardOf = false;
        {
            BackgroundWork work;
            Semaphore begun{0};
            work.start<int>(
                [&](const Abandoned &flag) {
                    const int result = untilAbandoned(flag, begun);
                    isEnded = true;
                    return result;
                },
                [&](int) { isHeardOf = true; });
            begun.acquire();
        }
        QVERIFY(isEnded);
        QCoreApplication::processEvents();
        QVERIFY(!isHeardOf);
    }

    void theCallbackMayStartAnotherOrEndIt() {
        auto work = std::make_unique<BackgroundWork>();
        bool isSecondDone = false;
        work->start<int>([](const Abandoned &) { return 1; },
                         [&](int first) {
                             work->start<int>([first](const Abandoned &) { return first + 1; },
                                              [&](int second) {
                                                  work.reset();
                                                  isSecondDone = second == 2;
                                              });
                         });
        QVERIFY(QTest::qWaitFor([&] { return !work; }));
        QVERIFY(isSecondDone);
    }

    void aTestDecidesWhenItIsDone() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        QStringList done;
        {
            kit::ManualWork manual;
            BackgroundWork first;
            BackgroundWork second;
            const auto start = [&](BackgroundWork &work, const QString &name) {
                work.start<QString>([name](const Abandoned &) { return name; },
                                    [&](const QString &result) { done.append(result); });
            };
            start(first, u"soon"_s);
            QVERIFY(done.isEmpty());
            QVERIFY(kit::settle(runLoop));
            QCOMPARE(done, QStringList{u"soon"_s});
            manual.hold();
            start(first, u"given up"_s);
            start(first, u"first"_s);
            start(second, u"second"_s);
            QVERIFY(kit::settle(runLoop));
            QCOMPARE(manual.waiting(), 3);
            manual.doNext();
            QCOMPARE(done.size(), 1);
            manual.doNext();
            QCOMPARE(done.last(), u"first"_s);
            QVERIFY(second.isRunning());
            {
                BackgroundWork gone;
                start(gone, u"gone"_s);
            }
            manual.doNext();
            manual.doNext();
            QCOMPARE(done, (QStringList{u"soon"_s, u"first"_s, u"second"_s}));
            QCOMPARE(manual.started(), 5);
        }
        BackgroundWork work;
        work.start<int>([](const Abandoned &) { return 1; },
                        [&](int) { done.append(u"by a thread"_s); });
        QVERIFY(QTest::qWaitFor([&] { return done.size() == 4; }));
    }
};

QTEST_GUILESS_MAIN(BackgroundWorkTest)
#include "tst_backgroundwork.moc"
