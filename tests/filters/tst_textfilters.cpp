// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/CaseMapping.h"
#include "filters/FilterClasses.h"
#include "tests/kit/TestCase.h"

#include <QRandomGenerator>
#include <QTest>

using namespace clipmule;

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
        row("titlecase lowers", u"Titlecase"_qs, u"Hello World"_qs, u"hello world"_qs);
        row("lower", u"Lowercase"_qs, u"ÄÖ İ DŽ"_qs, u"äö i\u0307 dž"_qs);
        row("final sigma", u"Lowercase"_qs, u"ΟΔΥΣΣΕΥΣ ΣΑΣ"_qs, u"οδυσσευς σας"_qs);
        row("upper", u"Uppercase"_qs, u"straße ﬁn"_qs, u"STRASSE FIN"_qs);
        row("upper of i has no dot", u"Uppercase"_qs, u"iı"_qs, u"II"_qs);
        row("beyond the basic plane", u"Uppercase"_qs, u"\U00010428"_qs, u"\U00010400"_qs);
        row("empty", u"Uppercase"_qs, u""_qs, u""_qs);
        row("lone surrogate", u"Lowercase"_qs, QString(QChar(0xD800)) + u"A"_qs,
            QString(QChar(0xD800)) + u"a"_qs);
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
        QTest::newRow("double and single") << u"\"a\" 'b'"_qs << u"\u201Ca\u201D \u2018b\u2019"_qs;
        QTest::newRow("after a parenthesis") << u"(\"x\""_qs << u"(\u201Dx\u201D"_qs;
        QTest::newRow("two in a row") << u" ''"_qs << u" \u2018\u2019"_qs;
        QTest::newRow("after a line break") << u"a\n\"b"_qs << u"a\n\u201Cb"_qs;
        QTest::newRow("after a line separator") << u"\u2028'b"_qs << u"\u2028\u2018b"_qs;
        QTest::newRow("after a no-break space") << u"\u00a0'b"_qs << u"\u00a0\u2018b"_qs;
        QTest::newRow("apostrophe") << u"don't"_qs << u"don\u2019t"_qs;
        QTest::newRow("empty") << u""_qs << u""_qs;
    }
    void smartensQuotes() {
        QFETCH(QString, text);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"SmartenQuotes"_qs, text), result);
    }

    void straightensQuotes() {
        QCOMPARE(filtered(u"StraightenQuotes"_qs, u"\u2018a\u2019 \u201Cb\u201D"_qs),
                 u"'a' \"b\""_qs);
        const QString others = u"\u2017\u201A\u201B\u201E\u2039\u203A\u00AB\u2032\u2033"_qs;
        QCOMPARE(filtered(u"StraightenQuotes"_qs, others), others);
    }

    void straightenedQuotesComeBackAfterWhiteSpaceOnly() {
        const auto roundTrip = [](const QString &text) {
            return filtered(u"SmartenQuotes"_qs, filtered(u"StraightenQuotes"_qs, text));
        };
        const QString spaced = u"\u201CYes\u201D, she said, \u2018no\u2019."_qs;
        QCOMPARE(roundTrip(spaced), spaced);
        QVERIFY(roundTrip(u"(\u201CYes\u201D)"_qs) != u"(\u201CYes\u201D)"_qs);
    }

    void quotesLines_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Values>("values");
        QTest::addColumn<QString>("result");
        const Values start{{u"start"_qs, u"> "_qs}};
        QTest::newRow("two lines") << u"a\nb"_qs << start << u"> a\n> b"_qs;
        QTest::newRow("after the last terminator") << u"a\n"_qs << start << u"> a\n> "_qs;
        QTest::newRow("CR LF is one ending") << u"a\r\nb"_qs << start << u"> a\r\n> b"_qs;
        QTest::newRow("empty lines too") << u"a\n\nb"_qs << start << u"> a\n> \n> b"_qs;
        QTest::newRow("both") << u"a\nb"_qs << Values{{u"start"_qs, u"«"_qs}, {u"end"_qs, u"»"_qs}}
                              << u"«a»\n«b»"_qs;
        QTest::newRow("no values") << u"a\nb"_qs << Values() << u"a\nb"_qs;
        QTest::newRow("empty") << u""_qs << start << u""_qs;
    }
    void quotesLines() {
        QFETCH(QString, text);
        QFETCH(Values, values);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"QuoteLines"_qs, text, values), result);
    }

    void findsAndReplaces_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Values>("values");
        QTest::addColumn<QString>("result");
        const auto values = [](const QString &find, const QString &replace) {
            return Values{{u"find"_qs, find}, {u"replace"_qs, replace}};
        };
        QTest::newRow("without regard to case")
            << u"The then"_qs << values(u"the"_qs, u"a"_qs) << u"a an"_qs;
        QTest::newRow("empty find") << u"abc"_qs << values(u""_qs, u"x"_qs) << u"abc"_qs;
        QTest::newRow("no find") << u"abc"_qs << Values{{u"replace"_qs, u"x"_qs}} << u"abc"_qs;
        QTest::newRow("no replace") << u"abcABC"_qs << Values{{u"find"_qs, u"B"_qs}} << u"acAC"_qs;
        QTest::newRow("not inserted text") << u"aa"_qs << values(u"a"_qs, u"aa"_qs) << u"aaaa"_qs;
        QTest::newRow("no overlap") << u"aaa"_qs << values(u"aa"_qs, u"b"_qs) << u"ba"_qs;
        QTest::newRow("no patterns") << u"a.c abc"_qs << values(u"a.c"_qs, u"x"_qs) << u"x abc"_qs;
        QTest::newRow("sharp s") << u"Straße STRASSE"_qs << values(u"strasse"_qs, u"x"_qs)
                                 << u"x x"_qs;
        QTest::newRow("half a sharp s is none") << u"ß"_qs << values(u"s"_qs, u"x"_qs) << u"ß"_qs;
        QTest::newRow("ligature") << u"ﬁn FIN"_qs << values(u"fin"_qs, u"x"_qs) << u"x x"_qs;
        QTest::newRow("all sigmas") << u"ΣΑΣ σας"_qs << values(u"σασ"_qs, u"x"_qs) << u"x x"_qs;
        QTest::newRow("dotted I") << u"İ"_qs << values(u"i\u0307"_qs, u"x"_qs) << u"x"_qs;
    }
    void findsAndReplaces() {
        QFETCH(QString, text);
        QFETCH(Values, values);
        QFETCH(QString, result);
        QCOMPARE(filtered(u"FindReplace"_qs, text, values), result);
    }

    void replacesAsThePlainWayDoes() {
        QRandomGenerator random(3);
        const QString alphabet = u"aAbBsSßﬁfFiI"_qs;
        const auto some = [&](int most) {
            QString text;
            for (auto length = 1 + random.bounded(most); length > 0; --length)
                text += alphabet[random.bounded(int(alphabet.size()))];
            return text;
        };
        for (int round = 0; round < 3000; ++round) {
            const QString text = some(14);
            const QString wanted = some(3);
            QCOMPARE(CaseMapping::replaceIgnoringCase(text, wanted, u"-"_qs),
                     replacedPlainly(text, wanted, u"-"_qs));
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
                option->setValue(PropertyList(u"x"_qs));
            QVERIFY(!ofText.filterString(std::nullopt));
        }
    }
};

QTEST_GUILESS_MAIN(TextFiltersTest)
#include "tst_textfilters.moc"
