// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/CommandLine.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class NearestNameTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void names_data() {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("nearest");
        const auto row = [](const char *tag, const QString &typed, const QStringList &names,
                            const QString &nearest) {
            QTest::newRow(tag) << typed << names << nearest;
        };
        const QString curly = QStringLiteral("Anna\u2019s Phone");
        row("nothing", u"a"_qs, {}, {});
        row("apostrophe", u"Anna's Phone"_qs, {u"Anna Phones"_qs, curly}, curly);
        row("letter case", u"showstatus"_qs, {u"pasteMode"_qs, u"showStatus"_qs}, u"showStatus"_qs);
        row("dash", u"a-b"_qs, {QStringLiteral("x-b"), QStringLiteral("a\u2013b")},
            QStringLiteral("a\u2013b"));
        row("blanks", u"Anna  Phone"_qs, {QStringLiteral("Anna\u00a0Phone")},
            QStringLiteral("Anna\u00a0Phone"));
        row("one letter too many", u"phonne"_qs, {u"phone"_qs}, u"phone"_qs);
        row("one too few", u"phne"_qs, {u"phone"_qs}, u"phone"_qs);
        row("the nearest of several", u"phone1"_qs, {u"phoneX2"_qs, u"phone2"_qs}, u"phone2"_qs);
        row("the first of equals", u"phone"_qs, {u"phone2"_qs, u"phone3"_qs}, u"phone2"_qs);
        row("a third may differ", u"abcdef"_qs, {u"abcdXY"_qs}, u"abcdXY"_qs);
        row("no more", u"abcdef"_qs, {u"abcXYZ"_qs}, {});
        row("of a short name one", u"ab"_qs, {u"aX"_qs}, u"aX"_qs);
        row("not two", u"ab"_qs, {u"XY"_qs}, {});
    }
    void names() {
        QFETCH(QString, typed);
        QFETCH(QStringList, names);
        QFETCH(QString, nearest);
        QCOMPARE(nearestName(typed, names),
                 nearest.isEmpty() ? std::nullopt : std::optional(nearest));
    }

    void longNamesAreNotCompared() {
        for (const qsizetype size : {longestCompared - 1, longestCompared, longestCompared + 1}) {
            const QString name(size, u'x');
            const bool isCompared = size <= longestCompared;
            QCOMPARE(nearestName(name, {name}).has_value(), isCompared);
            QCOMPARE(nearestName(QString(longestCompared, u'x'), {name}).has_value(), isCompared);
        }
        // One that becomes long while it is compared: each of these is eighteen.
        const QString many(longestCompared, QChar(0xfdfa));
        QCOMPARE(nearestName(many, {many}), std::optional(many));
    }
};

QTEST_GUILESS_MAIN(NearestNameTest)

#include "tst_nearestname.moc"
