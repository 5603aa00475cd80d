// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <atomic>
#include <malloc.h>

// Every allocation of this program comes by here, so that what reading takes at its worst moment is
// counted, not timed or guessed from the process's size.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

std::atomic<qint64> allocated{0};
std::atomic<qint64> peak{0};

void *counted(void *block) {
    const qint64 now = allocated += qint64(malloc_usable_size(block));
    if (now > peak)
        peak = now;
    return block;
}

} // namespace

extern "C" {
void *malloc(size_t size) {
    return counted(__libc_malloc(size));
}
void *calloc(size_t count, size_t size) {
    return counted(__libc_calloc(count, size));
}
void *realloc(void *block, size_t size) {
    allocated -= qint64(malloc_usable_size(block));
    return counted(__libc_realloc(block, size));
}
void *memalign(size_t alignment, size_t size) {
    return counted(__libc_memalign(alignment, size));
}
void *aligned_alloc(size_t alignment, size_t size) {
    return counted(__libc_memalign(alignment, size));
}
int posix_memalign(void **block, size_t alignment, size_t size) {
    *block = counted(__libc_memalign(alignment, size));
    return *block ? 0 : ENOMEM;
}
void free(void *block) {
    allocated -= qint64(malloc_usable_size(block));
    __libc_free(block);
}
}

using namespace clipmule;
using Serialization = PropertyListSerialization;

namespace {

constexpr qsizetype large = 16 << 20;

QByteArray repeated(const QByteArray &begin, const QByteArray &middle, const QByteArray &end,
                    qsizetype size = large) {
    return begin + middle.repeated((size - begin.size() - end.size()) / middle.size()) + end;
}

QByteArray bigEndian(quint64 number, int width) {
    QByteArray bytes;
    for (int i = width - 1; i >= 0; --i)
        bytes += char(number >> (8 * i) & 0xff);
    return bytes;
}

QByteArray longCount(quint64 count) {
    return '\x13' + bigEndian(count, 8);
}

// Objects one after another, offsets and references as wide as is asked.
QByteArray binaryList(const QByteArrayList &objects, int referenceWidth) {
    QByteArray bytes = "bplist00";
    QByteArray table;
    for (const QByteArray &object : objects) {
        table += bigEndian(quint64(bytes.size()), 4);
        bytes += object;
    }
    const auto tableAt = quint64(bytes.size());
    return bytes + table + QByteArray(6, '\0') + char(4) + char(referenceWidth) +
           bigEndian(quint64(objects.size()), 8) + bigEndian(0, 8) + bigEndian(tableAt, 8);
}

// One list of very many references to one object.
QByteArray references(qsizetype count, const QByteArray &object) {
    return binaryList({'\xaf' + longCount(quint64(count)) + QByteArray(count, '\x01'), object}, 1);
}

// One list of as many small objects.
QByteArray smallObjects(qsizetype count) {
    QByteArray list = '\xaf' + longCount(quint64(count));
    QByteArrayList objects{list};
    for (qsizetype number = 1; number <= count; ++number) {
        objects[0] += bigEndian(quint64(number), 4);
        objects += QByteArray(1, '\x09');
    }
    return binaryList(objects, 4);
}

// One dictionary of very many references, the first half to the keys.
QByteArray entries(qsizetype count) {
    return binaryList({'\xdf' + longCount(quint64(count)) + QByteArray(2 * count, '\x01'), "\x51x"},
                      1);
}

QByteArray xml(const QByteArray &value) {
    return "<plist>" + value + "</plist>";
}

QByteArray numberedKeys(qsizetype size) {
    QByteArray dictionary = "<dict>";
    for (int number = 0; dictionary.size() < size; ++number)
        dictionary += "<key>" + QByteArray::number(number, 36) + "</key><true/>";
    return dictionary + "</dict>";
}

QByteArray numberedWords(qsizetype size) {
    QByteArray words;
    for (int number = 0; words.size() < size; ++number)
        words += QByteArray::number(number, 36) + "=1;";
    return words;
}

QByteArray utf16(const QByteArray &ascii) {
    QByteArray bytes("\xff\xfe");
    for (const char byte : ascii)
        bytes.append(byte).append('\0');
    return bytes;
}

} // namespace

class ParseMemoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void noMessageTakesMoreThanItsShare_data() {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<bool>("isRead");
        const auto row = [](const char *name, const QByteArray &message, bool isRead) {
            QTest::newRow(name) << message << isRead;
        };
        row("binary: references of one byte", references(large, "\x09"), false);
        row("binary: references to a text", references(large, "\x51x"), false);
        row("binary: equal keys", entries(large / 2), false);
        row("binary: small objects", smallObjects(large / 16), false);
        row("binary: one text", binaryList({'\x5f' + longCount(large) + QByteArray(large, 'x')}, 1),
            true);
        row("binary: one text of units",
            binaryList({'\x6f' + longCount(large / 2) + QByteArray(large, 'x')}, 1), true);
        row("binary: data", binaryList({'\x4f' + longCount(large) + QByteArray(large, 'x')}, 1),
            true);
        row("XML: booleans", xml(repeated("<array>", "<true/>", "</array>")), false);
        row("XML: lists", xml(repeated("<array>", "<array/>", "</array>")), false);
        row("XML: lists in lists", xml(repeated("<array>", "<array><true/></array>", "</array>")),
            false);
        row("XML: texts", xml(repeated("<array>", "<string>x</string>", "</array>")), false);
        row("XML: data", xml(repeated("<array>", "<data>eA==</data>", "</array>")), false);
        row("XML: keys", xml(numberedKeys(large)), false);
        row("XML: equal keys", xml(repeated("<dict>", "<key>k</key><true/>", "</dict>")), false);
        row("XML: one text", xml(repeated("<string>", "x", "</string>")), true);
        row("XML: one text of references", xml(repeated("<string>", "&lt;", "</string>")), true);
        row("XML: one text of three-byte characters",
            xml(repeated("<string>", "\xe6\x97\xa5", "</string>")), true);
        row("XML: one data", xml(repeated("<data>", "QUJD", "</data>")), true);
        row("XML: one data of blanks", xml(repeated("<data>", " ", "</data>")), true);
        row("XML: UTF-16", utf16(xml(repeated("<string>", "x", "</string>", large / 2))), true);
        row("XML: Latin-1",
            "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>" +
                xml(repeated("<string>", "\xe4", "</string>")),
            false);
        row("text: words", repeated("(", "a,", ")"), false);
        row("text: empty lists", repeated("(", "(),", ")"), false);
        row("text: empty texts", repeated("(", "\"\",", ")"), false);
        row("text: empty data", repeated("(", "<>,", ")"), false);
        row("text: entries", repeated("{", "a;", "}"), false);
        row("text: one text", repeated("\"", "x", "\""), true);
        row("text: one text of escapes", repeated("\"", "\\\\", "\""), true);
        row("text: one word", repeated("", "x", ""), true);
        row("text: one data", repeated("<", "00", ">"), true);
        row("text: keys", "{" + numberedWords(large) + "}", false);
        row("text: one data of blanks", repeated("<", " ", ">"), true);
        row("text: no property list", repeated("(", "a", ""), false);
        row("text: never closed", repeated("(", "\"", ""), false);
        row("text: escapes that never end", repeated("\"", "\\", ""), false);
        row("text: UTF-16", utf16(repeated("\"", "x", "\"", large / 2)), true);
    }
    void noMessageTakesMoreThanItsShare() {
        QFETCH(QByteArray, message);
        QFETCH(bool, isRead);
        const qint64 before = allocated;
        peak = before;
        const auto parsed = Serialization::parse(message);
        const auto taken = quint64(peak - before);
        const quint64 share =
            Serialization::memoryPerByte * quint64(message.size()) + Serialization::memoryFloor;
        QVERIFY2(
            taken <= share,
            qPrintable(
                QStringLiteral("%1 of %2, %3").arg(taken).arg(share).arg(kit::reasonOf(parsed))));
        QVERIFY2(bool(parsed) == isRead, qPrintable(kit::reasonOf(parsed)));
    }

    // Whatever a peer announces, only what it sends takes memory.
    void whatIsAnnouncedTakesNone_data() {
        QTest::addColumn<QByteArray>("beginning");
        QTest::addColumn<qint64>("most");
        const QByteArray half(1 << 20, 'A');
        QTest::newRow("nothing") << QByteArray() << qint64(4096);
        QTest::newRow("a tag") << xml("<array>").chopped(8) << qint64(65'536);
        QTest::newRow("a string") << "<plist><string>" + half << qint64(20 << 20);
        QTest::newRow("data") << "<plist><data>" + half << qint64(8 << 20);
        QTest::newRow("an endless tag") << "<plist><" + half << qint64(4 << 20);
        QTest::newRow("refused") << "<plist>x" + half << qint64(65'536);
    }
    void whatIsAnnouncedTakesNone() {
        QFETCH(QByteArray, beginning);
        QFETCH(qint64, most);
        const qint64 before = allocated;
        peak = before;
        {
            PropertyListReader reader(64 << 20);
            for (qsizetype at = 0; at < beginning.size(); at += 4096)
                reader.take(QByteArrayView(beginning).sliced(at).first(
                    std::min<qsizetype>(4096, beginning.size() - at)));
            QVERIFY2(peak - before <= most, qPrintable(QString::number(peak - before)));
        }
        QCOMPARE(allocated, before);
    }

    // A large message is never there as a whole beside its value.
    void readsALargeMessageWithinTheMemoryOfItsValue_data() {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<qint64>("most");
        QTest::newRow("data") << xml(repeated("<data>", "QUJD", "</data>"))
                              << qint64(large) * 2 + (1 << 20);
        QTest::newRow("a string") << xml(repeated("<string>", "x", "</string>"))
                                  << qint64(large) * 2 * 2 + (4 << 20);
    }
    void readsALargeMessageWithinTheMemoryOfItsValue() {
        QFETCH(QByteArray, message);
        QFETCH(qint64, most);
        const qint64 before = allocated;
        peak = before;
        PropertyListReader reader(message.size());
        for (qsizetype at = 0; at < message.size(); at += 65'536)
            reader.take(QByteArrayView(message).sliced(at).first(
                std::min<qsizetype>(65'536, message.size() - at)));
        const auto read = reader.finish();
        QVERIFY2(peak - before <= most, qPrintable(QString::number(peak - before)));
        QVERIFY(*read == *Serialization::parse(message));
    }

    void smallListsOfAnyShapeAreRead() {
        for (const QByteArray &message :
             {references(100'000, "\x09"), smallObjects(50'000),
              xml(repeated("<array>", "<true/>", "</array>", 400'000)), xml(numberedKeys(400'000)),
              repeated("(", "a,", ")", 80'000)})
            QVERIFY2(Serialization::parse(message),
                     qPrintable(kit::reasonOf(Serialization::parse(message))));
    }

    // 8 MiB and 4 (n + 59) hold n elements of 32 bytes, a head of 64, two numbers of 4 bytes and
    // two objects of 56: n is 299,595.
    void theShareIsExact() {
        const qsizetype most = 299'595;
        QCOMPARE(references(most, "\x09").size(), most + 59);
        for (const qsizetype count : {most - 1, most})
            QVERIFY(Serialization::parse(references(count, "\x09")));
        QCOMPARE(kit::reasonOf(Serialization::parse(references(most + 1, "\x09"))),
                 QStringLiteral("binary property list: too many values for the size"));
    }

    // What is large is paid for as well as what is many: a smaller share is enough for one of the
    // two values, not for both.
    void largeValuesAreSpentToo_data() {
        QTest::addColumn<quint64>("share");
        QTest::addColumn<QByteArray>("message");
        const qsizetype half = 24 << 20;
        const QByteArray quoted = repeated("\"", "x", "\"", half);
        QTest::newRow("binary data")
            << quint64(1)
            << binaryList({QByteArray("\xa2\x01\x02", 3),
                           '\x4f' + longCount(quint64(half)) + QByteArray(half, 'x'),
                           '\x5f' + longCount(quint64(half)) + QByteArray(half, 'x')},
                          1);
        QTest::newRow("XML data") << quint64(1)
                                  << xml("<array>" + repeated("<data>", "QUJD", "</data>", half) +
                                         repeated("<string>", "x", "</string>", half) + "</array>");
        QTest::newRow("text data")
            << quint64(3) << "(" + repeated("<", "00", ">", half) + "," + quoted + ")";
        QTest::newRow("two texts") << quint64(3) << "(" + quoted + "," + quoted + ")";
    }
    void largeValuesAreSpentToo() {
        QFETCH(QByteArray, message);
        QFETCH(quint64, share);
        QVERIFY(!Serialization::parse(message, share));
        const auto all = Serialization::parse(message);
        QVERIFY2(all, qPrintable(kit::reasonOf(all)));
    }

    void aFileMayTakeMore() {
        const QByteArray list = references(1'000'000, "\x09");
        QVERIFY(!Serialization::parse(list));
        QVERIFY(Serialization::parse(list, Serialization::memoryPerByteOfFile));
    }
};

QTEST_GUILESS_MAIN(ParseMemoryTest)
#include "tst_plist_memory.moc"
