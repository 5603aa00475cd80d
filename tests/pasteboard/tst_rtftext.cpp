// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/RtfText.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class RtfTextTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void readsText_data() {
        QTest::addColumn<QByteArray>("rtf");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const char *rtf, const char16_t *text) {
            QTest::newRow(name) << QByteArray(rtf) << QStringView(text).toString();
        };
        row("plain", R"({\rtf1\ansi Hello})", u"Hello");
        row("formatting", R"({\rtf1\ansi{\b bold} and {\i italic}})", u"bold and italic");
        row("paragraphs", R"({\rtf1 one\par two\line three})", u"one\ntwo\nthree");
        row("line ends in the source say nothing", "{\\rtf1 one\r\ntwo}", u"onetwo");
        row("a backslash before one is a paragraph", "{\\rtf1 one\\\ntwo}", u"one\ntwo");
        row("fonts and colours", R"({\rtf1{\fonttbl{\f0 Times;}}{\colortbl;\red1;}\f0 x})", u"x");
        row("optional destinations", R"({\rtf1{\*\generator Writer 7;}x})", u"x");
        row("picture", R"({\rtf1 a{\pict\pngblip 89504e47}b})", u"ab");
        row("link", R"({\rtf1{\field{\*\fldinst HYPERLINK x}{\fldrslt here}}})", u"here");
        row("table", R"({\rtf1\trowd a\cell b\cell\row c})", u"a\tb\t\nc");
        row("escaped braces", R"({\rtf1 \{a\}\\})", u"{a}\\");
        row("Western bytes", R"({\rtf1\ansi\ansicpg1252 caf\'e9 \'80})", u"café €");
        row("Cyrillic bytes", R"({\rtf1\ansi\ansicpg1251 \'ef\'f0\'e8})", u"при");
        row("two-byte characters", R"({\rtf1\ansi\ansicpg932 \'93\'fa\'96\'7b})", u"日本");
        row("another code page on the way",
            R"({\rtf1\ansicpg1251 \'ef\ansicpg1252 \'ef\ansicpg1252 \'e9})", u"пïé");
        row("half a character before another code page",
            R"({\rtf1\ansicpg932 \'93\ansicpg1252 \'e9})", u"\ufffdé");
        row("bytes after half a character", R"({\rtf1\ansicpg932 \'93\u8364?\'93\'fa})",
            u"\ufffd€日");
        row("unknown code page", R"({\rtf1\ansi\ansicpg99999 \'e9})", u"é");
        row("Unicode with a fallback", R"({\rtf1\uc1 \u8364?5})", u"€5");
        row("negative Unicode", R"({\rtf1\uc1\u-10179?\u-8704?})", u"😀");
        row("no fallback", R"({\rtf1\uc0\u8364 5})", u"€5");
        row("fallback in hexadecimal", R"({\rtf1\uc2\u8364\'80\'81x})", u"€x");
        row("fewer than no fallback", R"({\rtf1\uc-1\u8364 5})", u"€5");
        row("a long fallback", R"({\rtf1\uc15\u8364 0123456789abcdefgh})", u"€fgh");
        row("the longest fallback", R"({\rtf1\uc16\u8364 0123456789abcdefgh})", u"€gh");
        row("no longer fallback than that", R"({\rtf1\uc17\u8364 0123456789abcdefgh})", u"€gh");
        row("symbols", R"({\rtf1\ldblquote a\rdblquote\~\emdash})", u"“a”\u00a0—");
        row("binary bytes are jumped over", "{\\rtf1 a\\bin3 {{{b}", u"ab");
        row("binary longer than the document", "{\\rtf1 a\\bin99999 b}", u"a");
        row("what follows the document", R"({\rtf1 a}b)", u"a");
        row("after white space", "\r\n\t {\\rtf1 a}", u"a");
        row("white space alone", "\n ", u"(refused)");
        row("unfinished", R"({\rtf1 a{\b b)", u"ab");
        row("ends in a backslash", "{\\rtf1 a\\", u"a");
        row("empty", R"({\rtf1})", u"");
    }
    void readsText() {
        QFETCH(QByteArray, rtf);
        QTEST(textOfRtf(rtf).value_or(QStringLiteral("(refused)")), "text");
    }

    void otherBytesAreNoRtf() {
        QVERIFY(!textOfRtf("Hello"));
        QVERIFY(!textOfRtf(""));
        QVERIFY(!textOfRtf("{\\html}"));
    }

    void codePagesAreBounded() {
        const auto text = [](int changes) {
            QByteArray rtf = "{\\rtf1";
            for (int change = 1; change < changes; ++change)
                rtf += "\\ansicpg1252";
            return textOfRtf(rtf + "\\ansicpg1251 \\'ef}");
        };
        QCOMPARE(text(mostRtfCodePages - 1), QStringLiteral("п"));
        QCOMPARE(text(mostRtfCodePages), QStringLiteral("п"));
        QCOMPARE(text(mostRtfCodePages + 1), QStringLiteral("ï"));
    }

    void sizeIsBounded() {
        const auto ofSize = [](qsizetype size) {
            const QByteArray start = "{\\rtf1 x\\bin99999999 ";
            return start + QByteArray(size - start.size() - 1, 'y') + '}';
        };
        QCOMPARE(textOfRtf(ofSize(maximumRtfBytes - 1)), QStringLiteral("x"));
        QCOMPARE(textOfRtf(ofSize(maximumRtfBytes)), QStringLiteral("x"));
        QVERIFY(!textOfRtf(ofSize(maximumRtfBytes + 1)));
    }

    void nestingIsBounded() {
        const auto nested = [](int depth) {
            return "{\\rtf1 " + QByteArray(depth - 1, '{') + "x" + QByteArray(depth, '}');
        };
        QCOMPARE(textOfRtf(nested(maximumRtfDepth - 1)), QStringLiteral("x"));
        QCOMPARE(textOfRtf(nested(maximumRtfDepth)), QStringLiteral("x"));
        QVERIFY(!textOfRtf(nested(maximumRtfDepth + 1)));
    }
};

QTEST_GUILESS_MAIN(RtfTextTest)
#include "tst_rtftext.moc"
