// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/TypedJson.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QStringConverter>
#include <QTest>

#include <cmath>
#include <limits>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

namespace {

using Parsed = Result<PropertyList>;

/// The value; a refusal fails the comparison that it is used in, with the error as the value.
PropertyList valueOf(QByteArrayView bytes) {
    const Parsed parsed = PropertyListSerialization::parseXml(bytes);
    if (!parsed)
        return QStringLiteral("refused: ") + kit::reasonOf(parsed);
    return *parsed;
}

QString errorOf(QByteArrayView bytes) {
    const Parsed parsed = PropertyListSerialization::parseXml(bytes);
    if (parsed)
        return QStringLiteral("accepted: ") + parsed->description();
    return kit::reasonOf(parsed);
}

QByteArray nestedArrays(int depth) {
    return QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth);
}

QByteArray nestedDictionaries(int depth) {
    return QByteArray("<dict><key>a</key>").repeated(depth - 1) + "<dict/>" +
           QByteArray("</dict>").repeated(depth - 1);
}

int depthOf(const PropertyList &value) {
    if (value.isList())
        return 1 + (value.list().isEmpty() ? 0 : depthOf(value.list().first()));
    if (value.isDictionary())
        return 1 + (value.dictionary().isEmpty() ? 0 : depthOf(value.dictionary().first()));
    return 0;
}

} // namespace

class PropertyListXmlReaderTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void readsValidVectors_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : kit::vectorsIn(QStringLiteral("xml/valid")))
            QTest::newRow(qPrintable(name)) << name;
    }
    void readsValidVectors() {
        QFETCH(QString, name);
        if (name.endsWith(u"nested_600.plist")) {
            QCOMPARE(errorOf(kit::vectorBytes(name)),
                     QStringLiteral("nested deeper than 512 in line 4"));
            return;
        }
        if (name.endsWith(u"nested_100.plist")) {
            QCOMPARE(depthOf(valueOf(kit::vectorBytes(name))), 100);
            return;
        }
        QJsonObject expected = kit::expectedValue(name);
        if (name.endsWith(u"charref_astral.plist")) // older platforms cut it to U+F600
            expected = typedJson(QStringLiteral("😀"));
        QCOMPARE(typedJson(valueOf(kit::vectorBytes(name))), expected);
    }

    void refusesInvalidVectors_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : kit::vectorsIn(QStringLiteral("xml/invalid")))
            QTest::newRow(qPrintable(name)) << name;
    }
    void refusesInvalidVectors() {
        QFETCH(QString, name);
        const Parsed parsed = PropertyListSerialization::parseXml(kit::vectorBytes(name));
        QVERIFY(!parsed);
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
    }

    void refusesWithAReasonAndALine_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *text, const char *error) {
            QTest::newRow(text) << QByteArray(text) << QString::fromUtf8(error);
        };
        row("", "the text ends too early in line 1");
        row(" \n\n", "the text ends too early in line 3");
        row("word", "text between elements in line 1");
        row("<!-- ", "a comment without an end in line 1");
        row("<!--->", "a comment without an end in line 1");
        row("<?xml", "a processing instruction without an end in line 1");
        row("<!DOCTYPE plist", "a document type without an end in line 1");
        row("<!DOCTYPE plist [\n]><true/>",
            "a document type with declarations of its own in line 1");
        row("<array><!DOCTYPE plist></array>", "unknown element <!DOCTYPE> in line 1");
        row("<dict", "a tag without an end in line 1");
        row("\n<Dict/>", "unknown element <Dict> in line 2");
        row("<dict/x>", "unknown element <dict/x> in line 1");
        row("< dict/>", "unknown element <> in line 1");
        row("</dict>", "unknown element </dict> in line 1");
        row("<plist/>", "no value inside <plist> in line 1");
        row("<plist>\n</plist>", "no value inside <plist> in line 2");
        row("<plist><true/>\n<true/></plist>", "a second value inside <plist> in line 2");
        row("<plist><true/>", "the text ends too early in line 1");
        row("<plist><true/></dict>", "</plist> was expected in line 1");
        row("<array><plist><true/></plist></array>", "<plist> inside a value in line 1");
        row("<array>word</array>", "text between elements in line 1");
        row("<array><true/>", "the text ends too early in line 1");
        row("<array></dict>", "</array> was expected in line 1");
        row("<array></arrays>", "</array> was expected in line 1");
        row("<array></array", "</array> was expected in line 1");
        row("<array></ array>", "</array> was expected in line 1");
        row("<dict><true/></dict>", "a value without a key in line 1");
        row("<dict><key>a</key></dict>", "a key without a value in line 1");
        row("<dict><key>a</key><key>b</key></dict>", "a key without a value in line 1");
        row("<dict><key>a</key><true/>", "the text ends too early in line 1");
        row("<string>a", "</string> was expected in line 1");
        row("<string>a<b/></string>", "</string> was expected in line 1");
        row("<string>a<!-- b --></string>", "</string> was expected in line 1");
        row("<string><![CDATA[a</string>", "a CDATA section without an end in line 1");
        row("<string>&</string>", "unknown reference \"&</string>\" in line 1");
        row("<string>&lt</string>", "unknown reference \"&lt</string>\" in line 1");
        row("<string>&LT;</string>", "unknown reference \"&LT\" in line 1");
        row("<string>&nbsp;</string>", "unknown reference \"&nbsp\" in line 1");
        row("<string>&;</string>", "unknown reference \"&\" in line 1");
        row("<string>&#;</string>", "unknown reference \"&#\" in line 1");
        row("<string>&#x;</string>", "unknown reference \"&#x\" in line 1");
        row("<string>&#X41;</string>", "unknown reference \"&#X41\" in line 1");
        row("<string>&#4 ;</string>", "unknown reference \"&#4 \" in line 1");
        row("<string>&#-4;</string>", "unknown reference \"&#-4\" in line 1");
        row("<string>&#x41", "unknown reference \"&#x41\" in line 1");
        row("<string>\n\xc3</string>",
            "bytes that are not UTF-8 in a string that begins in line 1");
        row("<true>\n</true>", "</true> was expected in line 1");
        row("<integer></integer>", "\"\" is no <integer> in line 1");
        row("<integer/>", "<integer> is empty in line 1");
        row("<real/>", "<real> is empty in line 1");
        row("<date/>", "<date> is empty in line 1");
        row("<data/>", "<data> is empty in line 1");
        row("<integer>1", "</integer> was expected in line 1");
        row("<integer>1<!-- one --></integer>", "</integer> was expected in line 1");
        row("<integer>1</real>", "</integer> was expected in line 1");
        row("<integer>&#49;</integer>", "\"&#49;\" is no <integer> in line 1");
        row("<date>2013</date>", "\"2013\" is no <date> in line 1");
        row("<data>QU\xc3\x84I</data>", "a character above U+007F inside <data> in line 1");
        row("<data>AAAA", "</data> was expected in line 1");
    }
    void refusesWithAReasonAndALine() {
        QFETCH(QByteArray, text);
        QFETCH(QString, error);
        QCOMPARE(errorOf(text), error);
    }

    void reads_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<PropertyList>("value");
        const auto row = [](const char *text, const PropertyList &value) {
            QTest::newRow(text) << QByteArray(text) << value;
        };
        using Dictionary = PropertyList::Dictionary;
        using List = PropertyList::List;
        row(" \t\r\n<true/>", true);
        row("<false/>anything", false);
        row("<plist><true/></plist>anything <", true);
        row("<!DOCTYPE a><!-- b --><?c?><!DOCTYPE d><plist><!----><true/><?e?></plist>", true);
        row("<!-- <dict> -- ---><true/>", true);
        row("<plist version=\"1.0\" other = '/'><true a=\"b\"/></plist>", true);
        row("<dict />", Dictionary());
        row("<dict\n></dict\t >", Dictionary());
        row("<array\t/>", List());
        row("<array> <true/>\n<!-- - --><false/><?x?> </array>", List{true, false});
        row("<key>a</key>", QStringLiteral("a"));
        row("<array><key>a</key><key/></array>", List{QStringLiteral("a"), QStringLiteral("")});
        row("<dict><key>b</key><true/><key>a</key><false/></dict>",
            Dictionary{{QStringLiteral("a"), false}, {QStringLiteral("b"), true}});
        row("<dict><key>a</key><integer>1</integer><key>b</key><true/>"
            "<key>a</key><integer>2</integer></dict>",
            Dictionary{{QStringLiteral("a"), 2}, {QStringLiteral("b"), true}});
        row("<dict><key/><true/></dict>", Dictionary{{QString(), true}});
        row("<dict> <key>a</key> <!-- - --> <true></true> <?x?> </dict >",
            Dictionary{{QStringLiteral("a"), true}});
        row("<string/>", QStringLiteral(""));
        row("<string> \r\n a\r\tb \n</string>", QStringLiteral(" \r\n a\r\tb \n"));
        row("<string>&lt;&gt;&amp;&apos;&quot;</string>", QStringLiteral("<>&'\""));
        row("<string>&amp;lt;</string>", QStringLiteral("&lt;"));
        row("<string>a&#65;&#x42;&#x63;&#0000067;b</string>", QStringLiteral("aABcCb"));
        row("<string>&#13;&#10;&#x7f;</string>", QStringLiteral("\r\n\x7f"));
        row("<string>]]> > \"</string>", QStringLiteral("]]> > \""));
        row("<string>a<![CDATA[<b>&amp;]]]]><![CDATA[>]]>c&gt;</string>",
            QStringLiteral("a<b>&amp;]]>c>"));
        row("<string><![CDATA[]]></string>", QStringLiteral(""));
        row("<string>\xef\xbb\xbf"
            "a</string>",
            QStringLiteral("\ufeff"
                           "a"));
        row("<data> </data>", QByteArray(""));
        row("<data>QUI=QQ==\n</data>", QByteArray("ABA"));
        row("<data>QUJDR</data>", QByteArray("ABC"));
    }
    void reads() {
        QFETCH(QByteArray, text);
        QFETCH(PropertyList, value);
        QCOMPARE(valueOf(text), value);
    }

    void keepsControlCharacters() {
        QString text;
        for (char16_t unit = 0; unit < 0x20; ++unit)
            text += QChar(unit);
        QCOMPARE(valueOf("<string>" + text.toUtf8() + "</string>"), PropertyList(text));
        QCOMPARE(valueOf("<string>&#0;</string>"), PropertyList(QString(QChar(0))));
    }

    void readsReferencesUpToTheLastCharacter() {
        QCOMPARE(valueOf("<string>&#xffff;&#x10000;&#x10FFFF;&#1114111;</string>"),
                 PropertyList(QStringLiteral("\uffff\U00010000\U0010ffff\U0010ffff")));
        QCOMPARE(errorOf("<string>&#x110000;</string>"),
                 QStringLiteral("unknown reference \"&#x110000\" in line 1"));
        QCOMPARE(errorOf("<string>&#1114112;</string>"),
                 QStringLiteral("unknown reference \"&#1114112\" in line 1"));
    }

    void readsReferencesOfAtMostEightDigits() {
        QCOMPARE(valueOf("<string>&#0000065;</string>"), PropertyList(QStringLiteral("A")));
        QCOMPARE(valueOf("<string>&#00000065;</string>"), PropertyList(QStringLiteral("A")));
        QCOMPARE(errorOf("<string>&#000000065;</string>"),
                 QStringLiteral("unknown reference \"&#000000065\" in line 1"));
        QCOMPARE(valueOf("<string>&#x0000041;</string>"), PropertyList(QStringLiteral("A")));
        QCOMPARE(valueOf("<string>&#x00000041;</string>"), PropertyList(QStringLiteral("A")));
        QCOMPARE(errorOf("<string>&#x000000041;</string>"),
                 QStringLiteral("unknown reference \"&#x000000041\" in line 1"));
    }

    void joinsSurrogatesThatWereWrittenAsReferences() {
        QCOMPARE(valueOf("<string>&#xD83D;&#xDE00;</string>"), PropertyList(QStringLiteral("😀")));
        QCOMPARE(valueOf("<string>&#xD83D;</string>"), PropertyList(QStringLiteral("\ufffd")));
        QCOMPARE(valueOf("<string>&#xDE00;&#xD83D;a</string>"),
                 PropertyList(QStringLiteral("\ufffd\ufffd"
                                             "a")));
    }

    void readsIntegers_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<PropertyList>("value");
        const auto row = [](const char *text, const PropertyList &value) {
            QTest::newRow(text) << QByteArray(text) << value;
        };
        row("0", 0);
        row("-0", 0);
        row("+5", 5);
        row("007", 7);
        row(" \t\r\n-  12", -12);
        row("00000000000000000000000000001", 1);
        row("9223372036854775807", std::numeric_limits<qint64>::max());
        row("9223372036854775808", quint64(1) << 63);
        row("18446744073709551615", std::numeric_limits<quint64>::max());
        row("-9223372036854775808", std::numeric_limits<qint64>::min());
        row("0x0", 0);
        row("0XfF", 255);
        row("-0x8000000000000000", std::numeric_limits<qint64>::min());
        row("0xffffffffffffffff", std::numeric_limits<quint64>::max());
    }
    void readsIntegers() {
        QFETCH(QByteArray, text);
        QFETCH(PropertyList, value);
        QCOMPARE(valueOf("<integer>" + text + "</integer>"), value);
    }

    void refusesOtherIntegers_data() {
        QTest::addColumn<QByteArray>("text");
        for (const char *text :
             {" ", "-", "+-1", "--1", "1 ", "1.0", "1e3", "0x", "0x-1", "0xg", "a",
              "18446744073709551616", "-9223372036854775809", "0x10000000000000000",
              "-0x8000000000000001", "99999999999999999999999"}) {
            QTest::newRow(text) << QByteArray(text);
        }
    }
    void refusesOtherIntegers() {
        QFETCH(QByteArray, text);
        QVERIFY(!PropertyListSerialization::parseXml("<integer>" + text + "</integer>"));
    }

    void readsReals_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<double>("value");
        const auto row = [](const char *text, double value) {
            QTest::newRow(text) << QByteArray(text) << value;
        };
        constexpr double infinity = std::numeric_limits<double>::infinity();
        row("0", 0);
        row("1.5", 1.5);
        row("+1.5", 1.5);
        row("-.5", -0.5);
        row("5.", 5);
        row("1e3", 1000);
        row("1E+3", 1000);
        row("25e-1", 2.5);
        row("0.10000000000000001", 0.1);
        row("1.7976931348623157e308", std::numeric_limits<double>::max());
        row("1e309", infinity);
        row("-1e309", -infinity);
        row("1e-999", 0);
        row("nan", std::nan(""));
        row("NaN", std::nan(""));
        row("inf", infinity);
        row("+Infinity", infinity);
        row("infinity", infinity);
        row("-INF", -infinity);
        row("-infinity", -infinity);
    }
    void readsReals() {
        QFETCH(QByteArray, text);
        QFETCH(double, value);
        QCOMPARE(valueOf("<real>" + text + "</real>"), PropertyList(value));
    }

    void refusesOtherReals_data() {
        QTest::addColumn<QByteArray>("text");
        for (const char *text :
             {"",       " ",    ".",    "-",       "+",         "e5",   "1e",  "1e+",
              "1,5",    "1.5.", "1.5x", " 1",      "1 ",        "0x10", "--1", "+-1",
              "nan(1)", "+nan", "-nan", "infinit", "infinityy", "1f"}) {
            QTest::newRow(text) << QByteArray(text);
        }
    }
    void refusesOtherReals() {
        QFETCH(QByteArray, text);
        QVERIFY(!PropertyListSerialization::parseXml("<real>" + text + "</real>"));
    }

    void makesAReferenceOfItsDictionary_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<PropertyList>("value");
        const auto row = [](const char *name, const char *content, const PropertyList &value) {
            QTest::newRow(name) << QByteArray(content) << value;
        };
        const auto entry = [](const PropertyList &value) {
            return PropertyList::Dictionary{{QStringLiteral("CF$UID"), value}};
        };
        row("lowest", "<integer>0</integer>", PropertyList::Uid{0});
        row("highest", "<integer>4294967295</integer>", PropertyList::Uid{4294967295});
        row("too high", "<integer>4294967296</integer>", entry(4294967296));
        row("negative", "<integer>-1</integer>", entry(-1));
        row("a real", "<real>1</real>", entry(1.0));
        row("twice", "<integer>1</integer><key>CF$UID</key><integer>2</integer>",
            PropertyList::Uid{2});
        auto two = entry(1);
        two.insert(QStringLiteral("a"), true);
        row("beside another", "<integer>1</integer><key>a</key><true/>", two);
    }
    void makesAReferenceOfItsDictionary() {
        QFETCH(QByteArray, content);
        QFETCH(PropertyList, value);
        QCOMPARE(valueOf("<dict><key>CF$UID</key>" + content + "</dict>"), value);
    }

    void readsLongStringsLikeShortOnes() {
        // Around the size up to which strings are decoded aside, each with something at its end.
        for (qsizetype size = 500; size < 530; ++size) {
            const QByteArray plain(size, 'x');
            const QString text = QString::fromLatin1(plain);
            QCOMPARE(valueOf("<string>" + plain + "</string>"), PropertyList(text));
            QCOMPARE(valueOf("<string>" + plain + "&amp;</string>"), PropertyList(text + u'&'));
            QCOMPARE(valueOf("<string>" + plain + "\xe4\xbd\xa0</string>"),
                     PropertyList(text + QStringLiteral("你")));
            QCOMPARE(valueOf("<string>" + plain + "<![CDATA[<]]></string>"),
                     PropertyList(text + u'<'));
            QVERIFY(!PropertyListSerialization::parseXml("<string>" + plain + "\xe4\xbd</string>"));
        }
    }

    void keepsNoMoreMemoryThanItReturns() {
        const PropertyList text =
            valueOf("<string>" + QByteArray("&#x61;").repeated(100'000) + "</string>");
        QCOMPARE(text.string(), QString(100'000, u'a'));
        QVERIFY(text.string().capacity() < 150'000);
        const PropertyList data = valueOf("<data>" + QByteArray(1'000'000, ' ') + "QUJD</data>");
        QCOMPARE(data.data(), QByteArray("ABC"));
        QVERIFY(data.data().capacity() < 100);
    }

    void readsDownToTheDeepestLevel_data() {
        QTest::addColumn<int>("depth");
        QTest::newRow("one less") << PropertyListSerialization::maximumDepth - 1;
        QTest::newRow("the deepest") << PropertyListSerialization::maximumDepth;
    }
    void readsDownToTheDeepestLevel() {
        QFETCH(int, depth);
        QCOMPARE(depthOf(valueOf(nestedArrays(depth))), depth);
        QCOMPARE(depthOf(valueOf("<plist>" + nestedDictionaries(depth) + "</plist>")), depth);
    }

    void refusesOneLevelMore() {
        const int depth = PropertyListSerialization::maximumDepth + 1;
        const QString error = QStringLiteral("nested deeper than 512 in line 1");
        QCOMPARE(errorOf(nestedArrays(depth)), error);
        QCOMPARE(errorOf(nestedDictionaries(depth)), error);
        QCOMPARE(errorOf(nestedArrays(1'000'000)), error);
    }

    void readsNothingOfTheRefusedInputNextTime() {
        const QByteArray good = "<dict><key>a</key><string>&#xD83D;</string></dict>";
        const PropertyList expected = valueOf(good);
        for (const char *bad :
             {"<dict><key>a</key>", "<string>&#xD83D;", "<data>AAAA", "\xff\xfe<"}) {
            QVERIFY(!PropertyListSerialization::parseXml(bad));
            QCOMPARE(valueOf(good), expected);
        }
    }

    void refusesEveryTruncation() {
        const QByteArray whole =
            kit::vectorBytes(QStringLiteral("xml/valid/all_types_plistlib.plist")).trimmed();
        QVERIFY(PropertyListSerialization::parseXml(whole));
        for (qsizetype size = 0; size < whole.size(); ++size) {
            const QByteArray part(whole.constData(), size); // a copy, so that its end is guarded
            QVERIFY2(!PropertyListSerialization::parseXml(part), qPrintable(QString::number(size)));
        }
    }

    void findsTheEncodingByItsMark_data() {
        QTest::addColumn<QByteArray>("bytes");
        const QString text =
            QStringLiteral("<?xml version='1.0' encoding='ISO-8859-1'?><string>é😀</string>");
        const auto row = [&text](const char *name, const QByteArray &mark,
                                 QStringEncoder::Encoding encoding) {
            QStringEncoder encoder(encoding, QStringEncoder::Flag::Stateless);
            QTest::newRow(name) << mark + QByteArray(encoder(text));
        };
        // The mark outweighs the declaration.
        row("UTF-8", "\xef\xbb\xbf", QStringEncoder::Utf8);
        row("UTF-16, big end first", "\xfe\xff", QStringEncoder::Utf16BE);
        row("UTF-16, little end first", "\xff\xfe", QStringEncoder::Utf16LE);
        row("UTF-32, big end first", QByteArray("\0\0\xfe\xff", 4), QStringEncoder::Utf32BE);
        row("UTF-32, little end first", QByteArray("\xff\xfe\0\0", 4), QStringEncoder::Utf32LE);
        row("UTF-16 without a mark, big end first", "", QStringEncoder::Utf16BE);
        row("UTF-16 without a mark, little end first", "", QStringEncoder::Utf16LE);
    }
    void findsTheEncodingByItsMark() {
        QFETCH(QByteArray, bytes);
        QCOMPARE(valueOf(bytes), PropertyList(QStringLiteral("é😀")));
    }

    void readsTheDeclaredEncoding_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("string");
        const auto row = [](const char *text, const QString &string) {
            QTest::newRow(text) << QByteArray(text) << string;
        };
        const QString accented = QStringLiteral("é");
        row("<?xml version=\"1.0\" encoding=\"UTF-8\"?><string>\xc3\xa9</string>", accented);
        row("<?xml version=\"1.0\" encoding=\"utf-8\"?><string>\xc3\xa9</string>", accented);
        row("<?xml encoding = 'ISO-8859-1' standalone='no'?><string>\xe9</string>", accented);
        row("<?xml encoding='iso-8859-1'?><string>\xc3\xa9</string>", QStringLiteral("Ã©"));
        row("<?xml encoding=\"US-ASCII\"?><string>e</string>", QStringLiteral("e"));
        row("<?xml version='1.0'?><string>\xc3\xa9</string>", accented);
        row("<?xml encoding?><string>\xc3\xa9</string>", accented);
        row("<?xml encoding='?><string>\xc3\xa9</string>", accented);
        // Only the declaration counts, and only at the very beginning.
        row("<?xml?><string>encoding='x'\xc3\xa9</string>", QStringLiteral("encoding='x'é"));
        row(" <?xml encoding='x'?><string>\xc3\xa9</string>", accented);
    }
    void readsTheDeclaredEncoding() {
        QFETCH(QByteArray, text);
        QFETCH(QString, string);
        QCOMPARE(valueOf(text), PropertyList(string));
    }

    void refusesOtherEncodings_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *name, const QByteArray &bytes, const char *error) {
            QTest::newRow(name) << bytes << QString::fromUtf8(error);
        };
        row("unknown", "<?xml encoding=\"EBCDIC\"?><true/>", "unknown encoding \"ebcdic\"");
        row("ASCII with more", "<?xml encoding=\"US-ASCII\"?><string>\xc3\xa9</string>",
            "the text is not US-ASCII as declared");
        row("UTF-16 that is not", "<?xml encoding=\"UTF-16\"?><true/>",
            "the text is not UTF-16 as declared");
        row("half a unit", QByteArray("\xff\xfe<\0/", 5), "the text is not valid UTF-16");
        row("lone surrogate", QByteArray("\xfe\xff\xd8\x3d\0<", 6), "the text is not valid UTF-16");
        row("half of UTF-32", QByteArray("\0\0\xfe\xff\0\0", 6), "the text is not valid UTF-32");
        row("surrogate in UTF-32", QByteArray("\0\0\xfe\xff\0\0\xd8\0", 8),
            "the text is not valid UTF-32");
        row("beyond U+10FFFF", QByteArray("\0\0\xfe\xff\0\x11\0\0", 8),
            "the text is not valid UTF-32");
        row("not UTF-8", "<string>\xe9</string>",
            "bytes that are not UTF-8 in a string that begins in line 1");
    }
    void refusesOtherEncodings() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        QCOMPARE(errorOf(bytes), error);
    }
};

QTEST_GUILESS_MAIN(PropertyListXmlReaderTest)
#include "tst_plist_xml_reader.moc"
