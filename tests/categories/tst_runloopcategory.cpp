// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSSystemCategories.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class RunLoopCategoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void pingRunsWhatIsDueWithoutWaiting() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        QStringList fired;
        const auto due =
            runLoop.performAfter(RunLoop::Seconds(0), [&] { fired += QStringLiteral("due"); });
        const auto later =
            runLoop.performAfter(RunLoop::Seconds(0.1), [&] { fired += QStringLiteral("later"); });
        const auto before = runLoop.now();
        ZRKNSRunLoopCategory::ping();
        QCOMPARE(fired, QStringList{QStringLiteral("due")});
        QVERIFY(runLoop.now() == before);
    }

    void waitRunsUntilTheTimeHasPassed() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        int beats = 0;
        const auto timer = runLoop.performEvery(RunLoop::Seconds(1), [&] { ++beats; });
        const auto before = runLoop.now();
        ZRKNSRunLoopCategory::wait(RunLoop::Seconds(2.5));
        QCOMPARE(beats, 2);
        QVERIFY(runLoop.now() - before == RunLoop::Seconds(2.5));
    }

    void waitingNoTimeRunsNothing() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        bool fired = false;
        const auto due = runLoop.performAfter(RunLoop::Seconds(0), [&] { fired = true; });
        ZRKNSRunLoopCategory::wait(RunLoop::Seconds(0));
        ZRKNSRunLoopCategory::wait(RunLoop::Seconds(-1));
        QVERIFY(!fired);
    }
};

QTEST_GUILESS_MAIN(RunLoopCategoryTest)
#include "tst_runloopcategory.moc"
