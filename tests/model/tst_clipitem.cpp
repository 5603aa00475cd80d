// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <limits>

using namespace clipmule;

namespace {

using NativeDictionary = ZRKClipmuleDataItem::NativeDictionary;

const QString text = QStringLiteral("a text");
const QUrl url(QStringLiteral("https://example.com/a?b=c"));
const QByteArray jpegBytes = QByteArray::fromHex("ffd8ffe1 0102");
const NativeDictionary native{{QStringLiteral("public.html"), "<b>a</b>"}};

std::shared_ptr<ZRKClipmuleDataItem> itemOf(const PropertyList::Dictionary &dictionary) {
    return ZRKClipmuleDataItem::initWithDictionary(dictionary);
}

} // namespace

/// What an item knows and answers in memory; its files have a test of their own.
class ClipItemTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void newItem() {
        const ZRKClipmuleDataItem item;
        QCOMPARE(item.createdBy(), qint64(2));
        QVERIFY(item.isNative());
        QVERIFY(item.isDirty());
        QVERIFY(!item.hasString());
        QVERIFY(!item.hasURL());
        QVERIFY(!item.hasImageData());
        QVERIFY(!item.hasNativeDictionary());
        QVERIFY(!item.isImageDataDirty());
        QCOMPARE(item.imageData(), std::nullopt);
        QCOMPARE(item.size(), quint64(0));
        QCOMPARE(item.hash(), size_t(0));
        QVERIFY(!item.data());
    }

    void itemOfNativeDictionary() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        QVERIFY(item->hasNativeDictionary());
        QVERIFY(item->isNativeDictionaryDirty());
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        QVERIFY(item->isDirty());

        const auto without = ZRKClipmuleDataItem::initWithNativeDictionary(std::nullopt);
        QVERIFY(!without->hasNativeDictionary());
        QVERIFY(!without->isNativeDictionaryDirty());

        const auto withEmpty = ZRKClipmuleDataItem::initWithNativeDictionary(NativeDictionary());
        QVERIFY(withEmpty->hasNativeDictionary());
    }

    void idIsMadeOnceAndDroppedOnDemand() {
        ZRKClipmuleDataItem item;
        const QString first = item.oid();
        QCOMPARE(first.size(), 36);
        QCOMPARE(item.oid(), first);
        item.resetOID();
        QVERIFY(item.oid() != first);
    }

    void typeNamesAreTheirOwnValues() {
        QCOMPARE(ZRKClipmuleDataStringType, QStringLiteral("ZRKClipmuleDataStringType"));
        QCOMPARE(ZRKClipmuleDataURLType, QStringLiteral("ZRKClipmuleDataURLType"));
        QCOMPARE(ZRKClipmuleDataImageDataType, QStringLiteral("ZRKClipmuleDataImageDataType"));
    }

    void settingTheSameStringChangesNothing() {
        ZRKClipmuleDataItem item;
        item.setString(text);
        item.setDirty(false);
        item.setString(QString(text.constData(), text.size()));
        QVERIFY(!item.isDirty());
        item.setString(QStringLiteral("other"));
        QVERIFY(item.isDirty());
        QCOMPARE(item.string(), std::optional(QStringLiteral("other")));
    }

    void settingNoStringOnAnItemWithoutOneIsAChange() {
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setString(std::nullopt);
        QVERIFY(item.isDirty());
        QVERIFY(!item.hasString());

        ZRKClipmuleDataItem withText;
        withText.setString(text);
        withText.setString(std::nullopt);
        QVERIFY(!withText.hasString());
        withText.setString(QString());
        QVERIFY(withText.hasString());
    }

    void settingTheSameUrlObjectChangesNothing() {
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setURL(std::nullopt);
        QVERIFY(!item.isDirty());
        item.setURL(url);
        QVERIFY(item.isDirty());
        item.setDirty(false);
        item.setURL(url);
        item.setURL(item.url());
        QVERIFY(!item.isDirty());
    }

    void settingAnEqualUrlIsAChange() {
        ZRKClipmuleDataItem item;
        item.setURL(url);
        item.setDirty(false);
        item.setURL(QUrl(url.toString()));
        QVERIFY(item.isDirty());
        item.setDirty(false);
        item.setURL(std::nullopt);
        QVERIFY(item.isDirty());
        QVERIFY(!item.hasURL());
    }

    void plainUrlSetterTouchesNothingElse() {
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setTransientCacheValueForKey(PropertyList(1), QStringLiteral("key"));
        item.setUrl(url);
        QVERIFY(!item.isDirty());
        QVERIFY(item.hasURL());
        QVERIFY(item.transientCacheValueForKey(QStringLiteral("key")));
    }

    void settingTheSameImageStorageChangesNothing() {
        ZRKClipmuleDataItem item;
        item.setImageData(jpegBytes);
        item.setDirty(false);
        item.setImageData(jpegBytes);
        item.setImageData(item.imageData());
        QVERIFY(!item.isDirty());
    }

    void settingEqualImageBytesIsAChange() {
        ZRKClipmuleDataItem item;
        item.setImageData(jpegBytes);
        item.setDirty(false);
        item.setImageData(QByteArray(jpegBytes.constData(), jpegBytes.size()));
        QVERIFY(item.isDirty());
        item.setDirty(false);
        // The same storage, but fewer bytes of it.
        item.setImageData(QByteArray::fromRawData(item.imageData()->constData(), 2));
        QVERIFY(item.isDirty());
        QCOMPARE(item.imageDataHash(), size_t(0xff + 0xd8));
    }

    void settingNoImageOnAnItemWithoutOneChangesNothing() {
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setImageData(std::nullopt);
        QVERIFY(!item.isDirty());
        QVERIFY(!item.isImageDataDirty());

        item.setImageData(jpegBytes);
        item.setDirty(false);
        item.setImageData(std::nullopt);
        QVERIFY(item.isDirty());
        QVERIFY(!item.hasImageData());
        QVERIFY(item.isImageDataDirty());
        QCOMPARE(item.imageDataHash(), size_t(0));
    }

    // The capture makes an item of what the clipboard offers and then adds its readings.
    void newNativeDictionarySurvivesTextAndImage() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setString(text);
        item->setImageData(jpegBytes);
        item->setURL(url);
        QVERIFY(item->hasNativeDictionary());
        QVERIFY(!item->clearsNativeDictionary());
        QCOMPARE(item->nativeDictionary(), std::optional(native));
    }

    void imageHashIsTheByteSum() {
        ZRKClipmuleDataItem item;
        item.setImageData(QByteArray::fromHex("ff 80 01"));
        QCOMPARE(item.imageDataHash(), size_t(255 + 128 + 1));
        item.setImageData(QByteArray());
        QVERIFY(item.hasImageData());
        QCOMPARE(item.imageDataHash(), size_t(0));
        // Summed in blocks: none, one and several of them, and what is left over.
        for (const qsizetype size : {4095, 4096, 4097, 3 * 4096 + 17}) {
            item.setImageData(QByteArray(size, char(255)));
            QCOMPARE(item.imageDataHash(), size_t(255) * size_t(size));
        }
    }

    void signatures_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isJpeg");
        QTest::addColumn<bool>("isPng");
        QTest::newRow("no image") << QByteArray() << false << false;
        QTest::newRow("JPEG with JFIF") << QByteArray::fromHex("ffd8ffe0") << true << false;
        QTest::newRow("JPEG with Exif") << QByteArray::fromHex("ffd8ffe1 0010") << true << false;
        QTest::newRow("JPEG with neither") << QByteArray::fromHex("ffd8ffdb") << false << false;
        QTest::newRow("two bytes of a JPEG") << QByteArray::fromHex("ffd8") << false << false;
        QTest::newRow("three bytes of a JPEG") << QByteArray::fromHex("ffd8ff") << false << false;
        QTest::newRow("PNG") << QByteArray::fromHex("89504e47 0d0a") << false << true;
        QTest::newRow("three bytes of a PNG") << QByteArray::fromHex("89504e") << false << false;
    }

    void signatures() {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isJpeg);
        QFETCH(bool, isPng);
        ZRKClipmuleDataItem item;
        item.setImageData(bytes);
        QCOMPARE(item.hasJPEG(), isJpeg);
        QCOMPARE(item.hasPNG(), isPng);
        item.setImageData(std::nullopt);
        QVERIFY(!item.hasJPEG());
        QVERIFY(!item.hasPNG());
    }

    void bestType() {
        ZRKClipmuleDataItem item;
        QCOMPARE(item.bestType(), ZRKClipmuleDataStringType);
        item.setURL(url);
        QCOMPARE(item.bestType(), ZRKClipmuleDataStringType);
        item.setImageData(jpegBytes);
        QCOMPARE(item.bestType(), ZRKClipmuleDataImageDataType);
    }

    void sizeCountsUnitsAndBytes() {
        // 4 UTF-16 units: two letters and a surrogate pair.
        const QString string = QStringLiteral("ab😀");
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{QStringLiteral("typ1"), "123"}, {QStringLiteral("ü"), ""}});
        QCOMPARE(item->size(), quint64(4 + 3 + 1));
        item->setString(string);
        QCOMPARE(item->size(), quint64(8 + 4));
        // As it is written: the blank is three characters.
        item->setURL(QUrl(QStringLiteral("http://a/b c")));
        QCOMPARE(item->size(), quint64(12 + 14));
        item->setImageData(jpegBytes);
        QCOMPARE(item->size(), quint64(26 + 6));
    }

    void nativePropertyList() {
        const QString good = QStringLiteral("good");
        const QString bad = QStringLiteral("bad");
        const PropertyList value(PropertyList::List{QStringLiteral("/a/file")});
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{good, PropertyListSerialization::binary(value)}, {bad, "<plist"}});
        QCOMPARE(item->nativePropertyListForType(good), std::optional(value));
        QCOMPARE(item->nativePropertyListForType(bad), std::nullopt);
        QCOMPARE(item->nativePropertyListForType(QStringLiteral("missing")), std::nullopt);
        QCOMPARE(ZRKClipmuleDataItem().nativePropertyListForType(good), std::nullopt);
    }

    void becomingDirtyDropsBothCaches() {
        const QString key = QStringLiteral("key");
        ZRKClipmuleDataItem item;
        const auto fill = [&] {
            item.setPersistentCacheValueForKey(PropertyList(1), key);
            item.setTransientCacheValueForKey(PropertyList(2), key);
        };
        fill();
        item.setDirty(true);
        QVERIFY(item.persistentCacheValueForKey(key));
        QVERIFY(item.transientCacheValueForKey(key));
        item.setDirty(false);
        QVERIFY(item.persistentCacheValueForKey(key));
        item.setDirty(true);
        QVERIFY(!item.persistentCacheValueForKey(key));
        QVERIFY(!item.transientCacheValueForKey(key));
    }

    void contentChangesDropBothCaches() {
        const QString key = QStringLiteral("key");
        ZRKClipmuleDataItem item;
        const QList<std::function<void()>> changes{[&] { item.setString(text); },
                                                   [&] { item.setURL(url); },
                                                   [&] { item.setImageData(jpegBytes); }};
        for (const auto &change : changes) {
            item.setPersistentCacheValueForKey(PropertyList(1), key);
            item.setTransientCacheValueForKey(PropertyList(2), key);
            QVERIFY(item.isDirty());
            change();
            QVERIFY(!item.persistentCacheValueForKey(key));
            QVERIFY(!item.transientCacheValueForKey(key));
        }
    }

    void persistentCacheMakesDirty() {
        const QString key = QStringLiteral("key");
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setPersistentCacheValueForKey(PropertyList(1), key);
        QVERIFY(item.isDirty());
        QCOMPARE(item.persistentCacheValueForKey(key), std::optional(PropertyList(1)));
        item.setDirty(false);
        item.setPersistentCacheValueForKey(std::nullopt, key);
        QVERIFY(item.isDirty());
        QVERIFY(!item.persistentCacheValueForKey(key));

        item.setPersistentCacheValueForKey(PropertyList(1), key);
        item.setDirty(false);
        item.removePersistentCacheValueForKey(key);
        QVERIFY(item.isDirty());
        QVERIFY(!item.persistentCacheValueForKey(key));

        item.setPersistentCacheValueForKey(PropertyList(1), key);
        item.setDirty(false);
        item.clearPersistentCache();
        QVERIFY(item.isDirty());
        QVERIFY(!item.persistentCacheValueForKey(key));
    }

    void transientCacheDoesNotMakeDirty() {
        const QString key = QStringLiteral("key");
        const QString other = QStringLiteral("other");
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setTransientCacheValueForKey(PropertyList(1), key);
        item.setTransientCacheValueForKey(PropertyList(2), other);
        QCOMPARE(item.transientCacheValueForKey(key), std::optional(PropertyList(1)));
        item.setTransientCacheValueForKey(std::nullopt, key);
        QVERIFY(!item.transientCacheValueForKey(key));
        item.removeTransientCacheValueForKey(other);
        QVERIFY(!item.transientCacheValueForKey(other));
        item.setTransientCacheValueForKey(PropertyList(1), key);
        item.clearTransientCache();
        QVERIFY(!item.transientCacheValueForKey(key));
        QVERIFY(!item.isDirty());
    }

    void takesOverTheContentOfAnother() {
        ZRKClipmuleDataItem other;
        other.setString(text);
        other.setURL(url);
        other.setImageData(jpegBytes);
        ZRKClipmuleDataItem item;
        item.setDirty(false);
        item.setClipmuleDataItem(other);
        QCOMPARE(item.string(), other.string());
        QCOMPARE(item.url(), other.url());
        QCOMPARE(item.imageData(), other.imageData());
        QVERIFY(item.isDirty());
        QVERIFY(item.oid() != other.oid());

        item.setClipmuleDataItem(ZRKClipmuleDataItem());
        QVERIFY(!item.hasString());
        QVERIFY(!item.hasURL());
        QVERIFY(!item.hasImageData());
    }

    void dictionaryOfAnEmptyItem() {
        const ZRKClipmuleDataItem item;
        QCOMPARE(PropertyList(item.toDictionary()),
                 PropertyList(PropertyList::Dictionary{{QStringLiteral("oid"), item.oid()},
                                                       {QStringLiteral("createdBy"), 2}}));
    }

    void dictionaryCarriesEverything() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setString(text);
        item->setURL(QUrl(QStringLiteral("http://a/b c")));
        item->setImageData(jpegBytes);
        const PropertyList::Dictionary expected{
            {QStringLiteral("oid"), item->oid()},
            {QStringLiteral("string"), text},
            {QStringLiteral("url"), QStringLiteral("http://a/b%20c")},
            {QStringLiteral("createdBy"), 2},
            {QStringLiteral("nativeDictionary"),
             PropertyList::Dictionary{{QStringLiteral("public.html"), QByteArray("<b>a</b>")}}},
            {QStringLiteral("imageData"), jpegBytes}};
        const PropertyList::Dictionary dictionary = item->toDictionary();
        QCOMPARE(PropertyList(dictionary), PropertyList(expected));
        // Shared, not copied.
        QVERIFY(find(dictionary, QStringLiteral("imageData"))->data().constData() ==
                jpegBytes.constData());
    }

    void dictionaryRoundTrip() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setString(text);
        item->setURL(url);
        item->setImageData(jpegBytes);
        const auto back = itemOf(item->toDictionary());
        QCOMPARE(back->oid(), item->oid());
        QCOMPARE(back->string(), item->string());
        QCOMPARE(back->url(), item->url());
        QCOMPARE(back->imageData(), item->imageData());
        QCOMPARE(back->imageDataHash(), item->imageDataHash());
        QCOMPARE(back->nativeDictionary(), item->nativeDictionary());
        QCOMPARE(back->createdBy(), qint64(2));
        QVERIFY(back->isDirty());
        QVERIFY(back->isNativeDictionaryDirty());
        QVERIFY(back->isImageDataDirty());
    }

    void fromDictionaryDefaults() {
        const auto item = itemOf({});
        QCOMPARE(item->createdBy(), qint64(0));
        QVERIFY(!item->isNative());
        QCOMPARE(item->oid().size(), 36);
        QVERIFY(!item->hasString());
        QVERIFY(!item->hasURL());
        QVERIFY(!item->hasImageData());
        QVERIFY(!item->isImageDataDirty());
        QVERIFY(!item->hasNativeDictionary());
        QVERIFY(item->isDirty());
    }

    void urlThatDoesNotParseIsNoUrl() {
        const QString key = QStringLiteral("url");
        QVERIFY(!itemOf({{key, QStringLiteral("http://a:port/")}})->hasURL());
        QVERIFY(!itemOf({{key, QStringLiteral("http://a/b c")}})->hasURL());
        QVERIFY(!itemOf({{key, QString()}})->hasURL());
        // Refused before anybody looks at the host, which would take hours.
        const QString marks = QStringLiteral(u"\u0301\u0316").repeated(1'000'000);
        QVERIFY(!itemOf({{key, QStringLiteral("http://a") + marks}})->hasURL());
        QCOMPARE(itemOf({{key, QStringLiteral("http://a/b%20c")}})->url(),
                 std::optional(QUrl(QStringLiteral("http://a/b%20c"))));
    }

    void hugeNumbersAreBounded() {
        const QString key = QStringLiteral("createdBy");
        QCOMPARE(itemOf({{key, -1}})->createdBy(), qint64(-1));
        QCOMPARE(itemOf({{key, std::numeric_limits<quint64>::max()}})->createdBy(), qint64(-1));
        QCOMPARE(itemOf({{key, 1e300}})->createdBy(), std::numeric_limits<qint64>::max());
        QCOMPARE(itemOf({{key, QStringLiteral("2")}})->createdBy(), qint64(2));
    }

    void wrongKindsAreRefused_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<PropertyList>("value");
        const PropertyList number(1);
        QTest::newRow("id") << QStringLiteral("oid") << number;
        QTest::newRow("text") << QStringLiteral("string") << PropertyList(QByteArray("text"));
        QTest::newRow("URL") << QStringLiteral("url") << number;
        QTest::newRow("origin") << QStringLiteral("createdBy")
                                << PropertyList(PropertyList::List());
        QTest::newRow("image") << QStringLiteral("imageData")
                               << PropertyList(QStringLiteral("image"));
        QTest::newRow("native dictionary") << QStringLiteral("nativeDictionary") << number;
        QTest::newRow("native representation")
            << QStringLiteral("nativeDictionary")
            << PropertyList(PropertyList::Dictionary{{QStringLiteral("type"), number}});
    }

    void wrongKindsAreRefused() {
        QFETCH(QString, key);
        QFETCH(PropertyList, value);
        QVERIFY_THROWS_EXCEPTION(PlatformException, itemOf({{key, value}}));
    }

    void numberOfRepresentationsIsLimited() {
        const auto itemOfTypes = [](int count) {
            PropertyList::Dictionary representations;
            for (int i = 0; i < count; ++i)
                representations.insert(QString::number(i), QByteArray());
            return itemOf({{QStringLiteral("nativeDictionary"), representations}});
        };
        QCOMPARE(itemOfTypes(999)->nativeDictionary()->size(), 999);
        QCOMPARE(itemOfTypes(1000)->nativeDictionary()->size(), 1000);
        QVERIFY_THROWS_EXCEPTION(PlatformException, itemOfTypes(1001));
    }

    void equalityById() {
        const PropertyList::Dictionary first{{QStringLiteral("oid"), QStringLiteral("X")},
                                             {QStringLiteral("string"), QStringLiteral("one")}};
        const PropertyList::Dictionary second{{QStringLiteral("oid"), QStringLiteral("X")},
                                              {QStringLiteral("string"), QStringLiteral("two")}};
        QVERIFY(itemOf(first)->isEqual(*itemOf(second)));
        const Object stranger;
        QVERIFY(!itemOf(first)->isEqual(stranger));
    }

    void equalityByContent_data() {
        using Dictionary = PropertyList::Dictionary;
        QTest::addColumn<PropertyList>("left");
        QTest::addColumn<PropertyList>("right");
        QTest::addColumn<bool>("equal");
        const QString string = QStringLiteral("string");
        const QString urlKey = QStringLiteral("url");
        const QString image = QStringLiteral("imageData");
        const QString a = QStringLiteral("http://a/");
        const QString b = QStringLiteral("http://b/");
        const auto row = [](const char *name, const Dictionary &left, const Dictionary &right,
                            bool equal) {
            QTest::newRow(name) << PropertyList(left) << PropertyList(right) << equal;
        };
        row("nothing", {}, {}, true);
        row("same text", {{string, text}}, {{string, text}}, true);
        row("other text", {{string, text}}, {{string, b}}, false);
        row("text on one side", {{string, text}}, {}, false);
        row("empty text on one side", {{string, QString()}}, {}, false);
        row("same URL", {{urlKey, a}}, {{urlKey, a}}, true);
        row("other URL", {{urlKey, a}}, {{urlKey, b}}, false);
        row("URL on one side", {{urlKey, a}}, {}, false);
        row("images of equal byte sum", {{image, QByteArray::fromHex("0102")}},
            {{image, QByteArray::fromHex("0201")}}, true);
        row("images of other byte sums", {{image, QByteArray::fromHex("0102")}},
            {{image, QByteArray::fromHex("0202")}}, false);
        row("native representations do not count",
            {{QStringLiteral("nativeDictionary"), Dictionary{{a, QByteArray("1")}}}}, {}, true);
        row("everything", {{string, text}, {urlKey, a}, {image, QByteArray::fromHex("0102")}},
            {{string, text}, {urlKey, a}, {image, QByteArray::fromHex("0201")}}, true);
    }

    void equalityByContent() {
        QFETCH(PropertyList, left);
        QFETCH(PropertyList, right);
        QFETCH(bool, equal);
        QCOMPARE(itemOf(left.dictionary())->isEqual(*itemOf(right.dictionary())), equal);
    }

    void hashIsTheSumOfItsParts() {
        ZRKClipmuleDataItem withText;
        withText.setString(text);
        ZRKClipmuleDataItem withUrl;
        withUrl.setURL(url);
        ZRKClipmuleDataItem all;
        all.setString(text);
        all.setURL(url);
        all.setImageData(QByteArray::fromHex("0102"));
        QVERIFY(withText.hash() != 0);
        QVERIFY(withUrl.hash() != 0);
        QCOMPARE(all.hash(), withText.hash() + withUrl.hash() + 3);
    }

    void theHashOfTheStringMayBeTold() {
        ZRKClipmuleDataItem item;
        item.setString(text);
        item.setURL(url);
        const size_t hash = item.hash();
        QCOMPARE(item.stringHash(), std::nullopt);
        item.setStringHash(qHash(text));
        QCOMPARE(item.hash(), hash);
        item.setStringHash(qHash(text) + 5);
        QCOMPARE(item.hash(), hash + 5);
        item.setString(text);
        QCOMPARE(item.hash(), hash + 5);
        item.setString(text + u'2');
        QCOMPARE(item.stringHash(), std::nullopt);
        item.setString(text);
        QCOMPARE(item.hash(), hash);
        item.setStringHash(5);
        item.setString(std::nullopt);
        QCOMPARE(item.hash(), qHash(url));
    }

    void descriptionShowsTheParts() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setString(QStringLiteral("50% off"));
        item->setURL(url);
        item->setImageData(jpegBytes);
        QCOMPARE(item->description(),
                 QStringLiteral("(\"public.html\") 50% off https://example.com/a?b=c 1"));
        QCOMPARE(ZRKClipmuleDataItem().description(), QStringLiteral("(null) (null) (null) 0"));
        // It may reach a log, and a clip is nobody's business there.
        item->setString(QString(1000, u'x'));
        QVERIFY(item->description().size() < 200);
    }
};

QTEST_GUILESS_MAIN(ClipItemTest)
#include "tst_clipitem.moc"
