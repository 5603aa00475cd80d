// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/SequentialArchiver.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Archives.h"
#include "tests/model/StoreFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const ZRKClipmuleDataItem::NativeDictionary native{{QStringLiteral("public.html"), "<b>a</b>"},
                                                   {QStringLiteral("org.example.empty"), ""}};

} // namespace

/// What an archive and the dictionary form say of an item, value by value.
class ItemArchiveTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void imageHashIsArchivedInItsLowBits() {
        // Its bytes add up to more than 32 bits.
        const auto item = _fixture->kept(std::make_shared<ZRKClipmuleDataItem>());
        item->setImageData(QByteArray(17'000'000, char(0xff)));
        const quint64 sum = quint64(17'000'000) * 0xff;
        QCOMPARE(quint64(item->imageDataHash()), sum);
        QCOMPARE(quint64(archivedAndBack(item, _fixture->store)->imageDataHash()),
                 sum - (quint64(1) << 32U));
        const PropertyList archive = KeyedArchiver::archivedPropertyList(item);
        QVERIFY(archive.find(QStringLiteral("$objects"))
                    ->list()
                    .contains(PropertyList(qint64(sum - (quint64(1) << 32U)))));

        // Other writers stored more, or less.
        const auto decoded = [&](const PropertyList &number) {
            PropertyList changed = archive;
            for (PropertyList &object : changed.dictionary()[QStringLiteral("$objects")].list()) {
                if (object.isNumber())
                    object = number;
            }
            return quint64(kit::valueOf(KeyedUnarchiver::unarchivedObject(
                                            PropertyListSerialization::binary(changed), classes))
                               .objectOfClass<ZRKClipmuleDataItem>()
                               ->imageDataHash());
        };
        QCOMPARE(decoded(PropertyList(-2)), quint64(4'294'967'294));
        QCOMPARE(decoded(PropertyList((qint64(1) << 32) + 5)), quint64(5));
    }

    void urlTextIsKeptAsItWasReceived_data() {
        QTest::addColumn<QString>("text");
        for (const char *text : {"http://example.com/a%7Eb", "http://example.com/a%2fb",
                                 "HTTP://Example.COM/A", "http://example.com/\xC3\xBC",
                                 "http://b\xC3\xBC"
                                 "cher.example/"})
            QTest::newRow(text) << QString::fromUtf8(text);
    }

    void urlTextIsKeptAsItWasReceived() {
        QFETCH(QString, text);
        const QString key = QStringLiteral("url");
        const auto item = ZRKClipmuleDataItem::initWithDictionary({{key, text}});
        QVERIFY(item->hasURL());
        QCOMPARE(item->toDictionary().value(key).string(), text);
        QCOMPARE(item->size(), quint64(text.size()));
        ZRKClipmuleDataItem other;
        other.setClipmuleDataItem(*item);
        QCOMPARE(other.urlText(), text);
        // What the desktop's clipboard gives back of it counts as the same.
        const auto encoded = ZRKClipmuleDataItem::initWithDictionary(
            {{key, QUrl(text).toString(QUrl::FullyEncoded)}});
        QVERIFY(item->isEqual(*encoded));
        QCOMPARE(item->hash(), encoded->hash());
        // Another URL has its own text.
        item->setURL(QUrl(QStringLiteral("http://a/")));
        QCOMPARE(item->urlText(), QStringLiteral("http://a/"));
        other.setUrl(std::nullopt);
        QCOMPARE(other.urlText(), QString());
    }

    void urlTextIsKept() {
        const QString text = QStringLiteral("HTTP://Example.COM/a%7eb");
        const auto back = archivedAndBack(
            ZRKClipmuleDataItem::initWithDictionary({{QStringLiteral("url"), text}}),
            _fixture->store);
        QCOMPARE(back->urlText(), text);
        QCOMPARE(back->url(), std::optional(QUrl(text)));
    }

    void urlThatIsNoneIsLeftOut() {
        const auto item = _fixture->kept(std::make_shared<ZRKClipmuleDataItem>());
        item->setURL(QUrl(QStringLiteral("http://a/")));
        PropertyList archive = KeyedArchiver::archivedPropertyList(item);
        for (PropertyList &object : archive.dictionary()[QStringLiteral("$objects")].list()) {
            if (object == PropertyList(QStringLiteral("http://a/")))
                object = QStringLiteral("http://a:port/");
        }
        const auto back = kit::valueOf(KeyedUnarchiver::unarchivedObject(
                                           PropertyListSerialization::binary(archive), classes))
                              .objectOfClass<ZRKClipmuleDataItem>();
        QVERIFY(!back->hasURL());
        QCOMPARE(back->urlText(), QString());
        QVERIFY(!back->toDictionary().contains(QStringLiteral("url")));
    }

    void roundTripWithoutKeys() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setString(QStringLiteral("text"));
        item->setURL(QUrl(QStringLiteral("http://a/")));
        item->setImageData(QByteArray("image"));
        item->setCreatedBy(7);
        item->setPersistentCacheValueForKey(PropertyList(3), QStringLiteral("words"));
        const auto clip = ZRKClipmuleData::initWithItems({item});
        clip->setTitle(QStringLiteral("title"));
        clip->setCreationDate(Date{1000});
        const auto clipback = kit::valueOf(SequentialUnarchiver::unarchivedObject(
                                               SequentialArchiver::archivedData(clip), classes))
                                  .objectOfClass<ZRKClipmuleData>();
        clipback->setStore(_fixture->store);
        QCOMPARE(clipback->oid(), clip->oid());
        QCOMPARE(clipback->title(), clip->title());
        QCOMPARE(clipback->creationDate(), std::optional(Date{1000}));
        QVERIFY(clipback->isSaved());
        QCOMPARE(clipback->itemCount(), 1);
        const auto back = clipback->firstItem();
        QVERIFY(back->data() == clipback.get());
        QCOMPARE(back->oid(), item->oid());
        QCOMPARE(back->string(), item->string());
        QCOMPARE(back->url(), item->url());
        QCOMPARE(back->imageData(), item->imageData());
        QCOMPARE(back->imageDataHash(), item->imageDataHash());
        QCOMPARE(back->nativeDictionary(), item->nativeDictionary());
        QCOMPARE(back->createdBy(), qint64(7));
        // That form has no place for it.
        QVERIFY(!back->persistentCacheValueForKey(QStringLiteral("words")));

        auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
        clipboard->setOid(QStringLiteral("B"));
        clipboard->setTitle(QStringLiteral("board"));
        clipboard->setIconName(QStringLiteral("star"));
        clipboard->setCount(3);
        const auto board = kit::valueOf(SequentialUnarchiver::unarchivedObject(
                                            SequentialArchiver::archivedData(clipboard), classes))
                               .objectOfClass<ZRKClipmuleClipboard>();
        QCOMPARE(board->oid(), QStringLiteral("B"));
        QCOMPARE(board->title(), std::optional(QStringLiteral("board")));
        QCOMPARE(board->iconName(), QStringLiteral("star"));
        QCOMPARE(board->count(), quint64(3));
    }

    void archiveClaimsNoFileThatWasNotWritten() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setString(QStringLiteral("text"));
        item->setImageData(QByteArray("image"));
        for (const QString &path : {item->imageDataPath(), item->nativeDictionaryPath()}) {
            QVERIFY(QDir().mkpath(path));
            QTest::ignoreMessage(QtWarningMsg,
                                 qPrintable(QStringLiteral("FAILED TO SAVE ") + path));
        }
        auto back = archivedAndBack(item, _fixture->store);
        QVERIFY(!back->hasImageData());
        QVERIFY(!back->hasNativeDictionary());
        QCOMPARE(back->imageDataHash(), size_t(0));
        QVERIFY(item->isDirty());
        QVERIFY(QDir().rmdir(item->imageDataPath()));
        back = archivedAndBack(item, _fixture->store);
        QVERIFY(back->hasImageData());
        QCOMPARE(back->imageDataHash(), item->imageDataHash());
        QVERIFY(!back->hasNativeDictionary());
        QVERIFY(item->isDirty());
        QVERIFY(QDir().rmdir(item->nativeDictionaryPath()));
        back = archivedAndBack(item, _fixture->store);
        QVERIFY(back->hasNativeDictionary());
        QVERIFY(!item->isDirty());
    }

    void nativeDictionaryThatCannotBeWrittenIsKept() {
        const auto item = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        item->setDirty(false);
        QVERIFY(QDir().mkpath(item->nativeDictionaryPath()));
        const QString line = QStringLiteral("FAILED TO SAVE ") + item->nativeDictionaryPath();
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
        item->saveExtraData();
        item->releaseCachedData();
        QVERIFY(item->isDirty());
        QVERIFY(item->isNativeDictionaryDirty());
        QVERIFY(item->hasNativeDictionary());
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        // Once in the log.
        item->saveExtraData();
        QVERIFY(QDir().rmdir(item->nativeDictionaryPath()));
        item->saveExtraData();
        QVERIFY(!item->isNativeDictionaryDirty());
        item->releaseCachedData();
        QCOMPARE(item->nativeDictionary(), std::optional(native));
        QVERIFY(QFile::exists(item->nativeDictionaryPath()));
        // The next failure is news again.
        const auto other = _fixture->kept(ZRKClipmuleDataItem::initWithNativeDictionary(native));
        QVERIFY(QDir().mkpath(other->nativeDictionaryPath()));
        QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("FAILED TO SAVE ") +
                                                      other->nativeDictionaryPath()));
        other->saveExtraData();
    }

private:
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(ItemArchiveTest)
#include "tst_itemarchive.moc"
