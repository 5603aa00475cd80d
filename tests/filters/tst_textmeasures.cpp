// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleNSStringCategory.h"
#include "tests/kit/TestCase.h"

#include <QRandomGenerator>
#include <QTest>

using namespace clipmule;
using namespace clipmule::ZRKClipmuleNSStringCategory;
using namespace Qt::StringLiterals;

class TextMeasuresTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void countsWords_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint64>("count");
        QTest::newRow("empty") << QString() << quint64(0);
        QTest::newRow("two spaces") << u"  "_s << quint64(0);
        QTest::newRow("one") << u"word"_s << quint64(1);
        QTest::newRow("runs of space") << u" a\t\tb\r\n\u00a0c\u2028d "_s << quint64(4);
    }
    void countsWords() {
        QFETCH(QString, text);
        QFETCH(quint64, count);
        QCOMPARE(wordCount(text), count);
    }

    void countsLines_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint64>("count");
        QTest::newRow("empty") << QString() << quint64(1);
        QTest::newRow("ends in a terminator") << u"a\n"_s << quint64(2);
        QTest::newRow("CR LF counts twice") << u"a\r\nb"_s << quint64(3);
        QTest::newRow("every newline") << u"a\nb\vc\fd\re\u0085f\u2028g\u2029h"_s << quint64(8);
    }
    void countsLines() {
        QFETCH(QString, text);
        QFETCH(quint64, count);
        QCOMPARE(lineCount(text), count);
    }

    void fullRangeIsTheWholeText() {
        QCOMPARE(fullRange(u"abc"_s), (std::pair<qsizetype, qsizetype>(0, 3)));
    }

    void splitsIntoLines_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("endings");
        QTest::newRow("empty") << QString() << QStringList() << QStringList();
        QTest::newRow("no terminator") << u"a"_s << QStringList{u"a"_s} << QStringList{u""_s};
        QTest::newRow("terminator at the end")
            << u"a\n"_s << QStringList{u"a"_s, u""_s} << QStringList{u"\n"_s, u""_s};
        QTest::newRow("every terminator")
            << u"a\nb\rc\r\nd\u0085e\u2028f\u2029g"_s
            << QStringList{u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s, u"f"_s, u"g"_s}
            << QStringList{u"\n"_s,     u"\r"_s,     u"\r\n"_s, u"\u0085"_s,
                           u"\u2028"_s, u"\u2029"_s, u""_s};
        QTest::newRow("vertical tab is none")
            << u"a\vb\fc"_s << QStringList{u"a\vb\fc"_s} << QStringList{u""_s};
        QTest::newRow("LF CR is two") << u"\n\r"_s << QStringList{u""_s, u""_s, u""_s}
                                      << QStringList{u"\n"_s, u"\r"_s, u""_s};
    }
    void splitsIntoLines() {
        QFETCH(QString, text);
        QFETCH(QStringList, lines);
        QFETCH(QStringList, endings);
        QStringList found{u"left over"_s};
        QCOMPARE(splitIntoLinesWithLineEndings(text, &found), lines);
        QCOMPARE(found, endings);
        QCOMPARE(splitIntoLinesWithLineEndings(text), lines);
    }

    void linesAndEndingsJoinToTheText() {
        QRandomGenerator random(7);
        const QString alphabet = u"ab\n\r\u0085\u2028\u2029\v "_s;
        for (int round = 0; round < 2000; ++round) {
            QString text;
            for (auto length = random.bounded(12); length > 0; --length)
                text += alphabet[random.bounded(int(alphabet.size()))];
            QStringList endings;
            const QStringList lines = splitIntoLinesWithLineEndings(text, &endings);
            QCOMPARE(lines.size(), endings.size());
            QString joined;
            for (qsizetype index = 0; index < lines.size(); ++index)
                joined += lines[index] + endings[index];
            QCOMPARE(joined, text);
        }
    }

    void splitsIntoBlocks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("blocks");
        QTest::addColumn<QStringList>("separators");
        QTest::newRow("separator at the end")
            << u"a,b,"_s << QStringList{u"a"_s, u"b"_s} << QStringList{u","_s, u","_s};
        QTest::newRow("none at the end")
            << u"a,b"_s << QStringList{u"a"_s, u"b"_s} << QStringList{u","_s, u""_s};
        QTest::newRow("empty blocks")
            << u",,a"_s << QStringList{u""_s, u""_s, u"a"_s} << QStringList{u","_s, u","_s, u""_s};
        QTest::newRow("empty") << QString() << QStringList() << QStringList();
    }
    void splitsIntoBlocks() {
        QFETCH(QString, text);
        QFETCH(QStringList, blocks);
        QFETCH(QStringList, separators);
        const auto isComma = [](QChar character) { return character == u','; };
        QStringList found;
        QCOMPARE(splitIntoCharacterSetBlocks(text, isComma, &found), blocks);
        QCOMPARE(found, separators);
    }

    void readsNumbers_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isNumber");
        QTest::addColumn<quint64>("number");
        const auto number = [](const char *text, quint64 value) {
            QTest::newRow(text) << QString::fromUtf8(text) << true << value;
        };
        const auto none = [](const char *text) {
            QTest::newRow(text) << QString::fromUtf8(text) << false << quint64(0);
        };
        number("65", 65);
        number("x41", 65);
        number("0X41", 65);
        number("0xfF", 255);
        number("o101", 65);
        number("0O101", 65);
        number("0", 0);
        number("007", 7);
        number("18446744073709551615", ~quint64(0));
        number("18446744073709551616", ~quint64(0));
        number("x10000000000000000", ~quint64(0));
        none("x");
        none("0x");
        none("x4g");
        none("o8");
        none("0o");
        none("-5");
        none("+5");
        none(" 5");
        none("1.5");
        none("");
        none("0b1");
        none("12a");
        none("00x1");
        none("\u0665"); // an Arabic digit
    }
    void readsNumbers() {
        QFETCH(QString, text);
        QFETCH(bool, isNumber);
        QFETCH(quint64, number);
        const auto found = convertToNumber(text);
        QCOMPARE(found.has_value(), isNumber);
        QCOMPARE(found.value_or(0), number);
    }
};

QTEST_GUILESS_MAIN(TextMeasuresTest)
#include "tst_textmeasures.moc"
