// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

/// Writes down what is posted.
class Listener final : public Object {
public:
    Listener() {
        for (const QString &name :
             {ZRKClipmuleClipboardDidChange, ZRKClipmuleClipboardDidInsert,
              ZRKClipmuleClipboardDidRemove, ZRKClipmuleDataWasAdded, ZRKClipmuleDataWasRemoved})
            ZRKNotificationCenter::platformDefault().addObserver(
                this, selector<&Listener::note>("note"), name);
    }
    ~Listener() override { ZRKNotificationCenter::platformDefault().removeObserver(this); }

    void note(const Notification &notification) {
        names.append(notification.name);
        last = notification;
        if (react)
            react(notification);
    }
    QStringList names;
    Notification last;
    std::function<void(const Notification &)> react;
};

} // namespace

/// One clipboard and its clips.
class ClipboardTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void newClipboard() {
        ZRKClipmuleClipboard clipboard;
        QVERIFY(clipboard.isDirty());
        QCOMPARE(clipboard.count(), quint64(0));
        QCOMPARE(clipboard.oid().size(), 36);
        QCOMPARE(clipboard.oid(), clipboard.oid());
        QVERIFY(!clipboard.isMain());
        QVERIFY(!clipboard.title());
        QCOMPARE(clipboard.iconName(), QStringLiteral("default"));
        QCOMPARE(clipboard.capacity(), 0);
        QVERIFY(clipboard.items().isEmpty());
        QCOMPARE(clipboard.itemsPath(), QString());
        clipboard.setStore(_fixture->store);
        QCOMPARE(clipboard.itemsPath(),
                 _fixture->path(clipboard.oid() + QStringLiteral(".clipboardItems")));
    }

    void names() {
        QCOMPARE(ZRKClipmuleClipboardDidChange, QStringLiteral("ZRKClipmuleClipboardDidChange"));
        QCOMPARE(ZRKClipmuleClipboardDidInsert, QStringLiteral("ZRKClipmuleClipboardDidInsert"));
        QCOMPARE(ZRKClipmuleClipboardDidRemove, QStringLiteral("ZRKClipmuleClipboardDidRemove"));
        QCOMPARE(ZRKClipmuleClipboardDataKey, QStringLiteral("ZRKClipmuleClipboardDataKey"));
        QCOMPARE(ZRKClipmuleClipboard::dataPath(), _fixture->path());
    }

    void titleOfTheMainClipboard() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QCOMPARE(clipboard->title(), std::optional(QStringLiteral("Clipboard")));
        QCOMPARE(clipboard->iconName(), QStringLiteral("main"));
        clipboard->setTitle(QStringLiteral("other"));
        clipboard->setIconName(QStringLiteral("other"));
        QCOMPARE(clipboard->title(), std::optional(QStringLiteral("Clipboard")));
        QCOMPARE(clipboard->iconName(), QStringLiteral("main"));
    }

    void mainClipboardArchivesWhatItShows() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        clipboard->setTitle(QStringLiteral("other"));
        clipboard->setIconName(QStringLiteral("star"));
        const auto objects =
            KeyedArchiver::archivedPropertyList(clipboard).find(QStringLiteral("$objects"))->list();
        QVERIFY(objects.contains(PropertyList(QStringLiteral("Clipboard"))));
        QVERIFY(objects.contains(PropertyList(QStringLiteral("main"))));
        QVERIFY(!objects.contains(PropertyList(QStringLiteral("other"))));
        QVERIFY(!objects.contains(PropertyList(QStringLiteral("star"))));
    }

    void settersMakeDirtyOnlyWhenTheyChange() {
        ZRKClipmuleClipboard clipboard;
        clipboard.setTitle(QStringLiteral("title"));
        clipboard.setIconName(QStringLiteral("star"));
        clipboard.setDirty(false);
        clipboard.setTitle(QStringLiteral("title"));
        clipboard.setIconName(QStringLiteral("star"));
        QVERIFY(!clipboard.isDirty());
        clipboard.setTitle(QStringLiteral("other"));
        QVERIFY(clipboard.isDirty());
        clipboard.setDirty(false);
        clipboard.setIconName(QStringLiteral("heart"));
        QVERIFY(clipboard.isDirty());
        QCOMPARE(clipboard.iconName(), QStringLiteral("heart"));
        // None never equals the present one, not even where there is none.
        ZRKClipmuleClipboard bare;
        bare.setDirty(false);
        bare.setTitle(std::nullopt);
        QVERIFY(bare.isDirty());
        bare.setDirty(false);
        bare.setIconName(std::nullopt);
        QVERIFY(bare.isDirty());
    }

    void flagsAreSetBehindTheNotifications() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = textClip(QStringLiteral("one"));
        tick();
        Listener listener;
        listener.react = [&](const Notification &) { QVERIFY(!clipboard->isListDirty()); };
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        QVERIFY(clipboard->isListDirty());
        tick();
        QVERIFY(!clipboard->isListDirty());
        clipboard->removeClipmuleData(clip);
        QVERIFY(clipboard->isListDirty());
        QCOMPARE(listener.names.size(), 6);
    }

    void insertingPostsInOrder() {
        Listener listener;
        const auto clipboard = named(QStringLiteral("a"));
        const auto clip = textClip(QStringLiteral("one"));
        listener.react = [&](const Notification &notification) {
            if (notification.name == ZRKClipmuleClipboardDidChange) {
                QVERIFY(notification.object == clipboard);
                QVERIFY(!notification.attachment);
                QVERIFY(clip->clipboard() == clipboard.get());
                QCOMPARE(clipboard->count(), quint64(1));
            } else if (notification.name == ZRKClipmuleClipboardDidInsert) {
                QVERIFY(notification.object == clipboard);
                QVERIFY(notification.attachment == clip);
            } else {
                QVERIFY(notification.object == clip);
                QVERIFY(!notification.attachment);
            }
        };
        clipboard->setDirty(false);
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        QCOMPARE(listener.names,
                 (QStringList{ZRKClipmuleClipboardDidChange, ZRKClipmuleClipboardDidInsert,
                              ZRKClipmuleDataWasAdded}));
        QVERIFY(clipboard->isDirty());
        QCOMPARE(clipboard->items().first(), clip);
    }

    void removingPostsInOrder() {
        const auto clipboard = named(QStringLiteral("a"));
        const auto clip = textClip(QStringLiteral("one"));
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        Listener listener;
        listener.react = [&](const Notification &notification) {
            QCOMPARE(clipboard->count(), quint64(0));
            QVERIFY(!clip->clipboard());
            if (notification.name == ZRKClipmuleClipboardDidRemove)
                QVERIFY(notification.attachment == clip);
        };
        clipboard->removeClipmuleData(clipboard->items().first());
        QCOMPARE(listener.names,
                 (QStringList{ZRKClipmuleClipboardDidChange, ZRKClipmuleClipboardDidRemove,
                              ZRKClipmuleDataWasRemoved}));
        QVERIFY(clipboard->items().isEmpty());
    }

    void removingAStrangerChangesNothing() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        insertCustom({QStringLiteral("a")});
        const auto other = ZRKClipmuleClipboard::customClipboards().first();
        clipboard->insertClipmuleDataAtIndex(ZRKClipmuleData::initWithImageData("image"), 0);
        // Equal to the one there, but not that one.
        const auto stranger = ZRKClipmuleData::initWithImageData("image");
        other->insertClipmuleDataAtIndex(stranger, 0);
        tick();
        QVERIFY(!clipboard->isDirty());
        Listener listener;
        clipboard->removeClipmuleData(stranger);
        QCOMPARE(clipboard->count(), quint64(1));
        QVERIFY(stranger->clipboard() == other.get());
        QVERIFY(listener.names.isEmpty());
        QVERIFY(!clipboard->isListDirty());
        QVERIFY(!other->isListDirty());
        tick();
        QVERIFY(QFile::exists(stranger->firstItem()->imageDataPath()));
    }

    void insertingBeyondTheEndIsRefused() {
        const auto clipboard = named(QStringLiteral("a"));
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 1);
        QVERIFY_THROWS_EXCEPTION(PlatformException, clipboard->insertClipmuleDataAtIndex(
                                                        textClip(QStringLiteral("four")), 3));
        QVERIFY_THROWS_EXCEPTION(PlatformException, clipboard->insertClipmuleDataAtIndex(
                                                        textClip(QStringLiteral("zero")), -1));
        QCOMPARE(texts(*clipboard), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
        QVERIFY_THROWS_EXCEPTION(
            PlatformException,
            ZRKClipmuleClipboard::insertCustomClipboardAtIndex(named(QStringLiteral("b")), 1));
        QVERIFY_THROWS_EXCEPTION(
            PlatformException,
            ZRKClipmuleClipboard::insertCustomClipboardAtIndex(named(QStringLiteral("b")), -1));
    }

    void mainClipboardDropsTheOldest() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto oldest = ZRKClipmuleData::initWithImageData("image");
        clipboard->insertClipmuleDataAtIndex(oldest, 0);
        for (int i = 1; i < 200; ++i)
            clipboard->insertClipmuleDataAtIndex(textClip(QString::number(i)), 0);
        QCOMPARE(clipboard->count(), quint64(200));
        tick();
        const QString imagePath = oldest->firstItem()->imageDataPath();
        QVERIFY(QFile::exists(imagePath));

        Listener listener;
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("200")), 0);
        QCOMPARE(clipboard->count(), quint64(200));
        QVERIFY(!oldest->clipboard());
        QCOMPARE(texts(*clipboard).first(), QStringLiteral("200"));
        QCOMPARE(texts(*clipboard).last(), QStringLiteral("1"));
        QCOMPARE(listener.names,
                 (QStringList{ZRKClipmuleClipboardDidChange, ZRKClipmuleClipboardDidInsert,
                              ZRKClipmuleDataWasAdded, ZRKClipmuleClipboardDidChange,
                              ZRKClipmuleClipboardDidRemove, ZRKClipmuleDataWasRemoved}));
        QVERIFY(QFile::exists(imagePath));
        tick();
        QVERIFY(!QFile::exists(imagePath));
    }

    void insertingBeyondTheCapacityRemovesAtOnce() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        for (int i = 0; i < 200; ++i)
            clipboard->insertClipmuleDataAtIndex(textClip(QString::number(i)), i);
        const auto last = textClip(QStringLiteral("last"));
        clipboard->insertClipmuleDataAtIndex(last, 200);
        QVERIFY(!last->clipboard());
        QCOMPARE(clipboard->count(), quint64(200));
        QCOMPARE(texts(*clipboard).last(), QStringLiteral("199"));
    }

    // Written by somebody who kept more.
    void tooLongAListIsCutToTheCapacity() {
        QList<Clip> clips;
        for (int i = 0; i < 205; ++i)
            clips.append(textClip(QString::number(i)));
        _fixture->write(QStringLiteral("Main.clipboardItems"), KeyedArchiver::archivedData(clips));
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QCOMPARE(clipboard->items().size(), 205);
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("new")), 0);
        QCOMPARE(clipboard->items().size(), 200);
        QCOMPARE(clipboard->count(), quint64(200));
        QCOMPARE(texts(*clipboard).last(), QStringLiteral("198"));
    }

    void customClipboardHoldsAnyNumber() {
        const auto clipboard = named(QStringLiteral("a"));
        for (int i = 0; i < 500; ++i)
            clipboard->insertClipmuleDataAtIndex(textClip(QString::number(i)), 0);
        QCOMPARE(clipboard->count(), quint64(500));
    }

    void removedClipIsErasedAtTheNextSave() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = ZRKClipmuleData::initWithImageData("image");
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        tick();
        const QString path = clip->firstItem()->imageDataPath();
        clipboard->removeClipmuleData(clip);
        QVERIFY(QFile::exists(path));
        tick();
        QVERIFY(!QFile::exists(path));
    }

    void reinsertedClipKeepsItsFiles() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = ZRKClipmuleData::initWithImageData("image");
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        tick();
        clipboard->removeClipmuleData(clip);
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        tick();
        QVERIFY(QFile::exists(clip->firstItem()->imageDataPath()));
        tick();
        _fixture->restart();
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->items().first()->firstItem()->imageData(),
                 std::optional(QByteArray("image")));
    }

    void clipOfAChangedItemIsSaved() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        tick();
        QVERIFY(!clipboard->isDirty());
        clipboard->items().first()->firstItem()->setString(QStringLiteral("two"));
        QVERIFY(clipboard->isDirty());
        tick();
        _fixture->restart();
        QCOMPARE(texts(*ZRKClipmuleClipboard::mainClipboard()), QStringList{QStringLiteral("two")});
    }

    void clipsAreLoadedWhenAskedFor() {
        insertCustom({QStringLiteral("a")});
        const auto before = ZRKClipmuleClipboard::customClipboards().first();
        before->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        tick();
        _fixture->restart();

        // With no file of clips at all, all that is known without them is still known.
        const QString itemsFile = before->oid() + QStringLiteral(".clipboardItems");
        const QByteArray saved = _fixture->contents(itemsFile);
        QVERIFY(QFile::remove(_fixture->path(itemsFile)));
        const auto clipboard = ZRKClipmuleClipboard::customClipboards().first();
        QCOMPARE(clipboard->title(), std::optional(QStringLiteral("a")));
        QCOMPARE(clipboard->count(), quint64(1));
        QVERIFY(!clipboard->isDirty());
        // And clips that were never loaded are never written.
        clipboard->setTitle(QStringLiteral("b"));
        tick();
        QVERIFY(!exists(itemsFile));

        _fixture->write(itemsFile, saved);
        QCOMPARE(texts(*clipboard), QStringList{QStringLiteral("one")});
        QVERIFY(clipboard->items().first()->clipboard() == clipboard.get());
        QVERIFY(!clipboard->isDirty());
    }

    void countWithoutTheClips() {
        _fixture->write(QStringLiteral("Main.clipboard"), KeyedArchiver::archivedData([] {
                            auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
                            clipboard->setOid(QStringLiteral("Main"));
                            // 32 bits of it are stored.
                            clipboard->setCount((quint64(1) << 32U) + 7);
                            return clipboard;
                        }()));
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->count(), quint64(7));
    }

    void countThatTheArchiveLacks() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 0);
        tick();
        PropertyList archive = KeyedArchiver::archivedPropertyList(clipboard);
        PropertyList &record = archive.dictionary()[QStringLiteral("$objects")].list()[1];
        QCOMPARE(record.dictionary().remove(QStringLiteral("count")), 1);
        _fixture->write(QStringLiteral("Main.clipboard"),
                        PropertyListSerialization::binary(archive));
        _fixture->restart();
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->count(), quint64(2));
        QVERIFY(!ZRKClipmuleClipboard::mainClipboard()->isDirty());
    }

    void releasingFreesTheImages() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = ZRKClipmuleData::initWithImageData("image");
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        tick();
        clipboard->releaseCachedData();
        QVERIFY(QFile::remove(clip->firstItem()->imageDataPath()));
        QCOMPARE(clip->firstItem()->imageData(), std::nullopt);
    }

    void releasingLoadsNothing() {
        const auto clipboard = _fixture->kept(named(QStringLiteral("a")));
        // A look at it would be logged.
        _fixture->write(clipboard->oid() + QStringLiteral(".clipboardItems"), "garbage");
        clipboard->releaseCachedData();
    }

    void clipsLeaveTheirClipboardWhenItGoes() {
        auto clipboard = named(QStringLiteral("a"));
        const auto clip = textClip(QStringLiteral("one"));
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        clipboard.reset();
        QVERIFY(!clip->clipboard());
    }

    void observerMayDropTheClipboard() {
        Listener listener;
        auto clipboard = named(QStringLiteral("a"));
        const auto clip = textClip(QStringLiteral("one"));
        listener.react = [&](const Notification &) { clipboard.reset(); };
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        QVERIFY(!clipboard);
        QCOMPARE(listener.names.size(), 3);
    }

    void equalityAndDescription() {
        const auto a = named(QStringLiteral("a"));
        const auto b = named(QStringLiteral("a"));
        QVERIFY(!a->isEqual(*b));
        b->setOid(a->oid());
        b->setTitle(QStringLiteral("b"));
        QVERIFY(a->isEqual(*b));
        QCOMPARE(a->hash(), b->hash());
        QVERIFY(!a->isEqual(Object()));
        QCOMPARE(a->description(), QStringLiteral("a"));
        // The stored one, not the one that is shown.
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->description(), QStringLiteral("(null)"));
    }

private:
    void tick() { _fixture->runLoop.advance(5); }
    [[nodiscard]] bool exists(const QString &name) const {
        return QFile::exists(_fixture->path(name));
    }
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(ClipboardTest)
#include "tst_clipboard.moc"
