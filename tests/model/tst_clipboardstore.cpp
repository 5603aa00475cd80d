// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleClipboard.h"
#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/model/StoreFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::test;

namespace {

using Clip = std::shared_ptr<ZRKClipmuleData>;
using Clipboard = std::shared_ptr<ZRKClipmuleClipboard>;

Clip textClip(const QString &text) {
    return ZRKClipmuleData::initWithString(text);
}

Clipboard named(const QString &title) {
    const auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
    clipboard->setTitle(title);
    return clipboard;
}

QStringList titles() {
    QStringList list;
    for (const auto &clipboard : ZRKClipmuleClipboard::customClipboards())
        list.append(clipboard->title().value_or(QStringLiteral("-")));
    return list;
}

QStringList texts(const ZRKClipmuleClipboard &clipboard) {
    QStringList list;
    for (const auto &clip : clipboard.items())
        list.append(clip->firstItem()->string().value_or(QStringLiteral("-")));
    return list;
}

void insertCustom(const QStringList &names) {
    for (const QString &name : names)
        ZRKClipmuleClipboard::insertCustomClipboardAtIndex(
            named(name), ZRKClipmuleClipboard::customClipboards().size());
}

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

class ClipboardStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { _fixture.reset(); }

    void newClipboard();
    void names();
    void mainClipboardIsMadeOnce();
    void firstSaveWritesTheMainClipboard();
    void savesEveryFiveSeconds();
    void savesOnlyWhatChanged();
    void titleOfTheMainClipboard();
    void settersMakeDirtyOnlyWhenTheyChange();
    void insertingPostsInOrder();
    void removingPostsInOrder();
    void removingAStrangerChangesNothing();
    void insertingBeyondTheEndIsRefused();
    void mainClipboardDropsTheOldest();
    void insertingBeyondTheCapacityRemovesAtOnce();
    void customClipboardHoldsAnyNumber();
    void removedClipIsErasedAtTheNextSave();
    void reinsertedClipKeepsItsFiles();
    void clipOfAChangedItemIsSaved();
    void clipsAreLoadedWhenAskedFor();
    void countWithoutTheClips();
    void countThatTheArchiveLacks();
    void releasingFreesTheImages();
    void clipsLeaveTheirClipboardWhenItGoes();
    void observerMayDropTheClipboard();

    void customClipboardsRoundTrip();
    void defaultIconIsStored();
    void removedClipboardIsErasedAtTheNextSave();
    void reinsertedClipboardKeepsItsFiles();
    void removingByEqualId();
    void moving_data();
    void moving();
    void changedCustomClipboardIsSaved();
    void lookingUpClipboards();
    void lookingUpClips();
    void clipboardsOfOtherPrograms();
    void unreadableFilesAreKept_data();
    void unreadableFilesAreKept();
    void unreadableItemsFile();
    void failedWriteIsTriedAgain();
    void nothingIsErasedWhileItIsSpokenOf();
    void equalityAndDescription();

private:
    void tick() { _fixture->runLoop.advance(5); }
    [[nodiscard]] bool exists(const QString &name) const {
        return QFile::exists(_fixture->path(name));
    }
    std::unique_ptr<StoreFixture> _fixture;
};

void ClipboardStoreTest::init() {
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    _fixture = std::make_unique<StoreFixture>();
}

void ClipboardStoreTest::newClipboard() {
    const ZRKClipmuleClipboard clipboard;
    QVERIFY(clipboard.isDirty());
    QCOMPARE(clipboard.count(), quint64(0));
    QCOMPARE(clipboard.oid().size(), 36);
    QCOMPARE(clipboard.oid(), clipboard.oid());
    QVERIFY(!clipboard.isMain());
    QVERIFY(!clipboard.title());
    QCOMPARE(clipboard.iconName(), QStringLiteral("default"));
    QCOMPARE(clipboard.capacity(), 0);
    QVERIFY(clipboard.items().isEmpty());
    QCOMPARE(clipboard.itemsPath(),
             _fixture->path(clipboard.oid() + QStringLiteral(".clipboardItems")));
}

void ClipboardStoreTest::names() {
    QCOMPARE(ZRKClipmuleClipboardDidChange, QStringLiteral("ZRKClipmuleClipboardDidChange"));
    QCOMPARE(ZRKClipmuleClipboardDidInsert, QStringLiteral("ZRKClipmuleClipboardDidInsert"));
    QCOMPARE(ZRKClipmuleClipboardDidRemove, QStringLiteral("ZRKClipmuleClipboardDidRemove"));
    QCOMPARE(ZRKClipmuleClipboardDataKey, QStringLiteral("ZRKClipmuleClipboardDataKey"));
    QCOMPARE(ZRKClipmuleClipboard::dataPath(), _fixture->path());
}

void ClipboardStoreTest::mainClipboardIsMadeOnce() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    QVERIFY(clipboard->isMain());
    QCOMPARE(clipboard->oid(), QStringLiteral("Main"));
    QCOMPARE(clipboard->capacity(), 200);
    QVERIFY(clipboard->isDirty());
    QCOMPARE(ZRKClipmuleClipboard::mainClipboard(), clipboard);
}

void ClipboardStoreTest::firstSaveWritesTheMainClipboard() {
    QVERIFY(!QDir(_fixture->path()).exists());
    // Whoever uses the class first starts the timer.
    (void)ZRKClipmuleClipboard::dataPath();
    _fixture->runLoop.advance(4.9);
    QCOMPARE(_fixture->files(), QStringList());
    _fixture->runLoop.advance(0.1);
    QCOMPARE(_fixture->files(), QStringList{QStringLiteral("Main.clipboard")});
    QVERIFY(!ZRKClipmuleClipboard::mainClipboard()->isDirty());
}

void ClipboardStoreTest::savesEveryFiveSeconds() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    QCOMPARE(_fixture->runLoop.pendingCount(), 1);
    for (int beat = 0; beat < 3; ++beat) {
        clipboard->insertClipmuleDataAtIndex(textClip(QString::number(beat)), 0);
        QVERIFY(clipboard->isDirty());
        tick();
        QVERIFY(!clipboard->isDirty());
    }
    QCOMPARE(_fixture->runLoop.pendingCount(), 1);
}

void ClipboardStoreTest::savesOnlyWhatChanged() {
    insertCustom({QStringLiteral("a")});
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    tick();
    // Files that are not written again stay deleted.
    for (const QString &name : _fixture->files())
        QVERIFY(QFile::remove(_fixture->path(name)));
    tick();
    QCOMPARE(_fixture->files(), QStringList());
    clipboard->setDirty(true);
    tick();
    QCOMPARE(_fixture->files(), QStringList{QStringLiteral("Main.clipboard")});
    clipboard->items().first()->setTitle(QStringLiteral("title"));
    tick();
    QCOMPARE(_fixture->files(), (QStringList{QStringLiteral("Main.clipboard"),
                                             QStringLiteral("Main.clipboardItems")}));
}

void ClipboardStoreTest::titleOfTheMainClipboard() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    QCOMPARE(clipboard->title(), std::optional(QStringLiteral("Clipboard")));
    QCOMPARE(clipboard->iconName(), QStringLiteral("main"));
    clipboard->setTitle(QStringLiteral("other"));
    clipboard->setIconName(QStringLiteral("other"));
    QCOMPARE(clipboard->title(), std::optional(QStringLiteral("Clipboard")));
    QCOMPARE(clipboard->iconName(), QStringLiteral("main"));
}

void ClipboardStoreTest::settersMakeDirtyOnlyWhenTheyChange() {
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
}

void ClipboardStoreTest::insertingPostsInOrder() {
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
    QCOMPARE(listener.names, (QStringList{ZRKClipmuleClipboardDidChange,
                                          ZRKClipmuleClipboardDidInsert, ZRKClipmuleDataWasAdded}));
    QVERIFY(clipboard->isDirty());
    QCOMPARE(clipboard->items().first(), clip);
}

void ClipboardStoreTest::removingPostsInOrder() {
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

void ClipboardStoreTest::removingAStrangerChangesNothing() {
    const auto clipboard = named(QStringLiteral("a"));
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    clipboard->setDirty(false);
    Listener listener;
    // Equal to the one there, but not that one.
    clipboard->removeClipmuleData(textClip(QStringLiteral("one")));
    QCOMPARE(clipboard->count(), quint64(1));
    QVERIFY(listener.names.isEmpty());
}

void ClipboardStoreTest::insertingBeyondTheEndIsRefused() {
    const auto clipboard = named(QStringLiteral("a"));
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 1);
    QVERIFY_EXCEPTION_THROWN(
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("four")), 3),
        PlatformException);
    QVERIFY_EXCEPTION_THROWN(
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("zero")), -1),
        PlatformException);
    QCOMPARE(texts(*clipboard), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
    QVERIFY_EXCEPTION_THROWN(
        ZRKClipmuleClipboard::insertCustomClipboardAtIndex(named(QStringLiteral("b")), 1),
        PlatformException);
    QVERIFY_EXCEPTION_THROWN(
        ZRKClipmuleClipboard::insertCustomClipboardAtIndex(named(QStringLiteral("b")), -1),
        PlatformException);
}

void ClipboardStoreTest::mainClipboardDropsTheOldest() {
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

void ClipboardStoreTest::insertingBeyondTheCapacityRemovesAtOnce() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    for (int i = 0; i < 200; ++i)
        clipboard->insertClipmuleDataAtIndex(textClip(QString::number(i)), i);
    const auto last = textClip(QStringLiteral("last"));
    clipboard->insertClipmuleDataAtIndex(last, 200);
    QVERIFY(!last->clipboard());
    QCOMPARE(clipboard->count(), quint64(200));
    QCOMPARE(texts(*clipboard).last(), QStringLiteral("199"));
}

void ClipboardStoreTest::customClipboardHoldsAnyNumber() {
    const auto clipboard = named(QStringLiteral("a"));
    for (int i = 0; i < 500; ++i)
        clipboard->insertClipmuleDataAtIndex(textClip(QString::number(i)), 0);
    QCOMPARE(clipboard->count(), quint64(500));
}

void ClipboardStoreTest::removedClipIsErasedAtTheNextSave() {
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

void ClipboardStoreTest::reinsertedClipKeepsItsFiles() {
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

void ClipboardStoreTest::clipOfAChangedItemIsSaved() {
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

void ClipboardStoreTest::clipsAreLoadedWhenAskedFor() {
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

void ClipboardStoreTest::countWithoutTheClips() {
    _fixture->write(QStringLiteral("Main.clipboard"), KeyedArchiver::archivedData([] {
                        const auto clipboard = std::make_shared<ZRKClipmuleClipboard>();
                        clipboard->setOid(QStringLiteral("Main"));
                        // 32 bits of it are stored.
                        clipboard->setCount((quint64(1) << 32U) + 7);
                        return clipboard;
                    }()));
    QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->count(), quint64(7));
}

void ClipboardStoreTest::countThatTheArchiveLacks() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 0);
    tick();
    PropertyList archive = KeyedArchiver::archivedPropertyList(clipboard);
    PropertyList &record = archive.dictionary()[QStringLiteral("$objects")].list()[1];
    QCOMPARE(record.dictionary().remove(QStringLiteral("count")), 1);
    _fixture->write(QStringLiteral("Main.clipboard"), PropertyListSerialization::binary(archive));
    _fixture->restart();
    QCOMPARE(ZRKClipmuleClipboard::mainClipboard()->count(), quint64(2));
    QVERIFY(!ZRKClipmuleClipboard::mainClipboard()->isDirty());
}

void ClipboardStoreTest::releasingFreesTheImages() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    const auto clip = ZRKClipmuleData::initWithImageData("image");
    clipboard->insertClipmuleDataAtIndex(clip, 0);
    tick();
    clipboard->releaseCachedData();
    QVERIFY(QFile::remove(clip->firstItem()->imageDataPath()));
    QCOMPARE(clip->firstItem()->imageData(), std::nullopt);
}

void ClipboardStoreTest::clipsLeaveTheirClipboardWhenItGoes() {
    auto clipboard = named(QStringLiteral("a"));
    const auto clip = textClip(QStringLiteral("one"));
    clipboard->insertClipmuleDataAtIndex(clip, 0);
    clipboard.reset();
    QVERIFY(!clip->clipboard());
}

void ClipboardStoreTest::observerMayDropTheClipboard() {
    Listener listener;
    auto clipboard = named(QStringLiteral("a"));
    const auto clip = textClip(QStringLiteral("one"));
    listener.react = [&](const Notification &) { clipboard.reset(); };
    clipboard->insertClipmuleDataAtIndex(clip, 0);
    QVERIFY(!clipboard);
    QCOMPARE(listener.names.size(), 3);
}

void ClipboardStoreTest::customClipboardsRoundTrip() {
    QVERIFY(ZRKClipmuleClipboard::customClipboards().isEmpty());
    insertCustom({QStringLiteral("a"), QStringLiteral("c")});
    ZRKClipmuleClipboard::insertCustomClipboardAtIndex(named(QStringLiteral("b")), 1);
    const auto second = ZRKClipmuleClipboard::customClipboards()[1];
    second->setIconName(QStringLiteral("star"));
    second->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    tick();
    QVERIFY(exists(QStringLiteral("Custom.clipboards")));
    _fixture->restart();
    QCOMPARE(titles(),
             (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    const auto back = ZRKClipmuleClipboard::customClipboards()[1];
    QCOMPARE(back->oid(), second->oid());
    QCOMPARE(back->iconName(), QStringLiteral("star"));
    QCOMPARE(back->count(), quint64(1));
    QCOMPARE(texts(*back), QStringList{QStringLiteral("one")});
}

void ClipboardStoreTest::defaultIconIsStored() {
    const auto clipboard = named(QStringLiteral("a"));
    const PropertyList archive = KeyedArchiver::archivedPropertyList(clipboard);
    QVERIFY(archive.find(QStringLiteral("$objects"))
                ->list()
                .contains(PropertyList(QStringLiteral("default"))));
}

void ClipboardStoreTest::removedClipboardIsErasedAtTheNextSave() {
    insertCustom({QStringLiteral("a"), QStringLiteral("b")});
    const auto removed = ZRKClipmuleClipboard::customClipboards()[0];
    const auto clip = ZRKClipmuleData::initWithImageData("image");
    removed->insertClipmuleDataAtIndex(clip, 0);
    tick();
    ZRKClipmuleClipboard::removeCustomClipboard(removed);
    QCOMPARE(titles(), QStringList{QStringLiteral("b")});
    QVERIFY(QFile::exists(removed->itemsPath()));
    tick();
    QVERIFY(!QFile::exists(removed->itemsPath()));
    QVERIFY(!QFile::exists(clip->firstItem()->imageDataPath()));
    QVERIFY(!clip->clipboard());
    _fixture->restart();
    QCOMPARE(titles(), QStringList{QStringLiteral("b")});
}

void ClipboardStoreTest::reinsertedClipboardKeepsItsFiles() {
    insertCustom({QStringLiteral("a"), QStringLiteral("b")});
    const auto clipboard = ZRKClipmuleClipboard::customClipboards()[0];
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    tick();
    ZRKClipmuleClipboard::removeCustomClipboard(clipboard);
    ZRKClipmuleClipboard::insertCustomClipboardAtIndex(clipboard, 1);
    tick();
    QVERIFY(QFile::exists(clipboard->itemsPath()));
    QCOMPARE(titles(), (QStringList{QStringLiteral("b"), QStringLiteral("a")}));
}

void ClipboardStoreTest::removingByEqualId() {
    insertCustom({QStringLiteral("a"), QStringLiteral("b")});
    const auto stranger = std::make_shared<ZRKClipmuleClipboard>();
    stranger->setOid(ZRKClipmuleClipboard::customClipboards()[0]->oid());
    ZRKClipmuleClipboard::removeCustomClipboard(stranger);
    QCOMPARE(titles(), QStringList{QStringLiteral("b")});
}

void ClipboardStoreTest::moving_data() {
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("order");
    QTest::newRow("forwards") << 0 << 2 << QStringLiteral("bca");
    QTest::newRow("backwards") << 2 << 0 << QStringLiteral("cab");
    QTest::newRow("by one") << 0 << 1 << QStringLiteral("bac");
    QTest::newRow("nowhere") << 1 << 1 << QStringLiteral("abc");
    QTest::newRow("from the number of clipboards") << 3 << 0 << QStringLiteral("abc");
    QTest::newRow("to the number of clipboards") << 0 << 3 << QStringLiteral("abc");
    QTest::newRow("from before the first") << -1 << 0 << QStringLiteral("abc");
    QTest::newRow("to before the first") << 0 << -1 << QStringLiteral("abc");
}

void ClipboardStoreTest::moving() {
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QString, order);
    insertCustom({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
    tick();
    ZRKClipmuleClipboard::moveClipboardAtIndexToIndex(from, to);
    QCOMPARE(titles().join(QString()), order);
    tick();
    _fixture->restart();
    QCOMPARE(titles().join(QString()), order);
}

void ClipboardStoreTest::changedCustomClipboardIsSaved() {
    insertCustom({QStringLiteral("a")});
    tick();
    ZRKClipmuleClipboard::customClipboards()[0]->setTitle(QStringLiteral("b"));
    tick();
    _fixture->restart();
    QCOMPARE(titles(), QStringList{QStringLiteral("b")});
}

void ClipboardStoreTest::lookingUpClipboards() {
    QCOMPARE(ZRKClipmuleClipboard::clipboardWithOID(QStringLiteral("Main")),
             ZRKClipmuleClipboard::mainClipboard());
    QVERIFY(!ZRKClipmuleClipboard::clipboardWithOID(QStringLiteral("none")));
    insertCustom({QStringLiteral("a"), QStringLiteral("b")});
    const auto second = ZRKClipmuleClipboard::customClipboards()[1];
    QCOMPARE(ZRKClipmuleClipboard::clipboardWithOID(second->oid()), second);
}

void ClipboardStoreTest::lookingUpClips() {
    insertCustom({QStringLiteral("a"), QStringLiteral("b")});
    const auto inMain = textClip(QStringLiteral("one"));
    const auto inCustom = textClip(QStringLiteral("two"));
    ZRKClipmuleClipboard::mainClipboard()->insertClipmuleDataAtIndex(inMain, 0);
    ZRKClipmuleClipboard::customClipboards()[1]->insertClipmuleDataAtIndex(inCustom, 0);
    QCOMPARE(ZRKClipmuleClipboard::storedClipmuleDataWithOID(inMain->oid()), inMain);
    QCOMPARE(ZRKClipmuleClipboard::storedClipmuleDataWithOID(inCustom->oid()), inCustom);
    QVERIFY(!ZRKClipmuleClipboard::storedClipmuleDataWithOID(QStringLiteral("none")));
    QCOMPARE(ZRKClipmuleClipboard::customClipboards()[1]->clipmuleDataWithOID(inCustom->oid()),
             inCustom);
    QVERIFY(!ZRKClipmuleClipboard::customClipboards()[0]->clipmuleDataWithOID(inCustom->oid()));
    // The main clipboard comes first.
    const auto twin = textClip(QStringLiteral("three"));
    twin->setOid(inMain->oid());
    ZRKClipmuleClipboard::customClipboards()[0]->insertClipmuleDataAtIndex(twin, 0);
    QCOMPARE(ZRKClipmuleClipboard::storedClipmuleDataWithOID(inMain->oid()), inMain);
}

void ClipboardStoreTest::clipboardsOfOtherPrograms() {
    const QString vectors = QStringLiteral(CLIPMULE_TEST_DATA "/vectors/keyed/");
    QVERIFY(QDir().mkpath(_fixture->path()));
    QVERIFY(QFile::copy(vectors + QStringLiteral("mac_main_clipboard.bplist"),
                        _fixture->path(QStringLiteral("Main.clipboard"))));
    QVERIFY(QFile::copy(vectors + QStringLiteral("mac_clipboard_items.bplist"),
                        _fixture->path(QStringLiteral("Main.clipboardItems"))));
    QVERIFY(QFile::copy(vectors + QStringLiteral("mac_custom_clipboards.bplist"),
                        _fixture->path(QStringLiteral("Custom.clipboards"))));
    QVERIFY(QFile::copy(vectors + QStringLiteral("gs_clipboard_items.bplist"),
                        _fixture->path(QStringLiteral("B1.clipboardItems"))));
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    QVERIFY(clipboard->isMain());
    QCOMPARE(clipboard->count(), quint64(2));
    QVERIFY(!clipboard->isDirty());
    QCOMPARE(texts(*clipboard), (QStringList{QStringLiteral("Hello, clipboard"),
                                             QStringLiteral("http://example.com/a?b=1")}));
    QCOMPARE(titles(), (QStringList{QStringLiteral("Work"), QStringLiteral("-")}));
    const auto custom = ZRKClipmuleClipboard::customClipboards();
    QCOMPARE(custom[0]->iconName(), QStringLiteral("default"));
    QCOMPARE(custom[1]->iconName(), QStringLiteral("star"));
    QCOMPARE(custom[1]->count(), quint64(5));
    QCOMPARE(custom[0]->items().size(), 2);
    QCOMPARE(custom[0]->items()[1]->title(), std::optional(QStringLiteral("Titled 😀")));
    QCOMPARE(custom[0]->items()[1]->firstItem()->createdBy(), qint64(1));
    tick();
    QVERIFY(!clipboard->isDirty());
}

void ClipboardStoreTest::unreadableFilesAreKept_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("garbage") << QByteArray("garbage");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("of another kind")
        << KeyedArchiver::archivedData(ArchiveValue(QStringLiteral("text")));
}

void ClipboardStoreTest::unreadableFilesAreKept() {
    QFETCH(QByteArray, bytes);
    const QString mainFile = QStringLiteral("Main.clipboard");
    const QString customFile = QStringLiteral("Custom.clipboards");
    const QString suffix = QStringLiteral(".unreadable");
    _fixture->write(mainFile, bytes);
    _fixture->write(customFile, bytes);
    const QRegularExpression line(QStringLiteral("^DECODE FAIL ."));
    QTest::ignoreMessage(QtWarningMsg, line);
    QVERIFY(ZRKClipmuleClipboard::mainClipboard()->isMain());
    QTest::ignoreMessage(QtWarningMsg, line);
    QVERIFY(ZRKClipmuleClipboard::customClipboards().isEmpty());
    tick();
    // The new main clipboard is dirty and was written, the empty list was not.
    QVERIFY(_fixture->contents(mainFile) != bytes);
    QCOMPARE(_fixture->contents(mainFile + suffix), bytes);
    QCOMPARE(_fixture->contents(customFile), bytes);
    insertCustom({QStringLiteral("a")});
    tick();
    QVERIFY(_fixture->contents(customFile) != bytes);
    QCOMPARE(_fixture->contents(customFile + suffix), bytes);
    // Only what could not be read is kept.
    ZRKClipmuleClipboard::mainClipboard()->setDirty(true);
    tick();
    QVERIFY(!exists(mainFile + suffix + u'2'));
}

void ClipboardStoreTest::unreadableItemsFile() {
    const QString name = QStringLiteral("Main.clipboardItems");
    _fixture->write(name, "garbage");
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^DECODE FAIL .")));
    QVERIFY(clipboard->items().isEmpty());
    tick();
    QCOMPARE(_fixture->contents(name), QByteArray("garbage"));
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    tick();
    QCOMPARE(_fixture->contents(name + QStringLiteral(".unreadable")), QByteArray("garbage"));
    _fixture->restart();
    QCOMPARE(texts(*ZRKClipmuleClipboard::mainClipboard()), QStringList{QStringLiteral("one")});
}

void ClipboardStoreTest::failedWriteIsTriedAgain() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    insertCustom({QStringLiteral("a")});
    const auto custom = ZRKClipmuleClipboard::customClipboards()[0];
    clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
    custom->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 0);
    // Folders stand where the files should be.
    const QStringList names{QStringLiteral("Main.clipboard"), QStringLiteral("Main.clipboardItems"),
                            QStringLiteral("Custom.clipboards"),
                            custom->oid() + QStringLiteral(".clipboardItems")};
    for (const QString &name : names)
        QVERIFY(QDir().mkpath(_fixture->path(name)));
    for (const QString &name : names) {
        tick();
        QVERIFY(clipboard->isDirty() || custom->isDirty());
        QVERIFY(QDir().rmdir(_fixture->path(name)));
    }
    tick();
    QVERIFY(!clipboard->isDirty());
    QVERIFY(!custom->isDirty());
    _fixture->restart();
    QCOMPARE(texts(*ZRKClipmuleClipboard::mainClipboard()), QStringList{QStringLiteral("one")});
    QCOMPARE(texts(*ZRKClipmuleClipboard::customClipboards()[0]),
             QStringList{QStringLiteral("two")});
}

void ClipboardStoreTest::nothingIsErasedWhileItIsSpokenOf() {
    const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
    const auto clip = ZRKClipmuleData::initWithImageData("image");
    const QString path = clip->firstItem()->imageDataPath();
    clipboard->insertClipmuleDataAtIndex(clip, 0);
    tick();
    clipboard->removeClipmuleData(clip);
    const QString items = _fixture->path(QStringLiteral("Main.clipboardItems"));
    QVERIFY(QFile::remove(items));
    QVERIFY(QDir().mkpath(items));
    tick();
    QVERIFY(QFile::exists(path));
    QVERIFY(QDir().rmdir(items));
    tick();
    QVERIFY(!QFile::exists(path));
}

void ClipboardStoreTest::equalityAndDescription() {
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

QTEST_GUILESS_MAIN(ClipboardStoreTest)
#include "tst_clipboardstore.moc"
