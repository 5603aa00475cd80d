// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialArchiver.h"
#include "platform/archive/TypedStream.h"
#include "platform/foundation/PlatformException.h"
#include "tests/archive/KeyedArchives.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"

#include <QTest>

#include <limits>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QByteArray hex(const char *digits) {
    return QByteArray::fromHex(digits);
}

// Version 4, "streamtyped", 1000; then the type "@" of the root.
const char beginning[] = "04 0b 73747265616d7479706564 81e803 84 01 40";

ArchiveValue readBack(const ArchiveValue &value) {
    return kit::valueOf(SequentialUnarchiver::unarchivedObject(
        SequentialArchiver::archivedData(value), archivedClasses()));
}

/// An archive whose root is one object of these classes.
QByteArray objectArchive(const TypedStream::ClassChain &classes,
                         const std::function<void(TypedStream::Writer &)> &write) {
    TypedStream::Writer writer;
    writer.writeTypes("@");
    writer.beginObject(classes);
    write(writer);
    writer.endObject();
    return writer.take();
}

QString reasonOfReading(const QByteArray &archive) {
    return reasonOf([&] {
        (void)kit::valueOf(SequentialUnarchiver::unarchivedObject(archive, archivedClasses()));
    });
}

} // namespace

class SequentialArchiveTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aString() {
        const QByteArray bytes = kit::vectorBytes(QStringLiteral("typedstream/string.bin"));
        QCOMPARE(kit::valueOf(SequentialUnarchiver::unarchivedObject(bytes)).string(),
                 QStringLiteral("string value"));
        QCOMPARE(SequentialArchiver::archivedData(QStringLiteral("string value")).toHex(),
                 bytes.toHex());
    }

    void anItemIsARowOfValues() {
        auto item = std::make_shared<ArchivedItem>();
        item->oid = QStringLiteral("I");
        item->imageDataHash = PropertyList(7);
        item->hasImageData = true;
        item->cacheDictionary = PropertyList(PropertyList::Dictionary{{QStringLiteral("k"), 1}});
        item->cacheVersion = 2;
        item->createdBy = 300;
        const QByteArray expected =
            hex(beginning) + hex("84 84 84 13") + "ZRKClipmuleDataItem" + hex("00 84 84 08") +
            "NSObject" +
            hex("00 85"
                "92 84 84 84 08") +
            "NSString" +
            hex("01 94 84 01 2b 01 49 86" // the id
                "92 84 84 84 08") +
            "NSNumber" + hex("00 84 84 07") + "NSValue" +
            hex("00 94"
                "84 01 2a 84 84 01 69 9a 07 86" // "*" "i", then that type and 7
                "92 85 92 85"                   // neither text nor URL
                "84 01 63 01 9b 00"             // the two flags
                "84 01 71 02 9c 81 2c01"        // 2 and 300
                "86");
        QCOMPARE(SequentialArchiver::archivedData(item).toHex(), expected.toHex());

        const auto again = readBack(item).objectOfClass<ArchivedItem>();
        QCOMPARE(again->text(), QStringLiteral("item \"I\" 7 nil nil image 1 native 0 cache nil "
                                               "version 2 by 300"));
    }

    void clipsReadBack() {
        auto clip = std::make_shared<ArchivedClip>();
        clip->oid = QStringLiteral("C");
        clip->creationDate = Date{400000000.25};
        clip->title = QStringLiteral("Título 😀");
        auto item = std::make_shared<ArchivedItem>();
        item->oid = QStringLiteral("I");
        item->url = QUrl(QStringLiteral("http://example.com/a?b=1"));
        item->imageDataHash = PropertyList(4000000000);
        clip->items = QList<std::shared_ptr<ArchivedItem>>{item, item};
        const auto again = readBack(clip).objectOfClass<ArchivedClip>();
        QCOMPARE(again->text(), clip->text());
        QCOMPARE(again->items->at(0), again->items->at(1)); // the same object
    }

    void valuesReadBack_data() {
        QTest::addColumn<ArchiveValue>("value");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const ArchiveValue &value, const char *expected) {
            QTest::newRow(name) << value << QString::fromUtf8(expected);
        };
        row("nil", {}, "nil");
        row("null", ArchiveValue::NullObject(), "null");
        row("empty text", QString(), "\"\"");
        row("text", QStringLiteral("é😀"), "\"é😀\"");
        row("a boolean is a number", true, "1");
        row("-1", -1, "-1");
        row("2^31 - 1", 2147483647, "2147483647");
        row("2^31", 2147483648, "2147483648");
        row("2^32 - 1", 4294967295, "4294967295");
        row("-2^31", qint64(-2147483648), "-2147483648");
        row("real", 0.1, "0.10000000000000001");
        row("date", Date{-0.5}, "-0.5s");
        row("data", QByteArray("\0\xff", 2), "<00ff>");
        row("no data", QByteArray(), "<>");
        row("URL", QUrl(QStringLiteral("http://h/%20?q#f")), "<http://h/%20?q#f>");
        row("list", ArchiveValue::List{1, ArchiveValue(), QStringLiteral("x")}, "(1, nil, \"x\")");
        row("dictionary",
            ArchiveValue::Dictionary{{QStringLiteral("b"), 1},
                                     {QStringLiteral("a"), ArchiveValue::List()}},
            "{a: (), b: 1}");
    }
    void valuesReadBack() {
        QFETCH(ArchiveValue, value);
        QFETCH(QString, expected);
        QCOMPARE(textOf(readBack(value)), expected);
    }

    void mutabilityIsKept() {
        for (const ArchiveValue &value :
             {ArchiveValue(ArchiveValue::List()), ArchiveValue(ArchiveValue::Dictionary())}) {
            QVERIFY(readBack(value).isMutable());
            QVERIFY(!readBack(value.immutable()).isMutable());
        }
    }

    void integersOfMoreThan32BitsCannotBeWritten() {
        for (const PropertyList &number : {PropertyList(4294967296), PropertyList(-2147483649LL),
                                           PropertyList(std::numeric_limits<quint64>::max())})
            QCOMPARE(reasonOf([&] { (void)SequentialArchiver::archivedData(number); }),
                     QStringLiteral("InvalidArgument"));
    }

    void standardObjects_data() {
        QTest::addColumn<QByteArray>("archive");
        QTest::addColumn<QString>("expected");
        using Writer = TypedStream::Writer &;
        const auto row = [](const char *name, const TypedStream::ClassChain &classes,
                            const std::function<void(TypedStream::Writer &)> &write,
                            const QString &expected) {
            QTest::newRow(name) << objectArchive(classes, write) << expected;
        };
        const TypedStream::ClassVersion root{"NSObject", 0};
        const QString refused;
        row(
            "mutable string", {{"NSMutableString", 1}, {"NSString", 1}, root},
            [](Writer writer) {
                writer.writeTypes("+");
                writer.writeString({"x"});
            },
            QStringLiteral("\"x\""));
        row(
            "string of another version", {{"NSString", 2}, root},
            [](Writer writer) {
                writer.writeTypes("+");
                writer.writeString({"x"});
            },
            refused);
        row(
            "string without text", {{"NSString", 1}, root},
            [](Writer writer) {
                writer.writeTypes("+");
                writer.writeString(std::nullopt);
            },
            refused);
        const TypedStream::ClassChain number{{"NSNumber", 0}, {"NSValue", 0}, root};
        const auto numberOf = [](const char *type, auto write) {
            return [=](Writer writer) {
                writer.writeTypes("*");
                writer.writeCString(type);
                writer.writeTypes(type);
                write(writer);
            };
        };
        row("number q", number, numberOf("q", [](Writer w) { w.writeInteger(-5); }),
            QStringLiteral("-5"));
        row("number Q", number, numberOf("Q", [](Writer w) { w.writeInteger(-1); }),
            QStringLiteral("4294967295"));
        row("number S", number, numberOf("S", [](Writer w) { w.writeInteger(-1); }),
            QStringLiteral("65535"));
        row("number c", number, numberOf("c", [](Writer w) { w.writeByte(0xFF); }),
            QStringLiteral("-1"));
        row("number C", number, numberOf("C", [](Writer w) { w.writeByte(0xFF); }),
            QStringLiteral("255"));
        row("number B", number, numberOf("B", [](Writer w) { w.writeByte(1); }),
            QStringLiteral("1"));
        row("number f", number, numberOf("f", [](Writer w) { w.writeFloat(0.5F); }),
            QStringLiteral("0.5"));
        row("number of an unknown type", number,
            numberOf("{CGSize=ff}", [](Writer w) { w.writeFloat(0.5F); }), refused);
        row(
            "number without a type", number,
            [](Writer writer) {
                writer.writeTypes("*");
                writer.writeNil();
            },
            refused);
        row(
            "number of another type than it says", number,
            [](Writer writer) {
                writer.writeTypes("*");
                writer.writeCString("i");
                writer.writeTypes("d");
                writer.writeDouble(0.5);
            },
            refused);
        const TypedStream::ClassChain list{{"NSArray", 0}, root};
        row(
            "list of a negative count", list,
            [](Writer writer) {
                writer.writeTypes("i");
                writer.writeInteger(-1);
            },
            refused);
        row(
            "list shorter than its count", list,
            [](Writer writer) {
                writer.writeTypes("i");
                writer.writeInteger(2147483647);
                writer.writeTypes("@");
                writer.writeNil();
            },
            refused);
        row(
            "list that contains itself", list,
            [](Writer writer) {
                writer.writeTypes("i");
                writer.writeInteger(1);
                writer.writeTypes("@");
                writer.writeReference(0);
            },
            refused);
        row(
            "nil as key", {{"NSDictionary", 0}, root},
            [](Writer writer) {
                writer.writeTypes("i");
                writer.writeInteger(1);
                writer.writeTypes("@");
                writer.writeNil();
                writer.writeTypes("@");
                writer.writeNil();
            },
            refused);
        row(
            "URL of nil", {{"NSURL", 0}, root},
            [](Writer writer) {
                writer.writeTypes("c");
                writer.writeByte(0);
                writer.writeTypes("@");
                writer.writeNil();
            },
            refused);
        row(
            "URL that would take hours", {{"NSURL", 0}, root},
            [](Writer writer) {
                writer.writeTypes("c");
                writer.writeByte(0);
                writer.writeTypes("@");
                writer.beginObject({{"NSString", 1}, {"NSObject", 0}});
                writer.writeTypes("+");
                writer.writeString("http://a" + QByteArray("\xcc\x81\xcc\x96").repeated(1'000'000));
                writer.endObject();
            },
            QStringLiteral("<>"));
        row(
            "URL with a base", {{"NSURL", 0}, root},
            [](Writer writer) {
                const TypedStream::ClassChain string{{"NSString", 1}, {"NSObject", 0}};
                const auto writeString = [&](const char *text) {
                    writer.writeTypes("@");
                    writer.beginObject(string);
                    writer.writeTypes("+");
                    writer.writeString({text});
                    writer.endObject();
                };
                writer.writeTypes("c");
                writer.writeByte(1);
                writer.writeTypes("@");
                writer.beginObject({{"NSURL", 0}, {"NSObject", 0}});
                writer.writeTypes("c");
                writer.writeByte(0);
                writeString("http://h/a/b");
                writer.endObject();
                writeString("x");
            },
            QStringLiteral("<http://h/a/x>"));
        row(
            "unknown class", {{"NSOrderedSet", 0}, root}, [](Writer) {}, refused);
        row(
            "object with a value too many", {{"NSNull", 0}, root},
            [](Writer writer) {
                writer.writeTypes("i");
                writer.writeInteger(1);
            },
            refused);
        row(
            "object of ours of another version", {{"ZRKClipmuleData", 1}, root},
            [](Writer writer) {
                for (int i = 0; i < 4; ++i) {
                    writer.writeTypes("@");
                    writer.writeNil();
                }
            },
            refused);
        row(
            "object of ours", {{"ZRKClipmuleData", 0}, root},
            [](Writer writer) {
                for (int i = 0; i < 4; ++i) {
                    writer.writeTypes("@");
                    writer.writeNil();
                }
            },
            QStringLiteral("ZRKClipmuleData"));
    }
    void standardObjects() {
        QFETCH(QByteArray, archive);
        QFETCH(QString, expected);
        QString found;
        const QString reason = reasonOf([&] {
            found = textOf(
                kit::valueOf(SequentialUnarchiver::unarchivedObject(archive, archivedClasses())));
        });
        QCOMPARE(found, expected);
        QCOMPARE(reason.isEmpty(), !expected.isEmpty());
    }

    void refusesBadFiles_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name : kit::vectorsIn(QStringLiteral("typedstream"))) {
            if (name.contains(u"/bad_"))
                QTest::newRow(qPrintable(name)) << name;
        }
    }
    void refusesBadFiles() {
        QFETCH(QString, name);
        QVERIFY(!reasonOfReading(kit::vectorBytes(name)).isEmpty());
    }

    void nestingIsBounded_data() {
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one below") << SequentialArchiver::maximumDepth - 1 << true;
        QTest::newRow("at the limit") << SequentialArchiver::maximumDepth << true;
        QTest::newRow("one above") << SequentialArchiver::maximumDepth + 1 << false;
    }
    void nestingIsBounded() {
        QFETCH(int, depth);
        QFETCH(bool, accepted);
        const QString reason =
            reasonOf([&] { (void)SequentialArchiver::archivedData(nestedLists(depth)); });
        QCOMPARE(reason, accepted ? QString() : QStringLiteral("InvalidArgument"));

        TypedStream::Writer writer;
        for (int level = 1; level <= depth; ++level) {
            writer.writeTypes("@");
            writer.beginObject({{"NSArray", 0}, {"NSObject", 0}});
            writer.writeTypes("i");
            writer.writeInteger(level < depth ? 1 : 0);
        }
        for (int level = 1; level <= depth; ++level)
            writer.endObject();
        QCOMPARE(reasonOfReading(writer.take()).isEmpty(), accepted);
    }

    void expansionIsBounded() {
        // One clip of many items, held many times; then one long text, which weighs nothing.
        auto clip = std::make_shared<ArchivedClip>();
        clip->items.emplace();
        for (int number = 0; number < 1000; ++number)
            clip->items->append(std::make_shared<ArchivedItem>());
        const auto read = [&](qsizetype times) {
            return reasonOfReading(SequentialArchiver::archivedData(
                QList<std::shared_ptr<ArchivedClip>>(times, clip)));
        };
        QCOMPARE(read(10), QString());
        QVERIFY(read(3000).contains(u"expand"));
        auto item = std::make_shared<ArchivedItem>();
        item->string = QString(100'000, u'x');
        QCOMPARE(reasonOfReading(SequentialArchiver::archivedData(
                     QList<std::shared_ptr<ArchivedItem>>(1000, item))),
                 QString());
    }
};

QTEST_GUILESS_MAIN(SequentialArchiveTest)
#include "tst_sequential_archive.moc"
