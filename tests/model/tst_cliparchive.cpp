// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/Vectors.h"
#include "tests/model/Archives.h"
#include "tests/model/StoreFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

using NativeDictionary = ZRKClipmuleDataItem::NativeDictionary;

const NativeDictionary native{{QStringLiteral("public.html"), "<b>a</b>"},
                              {QStringLiteral("org.example.empty"), ""}};

ArchiveValue vector(const QString &name) {
    return kit::valueOf(KeyedUnarchiver::unarchivedObject(
        kit::vectorBytes(QStringLiteral("keyed/") + name), classes));
}

std::shared_ptr<ZRKClipmuleDataItem> itemVector(const char *name) {
    return vector(QString::fromLatin1(name)).objectOfClass<ZRKClipmuleDataItem>();
}

std::shared_ptr<ZRKClipmuleData> clipVector(const char *name) {
    return vector(QString::fromLatin1(name)).objectOfClass<ZRKClipmuleData>();
}

// The values in the order in which an archive without keys stores them.
class SequenceEncoder final : public Encoder {
public:
    [[nodiscard]] bool allowsKeyedCoding() const override { return false; }
    void encodeObject(const ArchiveValue &value, const QString &) override {
        const auto list = value.as<ArchiveValue::List>();
        values.append(list            ? QStringLiteral("list of %1").arg(list->size())
                      : value.isNil() ? QStringLiteral("nil")
                      : value.as<QUrl>()
                          ? value.url()->toString()
                          : value.propertyList().value_or(PropertyList()).description());
    }
    void encodeBool(bool value, const QString &) override {
        values.append(value ? QStringLiteral("yes") : QStringLiteral("no"));
    }
    void encodeInteger(qint64 value, const QString &) override {
        values.append(QStringLiteral("integer %1").arg(value));
    }
    void encodeReal(double, const QString &) override { values.append(QStringLiteral("real")); }
    void encodeBytes(const QByteArray &, const QString &) override {
        values.append(QStringLiteral("bytes"));
    }
    QStringList values;
};

} // namespace

/// Clips and items in keyed archives.
class ClipArchiveTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void itemRoundTrip() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setString(QStringLiteral("text"));
        item->setURL(QUrl(QStringLiteral("https://example.com/a?b=c")));
        item->setImageData(QByteArray("image"));
        item->setCreatedBy(7);
        const auto back = archivedAndBack(item, _fixture->store);
        QCOMPARE(back->oid(), item->oid());
        QCOMPARE(back->string(), item->string());
        QCOMPARE(back->url(), item->url());
        QCOMPARE(back->createdBy(), qint64(7));
        QCOMPARE(back->imageDataHash(), item->imageDataHash());
        QCOMPARE(back->hash(), item->hash());
        QVERIFY(back->hasImageData());
        QVERIFY(back->hasNativeDictionary());
        QCOMPARE(back->imageData(), std::optional(QByteArray("image")));
        QCOMPARE(back->nativeDictionary(), std::optional(native));
        QCOMPARE(_fixture->files().size(), 2);

        const auto empty =
            archivedAndBack(std::make_shared<ZRKClipmuleDataItem>(), _fixture->store);
        QVERIFY(!empty->hasString());
        QVERIFY(!empty->hasURL());
        QVERIFY(!empty->hasImageData());
        QVERIFY(!empty->hasNativeDictionary());
    }

    void decodedItemIsClean() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setImageData(QByteArray("image"));
        const auto back = archivedAndBack(item, _fixture->store);
        QVERIFY(!item->isDirty());
        for (const auto &each : {item, back}) {
            QVERIFY(!each->isDirty());
            QVERIFY(!each->isImageDataDirty());
            QVERIFY(!each->isNativeDictionaryDirty());
            QVERIFY(!each->clearsNativeDictionary());
        }
    }

    void archiveOfAnItemHasItsExactForm() {
        const auto item = itemVector("mac_item_text.bplist");
        QFile file(QStringLiteral(CLIPMULE_TEST_DATA "/vectors/keyed/mac_item_text.bplist"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto expected = PropertyListSerialization::parseBinary(file.readAll());
        QCOMPARE(KeyedArchiver::archivedPropertyList(item), *expected);
    }

    void cacheOfAnotherVersionIsEmptied() {
        QVERIFY(!itemVector("mac_item_cachever1.bplist")
                     ->persistentCacheValueForKey(QStringLiteral("k")));
        QVERIFY(!itemVector("gs_item_cachever1.bplist")
                     ->persistentCacheValueForKey(QStringLiteral("k")));
    }

    void persistentCacheTravels() {
        const auto item = _fixture->kept(std::make_shared<ZRKClipmuleDataItem>());
        item->setPersistentCacheValueForKey(PropertyList(3), QStringLiteral("words"));
        item->setTransientCacheValueForKey(PropertyList(4), QStringLiteral("lines"));
        const auto back = archivedAndBack(item, _fixture->store);
        QCOMPARE(back->persistentCacheValueForKey(QStringLiteral("words")),
                 std::optional(PropertyList(3)));
        QVERIFY(!back->transientCacheValueForKey(QStringLiteral("lines")));
        // Saving changes no value of either.
        QVERIFY(item->persistentCacheValueForKey(QStringLiteral("words")));
        QVERIFY(item->transientCacheValueForKey(QStringLiteral("lines")));
    }

    void savedNativeDictionaryIsLostWhenTheTextChanges() {
        const QList<std::function<void(ZRKClipmuleDataItem &)>> changes{
            [](auto &item) { item.setString(QStringLiteral("other")); },
            [](auto &item) { item.setURL(QUrl(QStringLiteral("http://a/"))); },
            [](auto &item) { item.setImageData(QByteArray("image")); }};
        for (const auto &change : changes) {
            const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
            (void)KeyedArchiver::archivedData(item);
            QVERIFY(QFile::exists(item->nativeDictionaryPath()));
            change(*item);
            QVERIFY(!item->hasNativeDictionary());
            QVERIFY(item->clearsNativeDictionary());
            // Although it is still in memory.
            QCOMPARE(item->nativeDictionary(), std::nullopt);
            QVERIFY(QFile::exists(item->nativeDictionaryPath()));
            const auto back = archivedAndBack(item, _fixture->store);
            QVERIFY(!back->hasNativeDictionary());
            QVERIFY(!item->clearsNativeDictionary());
            QVERIFY(!QFile::exists(item->nativeDictionaryPath()));
        }
    }

    void newNativeDictionarySurvivesChanges() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setString(QStringLiteral("text"));
        item->setImageData(QByteArray("image"));
        const auto back = archivedAndBack(item, _fixture->store);
        QCOMPARE(back->nativeDictionary(), std::optional(native));
    }

    void nativeDictionaryIsReadEachTime() {
        const auto item = archivedAndBack(
            _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native)), _fixture->store);
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        // "public.html" and 8 bytes; "org.example.empty" and none.
        QCOMPARE(item->size(), quint64(11 + 8 + 17));
        QVERIFY(QFile::remove(item->nativeDictionaryPath()));
        QCOMPARE(item->nativeDictionary(), std::nullopt);
    }

    void nativeDictionaryOfAnotherProgram() {
        const auto item = archivedAndBack(
            _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native)), _fixture->store);
        QVERIFY(QFile::remove(item->nativeDictionaryPath()));
        QVERIFY(QFile::copy(
            QStringLiteral(CLIPMULE_TEST_DATA "/vectors/keyed/mac_native_dictionary.bplist"),
            item->nativeDictionaryPath()));
        const NativeDictionary expected{
            {QStringLiteral("public.utf8-plain-text"), "Hello"},
            {QStringLiteral("com.example.empty"), ""},
            {QStringLiteral("com.example.mutable"), QByteArray::fromHex("000102ff")}};
        QCOMPARE(item->nativeDictionary(), std::optional(expected));
        QCOMPARE(item->toDictionary().value(QStringLiteral("nativeDictionary")).dictionary().size(),
                 3);
    }

    void missingNativeFileIsSilent() {
        const auto item = _fixture->kept(itemVector("gs_item_url_image.bplist"));
        QVERIFY(item->hasNativeDictionary());
        QVERIFY(item->hasImageData());
        QCOMPARE(item->nativeDictionary(), std::nullopt);
        QCOMPARE(item->imageData(), std::nullopt);
        QVERIFY(!item->toDictionary().contains(QStringLiteral("nativeDictionary")));
    }

    void damagedNativeFileIsLogged_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("garbage") << QByteArray("garbage");
        QTest::newRow("list") << KeyedArchiver::archivedData(ArchiveValue::List());
        QTest::newRow("texts") << KeyedArchiver::archivedData(PropertyList(
            PropertyList::Dictionary{{QStringLiteral("type"), QStringLiteral("text")}}));
    }

    void damagedNativeFileIsLogged() {
        QFETCH(QByteArray, bytes);
        const auto item = _fixture->kept(itemVector("gs_item_url_image.bplist"));
        _fixture->write(item->oid() + QStringLiteral(".nativeDictionary"), bytes);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^DECODE FAIL .")));
        QCOMPARE(item->nativeDictionary(), std::nullopt);
        QVERIFY(item->hasNativeDictionary());
    }

    void unsavedNativeDictionaryIsNotReleased() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->releaseCachedData();
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        item->saveExtraData();
        QVERIFY(QFile::remove(item->nativeDictionaryPath()));
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        item->releaseCachedData();
        QCOMPARE(item->nativeDictionary(), std::nullopt);
    }

    void eraseDeletesTheNativeFile() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->saveExtraData();
        QCOMPARE(_fixture->files().size(), 1);
        item->erase();
        QVERIFY(_fixture->files().isEmpty());
        QVERIFY(item->hasNativeDictionary());
    }

    void copySavesTheNativeDictionary() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        const auto copy = item->copyWithZone();
        QVERIFY(QFile::exists(item->nativeDictionaryPath()));
        QVERIFY(!QFile::exists(copy->nativeDictionaryPath()));
        QCOMPARE(copy->nativeDictionary(), std::optional(native));
        QVERIFY(copy->isNativeDictionaryDirty());
    }

    void itemsOfOtherPrograms_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("description");
        QTest::addColumn<qint64>("createdBy");
        const QString first = QStringLiteral("7A1B2C3D-0000-4000-8000-000000000001");
        const QString hello = QStringLiteral("(null) Hello, clipboard (null) 0");
        for (const char *name : {"mac_item_text.bplist", "mac_item_text.xml.plist",
                                 "gs_item_text.bplist", "gs_item_text.xml.plist"})
            QTest::newRow(name) << QString::fromLatin1(name) << first << hello << qint64(2);
        QTest::newRow("mac_item_mutable_string.bplist")
            << QStringLiteral("mac_item_mutable_string.bplist") << QStringLiteral("X6")
            << QStringLiteral("(null) mutable text (null) 0") << qint64(2);
        for (const char *name : {"gs_item_url_image.bplist", "gs_item_url_image.xml.plist"})
            QTest::newRow(name) << QString::fromLatin1(name)
                                << QStringLiteral("7A1B2C3D-0000-4000-8000-000000000002")
                                << QStringLiteral(
                                       "(null) http://example.com/a?b=1 http://example.com/a?b=1 1")
                                << qint64(0);
        for (const char *name : {"gs_item_cachever1.bplist", "gs_item_cachever1.xml.plist"})
            QTest::newRow(name) << QString::fromLatin1(name)
                                << QStringLiteral("7A1B2C3D-0000-4000-8000-000000000003")
                                << QStringLiteral("(null) (null) (null) 0") << qint64(2);
    }

    void itemsOfOtherPrograms() {
        QFETCH(QString, name);
        QFETCH(QString, oid);
        QFETCH(QString, description);
        QFETCH(qint64, createdBy);
        const auto item = vector(name).objectOfClass<ZRKClipmuleDataItem>();
        QCOMPARE(item->oid(), oid);
        QCOMPARE(item->description(), description);
        QCOMPARE(item->createdBy(), createdBy);
        QCOMPARE(item->imageDataHash(), item->hasImageData() ? size_t(4'000'000'000) : size_t(0));
        QVERIFY(!item->isDirty());
    }

    void clipRoundTrip() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        clip->setTitle(QStringLiteral("title"));
        clip->setCreationDate(Date{400000000.25});
        const auto back = archivedAndBack(clip, _fixture->store);
        QCOMPARE(back->oid(), clip->oid());
        QCOMPARE(back->title(), clip->title());
        QCOMPARE(back->creationDate(), clip->creationDate());
        QCOMPARE(back->itemCount(), 2);
        QCOMPARE(back->items()[1]->string(), std::optional(QStringLiteral("two")));
        QVERIFY(back->items()[1]->data() == back.get());
        QVERIFY(back->isSaved());
        QVERIFY(!back->isDirty());
        QVERIFY(!back->clipboard());
    }

    void clipsOfOtherPrograms() {
        for (const char *name : {"gs_clip_two_items.bplist", "gs_clip_two_items.xml.plist"}) {
            const auto clip = clipVector(name);
            QCOMPARE(clip->oid(), QStringLiteral("C0000000-0000-4000-8000-00000000000A"));
            QCOMPARE(clip->itemCount(), 2);
            QVERIFY(!clip->title());
            QCOMPARE(std::floor(clip->creationDate()->secondsSinceReference), 400000000.0);
            const auto second = clip->items()[1];
            QCOMPARE(second->persistentCacheValueForKey(QStringLiteral("wordCount")),
                     std::optional(PropertyList(3)));
            QCOMPARE(second->persistentCacheValueForKey(QStringLiteral("note")),
                     std::optional(PropertyList(QStringLiteral("café"))));
        }
    }

    void originOfOldClips() {
        // The items say 0 and 2 themselves.
        const auto ofPhone = clipVector("mac_clip_legacy_0.bplist");
        QCOMPARE(ofPhone->itemCount(), 2);
        for (const auto &item : ofPhone->items())
            QCOMPARE(item->createdBy(), qint64(1));
        const auto ofDesktop = clipVector("mac_clip_legacy_1.bplist");
        QVERIFY(ofDesktop->itemCount() > 0);
        for (const auto &item : ofDesktop->items())
            QCOMPARE(item->createdBy(), qint64(2));
    }

    void clipWithoutDateIsDatedNow() {
        _fixture->runLoop.setWallClock(Date{123.0});
        const auto clip = clipVector("mac_clip_no_date.bplist");
        QCOMPARE(clip->creationDate(), std::optional(Date{123.0}));
        QCOMPARE(clip->itemCount(), 0);
        QCOMPARE(clip->title(), std::optional(QStringLiteral("T")));
        QVERIFY(!clip->isDirty());
        QVERIFY(clip->isSaved());
    }

    void clipWhoseDateIsNotInTheArchiveIsDatedNow() {
        const auto clip = ZRKClipmuleData::initWithString(QStringLiteral("text"));
        PropertyList archive = KeyedArchiver::archivedPropertyList(clip);
        PropertyList &record = archive.dictionary()[QStringLiteral("$objects")].list()[1];
        QCOMPARE(record.dictionary().remove(QStringLiteral("creationDate")), 1);
        _fixture->runLoop.setWallClock(Date{123.0});
        const auto back = kit::valueOf(KeyedUnarchiver::unarchivedObject(
                                           PropertyListSerialization::binary(archive), classes))
                              .objectOfClass<ZRKClipmuleData>();
        QCOMPARE(back->creationDate(), std::optional(Date{123.0}));
    }

    void archivedClipIsCleanUntilItChanges() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        const auto save = [&] {
            (void)KeyedArchiver::archivedData(clip);
            return !clip->isDirty() && clip->isSaved();
        };
        QVERIFY(clip->isDirty());
        QVERIFY(!clip->isSaved());
        QVERIFY(save());
        clip->setTitle(QStringLiteral("title"));
        QVERIFY(clip->isDirty());
        QVERIFY(save());
        clip->setTitle(QStringLiteral("title"));
        QVERIFY(!clip->isDirty());
        clip->setTitle(std::nullopt);
        QVERIFY(clip->isDirty());
        QVERIFY(save());
        // No title never equals the present one, not even where there is none.
        clip->setTitle(std::nullopt);
        QVERIFY(clip->isDirty());
        QVERIFY(save());
        clip->items()[1]->setString(QStringLiteral("three"));
        QVERIFY(clip->isDirty());
        QVERIFY(save());
        clip->removeItem(clip->items()[1]);
        QVERIFY(clip->isDirty());
        QVERIFY(clip->isSaved());
    }

    void malformedArchivesAreRefused_data() {
        QTest::addColumn<PropertyList::Dictionary>("record");
        const auto row = [](const char *name, const QString &key, const PropertyList &value) {
            QTest::newRow(name) << PropertyList::Dictionary{{key, value}};
        };
        // Objects: 2 a number, 3 a list of numbers; see below.
        row("id", QStringLiteral("oid"), PropertyList::Uid{2});
        row("date", QStringLiteral("creationDate"), PropertyList::Uid{2});
        row("title", QStringLiteral("title"), PropertyList::Uid{2});
        row("items", QStringLiteral("items"), PropertyList::Uid{2});
        row("items of another kind", QStringLiteral("items"), PropertyList::Uid{3});
    }

    void malformedArchivesAreRefused() {
        QFETCH(PropertyList::Dictionary, record);
        const auto classOf = [](const QString &name) {
            return PropertyList(PropertyList::Dictionary{{QStringLiteral("$classname"), name}});
        };
        record.insert(QStringLiteral("$class"), PropertyList::Uid{4});
        const PropertyList list(PropertyList::Dictionary{
            {QStringLiteral("NS.objects"), PropertyList::List{PropertyList::Uid{2}}},
            {QStringLiteral("$class"), PropertyList::Uid{5}}});
        const PropertyList archive(PropertyList::Dictionary{
            {QStringLiteral("$version"), 100000},
            {QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
            {QStringLiteral("$top"),
             PropertyList::Dictionary{{QStringLiteral("root"), PropertyList::Uid{1}}}},
            {QStringLiteral("$objects"),
             PropertyList::List{QStringLiteral("$null"), record, 7, list,
                                classOf(QStringLiteral("ZRKClipmuleData")),
                                classOf(QStringLiteral("NSArray"))}}});
        QVERIFY(!KeyedUnarchiver::unarchivedObject(PropertyListSerialization::binary(archive),
                                                   classes));
    }

    void orderWithoutKeys() {
        const auto item = _fixture->kept(std::make_shared<ZRKClipmuleDataItem>());
        item->setString(QStringLiteral("text"));
        item->setURL(QUrl(QStringLiteral("http://a/")));
        item->setImageData(QByteArray::fromHex("0102"));
        item->setPersistentCacheValueForKey(PropertyList(1), QStringLiteral("key"));
        SequenceEncoder ofItem;
        item->encodeWithCoder(ofItem);
        QCOMPARE(
            ofItem.values,
            (QStringList{u'"' + item->oid() + u'"', QStringLiteral("3"), QStringLiteral("\"text\""),
                         QStringLiteral("http://a/"), QStringLiteral("yes"), QStringLiteral("no"),
                         QStringLiteral("integer 2"), QStringLiteral("integer 2")}));

        const auto clip = ZRKClipmuleData::initWithItems({item});
        clip->setCreationDate(Date{0});
        SequenceEncoder ofClip;
        clip->encodeWithCoder(ofClip);
        QCOMPARE(ofClip.values,
                 (QStringList{u'"' + clip->oid() + u'"', QStringLiteral("2001-01-01T00:00:00Z"),
                              QStringLiteral("nil"), QStringLiteral("list of 1")}));

        // Not the id that is made when it is asked for.
        ZRKClipmuleClipboard clipboard;
        clipboard.setCount(3);
        SequenceEncoder ofClipboard;
        clipboard.encodeWithCoder(ofClipboard);
        QCOMPARE(ofClipboard.values,
                 (QStringList{QStringLiteral("nil"), QStringLiteral("nil"),
                              QStringLiteral("\"default\""), QStringLiteral("3")}));
    }

private:
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(ClipArchiveTest)
#include "tst_cliparchive.moc"
