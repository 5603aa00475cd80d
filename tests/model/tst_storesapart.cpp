// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

/// Clips know the store that keeps them, and none but that.
class StoresApartTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void storesKnowNothingOfEachOther() {
        const auto other = ClipboardStore::make(_fixture->folder.filePath(QStringLiteral("other")));
        other->start();
        const auto ours = ZRKClipmuleData::initWithImageData("ours");
        const auto theirs = ZRKClipmuleData::initWithImageData("theirs");
        _fixture->store->mainClipboard()->insertClipmuleDataAtIndex(ours, 0);
        const auto board = named(QStringLiteral("a"));
        board->insertClipmuleDataAtIndex(theirs, 0);
        other->insertCustomClipboardAtIndex(board, 0);
        _fixture->runLoop.advance(5);
        QVERIFY(QFile::exists(_fixture->path(ours->firstItem()->oid() + u".imageData"_s)));
        QCOMPARE(theirs->firstItem()->imageDataPath(),
                 other->path(theirs->firstItem()->oid(), QStringLiteral("imageData")));
        QVERIFY(QFile::exists(theirs->firstItem()->imageDataPath()));
        for (const auto &clip : {ours, theirs})
            clip->releaseCachedData();
        QCOMPARE(ours->firstItem()->imageData(), std::optional(QByteArray("ours")));
        QCOMPARE(theirs->firstItem()->imageData(), std::optional(QByteArray("theirs")));
        const auto back = ClipboardStore::make(other->dataPath())->customClipboards();
        QCOMPARE(back.size(), 1);
        _fixture->store->mainClipboard()->removeClipmuleData(ours);
        _fixture->runLoop.advance(5);
        QVERIFY(!QFile::exists(ours->firstItem()->imageDataPath()));
        QVERIFY(QFile::exists(theirs->firstItem()->imageDataPath()));
    }

    void whatNoStoreKeepsStaysInMemory() {
        const ZRKClipmuleDataItem::NativeDictionary native{{QStringLiteral("type"), "bytes"}};
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setImageData(QByteArray("image"));
        QCOMPARE(item->imageDataPath(), QString());
        QCOMPARE(item->nativeDictionaryPath(), QString());
        const auto copy = item->copyWithZone();
        item->erase();
        for (const auto &each : {item, copy}) {
            each->saveExtraData();
            each->releaseCachedData();
            QVERIFY(each->isImageDataDirty() && each->isNativeDictionaryDirty());
            QCOMPARE(each->imageData(), std::optional(QByteArray("image")));
            QCOMPARE(each->nativeDictionary(), std::optional(native));
        }
        // What is read goes with its store.
        const auto clip = ZRKClipmuleData::initWithItems({item});
        _fixture->store->mainClipboard()->insertClipmuleDataAtIndex(clip, 0);
        _fixture->runLoop.advance(5);
        clip->releaseCachedData();
        _fixture->restart();
        QCOMPARE(item->imageData(), std::nullopt);
        QCOMPARE(item->nativeDictionary(), std::nullopt);
        // A clipboard without a store has the clips that were put into it.
        const auto board = named(QStringLiteral("a"));
        QVERIFY(board->items().isEmpty());
        board->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        board->removeClipmuleData(board->items().first());
        board->erase();
        QVERIFY(board->items().isEmpty());
    }

    void aClipMayMoveToAnotherStore() {
        const ZRKClipmuleDataItem::NativeDictionary native{{QStringLiteral("type"), "bytes"}};
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
        item->setImageData(QByteArray("image"));
        const auto clip = ZRKClipmuleData::initWithItems({item});
        const auto other = ClipboardStore::make(_fixture->folder.filePath(QStringLiteral("other")));
        other->mainClipboard()->insertClipmuleDataAtIndex(clip, 0);
        other->saveIfNeeded();
        clip->releaseCachedData();
        _fixture->store->mainClipboard()->insertClipmuleDataAtIndex(clip, 0);
        _fixture->runLoop.advance(5);
        clip->releaseCachedData();
        QVERIFY(QDir(other->dataPath()).removeRecursively());
        QCOMPARE(item->imageData(), std::optional(QByteArray("image")));
        QCOMPARE(item->nativeDictionary(), std::optional(native));
    }

    void theProgramHandsItsStoreOver() {
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard(), _fixture->store->mainClipboard());
        QCOMPARE(ZRKClipmuleClipboard::dataPath(), _fixture->path());
        _fixture->store.reset();
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ZRKClipmuleClipboard::mainClipboard());
    }

private:
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(StoresApartTest)
#include "tst_storesapart.moc"
