// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/archive/KeyedArchiver.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/FileWatch.h"
#include "tests/model/StoreFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

/// All clipboards together, and their files.
class ClipboardStoreTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void mainClipboardIsMadeOnce() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QVERIFY(clipboard->isMain());
        QCOMPARE(clipboard->oid(), QStringLiteral("Main"));
        QCOMPARE(clipboard->capacity(), 200);
        QVERIFY(clipboard->isDirty());
        QCOMPARE(ZRKClipmuleClipboard::mainClipboard(), clipboard);
    }

    void firstSaveWritesTheMainClipboard() {
        QVERIFY(!QDir(_fixture->path()).exists());
        _fixture->runLoop.advance(4.9);
        QCOMPARE(_fixture->files(), QStringList());
        _fixture->runLoop.advance(0.1);
        QCOMPARE(_fixture->files(), QStringList{QStringLiteral("Main.clipboard")});
        QVERIFY(!ZRKClipmuleClipboard::mainClipboard()->isDirty());
    }

    void savesEveryFiveSeconds() {
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

    void savesOnlyWhatChanged() {
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

    void savingLoadsNoList() {
        // A look at it would be logged.
        _fixture->write(QStringLiteral("Custom.clipboards"), "garbage");
        tick();
        QVERIFY(exists(QStringLiteral("Main.clipboard")));
        QCOMPARE(_fixture->contents(QStringLiteral("Custom.clipboards")), QByteArray("garbage"));
    }

    void anotherClipWritesNoImageAgain() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto first = ZRKClipmuleData::initWithImageData("image");
        clipboard->insertClipmuleDataAtIndex(first, 0);
        tick();
        QVERIFY(QFile::remove(first->firstItem()->imageDataPath()));
        const auto second = ZRKClipmuleData::initWithImageData("other");
        clipboard->insertClipmuleDataAtIndex(second, 0);
        tick();
        QVERIFY(QFile::exists(second->firstItem()->imageDataPath()));
        QVERIFY(!QFile::exists(first->firstItem()->imageDataPath()));
    }

    // They are in two files; a program that was killed between writing them left them apart.
    void theNumberOfClipsIsThatOfTheListOnceItIsRead() {
        const QString list = QStringLiteral("Main.clipboardItems");
        ZRKClipmuleClipboard::mainClipboard()->insertClipmuleDataAtIndex(
            textClip(QStringLiteral("one")), 0);
        tick();
        const QByteArray ofOne = _fixture->contents(list);
        ZRKClipmuleClipboard::mainClipboard()->insertClipmuleDataAtIndex(
            textClip(QStringLiteral("two")), 0);
        tick();
        _fixture->write(list, ofOne);
        _fixture->restart();
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QCOMPARE(clipboard->count(), 2U);
        QCOMPARE(clipboard->items().size(), 1);
        QCOMPARE(clipboard->count(), 1U);
    }

    void customClipboardsRoundTrip() {
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

    void defaultIconIsStored() {
        const auto clipboard = named(QStringLiteral("a"));
        const PropertyList archive = KeyedArchiver::archivedPropertyList(clipboard);
        QVERIFY(archive.find(QStringLiteral("$objects"))
                    ->list()
                    .contains(PropertyList(QStringLiteral("default"))));
    }

    void removedClipboardIsErasedAtTheNextSave() {
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

    void reinsertedClipboardKeepsItsFiles() {
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

    void removingByEqualId() {
        insertCustom({QStringLiteral("a"), QStringLiteral("b")});
        const auto stranger = std::make_shared<ZRKClipmuleClipboard>();
        stranger->setOid(ZRKClipmuleClipboard::customClipboards()[0]->oid());
        ZRKClipmuleClipboard::removeCustomClipboard(stranger);
        QCOMPARE(titles(), QStringList{QStringLiteral("b")});
    }

    void moving_data() {
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

    void moving() {
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

    void changedCustomClipboardIsSaved() {
        insertCustom({QStringLiteral("a")});
        tick();
        ZRKClipmuleClipboard::customClipboards()[0]->setTitle(QStringLiteral("b"));
        tick();
        _fixture->restart();
        QCOMPARE(titles(), QStringList{QStringLiteral("b")});
    }

    void lookingUpClipboards() {
        QCOMPARE(ZRKClipmuleClipboard::clipboardWithOID(QStringLiteral("Main")),
                 ZRKClipmuleClipboard::mainClipboard());
        QVERIFY(!ZRKClipmuleClipboard::clipboardWithOID(QStringLiteral("none")));
        insertCustom({QStringLiteral("a"), QStringLiteral("b")});
        const auto second = ZRKClipmuleClipboard::customClipboards()[1];
        QCOMPARE(ZRKClipmuleClipboard::clipboardWithOID(second->oid()), second);
    }

    void lookingUpClips() {
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

    void clipboardsOfOtherPrograms() {
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

    void unreadableFilesAreKept_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("garbage") << QByteArray("garbage");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("of another kind")
            << KeyedArchiver::archivedData(ArchiveValue(QStringLiteral("text")));
    }

    void unreadableFilesAreKept() {
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

    void archivesWithoutARootAreKept() {
        const QString mainFile = QStringLiteral("Main.clipboard");
        PropertyList::Dictionary archive =
            KeyedArchiver::archivedPropertyList(named(QStringLiteral("a"))).dictionary();
        archive.insert(QStringLiteral("$top"), PropertyList::Dictionary());
        const QByteArray bytes = PropertyListSerialization::binary(archive);
        _fixture->write(mainFile, bytes);
        QVERIFY(ZRKClipmuleClipboard::mainClipboard()->isMain());
        tick();
        QVERIFY(_fixture->contents(mainFile) != bytes);
        QCOMPARE(_fixture->contents(mainFile + QStringLiteral(".unreadable")), bytes);
        // A list of clips without a root says nothing of how many there are.
        const auto board = _fixture->kept(named(QStringLiteral("b")));
        _fixture->write(board->oid() + QStringLiteral(".clipboardItems"), bytes);
        board->setCount(3);
        QVERIFY(board->items().isEmpty());
        QCOMPARE(board->count(), quint64(3));
    }

    void unreadableItemsFile() {
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

    // What a user's ten thousandth clip costs, in files: the list of clipboards is opened without
    // reading any clip, and one more clip writes one image and the two lists.
    void tenThousandClips() {
        insertCustom({QStringLiteral("a")});
        const auto before = ZRKClipmuleClipboard::customClipboards().first();
        for (int number = 0; number < 10'000; ++number)
            before->insertClipmuleDataAtIndex(
                number % 100 == 0 ? ZRKClipmuleData::initWithImageData(QByteArray::number(number))
                                  : textClip(QString::number(number)),
                0);
        tick();
        _fixture->restart();

        const QString customFile = QStringLiteral("Custom.clipboards");
        const QString itemsFile = before->oid() + QStringLiteral(".clipboardItems");
        FileWatch watch(_fixture->path());
        const auto clipboard = ZRKClipmuleClipboard::customClipboards().first();
        QCOMPARE(clipboard->count(), quint64(10'000));
        QCOMPARE(clipboard->title(), std::optional(QStringLiteral("a")));
        QCOMPARE(watch.read(), QStringList{customFile});

        QCOMPARE(clipboard->items().size(), 10'000);
        QCOMPARE(watch.read(), QStringList{itemsFile});

        tick();
        (void)watch.read();
        (void)watch.written();
        const auto clip = ZRKClipmuleData::initWithImageData("one more");
        clipboard->insertClipmuleDataAtIndex(clip, 0);
        tick();
        QStringList expected{customFile, itemsFile,
                             clip->firstItem()->oid() + QStringLiteral(".imageData")};
        expected.sort();
        QCOMPARE(watch.written(), expected);
        QCOMPARE(watch.read(), QStringList());

        // And to forget it deletes one.
        clipboard->removeClipmuleData(clip);
        tick();
        QVERIFY(watch.deleted().contains(clip->firstItem()->oid() + QStringLiteral(".imageData")));
    }

    void failedWriteIsTriedAgain() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        insertCustom({QStringLiteral("a")});
        const auto custom = ZRKClipmuleClipboard::customClipboards()[0];
        clipboard->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        custom->insertClipmuleDataAtIndex(textClip(QStringLiteral("two")), 0);
        // Folders stand where the files should be.
        const QStringList names{
            QStringLiteral("Main.clipboard"), QStringLiteral("Main.clipboardItems"),
            QStringLiteral("Custom.clipboards"), custom->oid() + QStringLiteral(".clipboardItems")};
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

    void nothingIsErasedWhileItIsSpokenOf() {
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        const auto clip = _fixture->kept(ZRKClipmuleData::initWithImageData("image"));
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

    void failureIsToldOnce() {
        QStringList told;
        _fixture->store->onSavingDidChange = [&](const QString &failure) { told.append(failure); };
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QVERIFY(clipboard->items().isEmpty());
        tick();
        QVERIFY(told.isEmpty());
        const QString items = _fixture->path(QStringLiteral("Main.clipboardItems"));
        QVERIFY(QDir().mkpath(items));
        for (int beat = 0; beat < 3; ++beat) {
            clipboard->insertClipmuleDataAtIndex(textClip(QString::number(beat)), 0);
            tick();
        }
        QCOMPARE(told.size(), 1);
        QVERIFY2(told[0].startsWith(items + QStringLiteral(": ")), qPrintable(told[0]));
        QVERIFY(QDir().rmdir(items));
        tick();
        tick();
        QCOMPARE(told.size(), 2);
        QCOMPARE(told[1], QString());
    }

    // The picture stays and is written as soon as that works; what was removed goes meanwhile.
    void anImageThatCannotBeWrittenHoldsNothingUp() {
        QStringList told;
        _fixture->store->onSavingDidChange = [&](const QString &failure) { told.append(failure); };
        insertCustom({QStringLiteral("a")});
        const auto main = ZRKClipmuleClipboard::mainClipboard();
        const auto custom = ZRKClipmuleClipboard::customClipboards()[0];
        for (const auto &clipboard : {main, custom}) {
            const auto removed = ZRKClipmuleData::initWithImageData("removed");
            clipboard->insertClipmuleDataAtIndex(removed, 0);
            tick();
            const auto clip = _fixture->kept(ZRKClipmuleData::initWithImageData("image"));
            const QString path = clip->firstItem()->imageDataPath();
            QVERIFY(QDir().mkpath(path));
            clipboard->insertClipmuleDataAtIndex(clip, 0);
            clipboard->removeClipmuleData(removed);
            QTest::ignoreMessage(QtWarningMsg,
                                 qPrintable(QStringLiteral("FAILED TO SAVE ") + path));
            told.clear();
            tick();
            tick();
            QCOMPARE(told.size(), 1);
            QVERIFY(told[0].contains(path));
            QVERIFY(clipboard->isDirty());
            QVERIFY(!clipboard->isListDirty());
            QVERIFY(!QFile::exists(removed->firstItem()->imageDataPath()));
            QVERIFY(QDir().rmdir(path));
            tick();
            QVERIFY(!clipboard->isDirty());
            QCOMPARE(told.size(), 2);
        }
        _fixture->restart();
        for (const auto &clipboard :
             {ZRKClipmuleClipboard::mainClipboard(), ZRKClipmuleClipboard::customClipboards()[0]})
            QCOMPARE(clipboard->items().first()->firstItem()->imageData(),
                     std::optional(QByteArray("image")));
    }

private:
    void tick() { _fixture->runLoop.advance(5); }
    [[nodiscard]] bool exists(const QString &name) const {
        return QFile::exists(_fixture->path(name));
    }
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(ClipboardStoreTest)
#include "tst_clipboardstore.moc"
