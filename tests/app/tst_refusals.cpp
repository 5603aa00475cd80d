// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/SyncJournal.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

Refusal copied(Refusal::Reason reason = Refusal::Reason::TooLarge) {
    return {.direction = Refusal::Direction::CopiedHere, .reason = reason};
}

Refusal damaged(const QString &phone) {
    return {.direction = Refusal::Direction::FromPhone,
            .reason = Refusal::Reason::Damaged,
            .phone = phone};
}

} // namespace

class RefusalsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop = std::make_unique<kit::ManualRunLoop>();
        _installation = std::make_unique<RunLoop::Installation>(*_runLoop);
    }

    void end() override {
        _installation.reset();
        _runLoop.reset();
    }

private Q_SLOTS:
    void theNewestComesFirst() {
        Refusals refusals;
        QVERIFY(refusals.newestFirst().isEmpty());
        QVERIFY(refusals.add(damaged(u"Anna"_s)));
        _runLoop->advance(1);
        QVERIFY(refusals.add(copied()));
        QCOMPARE(refusals.newestFirst().size(), 2);
        QCOMPARE(refusals.newestFirst()[0].direction, Refusal::Direction::CopiedHere);
        QCOMPARE(refusals.newestFirst()[0].date, Date::now());
        QCOMPARE(refusals.newestFirst()[1].phone, u"Anna"_s);
        QCOMPARE(refusals.newestFirst()[1].date.secondsSinceReference,
                 Date::now().secondsSinceReference - 1);
    }

    void itIsBounded() {
        Refusals refusals;
        for (int i = 0; i < Refusals::mostKept; ++i)
            (void)refusals.add(damaged(QString::number(i)));
        QCOMPARE(refusals.newestFirst().size(), Refusals::mostKept);
        QCOMPARE(refusals.newestFirst().constLast().phone, u"0"_s);
        (void)refusals.add(damaged(u"one more"_s));
        QCOMPARE(refusals.newestFirst().size(), Refusals::mostKept);
        QCOMPARE(refusals.newestFirst().constFirst().phone, u"one more"_s);
        QCOMPARE(refusals.newestFirst().constLast().phone, u"1"_s);
    }

    void oneThatRepeatsPushesNothingOut() {
        Refusals refusals;
        (void)refusals.add(damaged(u"Ben"_s));
        for (int i = 0; i < 100; ++i)
            (void)refusals.add(damaged(u"Anna"_s));
        (void)refusals.add(copied());
        (void)refusals.add(damaged(u"Anna"_s));
        QCOMPARE(refusals.newestFirst().size(), 3);
        QCOMPARE(refusals.newestFirst()[0].phone, u"Anna"_s);
        QCOMPARE(refusals.newestFirst()[0].count, 101U);
        QCOMPARE(refusals.newestFirst()[2].count, 1U);
    }

    void whatDiffersIsAnotherEntry() {
        Refusals refusals;
        (void)refusals.add(damaged(u"Anna"_s));
        (void)refusals.add(damaged(u"Ben"_s));
        Refusal other = damaged(u"Anna"_s);
        other.reason = Refusal::Reason::Failed;
        (void)refusals.add(other);
        other = damaged(u"Anna"_s);
        other.kind = Refusal::Kind::DeviceRecord;
        (void)refusals.add(other);
        other = damaged(u"Anna"_s);
        other.direction = Refusal::Direction::ForPhone;
        (void)refusals.add(other);
        QCOMPARE(refusals.newestFirst().size(), 5);
    }

    void copiesAreEntriesOfTheirOwnUnlessInARow() {
        Refusals refusals;
        (void)refusals.add(copied());
        (void)refusals.add(copied());
        QCOMPARE(refusals.newestFirst().size(), 1);
        QCOMPARE(refusals.newestFirst()[0].count, 2U);
        (void)refusals.add(copied(Refusal::Reason::Secret));
        (void)refusals.add(copied());
        QCOMPARE(refusals.newestFirst().size(), 3);
        QCOMPARE(refusals.newestFirst()[0].count, 1U);
    }

    void theLastMeasureCounts() {
        Refusals refusals;
        Refusal refusal = copied();
        refusal.size = 5;
        (void)refusals.add(refusal);
        refusal.size = 7;
        _runLoop->advance(3);
        (void)refusals.add(refusal);
        QCOMPARE(refusals.newestFirst()[0].size, 7U);
        QCOMPARE(refusals.newestFirst()[0].date, Date::now());
    }

    void aPhoneIsToldOfOnceInAWhile() {
        Refusals refusals;
        QVERIFY(refusals.add(damaged(u"Anna"_s)));
        _runLoop->advance(9.9);
        QVERIFY(!refusals.add(damaged(u"Anna"_s)));
        QVERIFY(refusals.add(damaged(u"Ben"_s)));
        _runLoop->advance(0.1);
        QVERIFY(refusals.add(damaged(u"Anna"_s)));
        QVERIFY(!refusals.add(damaged(u"Anna"_s)));
    }

    void whatIsNoLongerListedIsToldOfAgain() {
        Refusals refusals;
        (void)refusals.add(damaged(u"Anna"_s));
        for (int i = 0; i < Refusals::mostKept; ++i)
            (void)refusals.add(damaged(QString::number(i)));
        QVERIFY(refusals.add(damaged(u"Anna"_s)));
    }

    void everyCopyIsToldOf() {
        Refusals refusals;
        QVERIFY(refusals.add(copied()));
        QVERIFY(refusals.add(copied()));
    }

private:
    std::unique_ptr<kit::ManualRunLoop> _runLoop;
    std::unique_ptr<RunLoop::Installation> _installation;
};

QTEST_GUILESS_MAIN(RefusalsTest)
#include "tst_refusals.moc"
