// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/ArchivedLook.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/SequentialArchiver.h"
#include "tests/archive/KeyedArchives.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

using Uid = PropertyList::Uid;
using Dictionary = PropertyList::Dictionary;
using List = PropertyList::List;

const QString objectClass = QStringLiteral("NSObject");

/// One object of a standard class with one key: its record, the class, further objects.
ArchiveValue unarchiveRecord(const QString &className, Dictionary values, const List &others = {}) {
    values.insert(QStringLiteral("$class"), Uid{2});
    return unarchive(archiveOf(List{values, classRecord(className)} + others));
}

void decodeProbeRecord(Dictionary values, const std::function<void(Decoder &)> &decode,
                       const List &others = {}) {
    values.insert(QStringLiteral("$class"), Uid{2});
    const List objects = List{values, classRecord(QStringLiteral("Probe"))} + others;
    decodeProbe(PropertyListSerialization::binary(archiveOf(objects)), decode);
}

} // namespace

class KeyedArchiveTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void withoutARootThereIsNothing() {
        auto archive = archiveOf({});
        archive.insert(QStringLiteral("$top"), Dictionary());
        QVERIFY(unarchive(archive).isNil());
        QVERIFY(unarchive(archiveOf({}, Uid{0})).isNil());
    }

    void refusesOtherVersions() {
        auto archive = archiveOf({QStringLiteral("x")});
        QCOMPARE(unarchive(archive).string(), QStringLiteral("x"));
        for (const PropertyList &version :
             {PropertyList(100001), PropertyList(QStringLiteral("100000")), PropertyList(1e5)}) {
            archive.insert(QStringLiteral("$version"), version);
            QVERIFY(!reasonOf([&] { (void)unarchive(archive); }).isEmpty());
        }
        archive.remove(QStringLiteral("$version"));
        QVERIFY(!reasonOf([&] { (void)unarchive(archive); }).isEmpty());
        QVERIFY(!reasonOf([&] { (void)unarchive(QStringLiteral("no dictionary")); }).isEmpty());
    }

    void numbersObjectsBeforeTheirContentsAndClassesAfter() {
        const ArchiveValue root = ArchiveValue::List{
            ArchiveValue::Dictionary{{QStringLiteral("k"), 7}}, QStringLiteral("k"), Date{0.5},
            QUrl(QStringLiteral("http://k")), ArchiveValue(ArchiveValue::List{7}).immutable()};
        const auto classes = [](const QStringList &names) -> PropertyList {
            return Dictionary{{QStringLiteral("$classname"), names[0]},
                              {QStringLiteral("$classes"), List(names.begin(), names.end())}};
        };
        const List expected{
            QStringLiteral("$null"),
            record(QStringLiteral("NS.objects"), List{Uid{2}, Uid{3}, Uid{6}, Uid{8}, Uid{11}}, 13),
            Dictionary{{QStringLiteral("NS.keys"), List{Uid{3}}},
                       {QStringLiteral("NS.objects"), List{Uid{4}}},
                       {QStringLiteral("$class"), Uid{5}}},
            QStringLiteral("k"),
            7,
            classes({QStringLiteral("NSMutableDictionary"), QStringLiteral("NSDictionary"),
                     objectClass}),
            record(QStringLiteral("NS.time"), 0.5, 7),
            classes({QStringLiteral("NSDate"), objectClass}),
            Dictionary{{QStringLiteral("NS.base"), Uid{0}},
                       {QStringLiteral("NS.relative"), Uid{9}},
                       {QStringLiteral("$class"), Uid{10}}},
            QStringLiteral("http://k"),
            classes({QStringLiteral("NSURL"), objectClass}),
            record(QStringLiteral("NS.objects"), List{Uid{4}}, 12),
            classes({QStringLiteral("NSArray"), objectClass}),
            classes({QStringLiteral("NSMutableArray"), QStringLiteral("NSArray"), objectClass})};
        QVERIFY(KeyedArchiver::archivedPropertyList(root) ==
                PropertyList(Dictionary{
                    {QStringLiteral("$version"), 100000},
                    {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
                    {QStringLiteral("$top"), Dictionary{{QStringLiteral("root"), Uid{1}}}},
                    {QStringLiteral("$objects"), expected}}));
    }

    void storesValuesInline() {
        const auto archive = KeyedArchiver::archivedPropertyList(probe([](Encoder &coder) {
            coder.encodeBool(true, QStringLiteral("bool"));
            coder.encodeInteger(-1, QStringLiteral("integer"));
            coder.encodeReal(0.5, QStringLiteral("real"));
            coder.encodeBytes("ab", QStringLiteral("bytes"));
            coder.encodeObject(std::optional<QString>(), QStringLiteral("nil"));
            coder.encodeObject(1, QStringLiteral("$key"));
        }));
        QVERIFY(archive.find(QStringLiteral("$objects"))->list()[1] ==
                PropertyList(Dictionary{{QStringLiteral("bool"), true},
                                        {QStringLiteral("integer"), -1},
                                        {QStringLiteral("real"), 0.5},
                                        {QStringLiteral("bytes"), QByteArray("ab")},
                                        {QStringLiteral("nil"), Uid{0}},
                                        {QStringLiteral("$$key"), Uid{2}},
                                        {QStringLiteral("$class"), Uid{3}}}));
    }

    void readsValuesBack() {
        const auto archive = KeyedArchiver::archivedData(probe([](Encoder &coder) {
            coder.encodeBool(true, QStringLiteral("bool"));
            coder.encodeInteger(-1, QStringLiteral("integer"));
            coder.encodeReal(0.5, QStringLiteral("real"));
            coder.encodeBytes("ab", QStringLiteral("bytes"));
            coder.encodeObject({}, QStringLiteral("nil"));
            coder.encodeObject(1, QStringLiteral("$key"));
            coder.encodeObject(ArchiveValue::NullObject(), QStringLiteral("null"));
        }));
        bool wasCalled = false;
        decodeProbe(archive, [&](Decoder &coder) {
            wasCalled = true;
            QVERIFY(coder.allowsKeyedCoding());
            QVERIFY(coder.decodeBool(QStringLiteral("bool")));
            QCOMPARE(coder.decodeInteger(QStringLiteral("integer")), -1);
            QCOMPARE(coder.decodeReal(QStringLiteral("real")), 0.5);
            QCOMPARE(coder.decodeBytes(QStringLiteral("bytes")), QByteArray("ab"));
            QVERIFY(coder.containsValueForKey(QStringLiteral("nil")));
            QVERIFY(coder.decodeObject(QStringLiteral("nil")).isNil());
            QVERIFY(*coder.decodeNumber(QStringLiteral("$key")) == PropertyList(1));
            QCOMPARE(coder.decodeObject(QStringLiteral("null")).kind(), ArchiveValue::Kind::Null);
        });
        QVERIFY(wasCalled);
    }

    void aMissingKeyIsNothing() {
        decodeProbeRecord({}, [](Decoder &coder) {
            const QString key = QStringLiteral("missing");
            QVERIFY(!coder.containsValueForKey(key));
            QVERIFY(coder.decodeObject(key).isNil());
            QVERIFY(!coder.decodeString(key));
            QVERIFY(!coder.decodeUrl(key));
            QVERIFY(!coder.decodeDate(key));
            QVERIFY(!coder.decodeNumber(key));
            QVERIFY(!coder.decodeData(key));
            QVERIFY(!coder.decodePropertyList(key));
            QVERIFY(!coder.decodeObjectOfClass<ArchivedItem>(key));
            QVERIFY(!coder.decodeObjectsOfClass<ArchivedItem>(key));
            QCOMPARE(coder.decodeBool(key), false);
            QCOMPARE(coder.decodeInteger(key), 0);
            QCOMPARE(coder.decodeReal(key), 0.0);
            QCOMPARE(coder.decodeBytes(key), QByteArray());
        });
    }

    void truthValuesMayBeNumbersAndTheOtherWayRound() {
        decodeProbeRecord({{QStringLiteral("number"), 1}, {QStringLiteral("bool"), true}},
                          [](Decoder &coder) {
                              QVERIFY(coder.decodeBool(QStringLiteral("number")));
                              QCOMPARE(coder.decodeInteger(QStringLiteral("bool")), 1);
                              QCOMPARE(coder.decodeReal(QStringLiteral("number")), 1.0);
                          });
    }

    void anotherKindThanAskedForIsRefused_data() {
        QTest::addColumn<PropertyList>("stored");
        QTest::addColumn<bool>("isObject");
        QTest::newRow("inline text") << PropertyList(QStringLiteral("x")) << false;
        QTest::newRow("reference to a list") << PropertyList(Uid{3}) << true;
    }
    void anotherKindThanAskedForIsRefused() {
        QFETCH(PropertyList, stored);
        QFETCH(bool, isObject);
        const QString key = QStringLiteral("k");
        const List others{record(QStringLiteral("NS.objects"), List{Uid{5}}, 4),
                          classRecord(QStringLiteral("NSArray")), QStringLiteral("element")};
        const auto isRefused = [&](const std::function<void(Decoder &)> &decode) {
            return !reasonOf([&] { decodeProbeRecord({{key, stored}}, decode, others); }).isEmpty();
        };
        QCOMPARE(isRefused([&](Decoder &coder) { (void)coder.decodeObject(key); }), !isObject);
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeString(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeUrl(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeDate(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeNumber(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeData(key); }));
        QVERIFY(
            isRefused([&](Decoder &coder) { (void)coder.decodeObjectOfClass<ArchivedItem>(key); }));
        QVERIFY(isRefused(
            [&](Decoder &coder) { (void)coder.decodeObjectsOfClass<ArchivedItem>(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeBool(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeInteger(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeReal(key); }));
        QVERIFY(isRefused([&](Decoder &coder) { (void)coder.decodeBytes(key); }));
    }

    // What an object raises while it takes its values is no exception of the reader's.
    void nothingIsRaised() {
        const auto refused = KeyedUnarchiver::unarchivedObject("no archive");
        QVERIFY(!refused && !refused.error().reason.isEmpty());
        struct Raising final : Coding {
            [[nodiscard]] QStringList archivedClassNames() const override {
                return {QStringLiteral("Probe"), QStringLiteral("NSObject")};
            }
            void encodeWithCoder(Encoder &) override {}
            void initWithCoder(Decoder &) override {
                throw PlatformException(QStringLiteral("Any"), QStringLiteral("it does not fit"));
            }
        };
        const CodingClasses classes{
            {QStringLiteral("Probe"), [] { return std::make_shared<Raising>(); }}};
        QCOMPARE(kit::reasonOf(KeyedUnarchiver::unarchivedObject(
                     KeyedArchiver::archivedData(std::make_shared<Raising>()), classes)),
                 QStringLiteral("it does not fit"));
        QCOMPARE(kit::reasonOf(SequentialUnarchiver::unarchivedObject(
                     SequentialArchiver::archivedData(std::make_shared<Raising>()), classes)),
                 QStringLiteral("it does not fit"));
        QVERIFY(!SequentialUnarchiver::unarchivedObject("no archive"));
        QVERIFY(!ColorArchive::unarchivedColor("no archive"));
        QVERIFY(!FontArchive::unarchivedFont("no archive"));
    }

    void objectsOfAnotherClassAreRefused() {
        const ArchiveValue archived =
            ArchiveValue::List{std::make_shared<ArchivedClipboard>(), ArchiveValue()};
        const auto root = kit::valueOf(KeyedUnarchiver::unarchivedObject(
            KeyedArchiver::archivedData(archived), archivedClasses()));
        QVERIFY(!reasonOf([&] { (void)root.objectsOfClass<ArchivedItem>(); }).isEmpty());
        QVERIFY2(reasonOf([&] { (void)root.objectsOfClass<ArchivedClipboard>(); }).contains(u"nil"),
                 "a hole in a list of objects");
    }

    void standardObjects_data() {
        QTest::addColumn<QString>("className");
        QTest::addColumn<PropertyList>("values");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const QString &className, const Dictionary &values,
                            const QString &expected) {
            QTest::newRow(name) << className << PropertyList(values) << expected;
        };
        // The object after the class is the string "x", the next the bytes 01.
        const QString refused;
        row("string", QStringLiteral("NSString"),
            {{QStringLiteral("NS.string"), QStringLiteral("$null")}}, QStringLiteral("\"$null\""));
        row("mutable string", QStringLiteral("NSMutableString"),
            {{QStringLiteral("NS.string"), QStringLiteral("a")}}, QStringLiteral("\"a\""));
        row("string without text", QStringLiteral("NSString"), {}, refused);
        row("string by reference", QStringLiteral("NSString"),
            {{QStringLiteral("NS.string"), Uid{3}}}, refused);
        row("data", QStringLiteral("NSData"), {{QStringLiteral("NS.data"), QByteArray("\2")}},
            QStringLiteral("<02>"));
        row("data by reference", QStringLiteral("NSData"), {{QStringLiteral("NS.data"), Uid{4}}},
            QStringLiteral("<01>"));
        row("data that refers to nil", QStringLiteral("NSData"),
            {{QStringLiteral("NS.data"), Uid{0}}}, refused);
        row("data that refers to a string", QStringLiteral("NSMutableData"),
            {{QStringLiteral("NS.data"), Uid{3}}}, refused);
        row("data without bytes", QStringLiteral("NSData"), {}, refused);
        row("date", QStringLiteral("NSDate"), {{QStringLiteral("NS.time"), 1.5}},
            QStringLiteral("1.5s"));
        row("date in whole seconds", QStringLiteral("NSDate"), {{QStringLiteral("NS.time"), -2}},
            QStringLiteral("-2s"));
        row("date without time", QStringLiteral("NSDate"), {}, refused);
        row("date in words", QStringLiteral("NSDate"),
            {{QStringLiteral("NS.time"), QStringLiteral("now")}}, refused);
        row("URL", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{0}}, {QStringLiteral("NS.relative"), Uid{3}}},
            QStringLiteral("<x>"));
        row("URL with a base", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{5}}, {QStringLiteral("NS.relative"), Uid{3}}},
            QStringLiteral("<http://h/a/x>"));
        row("URL that would take hours", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{0}}, {QStringLiteral("NS.relative"), Uid{8}}},
            QStringLiteral("<>"));
        row("URL that would take hours on a base", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{5}}, {QStringLiteral("NS.relative"), Uid{8}}},
            QStringLiteral("<>"));
        row("URL without text", QStringLiteral("NSURL"), {{QStringLiteral("NS.base"), Uid{0}}},
            refused);
        row("URL of nil", QStringLiteral("NSURL"), {{QStringLiteral("NS.relative"), Uid{0}}},
            refused);
        row("URL with a string as base", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{3}}, {QStringLiteral("NS.relative"), Uid{3}}},
            refused);
        row("number", QStringLiteral("NSNumber"), {{QStringLiteral("NS.intval"), 5}},
            QStringLiteral("5"));
        row("real number", QStringLiteral("NSNumber"), {{QStringLiteral("NS.dblval"), 0.5}},
            QStringLiteral("0.5"));
        row("number without value", QStringLiteral("NSNumber"), {}, refused);
        row("null", QStringLiteral("NSNull"), {}, QStringLiteral("null"));
        row("list", QStringLiteral("NSArray"),
            {{QStringLiteral("NS.objects"), List{Uid{3}, Uid{0}}}}, QStringLiteral("(\"x\", nil)"));
        row("list of plain values", QStringLiteral("NSArray"),
            {{QStringLiteral("NS.objects"), List{QStringLiteral("x")}}}, refused);
        row("list without elements", QStringLiteral("NSMutableArray"), {}, refused);
        row("list of no list", QStringLiteral("NSMutableArray"),
            {{QStringLiteral("NS.objects"), Uid{3}}}, refused);
        row("dictionary", QStringLiteral("NSDictionary"),
            {{QStringLiteral("NS.keys"), List{Uid{3}}},
             {QStringLiteral("NS.objects"), List{Uid{4}}}},
            QStringLiteral("{x: <01>}"));
        row("more keys than values", QStringLiteral("NSDictionary"),
            {{QStringLiteral("NS.keys"), List{Uid{3}}}, {QStringLiteral("NS.objects"), List{}}},
            refused);
        row("nil as key", QStringLiteral("NSDictionary"),
            {{QStringLiteral("NS.keys"), List{Uid{0}}},
             {QStringLiteral("NS.objects"), List{Uid{4}}}},
            refused);
        row("data as key", QStringLiteral("NSMutableDictionary"),
            {{QStringLiteral("NS.keys"), List{Uid{4}}},
             {QStringLiteral("NS.objects"), List{Uid{4}}}},
            refused);
        row("dictionary without keys", QStringLiteral("NSDictionary"),
            {{QStringLiteral("NS.objects"), List{}}}, refused);
        row("list that contains itself", QStringLiteral("NSArray"),
            {{QStringLiteral("NS.objects"), List{Uid{1}}}}, refused);
        row("dictionary that contains itself", QStringLiteral("NSDictionary"),
            {{QStringLiteral("NS.keys"), List{Uid{3}}},
             {QStringLiteral("NS.objects"), List{Uid{1}}}},
            refused);
        row("URL that is its own base", QStringLiteral("NSURL"),
            {{QStringLiteral("NS.base"), Uid{1}}, {QStringLiteral("NS.relative"), Uid{3}}},
            refused);
        row("a class's record as object", QStringLiteral("NSArray"),
            {{QStringLiteral("NS.objects"), List{Uid{2}}}}, refused);
        row("another class", QStringLiteral("NSOrderedSet"), {}, refused);
    }
    void standardObjects() {
        QFETCH(QString, className);
        QFETCH(PropertyList, values);
        QFETCH(QString, expected);
        const List others{QStringLiteral("x"),
                          QByteArray("\1"),
                          Dictionary{{QStringLiteral("NS.base"), Uid{0}},
                                     {QStringLiteral("NS.relative"), Uid{7}},
                                     {QStringLiteral("$class"), Uid{6}}},
                          classRecord(QStringLiteral("NSURL")),
                          QStringLiteral("http://h/a/b"),
                          QStringLiteral("http://a") +
                              QStringLiteral(u"\u0301\u0316").repeated(1'000'000)};
        QString found;
        const QString reason = reasonOf(
            [&] { found = textOf(unarchiveRecord(className, values.dictionary(), others)); });
        QCOMPARE(found, expected);
        QCOMPARE(reason.isEmpty(), !expected.isEmpty());
    }

    void mutabilityShowsInTheClass() {
        for (const bool isMutable : {true, false}) {
            for (ArchiveValue value :
                 {ArchiveValue(ArchiveValue::List()), ArchiveValue(ArchiveValue::Dictionary())}) {
                if (!isMutable)
                    value = value.immutable();
                const auto archive = KeyedArchiver::archivedData(value);
                QCOMPARE(archive.contains("NSMutable"), isMutable);
                QCOMPARE(kit::valueOf(KeyedUnarchiver::unarchivedObject(archive)).isMutable(),
                         isMutable);
            }
        }
    }

    void aTextThatReadsNullIsAText() {
        const QString text = QStringLiteral("$null");
        const auto archive = KeyedArchiver::archivedData(ArchiveValue::List{text, text});
        QCOMPARE(textOf(kit::valueOf(KeyedUnarchiver::unarchivedObject(archive))),
                 QStringLiteral("(\"$null\", \"$null\")"));
        // As a plain string it is nil, wherever it stands.
        QVERIFY(unarchive(archiveOf({text})).isNil());
    }

    void plainObjectsOfOtherKindsAreRefused() {
        QVERIFY(!reasonOf([] { (void)unarchive(archiveOf({List{}})); }).isEmpty());
        QVERIFY(!reasonOf([] { (void)unarchive(archiveOf({Uid{1}})); }).isEmpty());
        QVERIFY(!reasonOf([] { (void)unarchive(archiveOf({}, QStringLiteral("x"))); }).isEmpty());
        QCOMPARE(textOf(unarchive(archiveOf({Date{2.5}}))), QStringLiteral("2.5s"));
        QCOMPARE(textOf(unarchive(archiveOf({true}))), QStringLiteral("true"));
    }

    void anObjectIsStoredOnceAndMayReferToItself() {
        // A probe that holds a list with itself twice.
        auto object = std::make_shared<Probe>();
        std::weak_ptr<Probe> self = object;
        object->encode = [&](Encoder &coder) {
            coder.encodeObject(ArchiveValue::List{self.lock(), self.lock()},
                               QStringLiteral("others"));
            coder.encodeInteger(7, QStringLiteral("number"));
        };
        const QByteArray archive = KeyedArchiver::archivedData(object);

        int filled = 0;
        QList<Coding *> others;
        const CodingClasses classes{{QStringLiteral("Probe"), [&] {
                                         auto made = std::make_shared<Probe>();
                                         made->decode = [&](Decoder &coder) {
                                             ++filled;
                                             const auto list = coder.decodeObjectsOfClass<Probe>(
                                                 QStringLiteral("others"));
                                             for (const auto &other : *list)
                                                 others.append(other.get());
                                         };
                                         return made;
                                     }}};
        const auto root = kit::valueOf(KeyedUnarchiver::unarchivedObject(archive, classes));
        QCOMPARE(filled, 1);
        Coding *const decoded = root.as<std::shared_ptr<Coding>>()->get();
        QCOMPARE(others, (QList<Coding *>{decoded, decoded}));
    }

    void aKeyUsedTwiceIsRefused() {
        QCOMPARE(reasonOf([] {
                     (void)KeyedArchiver::archivedData(probe([](Encoder &coder) {
                         coder.encodeBool(true, QStringLiteral("k"));
                         coder.encodeInteger(1, QStringLiteral("k"));
                     }));
                 }),
                 QStringLiteral("InvalidArgument"));
    }

    void nestingIsBounded_data() {
        QTest::addColumn<int>("depth");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one below") << KeyedArchiver::maximumDepth - 1 << true;
        QTest::newRow("at the limit") << KeyedArchiver::maximumDepth << true;
        QTest::newRow("one above") << KeyedArchiver::maximumDepth + 1 << false;
    }
    void nestingIsBounded() {
        QFETCH(int, depth);
        QFETCH(bool, accepted);
        // Writing.
        const QString reason =
            reasonOf([&] { (void)KeyedArchiver::archivedData(nestedLists(depth)); });
        QCOMPARE(reason, accepted ? QString() : QStringLiteral("InvalidArgument"));
        // Reading: number n holds n + 1; the class comes last.
        List objects;
        for (int level = 1; level <= depth; ++level)
            objects.append(record(QStringLiteral("NS.objects"),
                                  level < depth ? List{Uid{quint32(level + 1)}} : List{},
                                  quint32(depth + 1)));
        objects.append(classRecord(QStringLiteral("NSArray")));
        QCOMPARE(reasonOf([&] { (void)unarchive(archiveOf(objects)); }).isEmpty(), accepted);
    }

    void nestingIsBoundedBehindSharedObjects() {
        // Each list holds the one before it: decoded in order, none lies deep in the recursion.
        const auto chain = [](int depth) {
            List objects;
            List all;
            for (int level = 1; level < depth; ++level) {
                objects.append(record(QStringLiteral("NS.objects"),
                                      level > 1 ? List{Uid{quint32(level)}} : List{},
                                      quint32(depth + 1)));
                all.append(Uid{quint32(level + 1)});
            }
            objects.prepend(record(QStringLiteral("NS.objects"), all, quint32(depth + 1)));
            objects.append(classRecord(QStringLiteral("NSArray")));
            return archiveOf(objects);
        };
        QVERIFY(reasonOf([&] { (void)unarchive(chain(KeyedUnarchiver::maximumDepth)); }).isEmpty());
        QVERIFY(!reasonOf([&] {
                     (void)unarchive(chain(KeyedUnarchiver::maximumDepth + 1));
                 }).isEmpty());
    }

    void expansionIsBounded() {
        // Each list holds the next one twice: 2^levels leaves.
        const auto doubled = [](quint32 levels) {
            List objects;
            for (quint32 level = 1; level <= levels; ++level)
                objects.append(record(QStringLiteral("NS.objects"),
                                      List{Uid{level + 1}, Uid{level + 1}}, levels + 2));
            objects.append(QStringLiteral("x"));
            objects.append(classRecord(QStringLiteral("NSArray")));
            return archiveOf(objects);
        };
        QVERIFY(reasonOf([&] { (void)unarchive(doubled(15)); }).isEmpty());
        QVERIFY2(reasonOf([&] { (void)unarchive(doubled(29)); }).contains(u"expand"),
                 "lists in lists");
    }

    void expansionIsBoundedAtTheLimit_data() {
        QTest::addColumn<qint64>("excess");
        QTest::newRow("one below") << qint64(-1);
        QTest::newRow("at the limit") << qint64(0);
        QTest::newRow("one above") << qint64(1);
    }
    void expansionIsBoundedAtTheLimit() {
        QFETCH(qint64, excess);
        // A list that holds another one 2001 times and a filler once; the other holds a text.
        constexpr qint64 times = 2001;
        const auto archiveWith = [](qint64 texts, qint64 filler) {
            List references(times, Uid{2});
            references.append(Uid{3});
            return PropertyListSerialization::binary(
                archiveOf({record(QStringLiteral("NS.objects"), references, 5),
                           record(QStringLiteral("NS.objects"), List(texts, Uid{4}), 5),
                           QString(filler, u'y'), QStringLiteral("x"),
                           classRecord(QStringLiteral("NSArray"))}));
        };
        constexpr qint64 gain = qint64(PropertyListSerialization::expandedValuesPerByte);
        const auto over = [&](qint64 texts, qint64 filler) {
            const qint64 weight = 1 + times * (1 + texts) + 1;
            return weight - excess - qint64(PropertyListSerialization::expandedValuesFloor) -
                   gain * archiveWith(texts, filler).size();
        };
        // Each byte of filler allows for one step more; the texts make it come out even.
        qint64 texts = 1000;
        while (over(texts, 1000) % gain != 0)
            ++texts;
        const qint64 filler = 1000 + over(texts, 1000) / gain;
        QVERIFY(filler > 256 && filler < 65536);
        QCOMPARE(over(texts, filler), 0);
        QCOMPARE(reasonOf([&] {
                     (void)kit::valueOf(
                         KeyedUnarchiver::unarchivedObject(archiveWith(texts, filler)));
                 }).isEmpty(),
                 excess <= 0);
    }
};

QTEST_GUILESS_MAIN(KeyedArchiveTest)
#include "tst_keyed_archive.moc"
