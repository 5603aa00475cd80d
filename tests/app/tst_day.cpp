// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/Day.h"
#include "tests/kit/TestCase.h"

#include <QLoggingCategory>
#include <QTest>

using namespace clipmule;

/// The small form of bench_soak: part of a day, after which everything is as it was.
class DayTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void nothingGrows() {
        QLoggingCategory::setFilterRules(QStringLiteral("clipmule.*=false"));
        kit::Day day(20);
        day.warmUp();
        for (int clip = 0; clip < 100; ++clip)
            day.goOn();
        const kit::Day::Counts before = day.atRest();
        for (int clip = 0; clip < 300; ++clip)
            day.goOn();
        const kit::Day::Counts after = day.atRest();
        QVERIFY(day.arrived() > 300);
        QCOMPARE(after.descriptors, before.descriptors);
        QCOMPARE(after.timers, before.timers);
        QCOMPARE(after.observers, before.observers);
        QVERIFY2(after.bytes - before.bytes < 20'000,
                 qPrintable(QString::number(after.bytes - before.bytes)));
    }
};

QTEST_GUILESS_MAIN(DayTest)
#include "tst_day.moc"
