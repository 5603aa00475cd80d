// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "ui/Animation.h"

#include <QList>
#include <QTest>

#include <optional>

using namespace clipmule;
using clipmule::kit::ManualRunLoop;

class AnimationTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        installation.reset();
        loop.emplace();
        installation.emplace(*loop);
        animation.emplace();
        steps.clear();
        ends.clear();
    }

    void end() override {
        animation.reset();
        QCOMPARE(loop->pendingCount(), 0);
    }

private Q_SLOTS:
    void goesFromStartToExactlyOne() {
        start(1);
        QVERIFY(steps.isEmpty());
        loop->advance(0.5);
        QVERIFY(std::abs(steps.last() - 0.5) < 0.02);
        QVERIFY(ends.isEmpty());
        loop->advance(0.5);
        QCOMPARE(steps.last(), 1.0);
        QCOMPARE(ends, QList<bool>{true});
        QVERIFY(std::is_sorted(steps.cbegin(), steps.cend()));
    }

    void showsSixtyFramesASecond() {
        start(1);
        loop->advance(2);
        QVERIFY2(steps.size() >= 60 && steps.size() <= 61,
                 qPrintable(QString::number(steps.size())));
    }

    void shortOneStillEndsAtOne() {
        start(0.001);
        loop->advance(0.001);
        QCOMPARE(steps, QList<double>{1.0});
        QCOMPARE(ends, QList<bool>{true});
    }

    void hasNoTimerOnceItEnded() {
        start(0.125);
        QVERIFY(animation->isRunning());
        loop->advance(0.2);
        QVERIFY(!animation->isRunning());
        QCOMPARE(loop->pendingCount(), 0);
    }

    void interruptionIsTold() {
        start(1);
        loop->advance(0.5);
        animation->interrupt();
        QCOMPARE(ends, QList<bool>{false});
        QCOMPARE(loop->pendingCount(), 0);
        const qsizetype shown = steps.size();
        loop->advance(2);
        QCOMPARE(steps.size(), shown);
        animation->interrupt();
        QCOMPARE(ends.size(), 1);
    }

    void startingAnewInterrupts() {
        start(1);
        loop->advance(0.5);
        start(1);
        QCOMPARE(ends, QList<bool>{false});
        loop->advance(0.75);
        QCOMPARE(ends.size(), 1);
        loop->advance(0.5);
        QCOMPARE(ends, (QList<bool>{false, true}));
    }

    void endMayStartItAgain() {
        int ended = 0;
        const auto nothing = [](double) {};
        animation->start(RunLoop::Seconds(1), nothing, [&](bool) {
            ++ended;
            animation->start(RunLoop::Seconds(1), nothing, [&](bool) { ++ended; });
        });
        loop->advance(1.5);
        QCOMPARE(ended, 1);
        QVERIFY(animation->isRunning());
        loop->advance(1);
        QCOMPARE(ended, 2);
    }

    void endMayDestroyIt() {
        animation->start(
            RunLoop::Seconds(1), [](double) {}, [this](bool) { animation.reset(); });
        loop->advance(2);
        QVERIFY(!animation);
    }

    void destructionIsSilent() {
        start(1);
        animation.reset();
        loop->advance(2);
        QVERIFY(steps.isEmpty());
        QVERIFY(ends.isEmpty());
    }

private:
    void start(double seconds) {
        animation->start(
            RunLoop::Seconds(seconds), [this](double progress) { steps.append(progress); },
            [this](bool finished) { ends.append(finished); });
    }

    std::optional<ManualRunLoop> loop;
    std::optional<RunLoop::Installation> installation;
    std::optional<Animation> animation;
    QList<double> steps;
    QList<bool> ends;
};

QTEST_GUILESS_MAIN(AnimationTest)
#include "tst_animation.moc"
