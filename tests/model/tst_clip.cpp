// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

const Date today{700000000.25};

std::shared_ptr<ZRKClipmuleData> clipOf(const PropertyList::Dictionary &dictionary) {
    return ZRKClipmuleData::initWithDictionary(dictionary);
}

} // namespace

class ClipTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop = std::make_unique<kit::ManualRunLoop>();
        _runLoop->setWallClock(today);
        _installation = std::make_unique<RunLoop::Installation>(*_runLoop);
    }

    void end() override {
        _installation.reset();
        _runLoop.reset();
    }

private Q_SLOTS:
    void newClip() {
        ZRKClipmuleData clip;
        QCOMPARE(clip.creationDate(), std::optional(today));
        QVERIFY(clip.isDirty());
        QVERIFY(!clip.isSaved());
        QCOMPARE(clip.itemCount(), 0);
        QVERIFY(clip.items().isEmpty());
        QVERIFY(!clip.firstItem());
        QVERIFY(!clip.hasImageData());
        QVERIFY(!clip.hasString());
        QVERIFY(!clip.hasURL());
        QCOMPARE(clip.size(), quint64(0));
        QCOMPARE(clip.hash(), size_t(0));
        QVERIFY(!clip.title());
        QVERIFY(!clip.clipboard());
        clip.setTitle(QStringLiteral("four"));
        QCOMPARE(clip.size(), quint64(4));
    }

    void notificationNamesAreTheirOwnValues() {
        QCOMPARE(ZRKClipmuleDataWasAdded, QStringLiteral("ZRKClipmuleDataWasAdded"));
        QCOMPARE(ZRKClipmuleDataWasRemoved, QStringLiteral("ZRKClipmuleDataWasRemoved"));
    }

    void clipOfItems() {
        const auto first = std::make_shared<ZRKClipmuleDataItem>();
        const auto second = std::make_shared<ZRKClipmuleDataItem>();
        const auto clip = ZRKClipmuleData::initWithItems({first, second});
        QCOMPARE(clip->itemCount(), 2);
        QCOMPARE(clip->firstItem(), first);
        QCOMPARE(clip->items().last(), second);
        QVERIFY(first->data() == clip.get());
        QVERIFY(second->data() == clip.get());
    }

    void clipOfStrings() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        QCOMPARE(clip->itemCount(), 2);
        QCOMPARE(clip->items().at(0)->string(), std::optional(QStringLiteral("one")));
        QCOMPARE(clip->items().at(1)->string(), std::optional(QStringLiteral("two")));
        QVERIFY(clip->items().at(1)->data() == clip.get());
        QVERIFY(clip->isDirty());

        const auto single = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        QCOMPARE(single->itemCount(), 1);
        QCOMPARE(single->firstItem()->string(), std::optional(QStringLiteral("one")));
    }

    void clipOfImages() {
        const auto clip = ZRKClipmuleData::initWithImageDatas({"one", "two"});
        QCOMPARE(clip->itemCount(), 2);
        QCOMPARE(clip->items().at(1)->imageData(), std::optional(QByteArray("two")));
        QVERIFY(clip->items().at(1)->data() == clip.get());

        const auto single = ZRKClipmuleData::initWithImageData("one");
        QCOMPARE(single->itemCount(), 1);
        QCOMPARE(single->firstItem()->imageData(), std::optional(QByteArray("one")));
    }

    void clipsLeaveTheirItemsWhenTheyGo() {
        auto clip = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        const auto item = clip->firstItem();
        clip.reset();
        QVERIFY(!item->data());

        auto first = ZRKClipmuleData::initWithItems({item});
        const auto second = ZRKClipmuleData::initWithItems({item});
        first.reset();
        QVERIFY(item->data() == second.get());
    }

    void idIsMadeOnceAndDroppedOnDemand() {
        ZRKClipmuleData clip;
        const QString first = clip.oid();
        QCOMPARE(first.size(), 36);
        QCOMPARE(clip.oid(), first);
        clip.resetOID();
        QVERIFY(clip.oid() != first);
        clip.setOid(QStringLiteral("X"));
        QCOMPARE(clip.oid(), QStringLiteral("X"));
    }

    void removingAnItem() {
        const auto clip = ZRKClipmuleData::initWithStrings(
            {QStringLiteral("same"), QStringLiteral("other"), QStringLiteral("same")});
        const auto items = clip->items();
        clip->removeItem(clip->items().first());
        // Both are equal to it.
        QCOMPARE(clip->itemCount(), 1);
        QCOMPARE(clip->firstItem(), items.at(1));
        QVERIFY(!items.at(0)->data());
        QVERIFY(!items.at(2)->data());
        QVERIFY(clip->firstItem()->data() == clip.get());

        // Of another clip, and equal to none of this one's.
        const auto other = ZRKClipmuleData::initWithString(QStringLiteral("third"));
        clip->removeItem(other->firstItem());
        QCOMPARE(clip->itemCount(), 1);
        QVERIFY(other->firstItem()->data() == other.get());
    }

    void titleIsSetAndRemoved() {
        ZRKClipmuleData clip;
        clip.setTitle(QStringLiteral("title"));
        QCOMPARE(clip.title(), std::optional(QStringLiteral("title")));
        clip.setTitle(std::nullopt);
        QVERIFY(!clip.title());
    }

    void anyItemDecides() {
        const auto plain = std::make_shared<ZRKClipmuleDataItem>();
        const auto withText = std::make_shared<ZRKClipmuleDataItem>();
        withText->setString(QStringLiteral("text"));
        const auto withUrl = std::make_shared<ZRKClipmuleDataItem>();
        withUrl->setURL(QUrl(QStringLiteral("http://a/")));
        const auto withImage = std::make_shared<ZRKClipmuleDataItem>();
        withImage->setImageData(QByteArray("image"));
        const auto clip = ZRKClipmuleData::initWithItems({plain, withText});
        QVERIFY(clip->hasString());
        QVERIFY(!clip->hasURL());
        QVERIFY(!clip->hasImageData());
        QVERIFY(ZRKClipmuleData::initWithItems({plain, withUrl})->hasURL());
        QVERIFY(ZRKClipmuleData::initWithItems({plain, withImage})->hasImageData());
        QVERIFY(!ZRKClipmuleData::initWithItems({plain, withImage})->hasString());
    }

    void sizeIsTitleAndItems() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("four")});
        QCOMPARE(clip->size(), quint64(7));
        clip->setTitle(QStringLiteral("ab"));
        QCOMPARE(clip->size(), quint64(9));
    }

    void newClipIsDirtyByItself() {
        auto clip = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        clip->firstItem()->setDirty(false);
        // Its own fields have not been archived yet.
        QVERIFY(clip->isDirty());
    }

    void dictionaryOfAClip() {
        const auto clip = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        const PropertyList items(PropertyList::List{clip->firstItem()->toDictionary()});
        PropertyList::Dictionary expected{{QStringLiteral("oid"), clip->oid()},
                                          {QStringLiteral("creationDate"), today},
                                          {QStringLiteral("items"), items}};
        QCOMPARE(PropertyList(clip->toDictionary()), PropertyList(expected));
        clip->setTitle(QStringLiteral("title"));
        expected.insert(QStringLiteral("title"), QStringLiteral("title"));
        QCOMPARE(PropertyList(clip->toDictionary()), PropertyList(expected));

        const auto items2 = ZRKClipmuleData().toDictionary().value(QStringLiteral("items"));
        QCOMPARE(items2, PropertyList(PropertyList::List()));
    }

    void dictionaryNeedsADate() {
        ZRKClipmuleData clip;
        clip.setCreationDate(std::nullopt);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)clip.toDictionary());
    }

    void dictionaryRoundTrip() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        clip->setTitle(QStringLiteral("title"));
        _runLoop->advance(5);
        const auto back = clipOf(clip->toDictionary());
        QCOMPARE(back->oid(), clip->oid());
        QCOMPARE(back->title(), clip->title());
        QCOMPARE(back->creationDate(), std::optional(today));
        QCOMPARE(back->itemCount(), 2);
        QCOMPARE(back->items().at(1)->string(), std::optional(QStringLiteral("two")));
        QVERIFY(back->items().at(1)->data() == back.get());
        QVERIFY(back->isDirty());
        QVERIFY(!back->isSaved());
        QCOMPARE(back->hash(), clip->hash());
    }

    void fromDictionaryDefaults() {
        const auto clip = clipOf({});
        QCOMPARE(clip->itemCount(), 0);
        QCOMPARE(clip->creationDate(), std::nullopt);
        QCOMPARE(clip->oid().size(), 36);
        QVERIFY(!clip->title());
    }

    void wrongKindsAreRefused_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<PropertyList>("value");
        const PropertyList number(1);
        QTest::newRow("id") << QStringLiteral("oid") << number;
        QTest::newRow("title") << QStringLiteral("title") << number;
        QTest::newRow("date") << QStringLiteral("creationDate")
                              << PropertyList(QStringLiteral("2011-01-01"));
        QTest::newRow("items") << QStringLiteral("items") << PropertyList();
        QTest::newRow("item") << QStringLiteral("items")
                              << PropertyList(PropertyList::List{number});
        QTest::newRow("inside an item")
            << QStringLiteral("items")
            << PropertyList(
                   PropertyList::List{PropertyList::Dictionary{{QStringLiteral("oid"), 1}}});
    }

    void wrongKindsAreRefused() {
        QFETCH(QString, key);
        QFETCH(PropertyList, value);
        QVERIFY_THROWS_EXCEPTION(PlatformException, clipOf({{key, value}}));
    }

    void numberOfReceivedItemsIsLimited() {
        const auto clipOfItems = [](qsizetype count) {
            return clipOf({{QStringLiteral("items"),
                            PropertyList::List(count, PropertyList(PropertyList::Dictionary()))}});
        };
        QCOMPARE(clipOfItems(9'999)->itemCount(), 9'999);
        QCOMPARE(clipOfItems(10'000)->itemCount(), 10'000);
        QVERIFY_THROWS_EXCEPTION(PlatformException, clipOfItems(10'001));
    }

    void equality() {
        const auto one = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        const auto oneAgain = ZRKClipmuleData::initWithString(QStringLiteral("one"));
        const auto two = ZRKClipmuleData::initWithString(QStringLiteral("two"));
        const auto oneTwo =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        const auto twoOne =
            ZRKClipmuleData::initWithStrings({QStringLiteral("two"), QStringLiteral("one")});
        oneAgain->setTitle(QStringLiteral("title"));
        oneAgain->setCreationDate(std::nullopt);
        QVERIFY(one->oid() != oneAgain->oid());
        QVERIFY(one->isEqual(*oneAgain));
        QVERIFY(!one->isEqual(*two));
        QVERIFY(!one->isEqual(*oneTwo));
        QVERIFY(!oneTwo->isEqual(*one));
        QVERIFY(!oneTwo->isEqual(*twoOne));
        QVERIFY(!one->isEqual(*one->firstItem()));

        two->setOid(one->oid());
        QVERIFY(one->isEqual(*two));
    }

    void hashIsTheSumOfTheItems() {
        const auto clip = ZRKClipmuleData::initWithItems(
            {ZRKClipmuleData::initWithString(QStringLiteral("one"))->firstItem(),
             ZRKClipmuleData::initWithImageData(QByteArray::fromHex("0203"))->firstItem()});
        QCOMPARE(clip->hash(), clip->firstItem()->hash() + 5);
        const size_t before = clip->hash();
        clip->setTitle(QStringLiteral("title"));
        clip->resetOID();
        QCOMPARE(clip->hash(), before);
    }

    void hashesOfStringsAreOfTheirTime() {
        const auto clip = ZRKClipmuleData::initWithItems(
            {ZRKClipmuleData::initWithString(QStringLiteral("one"))->firstItem(),
             ZRKClipmuleData::initWithImageData(QByteArray::fromHex("0203"))->firstItem(),
             ZRKClipmuleData::initWithString(QStringLiteral("three"))->firstItem()});
        const size_t hash = clip->hash();
        const auto make = clip->stringHashes();
        clip->setStringHashes(make());
        QCOMPARE(clip->items()[0]->stringHash(), std::optional(qHash(QStringLiteral("one"))));
        QCOMPARE(clip->items()[2]->stringHash(), std::optional(qHash(QStringLiteral("three"))));
        QCOMPARE(clip->hash(), hash);
        clip->firstItem()->setString(QStringLiteral("other"));
        QCOMPARE(make()[0], qHash(QStringLiteral("one")));
    }

    void descriptionListsTheItems() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        QCOMPARE(clip->description(), QStringLiteral("((null) one (null) 0, (null) two (null) 0)"));
    }

private:
    std::unique_ptr<kit::ManualRunLoop> _runLoop;
    std::unique_ptr<RunLoop::Installation> _installation;
};

QTEST_GUILESS_MAIN(ClipTest)
#include "tst_clip.moc"
