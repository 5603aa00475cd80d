// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListText.h"
#include "tests/kit/TestCase.h"

#include <QTest>
#include <QTimeZone>

#include <cmath>
#include <limits>

using namespace clipmule;

namespace {

/// Seconds from 2001-01-01T00:00:00Z, by Qt's calendar.
double seconds(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    const QDateTime dateTime(QDate(year, month, day), QTime(hour, minute, second),
                             QTimeZone::utc());
    return double(dateTime.toSecsSinceEpoch()) - Date::unixTimeOfReference;
}

} // namespace

class PropertyListXmlDateTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void readsAndWrites_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<double>("expected");
        const auto row = [](const char *text, double expected) {
            QTest::newRow(text) << QByteArray(text) << expected;
        };
        row("2001-01-01T00:00:00Z", 0);
        row("2013-09-04T15:06:40Z", seconds(2013, 9, 4, 15, 6, 40));
        row("1969-07-20T20:17:40Z", seconds(1969, 7, 20, 20, 17, 40));
        row("2000-02-29T23:59:59Z", seconds(2000, 2, 29, 23, 59, 59));
        row("1900-03-01T00:00:00Z", seconds(1900, 3, 1));
        row("1900-02-28T00:00:00Z", seconds(1900, 2, 28));
        row("0001-01-01T00:00:00Z", seconds(1, 1, 1));
        row("9999-12-31T23:59:59Z", seconds(9999, 12, 31, 23, 59, 59));
        row("10000-01-01T00:00:00Z", seconds(10000, 1, 1));
        // A year 0 is between -1 and 1, other than for Qt: there -1 is the one before 1.
        row("0000-12-31T00:00:00Z", seconds(1, 1, 1) - 86400);
        row("0000-02-29T00:00:00Z", seconds(-1, 2, 29));
        row("-001-12-31T23:59:59Z", seconds(-1, 1, 1) - 1);
        row("-4713-01-01T00:00:00Z", seconds(-4714, 1, 1));
    }
    void readsAndWrites() {
        QFETCH(QByteArray, text);
        QFETCH(double, expected);
        const auto date = dateFromXml(text);
        QVERIFY(date);
        QCOMPARE(date->secondsSinceReference, expected);
        QCOMPARE(xmlFromDate(*date), text);
    }

    void agreesWithTheCalendarOnEveryDay() {
        for (QDate day(1580, 1, 1); day.year() < 2420; day = day.addDays(1)) {
            const QByteArray text = day.toString(Qt::ISODate).toLatin1() + "T00:00:00Z";
            const auto date = dateFromXml(text);
            const double expected = seconds(day.year(), day.month(), day.day());
            if (!date || date->secondsSinceReference != expected || xmlFromDate(*date) != text)
                QFAIL(text.constData());
        }
    }

    void dropsFractionsTowardsThePast_data() {
        QTest::addColumn<double>("date");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("after the reference") << 0.999 << QByteArray("2001-01-01T00:00:00Z");
        QTest::newRow("before the reference") << -0.001 << QByteArray("2000-12-31T23:59:59Z");
        QTest::newRow("before 1970")
            << seconds(1969, 7, 20, 20, 17, 40) + 0.999 << QByteArray("1969-07-20T20:17:40Z");
    }
    void dropsFractionsTowardsThePast() {
        QFETCH(double, date);
        QFETCH(QByteArray, text);
        QCOMPARE(xmlFromDate({date}), text);
    }

    void carriesFieldsOutOfRange_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("same");
        const auto row = [](const char *text, const char *same) {
            QTest::newRow(text) << QByteArray(text) << QByteArray(same);
        };
        row("2013-01-32T00:00:00Z", "2013-02-01T00:00:00Z");
        row("2013-02-29T00:00:00Z", "2013-03-01T00:00:00Z");
        row("2013-13-01T00:00:00Z", "2014-01-01T00:00:00Z");
        row("2013-00-01T00:00:00Z", "2012-12-01T00:00:00Z");
        row("2013-01-00T00:00:00Z", "2012-12-31T00:00:00Z");
        row("2013-12-31T23:59:60Z", "2014-01-01T00:00:00Z");
        row("2013-12-31T24:00:00Z", "2014-01-01T00:00:00Z");
        row("2013-99-99T99:99:99Z", "2021-06-11T04:40:39Z");
    }
    void carriesFieldsOutOfRange() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, same);
        const auto date = dateFromXml(text);
        QVERIFY(date);
        QCOMPARE(xmlFromDate(*date), same);
    }

    void refusesEveryOtherForm_data() {
        QTest::addColumn<QByteArray>("text");
        for (const char *text : {"",
                                 "-",
                                 "Z",
                                 "2013",
                                 "2013-09-04",
                                 "2013-09-04T15:06:40",
                                 "2013-09-04T15:06:40z",
                                 "2013-09-04 15:06:40Z",
                                 "2013-09-04T15:06:40.5Z",
                                 "2013-09-04T15:06:40+00:00",
                                 "2013-9-04T15:06:40Z",
                                 "2013-09-4T15:06:40Z",
                                 "2013-09-04T5:06:40Z",
                                 "2013-09-04T15:6:40Z",
                                 "2013-09-04T15:06:4Z",
                                 "2013-09-04T15:06:40Z ",
                                 " 2013-09-04T15:06:40Z",
                                 "+2013-09-04T15:06:40Z",
                                 "--2013-09-04T15:06:40Z",
                                 "-09-04T15:06:40Z",
                                 "20x3-09-04T15:06:40Z",
                                 "2013-+9-04T15:06:40Z",
                                 "2013-09-04T15:06:40ZZ",
                                 "2013-09-04T-5:06:40Z"}) {
            QTest::newRow(text) << QByteArray(text);
        }
    }
    void refusesEveryOtherForm() {
        QFETCH(QByteArray, text);
        QVERIFY(!dateFromXml(text));
    }

    void endsAtTheOutermostYears() {
        QVERIFY(dateFromXml("99999998-12-31T23:59:59Z"));
        const auto latest = dateFromXml("99999999-12-31T23:59:59Z");
        QVERIFY(latest);
        QVERIFY(!dateFromXml("99999999-12-31T23:59:60Z"));
        QVERIFY(!dateFromXml("100000000-01-01T00:00:00Z"));
        QVERIFY(!dateFromXml("99999999999999999999-01-01T00:00:00Z"));
        const auto earliest = dateFromXml("-99999999-01-01T00:00:00Z");
        QVERIFY(earliest);
        QVERIFY(!dateFromXml("-99999999-00-01T00:00:00Z"));

        // Every second is still itself there.
        QCOMPARE(xmlFromDate({latest->secondsSinceReference - 1}),
                 QByteArray("99999999-12-31T23:59:58Z"));
        QCOMPARE(xmlFromDate(*latest), QByteArray("99999999-12-31T23:59:59Z"));
        QCOMPARE(xmlFromDate({latest->secondsSinceReference + 1}),
                 QByteArray("99999999-12-31T23:59:59Z"));
        QCOMPARE(xmlFromDate(*earliest), QByteArray("-99999999-01-01T00:00:00Z"));
        QCOMPARE(xmlFromDate({earliest->secondsSinceReference - 1}),
                 QByteArray("-99999999-01-01T00:00:00Z"));
    }

    void writesADateForEveryNumber() {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        QCOMPARE(xmlFromDate({infinity}), QByteArray("99999999-12-31T23:59:59Z"));
        QCOMPARE(xmlFromDate({-infinity}), QByteArray("-99999999-01-01T00:00:00Z"));
        QCOMPARE(xmlFromDate({std::nan("")}), QByteArray("2001-01-01T00:00:00Z"));
    }
};

QTEST_GUILESS_MAIN(PropertyListXmlDateTest)
#include "tst_plist_xml_date.moc"
