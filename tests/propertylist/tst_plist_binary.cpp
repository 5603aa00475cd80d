// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/propertylist/BinaryListBuilder.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace clipmule;
using clipmule::kit::BinaryListBuilder;

namespace {

using Serialization = PropertyListSerialization;

QByteArray hex(const char *digits) {
    return QByteArray::fromHex(digits);
}

QByteArray bigEndian(quint64 number, quint64 width) {
    return BinaryListBuilder::bigEndian(number, width);
}

/// ["a"], the smallest list with a reference.
const char smallest[] = "62706c6973743030"  // bplist00
                        "a1 01"             // object 0: list of one, object 1
                        "51 61"             // object 1: ASCII string of one, "a"
                        "08 0a"             // the objects' offsets
                        "000000000000"      // unused, sort version
                        "01 01"             // widths of offsets and references
                        "0000000000000002"  // objects
                        "0000000000000000"  // root
                        "000000000000000c"; // offset of the table

QByteArray sharedList(int levels, const QByteArray &leaf) {
    // Object i holds object i + 1 twice.
    BinaryListBuilder file{.offsetWidth = 2, .referenceWidth = 2};
    for (int level = 1; level <= levels; ++level)
        file.objects.append(hex("a2") + bigEndian(quint64(level), 2) +
                            bigEndian(quint64(level), 2));
    file.objects.append(leaf);
    return file.bytes();
}

QByteArray nestedLists(int depth) {
    BinaryListBuilder file{.offsetWidth = 2, .referenceWidth = 2};
    for (int level = 1; level < depth; ++level)
        file.objects.append(hex("a1") + bigEndian(quint64(level), 2));
    file.objects.append(hex("a0"));
    return file.bytes();
}

} // namespace

class BinaryPropertyListTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void readsTheSmallestFile() {
        const auto parsed = Serialization::parseBinary(hex(smallest));
        QCOMPARE(kit::reasonOf(parsed), QString());
        QVERIFY(*parsed == PropertyList(PropertyList::List{QStringLiteral("a")}));
    }

    void writesTheSmallestFile() {
        QCOMPARE(Serialization::binary(PropertyList::List{QStringLiteral("a")}).toHex(),
                 hex(smallest).toHex());
    }

    void readsOneObject_data() {
        QTest::addColumn<QByteArray>("object");
        QTest::addColumn<PropertyList>("expected");
        const auto row = [](const char *name, const char *bytes, const PropertyList &value) {
            QTest::newRow(name) << hex(bytes) << value;
        };
        row("false", "08", false);
        row("true", "09", true);
        row("one byte is unsigned", "10 ff", 255);
        row("two bytes are unsigned", "11 ffff", 65535);
        row("four bytes are unsigned", "12 ffffffff", 4294967295);
        row("eight bytes are signed", "13 ffffffffffffffff", -1);
        row("of sixteen bytes the low half counts, unsigned",
            "14 0000000000000000 ffffffffffffffff", std::numeric_limits<quint64>::max());
        row("of sixteen bytes the high half does not count", "14 ffffffffffffffff 0000000000000007",
            7);
        row("float", "22 3f000000", 0.5);
        row("double", "23 3fb999999999999a", 0.1);
        row("date", "33 3ff8000000000000", Date{1.5});
        row("date that is no number", "33 7ff8000000000000", Date{std::nan("")});
        row("data", "43 00ff80", QByteArray("\x00\xff\x80", 3));
        row("data with an explicit count", "4f 10 02 0102", QByteArray("\x01\x02"));
        row("ASCII", "53 616263", QStringLiteral("abc"));
        row("Latin-1 where ASCII was promised", "51 e9", QStringLiteral("é"));
        row("UTF-16", "62 65e5 672c", QStringLiteral("日本"));
        row("lone surrogate", "61 d83d", QString(QChar(0xD83D)));
        row("count of sixteen bytes", "5f 14 0000000000000000 0000000000000001 61",
            QStringLiteral("a"));
        row("reference of one byte", "80 07", PropertyList::Uid{7});
        row("reference of four bytes", "83 ffffffff", PropertyList::Uid{0xFFFFFFFF});
        row("reference of sixteen bytes", "8f 000000000000000000000000 00000102",
            PropertyList::Uid{258});
        row("empty list", "a0", PropertyList::List());
        row("empty dictionary", "d0", PropertyList::Dictionary());
    }
    void readsOneObject() {
        QFETCH(QByteArray, object);
        QFETCH(PropertyList, expected);
        const auto parsed =
            Serialization::parseBinary(BinaryListBuilder{.objects = {object}}.bytes());
        QCOMPARE(kit::reasonOf(parsed), QString());
        QVERIFY2(*parsed == expected, qPrintable(parsed->description()));
    }

    void refusesOneObject_data() {
        QTest::addColumn<QByteArray>("object");
        const auto row = [](const char *name, const char *bytes) {
            QTest::newRow(name) << hex(bytes);
        };
        row("null is no value", "00");
        row("fill", "0f");
        row("simple value without a meaning", "01");
        row("integer of 32 bytes", "15 00000000000000000000000000000000"
                                   "0000000000000000 0000000000000001");
        row("real of two bytes", "21 3c00");
        row("real of sixteen bytes", "24 00000000000000000000000000000000");
        row("date of four bytes", "32 00000000");
        row("set", "c0");
        row("type 7", "70");
        row("type 9", "90");
        row("type B", "b0");
        row("type E", "e0");
        row("type F", "f0");
        row("reference of 33 bits", "84 0100000000");
        row("reference of 72 bits", "88 010000000000000000");
        row("count given by a real", "4f 22 3f800000");
        row("negative count", "4f 13 ffffffffffffffff");
        row("count missing", "4f");
        row("more data than there is", "42 01");
        row("more text than there is", "52 61");
        row("half a UTF-16 unit", "61 d8");
        row("half an integer", "11 01");
        row("2^63 bytes", "4f 13 7fffffffffffffff");
        row("2^63 UTF-16 units, an overflow when doubled", "6f 14 0000000000000000"
                                                           "8000000000000000");
        row("2^63 references", "af 14 0000000000000000 8000000000000000");
        row("2^63 entries, an overflow when doubled", "df 14 0000000000000000 8000000000000000");
        row("2^61 references", "af 13 2000000000000000");
        row("a list of itself", "a1 00");
        row("a dictionary under itself as key", "d1 00 00");
        row("reference to no object", "a1 01");
    }
    void refusesOneObject() {
        QFETCH(QByteArray, object);
        const auto parsed =
            Serialization::parseBinary(BinaryListBuilder{.objects = {object}}.bytes());
        QVERIFY(!parsed);
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
    }

    void refusesWrongOutlines_data() {
        QTest::addColumn<QByteArray>("file");
        const BinaryListBuilder good{.objects = {hex("a1 01"), hex("51 61")}};
        QVERIFY(Serialization::parseBinary(good.bytes()));
        const auto row = [&](const char *name, auto change) {
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): seen without the change.
            BinaryListBuilder changed = good;
            change(changed);
            QTest::newRow(name) << changed.bytes();
        };
        using Builder = BinaryListBuilder &;
        row("another magic", [](Builder file) { file.magic = "bplist10"; });
        row("no objects", [](Builder file) { file.objectCount = 0; });
        row("more objects than offsets", [](Builder file) { file.objectCount = 3; });
        row("fewer objects than offsets", [](Builder file) { file.objectCount = 1; });
        row("2^63 objects", [](Builder file) { file.objectCount = quint64(1) << 63; });
        row("2^62 objects of four bytes, an overflow", [](Builder file) {
            file.objectCount = quint64(1) << 62;
            file.offsetWidth = 4;
        });
        row("root beyond the objects", [](Builder file) { file.root = 2; });
        row("offset width 0", [](Builder file) { file.offsetWidth = 0; });
        row("offset width 9", [](Builder file) { file.offsetWidth = 9; });
        row("reference width 0", [](Builder file) { file.referenceWidth = 0; });
        row("reference width 9", [](Builder file) { file.referenceWidth = 9; });
        row("gap before the trailer", [](Builder file) { file.gapBeforeTrailer = "\x08"; });
        row("table one earlier", [](Builder file) { file.tableOffset = 11; });
        row("table one later", [](Builder file) { file.tableOffset = 13; });
        row("table in the trailer", [](Builder file) { file.tableOffset = 14; });
        row("table at 2^64 - 1", [](Builder file) { file.tableOffset = ~quint64(0); });
        row("object in the table", [](Builder file) { file.offsets = {8, 12}; });
        row("object that nobody refers to in the table", [](Builder file) {
            file.objects = {hex("51 61"), hex("51 61")};
            file.offsets = {8, 12};
        });
        row("root in the header", [](Builder file) { file.offsets = {7, 10}; });
        row("child in the header", [](Builder file) { file.offsets = {8, 0}; });
        row("integer as key", [](Builder file) {
            file.objects = {hex("d1 01 02"), hex("10 01"), hex("09")};
        });
        row("list as key", [](Builder file) {
            file.objects = {hex("d1 01 02"), hex("a0"), hex("09")};
        });
        row("two lists in each other", [](Builder file) {
            file.objects = {hex("a1 01"), hex("a1 00")};
        });
        QTest::newRow("no bytes") << QByteArray();
        QTest::newRow("header alone") << QByteArray("bplist00");
        QTest::newRow("last byte missing") << hex(smallest).chopped(1);
        QTest::newRow("one byte too many") << hex(smallest) + '\0';
    }
    void refusesWrongOutlines() {
        QFETCH(QByteArray, file);
        const auto parsed = Serialization::parseBinary(file);
        QVERIFY(!parsed);
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
    }

    void everyTruncationIsRefused() {
        const QByteArray file = Serialization::binary(PropertyList::Dictionary{
            {QStringLiteral("k"), PropertyList::List{1, QStringLiteral("é"), QByteArray("x")}}});
        for (qsizetype size = 0; size < file.size(); ++size)
            QVERIFY(!Serialization::parseBinary(QByteArrayView(file).first(size)));
    }

    void referenceWidthMustReachTheCount_data() {
        QTest::addColumn<int>("objects");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("255") << 255 << true;
        QTest::newRow("256") << 256 << false;
        QTest::newRow("257") << 257 << false;
    }
    void referenceWidthMustReachTheCount() {
        QFETCH(int, objects);
        QFETCH(bool, accepted);
        BinaryListBuilder file{.offsetWidth = 2, .referenceWidth = 1};
        file.objects.fill(hex("09"), objects);
        QCOMPARE(Serialization::parseBinary(file.bytes()).has_value(), accepted);
    }

    void offsetWidthMustReachTheTable_data() {
        QTest::addColumn<int>("tableOffset");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("255") << 255 << true;
        QTest::newRow("256") << 256 << false;
        QTest::newRow("257") << 257 << false;
    }
    void offsetWidthMustReachTheTable() {
        QFETCH(int, tableOffset);
        QFETCH(bool, accepted);
        // Header, marker and count make 11 bytes.
        const int length = tableOffset - 11;
        const BinaryListBuilder file{
            .objects = {hex("5f10") + char(length) + QByteArray(length, 'x')}};
        QCOMPARE(Serialization::parseBinary(file.bytes()).has_value(), accepted);
    }

    void theFirstOfEqualKeysIsKept() {
        const BinaryListBuilder file{
            .objects = {hex("d2 01 01 02 03"), hex("51 6b"), hex("10 01"), hex("10 02")}};
        const auto parsed = Serialization::parseBinary(file.bytes());
        QVERIFY(*parsed == PropertyList(PropertyList::Dictionary{{QStringLiteral("k"), 1}}));
    }

    void deepNestingIsRefused_data() {
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one below") << Serialization::maximumDepth - 1 << true;
        QTest::newRow("at the limit") << Serialization::maximumDepth << true;
        QTest::newRow("one above") << Serialization::maximumDepth + 1 << false;
        QTest::newRow("thousands") << 6000 << false;
    }
    void deepNestingIsRefused() {
        QFETCH(int, depth);
        QFETCH(bool, accepted);
        QCOMPARE(Serialization::parseBinary(nestedLists(depth)).has_value(), accepted);
    }

    void deepNestingIsRefusedBehindASharedObject() {
        // The root holds a chain of lists twice: at its head, and below a second chain.
        for (const int second :
             {Serialization::maximumDepth - 301, Serialization::maximumDepth - 300}) {
            BinaryListBuilder file{.offsetWidth = 2, .referenceWidth = 2};
            file.objects.append(hex("a2") + bigEndian(1, 2) + bigEndian(301, 2));
            for (quint64 i = 1; i < 300; ++i)
                file.objects.append(hex("a1") + bigEndian(i + 1, 2));
            file.objects.append(hex("a0")); // object 300 ends a chain of 300
            for (int i = 1; i < second; ++i)
                file.objects.append(hex("a1") + bigEndian(301 + quint64(i), 2));
            file.objects.append(hex("a1") + bigEndian(1, 2));
            const bool fits = 1 + second + 300 <= Serialization::maximumDepth;
            QCOMPARE(Serialization::parseBinary(file.bytes()).has_value(), fits);
        }
    }

    void sharedObjectsAreDecodedOnce() {
        // 2^15 leaves from 16 objects: a small value, since what is shared is held once.
        const auto parsed = Serialization::parseBinary(sharedList(15, hex("51 61")));
        QCOMPARE(kit::reasonOf(parsed), QString());
        const PropertyList *level = &*parsed;
        for (int i = 0; i < 14; ++i) {
            const auto &list = level->list();
            QCOMPARE(list.size(), 2);
            QVERIFY(list[0].list().isSharedWith(list[1].list()));
            level = &list[0];
        }
    }

    void sharedObjectsThatExpandWithoutBoundAreRefused_data() {
        QTest::addColumn<int>("levels");
        QTest::newRow("2^29 leaves") << 29;
        QTest::newRow("2^500 leaves") << 500;
    }
    void sharedObjectsThatExpandWithoutBoundAreRefused() {
        QFETCH(int, levels);
        const auto parsed = Serialization::parseBinary(sharedList(levels, hex("51 61")));
        QVERIFY(!parsed);
        QVERIFY2(kit::reasonOf(parsed).contains(u"expand"), qPrintable(kit::reasonOf(parsed)));
    }

    void expansionIsBoundedByTheSize_data() {
        QTest::addColumn<qint64>("excess");
        QTest::newRow("one below") << qint64(-1);
        QTest::newRow("at the limit") << qint64(0);
        QTest::newRow("one above") << qint64(1);
    }
    void expansionIsBoundedByTheSize() {
        QFETCH(qint64, excess);
        // A list that holds a long text 2000 times and a filler text once. Each unit of the filler
        // costs a byte, which buys 16 values and uses one.
        constexpr qint64 times = 2000;
        qint64 length = 900;
        qint64 filler = 0;
        qint64 values = 0;
        const auto sizeWith = [&] {
            return 8 + (4 + times + 1) + (4 + length) + (4 + filler) + 3 * 2 + 32;
        };
        for (;; ++length) {
            filler = 0;
            values = 1 + times * (1 + length) + 1;
            const qint64 over = values -
                                qint64(Serialization::expandedValuesFloor +
                                       Serialization::expandedValuesPerByte * quint64(sizeWith())) -
                                excess;
            const qint64 gain = qint64(Serialization::expandedValuesPerByte) - 1;
            filler = over / gain;
            if (over % gain == 0)
                break;
        }
        QVERIFY(filler > 256 && filler < 65536);
        BinaryListBuilder file{.offsetWidth = 2};
        file.objects = {hex("af11") + bigEndian(times + 1, 2) + QByteArray(times, '\1') + '\2',
                        hex("5f11") + bigEndian(quint64(length), 2) + QByteArray(length, 'x'),
                        hex("5f11") + bigEndian(quint64(filler), 2) + QByteArray(filler, 'y')};
        QCOMPARE(qint64(file.bytes().size()), sizeWith());
        QCOMPARE(Serialization::parseBinary(file.bytes()).has_value(), excess <= 0);
    }

    void keysCountForTheExpansionToo() {
        // One dictionary with a key of 1 MB, repeated: comparing the copies would cost gigabytes.
        constexpr qsizetype length = 1'000'000;
        const QByteArray key = hex("5f12") + bigEndian(length, 4) + QByteArray(length, 'k');
        const auto withKeys = [&](quint64 count) {
            BinaryListBuilder file{.offsetWidth = 4};
            file.objects = {hex("df12") + bigEndian(count, 4) + QByteArray(qsizetype(count), '\1') +
                                QByteArray(qsizetype(count), '\2'),
                            key, hex("09")};
            return Serialization::parseBinary(file.bytes());
        };
        QVERIFY(withKeys(16));
        QVERIFY(!withKeys(20));
        QVERIFY(!withKeys(100'000));
    }

    void overlappingObjectsAreRefused() {
        // Object 2 lies inside the data of object 1; a chain of such would be decoded in the square
        // of the file's size.
        BinaryListBuilder file{.objects = {hex("a2 01 02"), hex("44 53 616263"), hex("09")}};
        QVERIFY(Serialization::parseBinary(file.bytes()));
        file.offsets = {8, 11, 12};
        const auto parsed = Serialization::parseBinary(file.bytes());
        QVERIFY(!parsed);
        QVERIFY2(kit::reasonOf(parsed).contains(u"overlap"), qPrintable(kit::reasonOf(parsed)));
    }

    void writesTheNarrowestForms_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QByteArray>("object");
        const auto row = [](const char *name, const PropertyList &value, const char *bytes) {
            QTest::newRow(name) << value << hex(bytes);
        };
        row("false", false, "08");
        row("true", true, "09");
        row("0", 0, "10 00");
        row("255", 255, "10 ff");
        row("256", 256, "11 0100");
        row("65535", 65535, "11 ffff");
        row("65536", 65536, "12 00010000");
        row("2^32 - 1", 4294967295, "12 ffffffff");
        row("2^32", 4294967296, "13 0000000100000000");
        row("-1", -1, "13 ffffffffffffffff");
        row("2^63", quint64(1) << 63, "14 0000000000000000 8000000000000000");
        row("1.0", 1.0, "23 3ff0000000000000");
        row("date", Date{-1.5}, "33 bff8000000000000");
        row("data", QByteArray("\x01\x02"), "42 0102");
        row("14 characters", QStringLiteral("abcdefghijklmn"), "5e 6162636465666768696a6b6c6d6e");
        row("15 characters", QStringLiteral("abcdefghijklmno"),
            "5f100f 6162636465666768696a6b6c6d6e6f");
        row("one character beyond ASCII", QStringLiteral("aé"), "62 0061 00e9");
        row("character beyond 16 bits", QStringLiteral("😀"), "62 d83d de00");
        row("reference 255", PropertyList::Uid{255}, "80 ff");
        row("reference 256", PropertyList::Uid{256}, "81 0100");
        row("reference 65536", PropertyList::Uid{65536}, "83 00010000");
        row("empty list", PropertyList::List(), "a0");
        row("empty dictionary", PropertyList::Dictionary(), "d0");
    }
    void writesTheNarrowestForms() {
        QFETCH(PropertyList, value);
        QFETCH(QByteArray, object);
        QCOMPARE(Serialization::binary(value).toHex(),
                 BinaryListBuilder{.objects = {object}}.bytes().toHex());
    }

    void writesEqualLeavesOnce() {
        const PropertyList value = PropertyList::List{QStringLiteral("a"),
                                                      QStringLiteral("a"),
                                                      1,
                                                      1,
                                                      1.0,
                                                      QByteArray("a"),
                                                      QByteArray("a"),
                                                      Date{1.0},
                                                      Date{1.0},
                                                      0.0,
                                                      -0.0,
                                                      true,
                                                      true,
                                                      PropertyList::List(),
                                                      PropertyList::List()};
        const BinaryListBuilder expected{
            .objects = {hex("af100f 01 01 02 02 03 04 04 05 05 06 07 08 09 0a 0b"), hex("51 61"),
                        hex("10 01"), hex("23 3ff0000000000000"), hex("41 61"),
                        hex("33 3ff0000000000000"), hex("23 0000000000000000"),
                        hex("23 8000000000000000"), hex("09"), hex("09"), hex("a0"), hex("a0")}};
        QCOMPARE(Serialization::binary(value).toHex(), expected.bytes().toHex());
    }

    void writesKeysBeforeValuesDepthFirst() {
        const PropertyList value = PropertyList::Dictionary{
            {QStringLiteral("b"), PropertyList::Dictionary{{QStringLiteral("a"), 7}}},
            {QStringLiteral("c"), QStringLiteral("b")}};
        const BinaryListBuilder expected{.objects = {hex("d2 01 02 03 01"), hex("51 62"),
                                                     hex("51 63"), hex("d1 04 05"), hex("51 61"),
                                                     hex("10 07")}};
        QCOMPARE(Serialization::binary(value).toHex(), expected.bytes().toHex());
    }

    void widthsGrowWithTheCountAndTheSize_data() {
        QTest::addColumn<int>("objects");
        QTest::addColumn<int>("offsetWidth");
        QTest::addColumn<int>("referenceWidth");
        // A list of n - 1 booleans ends at 11 + 2 * (n - 1) while references have one byte.
        QTest::newRow("255 objects") << 255 << 2 << 1;
        QTest::newRow("256 objects") << 256 << 2 << 2;
        QTest::newRow("65535 objects") << 65535 << 4 << 2;
        QTest::newRow("65536 objects") << 65536 << 4 << 4;
        QTest::newRow("table at 255") << 123 << 1 << 1;
        QTest::newRow("table at 257") << 124 << 2 << 1;
    }
    void widthsGrowWithTheCountAndTheSize() {
        QFETCH(int, objects);
        QFETCH(int, offsetWidth);
        QFETCH(int, referenceWidth);
        const PropertyList value(PropertyList::List(objects - 1, true));
        const QByteArray file = Serialization::binary(value);
        const QByteArray trailer = file.last(32);
        QCOMPARE(int(trailer[6]), offsetWidth);
        QCOMPARE(int(trailer[7]), referenceWidth);
        QVERIFY(*Serialization::parseBinary(file) == value);
    }

    void refusesToWriteTooDeepValues() {
        PropertyList value = PropertyList::List();
        for (int depth = 1; depth < Serialization::maximumDepth; ++depth)
            value = PropertyList::List{value};
        QVERIFY(*Serialization::parseBinary(Serialization::binary(value)) == value);
        value = PropertyList::List{value};
        QVERIFY_EXCEPTION_THROWN(static_cast<void>(Serialization::binary(value)),
                                 PlatformException);
        // A leaf or a dictionary at the bottom is no different.
        PropertyList mixed = PropertyList::Dictionary{{QStringLiteral("k"), 1}};
        for (int depth = 1; depth < Serialization::maximumDepth; ++depth)
            mixed = PropertyList::Dictionary{{QStringLiteral("k"), mixed}};
        QVERIFY(*Serialization::parseBinary(Serialization::binary(mixed)) == mixed);
    }
};

QTEST_GUILESS_MAIN(BinaryPropertyListTest)
#include "tst_plist_binary.moc"
