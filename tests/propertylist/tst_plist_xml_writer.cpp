// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"
#include "tests/propertylist/RandomValues.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

using namespace clipmule;

Q_DECLARE_METATYPE(clipmule::PropertyList)

namespace {

using Serialization = PropertyListSerialization;

constexpr char prologue[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                            "<plist version=\"1.0\">\n";
constexpr char epilogue[] = "</plist>\n";

/// Without what every document begins and ends with.
QByteArray written(const PropertyList &value) {
    const QByteArray document = Serialization::xml(value);
    if (!document.startsWith(prologue) || !document.endsWith(epilogue))
        return "not framed: " + document;
    return document.sliced(qsizetype(std::strlen(prologue)))
        .chopped(qsizetype(std::strlen(epilogue)));
}

/// So many lists, the innermost one empty.
PropertyList nestedLists(int depth) {
    PropertyList value = PropertyList::List();
    for (int level = 1; level < depth; ++level)
        value = PropertyList::List{value};
    return value;
}

/// So many dictionaries, the innermost one empty.
PropertyList nestedDictionaries(int depth) {
    PropertyList value;
    for (int level = 1; level < depth; ++level)
        value = PropertyList::Dictionary{{QStringLiteral("a"), value}};
    return value;
}

} // namespace

class PropertyListXmlWriterTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void writesByteForByteAsThePlatform_data() {
        QTest::addColumn<QString>("name");
        // Written by the platform's own writer, or identical with what it writes.
        for (const char *name :
             {"writer/out_cf_values.plist", "writer/out_cf_all_types.plist",
              "writer/out_cf_clip_envelope.plist", "xml/valid/all_types_plistlib.plist",
              "xml/valid/clip_envelope.plist", "xml/valid/data_wrapping_plistlib.plist"}) {
            QTest::newRow(name) << QString::fromLatin1(name);
        }
    }
    void writesByteForByteAsThePlatform() {
        QFETCH(QString, name);
        const QByteArray document = kit::vectorBytes(name);
        const auto parsed = Serialization::parseXml(document);
        QVERIFY2(parsed, qPrintable(kit::reasonOf(parsed)));
        QCOMPARE(Serialization::xml(*parsed), document);
    }

    void writesBinaryListsByteForByteAsThePlatform_data() {
        QTest::addColumn<QString>("name");
        for (const char *name : {"values", "all_types", "clip_envelope"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void writesBinaryListsByteForByteAsThePlatform() {
        QFETCH(QString, name);
        const auto input = kit::vectorBytes(QStringLiteral("writer/in_%1.bplist").arg(name));
        const auto parsed = Serialization::parseBinary(input);
        QVERIFY2(parsed, qPrintable(kit::reasonOf(parsed)));
        QCOMPARE(Serialization::xml(*parsed),
                 kit::vectorBytes(QStringLiteral("writer/out_cf_%1.plist").arg(name)));
    }

    void writesEachKind_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char *text, const PropertyList &value) {
            QTest::newRow(text) << value << QByteArray(text);
        };
        constexpr double infinity = std::numeric_limits<double>::infinity();
        row("<true/>\n", true);
        row("<false/>\n", false);
        row("<string></string>\n", QString());
        row("<string>&lt;a&gt; &amp;amp; \"'\r\t\x01\x1f\x7f</string>\n",
            QStringLiteral("<a> &amp; \"'\r\t\x01\x1f\x7f"));
        row("<integer>0</integer>\n", 0);
        row("<integer>-9223372036854775808</integer>\n", std::numeric_limits<qint64>::min());
        row("<integer>18446744073709551615</integer>\n", std::numeric_limits<quint64>::max());
        row("<real>0.0</real>\n", 0.0);
        row("<real>0.0</real>\n", -0.0);
        row("<real>1</real>\n", 1.0);
        row("<real>0.10000000000000001</real>\n", 0.1);
        row("<real>-1.0000000000000001e+300</real>\n", -1e300);
        row("<real>4.9406564584124654e-324</real>\n", std::numeric_limits<double>::denorm_min());
        row("<real>nan</real>\n", std::nan(""));
        row("<real>nan</real>\n", -std::nan(""));
        row("<real>+infinity</real>\n", infinity);
        row("<real>-infinity</real>\n", -infinity);
        row("<date>2000-12-31T23:59:59Z</date>\n", Date{-0.5});
        row("<data>\n</data>\n", QByteArray());
        row("<data>\nAQID\n</data>\n", QByteArray("\1\2\3"));
        row("<array/>\n", PropertyList::List());
        row("<dict/>\n", PropertyList::Dictionary());
        row("<array>\n\t<true/>\n\t<array>\n\t\t<dict/>\n\t</array>\n</array>\n",
            PropertyList::List{true, PropertyList::List{PropertyList()}});
        row("<dict>\n\t<key>&amp;</key>\n\t<data>\n\tAQ==\n\t</data>\n</dict>\n",
            PropertyList::Dictionary{{QStringLiteral("&"), QByteArray("\1")}});
        row("<dict>\n\t<key>CF$UID</key>\n\t<integer>4294967295</integer>\n</dict>\n",
            PropertyList::Uid{4294967295});
        row("<array>\n\t<dict>\n\t\t<key>CF$UID</key>\n\t\t<integer>7</integer>\n\t</dict>\n"
            "</array>\n",
            PropertyList::List{PropertyList::Uid{7}});
    }
    void writesEachKind() {
        QFETCH(PropertyList, value);
        QFETCH(QByteArray, text);
        QCOMPARE(written(value), text);
    }

    void writesTheSameInEveryLocale() {
        // One with a decimal comma, compiled here because none need be installed.
        const QTemporaryDir directory;
        QProcess compiler;
        compiler.start(QStringLiteral("localedef"),
                       {QStringLiteral("-i"), QStringLiteral("de_DE"), QStringLiteral("-f"),
                        QStringLiteral("UTF-8"), directory.filePath(QStringLiteral("comma"))});
        if (!compiler.waitForFinished() || compiler.exitCode() != 0)
            QSKIP("no locale can be compiled here");
        qputenv("LOCPATH", directory.path().toLocal8Bit());
        const QByteArray before = std::setlocale(LC_ALL, nullptr);
        const QByteArray after = std::setlocale(LC_ALL, "comma");
        const QByteArray printed = QByteArray::fromStdString(std::to_string(0.5));
        const QByteArray real = written(0.5);
        const auto parsed = Serialization::parseXml("<real>0.5</real>");
        std::setlocale(LC_ALL, before.constData());
        qunsetenv("LOCPATH");

        QCOMPARE(after, QByteArray("comma"));
        QCOMPARE(printed, QByteArray("0,500000"));
        QCOMPARE(real, QByteArray("<real>0.5</real>\n"));
        QVERIFY(parsed == PropertyList(0.5));
    }

    void breaksDataByIndentation_data() {
        QTest::addColumn<int>("indentation");
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("tabs");
        const int lengths[] = {76, 68, 60, 52, 44, 36, 28, 20, 12, 12, 12};
        for (int indentation = 0; indentation < 11; ++indentation) {
            QTest::addRow("at indentation %d", indentation)
                << indentation << lengths[indentation] << std::min(indentation, 8);
        }
    }
    void breaksDataByIndentation() {
        QFETCH(int, indentation);
        QFETCH(int, length);
        QFETCH(int, tabs);
        // Two full lines and four characters.
        PropertyList value = QByteArray(length / 4 * 3 * 2 + 3, '\0');
        for (int level = 0; level < indentation; ++level)
            value = PropertyList::List{value};
        const QByteArray before(indentation, '\t');
        const QByteArray line = QByteArray(tabs, '\t') + QByteArray(length, 'A') + '\n';
        const QByteArray expected = before + "<data>\n" + line + line + QByteArray(tabs, '\t') +
                                    "AAAA\n" + before + "</data>\n";
        const QByteArray text = written(value);
        QVERIFY2(text.contains(expected), text.constData());
    }

    void sortsKeysByTheirUnits() {
        PropertyList::Dictionary dictionary;
        for (const char16_t *key :
             {u"b", u"\u00e9", u"e\u0301", u"\ufb01", u"\U0001f600", u"a", u"B", u""})
            dictionary.insert(QStringView(key).toString(), true);
        // U+1F600 begins with the unit D83D, below FB01.
        QCOMPARE(written(dictionary),
                 QByteArray("<dict>\n\t<key></key>\n\t<true/>\n\t<key>B</key>\n\t<true/>\n"
                            "\t<key>a</key>\n\t<true/>\n\t<key>b</key>\n\t<true/>\n"
                            "\t<key>e\u0301</key>\n\t<true/>\n\t<key>\u00e9</key>\n\t<true/>\n"
                            "\t<key>\U0001f600</key>\n\t<true/>\n\t<key>\ufb01</key>\n"
                            "\t<true/>\n</dict>\n"));
    }

    void replacesLoneSurrogates() {
        const QString text = QString(QChar(0xd83d)) + u'a';
        QCOMPARE(written(text), QByteArray("<string>\ufffda</string>\n"));
        QCOMPARE(written(PropertyList::Dictionary{{text, true}}),
                 QByteArray("<dict>\n\t<key>\ufffda</key>\n\t<true/>\n</dict>\n"));
    }

    void writesDownToTheDeepestLevel_data() {
        QTest::addColumn<int>("depth");
        QTest::newRow("one less") << Serialization::maximumDepth - 1;
        QTest::newRow("the deepest") << Serialization::maximumDepth;
    }
    void writesDownToTheDeepestLevel() {
        QFETCH(int, depth);
        for (const PropertyList &value : {nestedLists(depth), nestedDictionaries(depth)})
            QVERIFY(Serialization::parseXml(Serialization::xml(value)) == value);
    }

    void refusesOneLevelMore() {
        const int depth = Serialization::maximumDepth + 1;
        for (const PropertyList &value : {nestedLists(depth), nestedDictionaries(depth)}) {
            QVERIFY_EXCEPTION_THROWN((void)Serialization::xml(value), PlatformException);
        }
        // A reference is written as a dictionary.
        PropertyList value = PropertyList::Uid{1};
        for (int level = 1; level < depth; ++level)
            value = PropertyList::List{value};
        QVERIFY_EXCEPTION_THROWN((void)Serialization::xml(value), PlatformException);
        QCOMPARE(Serialization::xml(value.list().first()).isEmpty(), false);
    }

    void refusesDocumentsAboveTheLimit() {
        const PropertyList value = PropertyList::List{QByteArray(100, 'a'), QStringLiteral("b")};
        const qsizetype size = Serialization::xml(value).size();
        QCOMPARE(Serialization::xml(value, size + 1).size(), size);
        QCOMPARE(Serialization::xml(value, size).size(), size);
        try {
            (void)Serialization::xml(value, size - 1);
            QFAIL("accepted");
        } catch (const PlatformException &exception) {
            QCOMPARE(exception.name(), QStringLiteral("InvalidArgument"));
            QCOMPARE(
                exception.reason(),
                QStringLiteral("as XML the property list takes more than %1 bytes").arg(size - 1));
        }
    }

    void refusesSharedValuesThatExpandBeyondAllMeasure() {
        // 2^60 values in sixty lists.
        PropertyList value = true;
        for (int level = 0; level < 60; ++level)
            value = PropertyList::List{value, value};
        QVERIFY_EXCEPTION_THROWN((void)Serialization::xml(value, 1 << 20), PlatformException);
    }

    void readsBackWhatItWrote() {
        kit::RandomValues random(5);
        for (int round = 0; round < 3000; ++round) {
            const PropertyList value = random.value(0);
            const QByteArray document = Serialization::xml(value);
            const auto parsed = Serialization::parseXml(document);
            QVERIFY2(parsed, qPrintable(kit::reasonOf(parsed)));
            QVERIFY2(*parsed == value, document.constData());
            QCOMPARE(Serialization::xml(*parsed), document);
        }
    }
};

QTEST_GUILESS_MAIN(PropertyListXmlWriterTest)
#include "tst_plist_xml_writer.moc"
