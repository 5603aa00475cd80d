// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/CaseMapping.h"
#include "filters/FilterClasses.h"
#include "tests/kit/TestCase.h"

#include <QRandomGenerator>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

using Values = QMap<QString, QString>;

QString filtered(const QString &name, const QString &text, const Values &values = {}) {
    const auto filter = makeFilterOfClass(QStringLiteral("ZRKClipmule%1Filter").arg(name));
    for (const auto &[option, value] : values.asKeyValueRange())
        filter->optionNamed(option)->setValue(PropertyList(value));
    return *dynamic_cast<ZRKClipmuleTextFilter &>(*filter).filterString(text);
}

// The plain way: at each place of the original, try every length of text whose folded form could be
// the wanted one.
QString replacedPlainly(const QString &text, const QString &wanted, const QString &replacement) {
    const QString fold = CaseMapping::lowerCase(CaseMapping::upperCase(wanted));
    QString result;
    for (qsizetype at = 0; at < text.size();) {
        qsizetype matched = 0;
        for (qsizetype length = 1;
             length <= std::min<qsizetype>(wanted.size() * 3, text.size() - at); ++length) {
            if (CaseMapping::lowerCase(CaseMapping::upperCase(text.sliced(at, length))) == fold) {
                matched = length;
                break;
            }
        }
        result += matched ? replacement : QString(text[at]);
        at += std::max<qsizetype>(matched, 1);
    }
    return result;
}

} // namespace

class TextFiltersTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void convertsCase_data() {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        const auto row = [](const char *name, const QString &filter, const QString &text,
                            const QString &result) {
            QTest::newRow(name) << filter << text << result;
        };
        row("titlecase lowers", u"Titlecase"_s, u"Hello World"_s, u"hello world"_s);
        row("lower", u"Lowercase"_s, u"ÄÖ İ DŽ"_s, u"äö i\u0307 dž"_s);
        row("final sigma", u"Lowercase"_s, u"ΟΔΥΣΣΕΥΣ ΣΑΣ"_s, u"οδυσσευς σας"_s);
        row("upper", u"Uppercase"_s, u"straße ﬁn"_s, u"STRASSE FIN"_s);
        row("upper of i has no dot", u"Uppercase"_s, u"iı"_s, u"II"_s);
        row("beyond the basic plane", u"Uppercase"_s, u"\U00010428"_s, u"\U00010400"_s);
        row("empty", u"Uppercase"_s, u""_s, u""_s);
        row("lone surrogate", u"Lowercase"_s, QString(QChar(0xD800)) + u"A"_s,
            QString(QChar(0xD800)) + u"a"_s);
    }
    void convertsCase() {
        QFETCH(QString, filter);
        QFETCH(QString, text);
        QFETCH(QString, result);
        QCOMPARE(filtered(filter, text), result);
    }

    void smartensQuotes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        QTest::newRow("double and single") << u"\"a\" 'b'"_s << u"\u201Ca\u201D \u2018b\u2019"_s;
        QTest::newRow("after a parenthesis") << u"(\"x\""_s << u"(\u201Dx\u201D"_s;
        QTest::newRow("two in a row") << u" ''"_s << u" \u2018\u2019"_s;
        QTest::newRow("after a line break") << u"a\n\"b"_s << u"a\n\u201Cb"_s;
        QTest::newRow("after a line separator") << u"\u2028'b"_s << u"\u2028\u2018b"_s;
        QTest::newRow("after a no-break space") << u"\u00a0'b"_s << u"\u00a0\u2018b"_s;
        QTest::newRow("apostrophe") << u"don't"_s << u"don\u2019t"_s;
        QTest::newRow("empty") << u""_s << u""_s;
    }
    void smartensQuotes() {
        QFETCH(QString, text);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"SmartenQuotes"_s, text), result);
    }

    void straightensQuotes() {
        QCOMPARE(filtered(u"StraightenQuotes"_s, u"\u2018a\u2019 \u201Cb\u201D"_s), u"'a' \"b\""_s);
        const QString others = u"\u2017\u201A\u201B\u201E\u2039\u203A\u00AB\u2032\u2033"_s;
        QCOMPARE(filtered(u"StraightenQuotes"_s, others), others);
    }

    void straightenedQuotesComeBackAfterWhiteSpaceOnly() {
        const auto roundTrip = [](const QString &text) {
            return filtered(u"SmartenQuotes"_s, filtered(u"StraightenQuotes"_s, text));
        };
        const QString spaced = u"\u201CYes\u201D, she said, \u2018no\u2019."_s;
        QCOMPARE(roundTrip(spaced), spaced);
        QVERIFY(roundTrip(u"(\u201CYes\u201D)"_s) != u"(\u201CYes\u201D)"_s);
    }

    void quotesLines_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Values>("values");
        QTest::addColumn<QString>("result");
        const Values start{{u"start"_s, u"> "_s}};
        QTest::newRow("two lines") << u"a\nb"_s << start << u"> a\n> b"_s;
        QTest::newRow("after the last terminator") << u"a\n"_s << start << u"> a\n> "_s;
        QTest::newRow("CR LF is one ending") << u"a\r\nb"_s << start << u"> a\r\n> b"_s;
        QTest::newRow("empty lines too") << u"a\n\nb"_s << start << u"> a\n> \n> b"_s;
        QTest::newRow("both") << u"a\nb"_s << Values{{u"start"_s, u"«"_s}, {u"end"_s, u"»"_s}}
                              << u"«a»\n«b»"_s;
        QTest::newRow("no values") << u"a\nb"_s << Values() << u"a\nb"_s;
        QTest::newRow("empty") << u""_s << start << u""_s;
    }
    void quotesLines() {
        QFETCH(QString, text);
        QFETCH(Values, values);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"QuoteLines"_s, text, values), result);
    }

    void findsAndReplaces_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Values>("values");
        QTest::addColumn<QString>("result");
        const auto values = [](const QString &find, const QString &replace) {
            return Values{{u"find"_s, find}, {u"replace"_s, replace}};
        };
        QTest::newRow("without regard to case")
            << u"The then"_s << values(u"the"_s, u"a"_s) << u"a an"_s;
        QTest::newRow("empty find") << u"abc"_s << values(u""_s, u"x"_s) << u"abc"_s;
        QTest::newRow("no find") << u"abc"_s << Values{{u"replace"_s, u"x"_s}} << u"abc"_s;
        QTest::newRow("no replace") << u"abcABC"_s << Values{{u"find"_s, u"B"_s}} << u"acAC"_s;
        QTest::newRow("not inserted text") << u"aa"_s << values(u"a"_s, u"aa"_s) << u"aaaa"_s;
        QTest::newRow("no overlap") << u"aaa"_s << values(u"aa"_s, u"b"_s) << u"ba"_s;
        QTest::newRow("no patterns") << u"a.c abc"_s << values(u"a.c"_s, u"x"_s) << u"x abc"_s;
        QTest::newRow("sharp s") << u"Straße STRASSE"_s << values(u"strasse"_s, u"x"_s) << u"x x"_s;
        QTest::newRow("half a sharp s is none") << u"ß"_s << values(u"s"_s, u"x"_s) << u"ß"_s;
        QTest::newRow("ligature") << u"ﬁn FIN"_s << values(u"fin"_s, u"x"_s) << u"x x"_s;
        QTest::newRow("all sigmas") << u"ΣΑΣ σας"_s << values(u"σασ"_s, u"x"_s) << u"x x"_s;
        QTest::newRow("dotted I") << u"İ"_s << values(u"i\u0307"_s, u"x"_s) << u"x"_s;
    }
    void findsAndReplaces() {
        QFETCH(QString, text);
        QFETCH(Values, values);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"FindReplace"_s, text, values), result);
    }

    void replacesAsThePlainWayDoes() {
        QRandomGenerator random(3);
        const QString alphabet = u"aAbBsSßﬁfFiI"_s;
        const auto some = [&](int most) {
            QString text;
            for (auto length = 1 + random.bounded(most); length > 0; --length)
                text += alphabet[random.bounded(int(alphabet.size()))];
            return text;
        };
        for (int round = 0; round < 3000; ++round) {
            const QString text = some(14);
            const QString wanted = some(3);
            QCOMPARE(CaseMapping::replaceIgnoringCase(text, wanted, u"-"_s),
                     replacedPlainly(text, wanted, u"-"_s));
        }
    }

    void aMissingTextStaysMissing() {
        for (const char *name : {"Titlecase", "Lowercase", "Uppercase", "SmartenQuotes",
                                 "StraightenQuotes", "QuoteLines", "FindReplace", "WrapHTML",
                                 "EncodeHTMLEntities", "DecodeHTMLEntities"}) {
            const auto filter = makeFilterOfClass(
                QStringLiteral("ZRKClipmule%1Filter").arg(QLatin1StringView(name)));
            const auto &ofText = dynamic_cast<ZRKClipmuleTextFilter &>(*filter);
            QVERIFY(!ofText.filterString(std::nullopt));
            for (const auto &option : filter->options())
                option->setValue(PropertyList(u"x"_s));
            QVERIFY(!ofText.filterString(std::nullopt));
        }
    }
};

QTEST_GUILESS_MAIN(TextFiltersTest)
#include "tst_textfilters.moc"
