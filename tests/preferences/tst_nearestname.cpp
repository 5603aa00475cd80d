// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/CommandLine.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

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
        row("nothing", u"a"_s, {}, {});
        row("apostrophe", u"Anna's Phone"_s, {u"Anna Phones"_s, curly}, curly);
        row("letter case", u"showstatus"_s, {u"pasteMode"_s, u"showStatus"_s}, u"showStatus"_s);
        row("dash", u"a-b"_s, {QStringLiteral("x-b"), QStringLiteral("a\u2013b")},
            QStringLiteral("a\u2013b"));
        row("blanks", u"Anna  Phone"_s, {QStringLiteral("Anna\u00a0Phone")},
            QStringLiteral("Anna\u00a0Phone"));
        row("one letter too many", u"phonne"_s, {u"phone"_s}, u"phone"_s);
        row("one too few", u"phne"_s, {u"phone"_s}, u"phone"_s);
        row("the nearest of several", u"phone1"_s, {u"phoneX2"_s, u"phone2"_s}, u"phone2"_s);
        row("the first of equals", u"phone"_s, {u"phone2"_s, u"phone3"_s}, u"phone2"_s);
        row("a third may differ", u"abcdef"_s, {u"abcdXY"_s}, u"abcdXY"_s);
        row("no more", u"abcdef"_s, {u"abcXYZ"_s}, {});
        row("of a short name one", u"ab"_s, {u"aX"_s}, u"aX"_s);
        row("not two", u"ab"_s, {u"XY"_s}, {});
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
