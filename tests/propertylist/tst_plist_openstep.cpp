// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

using Dictionary = PropertyList::Dictionary;
using List = PropertyList::List;
using Serialization = PropertyListSerialization;

} // namespace

class OpenStepPropertyListTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void reads_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<PropertyList>("expected");
        const auto row = [](const char *name, const char *text, const PropertyList &value) {
            QTest::newRow(name) << QByteArray(text) << value;
        };
        const Dictionary aIsB{{QStringLiteral("a"), QStringLiteral("b")}};
        row("bare word", "hello", QStringLiteral("hello"));
        row("every bare character", "aZ09_$/:.-", QStringLiteral("aZ09_$/:.-"));
        row("a slash is a word", "/", QStringLiteral("/"));
        row("slashes inside a word are no comment", "http://host", QStringLiteral("http://host"));
        row("number is a string", " 12 ", QStringLiteral("12"));
        row("quoted", "\"a b\"", QStringLiteral("a b"));
        row("single quotes", "'say \"x\"'", QStringLiteral("say \"x\""));
        row("quoted other quote", "\"it's\"", QStringLiteral("it's"));
        row("line breaks in quotes", "\"a\r\nb\"", QStringLiteral("a\r\nb"));
        row("empty string", "\"\"", QString());
        row("letters", "\"\\a\\b\\f\\n\\r\\t\\v\\\"\\\\\"", QStringLiteral("\a\b\f\n\r\t\v\"\\"));
        row("other letters stand for themselves", "\"\\q\\/\\8\\x41\"", QStringLiteral("q/8x41"));
        row("escaped line break", "\"a\\\nb\"", QStringLiteral("a\nb"));
        row("escaped single quote", "'\\''", QStringLiteral("'"));
        row("octal", "\"\\101\\0412\\7\"", QStringLiteral("A!2\a"));
        row("octal in the NeXTSTEP set", "\"\\344\\341\\231\"",
            QStringLiteral("\u00EE\u00C6\u00DB"));
        row("octal not assigned", "\"\\376\"", QStringLiteral("\uFFFD"));
        row("octal above a byte", "\"\\501\"", QStringLiteral("A"));
        row("unit", "\"\\U00e9\\U65E5x\"", QStringLiteral("é日x"));
        row("surrogate pair in two units", "\"\\Ud83d\\Ude00\"", QStringLiteral("😀"));
        row("dictionary", "{ a = b; }", aIsB);
        row("nothing between", "{a=b;}", aIsB);
        row("empty dictionary", "{}", Dictionary());
        row("quoted key", "{ \"k k\" = v; }",
            Dictionary{{QStringLiteral("k k"), QStringLiteral("v")}});
        row("key alone", "{ a; }", Dictionary{{QStringLiteral("a"), QStringLiteral("a")}});
        row("the last of equal keys is kept", "{ a = x; a = b; }", aIsB);
        row("list", "( a, b )", List{QStringLiteral("a"), QStringLiteral("b")});
        row("comma at the end", "( a, )", List{QStringLiteral("a")});
        row("empty list", "( )", List());
        row("data", "<48656c 6C6F>", QByteArray("Hello"));
        row("empty data", "< >", QByteArray());
        row("nested", "{ a = ({ b = <01>; }, ()); }",
            Dictionary{{QStringLiteral("a"),
                        List{Dictionary{{QStringLiteral("b"), QByteArray("\1")}}, List()}}});
        row("line comments", "// {\n{ a = b; } // }", aIsB);
        row("block comments", "/* { */ { /**/ a /* */ = b; } /* }", aIsB);
        row("comment to the end", "{ a = b; } //", aIsB);
        row("blanks", "\t\n\v\f\r {\u2028a\u2029=b;}", aIsB);
        row("strings file", "a = b;", aIsB);
        row("strings file with comments", "/* x */ \"a\" = /* y */ \"b\"; // z", aIsB);
        row("strings file, key alone", "a;",
            Dictionary{{QStringLiteral("a"), QStringLiteral("a")}});
        row("strings file with a dictionary in it", "a = { a = b; };",
            Dictionary{{QStringLiteral("a"), aIsB}});
        row("blanks alone", " \n\t", Dictionary());
        row("comment alone", "/* nothing */", Dictionary());
        row("UTF-8", "\"é日😀\"", QStringLiteral("é日😀"));
        row("UTF-8 with a mark", "\xEF\xBB\xBF{ a = b; }", aIsB);
        QTest::newRow("UTF-16, big endian")
            << QByteArray("\xFE\xFF\0(\0)", 6) << PropertyList(List());
        QTest::newRow("UTF-16, little endian")
            << QByteArray("\xFF\xFE(\0)\0", 6) << PropertyList(List());
        QTest::newRow("UTF-32, little endian")
            << QByteArray("\xFF\xFE\0\0(\0\0\0)\0\0\0", 12) << PropertyList(List());
    }
    void reads() {
        QFETCH(QByteArray, text);
        QFETCH(PropertyList, expected);
        const auto parsed = Serialization::parseOpenStep(text);
        QCOMPARE(kit::reasonOf(parsed), QString());
        QVERIFY2(*parsed == expected, qPrintable(parsed->description()));
    }

    void refuses_data() {
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char *name, const char *text) {
            QTest::newRow(name) << QByteArray(text);
        };
        row("two words", "not a plist");
        row("signs that are no text", "<<<");
        row("character that needs quotes", "a+b");
        row("comment that begins in a word", "http://host/*");
        row("semicolon missing", "{ a = b }");
        row("semicolon missing between", "{ a = b c = d; }");
        row("brace missing", "{ a = b;");
        row("value missing", "{ a = ; }");
        row("value missing at the end", "{ a =");
        row("equals sign missing", "{ a b; }");
        row("key that is a list", "{ () = b; }");
        row("brace too many", "{ a = b; } }");
        row("brace in a strings file", "a = b; }");
        row("text after a list", "() x");
        row("text after data", "<00> x");
        row("list not closed", "( a");
        row("list not closed after a comma", "( a,");
        row("comma alone", "( , )");
        row("two commas", "( a,, b )");
        row("comma missing", "( a b )");
        row("quote missing", "\"a");
        row("other quote", "\"a'");
        row("backslash at the end", "\"\\");
        row("odd number of digits", "<012>");
        row("half pairs", "<0 1>");
        row("no digits", "<zz>");
        row("data not closed", "<00");
        row("comment in data", "<00/**/>");
        row("typed extension", "<*I5>");
        row("unit of three digits", "\"\\U00e\"");
        row("unit at the end", "\"\\U00e");
        row("bytes that are no UTF-8", "\"\xff\"");
        QTest::newRow("zero byte") << QByteArray("a\0", 2);
        QTest::newRow("half a UTF-16 unit") << QByteArray("\xFE\xFF\0(\0", 5);
    }
    void refuses() {
        QFETCH(QByteArray, text);
        const auto parsed = Serialization::parseOpenStep(text);
        QVERIFY2(!parsed, qPrintable(parsed ? parsed->description() : QString()));
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
    }

    void errorsNameTheLine() {
        QCOMPARE(kit::reasonOf(Serialization::parseOpenStep("{\n a = b;\n c = d\n}")),
                 QStringLiteral("text property list: missing ; after an entry in line 4"));
    }

    void deepNestingIsRefused_data() {
        QTest::addColumn<QByteArray>("open");
        QTest::addColumn<QByteArray>("close");
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("accepted");
        constexpr int limit = Serialization::maximumDepth;
        for (const int depth : {limit - 1, limit, limit + 1, 100'000}) {
            QTest::addRow("%d lists", depth)
                << QByteArray("(") << QByteArray(")") << depth << (depth <= limit);
            QTest::addRow("%d dictionaries", depth)
                << QByteArray("{a=") << QByteArray(";}") << depth << (depth <= limit);
        }
    }
    void deepNestingIsRefused() {
        QFETCH(QByteArray, open);
        QFETCH(QByteArray, close);
        QFETCH(int, depth);
        QFETCH(bool, accepted);
        const QByteArray leaf = "x";
        const auto parsed =
            Serialization::parseOpenStep(open.repeated(depth) + leaf + close.repeated(depth));
        QCOMPARE(parsed.has_value(), accepted);
    }

    void stringsFilesCountAsOneLevel() {
        constexpr int limit = Serialization::maximumDepth;
        const auto nested = [](int depth) {
            return QByteArray("a=") + QByteArray(depth, '(') + QByteArray(depth, ')') + ";";
        };
        QVERIFY(Serialization::parseOpenStep(nested(limit - 1)));
        QVERIFY(!Serialization::parseOpenStep(nested(limit)));
    }

    void nextStepCharacters() {
        QCOMPARE(characterFromNextStep(0x41), u'A');
        QCOMPARE(characterFromNextStep(0x7F), char16_t(0x7F));
        QCOMPARE(characterFromNextStep(0x80), char16_t(0x00A0));
        QCOMPARE(characterFromNextStep(0xE4), char16_t(0x00EE));
        QCOMPARE(characterFromNextStep(0xFD), char16_t(0x00FF));
        QCOMPARE(characterFromNextStep(0xFF), char16_t(0xFFFD));
    }
};

QTEST_GUILESS_MAIN(OpenStepPropertyListTest)
#include "tst_plist_openstep.moc"
