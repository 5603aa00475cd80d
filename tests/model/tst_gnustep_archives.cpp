// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QProcess>
#include <QTest>

#include <cstdio>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const CodingClasses classes{
    {QStringLiteral("ZRKClipmuleClipboard"),
     [] { return std::make_shared<ZRKClipmuleClipboard>(); }},
    {QStringLiteral("ZRKClipmuleData"), [] { return std::make_shared<ZRKClipmuleData>(); }},
    {QStringLiteral("ZRKClipmuleDataItem"), [] { return std::make_shared<ZRKClipmuleDataItem>(); }},
};

PropertyList described(const ArchiveValue &value);

// What an object of ours puts into an archive, as the other program describes it.
class Describer final : public Encoder {
public:
    [[nodiscard]] bool allowsKeyedCoding() const override { return true; }
    void encodeObject(const ArchiveValue &value, const QString &key) override {
        if (!value.isNil())
            fields.insert(key, described(value));
    }
    void encodeBool(bool value, const QString &key) override { fields.insert(key, value); }
    void encodeInteger(qint64 value, const QString &key) override { fields.insert(key, value); }
    void encodeReal(double value, const QString &key) override { fields.insert(key, value); }
    void encodeBytes(const QByteArray &value, const QString &key) override {
        fields.insert(key, value);
    }
    PropertyList::Dictionary fields;
};

PropertyList described(const ArchiveValue &value) {
    switch (value.kind()) {
    case ArchiveValue::Kind::Leaf:
        return *value.as<PropertyList>();
    case ArchiveValue::Kind::Url:
        return PropertyList::Dictionary{
            {QStringLiteral("absoluteURL"), QString::fromLatin1(value.url()->toEncoded())}};
    case ArchiveValue::Kind::Object: {
        const auto &object = *value.as<std::shared_ptr<Coding>>();
        Describer describer;
        object->encodeWithCoder(describer);
        describer.fields.insert(QStringLiteral("class"), object->archivedClassNames().constFirst());
        return describer.fields;
    }
    case ArchiveValue::Kind::List: {
        PropertyList::List list;
        for (const ArchiveValue &element : *value.as<ArchiveValue::List>())
            list.append(described(element));
        return list;
    }
    case ArchiveValue::Kind::Dictionary: {
        PropertyList::Dictionary dictionary;
        for (const auto &[key, element] : value.as<ArchiveValue::Dictionary>()->asKeyValueRange())
            dictionary.insert(key, described(element));
        return dictionary;
    }
    case ArchiveValue::Kind::Nil:
    case ArchiveValue::Kind::Null:
        break;
    }
    return QStringLiteral("(nothing)");
}

std::shared_ptr<ZRKClipmuleData> fullClip() {
    const auto text = ZRKClipmuleDataItem::initWithNativeDictionary(
        ZRKClipmuleDataItem::NativeDictionary{{QStringLiteral("public.html"), "<b>a</b>"}});
    text->setString(QStringLiteral("Grüße, Άννα 😀\r\nsecond line"));
    text->setPersistentCacheValueForKey(PropertyList(3), QStringLiteral("wordCount"));
    const auto picture = std::make_shared<ZRKClipmuleDataItem>();
    picture->setImageData(QByteArray("\xFF\xD8\xFF\xE0"));
    picture->setURL(QUrl(QStringLiteral("https://example.org/a?b=1&c=%C3%BC")));
    picture->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
    auto clip = ZRKClipmuleData::initWithItems({text, picture});
    clip->setTitle(QStringLiteral("A title"));
    clip->setCreationDate(Date{400'000'000.25});
    return clip;
}

ArchiveValue plainValues() {
    return ArchiveValue::Dictionary{
        {QStringLiteral("text"), QStringLiteral("käse")},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("yes"), true},
        {QStringLiteral("no"), false},
        {QStringLiteral("one"), 1},
        {QStringLiteral("negative"), -5},
        {QStringLiteral("word"), qint64(4'294'967'295)},
        {QStringLiteral("large"), std::numeric_limits<qint64>::max()},
        {QStringLiteral("smallest"), std::numeric_limits<qint64>::min()},
        {QStringLiteral("real"), 0.1},
        {QStringLiteral("date"), Date{-1.5}},
        {QStringLiteral("bytes"), QByteArray("\0\xFF", 2)},
        {QStringLiteral("no bytes"), QByteArray("")},
        {QStringLiteral("address"), QUrl(QStringLiteral("ftp://example.org/%20"))},
        {QStringLiteral("list"),
         ArchiveValue::List{QStringLiteral("a"), ArchiveValue::List(), QStringLiteral("a")}},
        {QStringLiteral("dictionary"), ArchiveValue::Dictionary()}};
}

} // namespace

namespace {

ArchiveValue value(int which) {
    switch (which) {
    case 0:
        return plainValues();
    case 1:
        return fullClip();
    case 2:
        return ArchiveValue::List{fullClip(), textClip(QStringLiteral("short")), fullClip()};
    default:
        return named(QStringLiteral("Work"));
    }
}

} // namespace

/// Keyed archives between this program and an independent implementation of the format, GNUstep's.
class GnustepArchivesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void theyReadOurs_data() { values(); }

    void theyReadOurs() {
        QFETCH(int, which);
        const ArchiveValue ours = value(which);
        _fixture->write(QStringLiteral("ours"), KeyedArchiver::archivedData(ours));
        const auto read = readByThem(_fixture->path(QStringLiteral("ours")));
        QVERIFY(read);
        QCOMPARE(*read, described(ours));
    }

    void weReadTheirs_data() { values(); }

    void weReadTheirs() {
        QFETCH(int, which);
        const PropertyList description = described(value(which));
        const QString path = _fixture->path(QStringLiteral("theirs"));
        QVERIFY(QDir().mkpath(_fixture->path()));
        QVERIFY(writeByThem(description, path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(
            described(kit::valueOf(KeyedUnarchiver::unarchivedObject(file.readAll(), classes))),
            description);
    }

    void theyReadTheFilesOfTheStore() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = fullClip();
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        insertCustom({QStringLiteral("a"), QStringLiteral("b")});
        _fixture->runLoop.advance(5);
        const auto main = readByThem(_fixture->path(QStringLiteral("Main.clipboard")));
        const auto items = readByThem(clipboard->itemsPath());
        const auto custom = readByThem(_fixture->path(QStringLiteral("Custom.clipboards")));
        const auto native = readByThem(clip->firstItem()->nativeDictionaryPath());
        QVERIFY(main && items && custom && native);
        QCOMPARE(*main, described(clipboard));
        QCOMPARE(*items, described(clipboard->items()));
        QCOMPARE(*custom, described(ZRKClipmuleClipboard::customClipboards()));
        QCOMPARE(*native, PropertyList(PropertyList::Dictionary{
                              {QStringLiteral("public.html"), QByteArray("<b>a</b>")}}));
    }

    void theStoreReadsTheirFiles() {
        QVERIFY(QDir().mkpath(_fixture->path()));
        const auto clipboard = _fixture->kept(std::make_shared<ZRKClipmuleClipboard>());
        clipboard->setOid(ZRKClipmuleClipboard::mainOID);
        clipboard->setCount(1);
        const auto clip = _fixture->kept(fullClip());
        QVERIFY(
            writeByThem(described(clipboard), _fixture->path(QStringLiteral("Main.clipboard"))));
        QVERIFY(writeByThem(described(QList{clip}), clipboard->itemsPath()));
        QVERIFY(writeByThem(PropertyList::Dictionary{{QStringLiteral("type"), QByteArray("bytes")}},
                            clip->firstItem()->nativeDictionaryPath()));
        const auto read = ZRKClipmuleClipboard::mainClipboard();
        QCOMPARE(read->count(), quint64(1));
        QVERIFY(!read->isDirty());
        QCOMPARE(described(read->items()), described(QList{clip}));
        QCOMPARE(read->items().first()->firstItem()->nativeDictionary(),
                 std::optional(
                     ZRKClipmuleDataItem::NativeDictionary{{QStringLiteral("type"), "bytes"}}));
    }

private:
    static void values() {
        QTest::addColumn<int>("which");
        QTest::newRow("plain values") << 0;
        QTest::newRow("clip") << 1;
        QTest::newRow("list of clips") << 2;
        QTest::newRow("clipboard") << 3;
    }

    [[nodiscard]] std::optional<PropertyList> readByThem(const QString &path) const {
        QProcess program;
        program.start(QStringLiteral(GNUSTEP_ARCHIVES), {QStringLiteral("read"), path});
        if (!program.waitForFinished() || program.exitCode() != 0) {
            qInfo("%s", program.readAllStandardError().constData());
            return std::nullopt;
        }
        const auto parsed = PropertyListSerialization::parse(program.readAllStandardOutput());
        return parsed ? std::optional(*parsed) : std::nullopt;
    }

    [[nodiscard]] bool writeByThem(const PropertyList &description, const QString &path) const {
        QProcess program;
        program.start(QStringLiteral(GNUSTEP_ARCHIVES), {QStringLiteral("write"), path});
        program.write(PropertyListSerialization::binary(description));
        program.closeWriteChannel();
        return program.waitForFinished() && program.exitCode() == 0;
    }

    std::unique_ptr<StoreFixture> _fixture;
};

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    if (QByteArray(GNUSTEP_ARCHIVES).isEmpty()) {
        std::puts("skipped: gobjc or libgnustep-base-dev was missing when this was built");
        return 77;
    }
    GnustepArchivesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_gnustep_archives.moc"
