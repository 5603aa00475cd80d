// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/StoreRecovery.h"
#include "platform/archive/KeyedArchiver.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Clipboards.h"
#include "tests/model/StoreFixture.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString mainItems = QStringLiteral("Main.clipboardItems");
const QString setAside = QStringLiteral("Main.clipboardItems.unreadable");
const QString customFile = QStringLiteral("Custom.clipboards");
const QString refuge = QStringLiteral("Restored");

Clip imageClip(const QByteArray &bytes) {
    return ZRKClipmuleData::initWithImageData(bytes);
}

} // namespace

/// What was set aside comes back, and what nobody speaks of goes.
class StoreRecoveryTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture = std::make_unique<StoreFixture>(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void nothingSetAsideIsNothing() {
        insert({QStringLiteral("one")});
        QVERIFY(StoreRecovery::putBack(*_fixture->store, refuge).isEmpty());
    }

    void clipsGoBehindThoseOfTheirClipboard() {
        setAsideClips(setAside, {textClip(QStringLiteral("older")), imageClip("image")});
        insert({QStringLiteral("newer")});
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes.size(), 1);
        QCOMPARE(outcomes[0].file, setAside);
        QCOMPARE(outcomes[0].reason, QString());
        QCOMPARE(outcomes[0].clips, 2);
        QCOMPARE(outcomes[0].boards, 0);
        QVERIFY(!exists(setAside));
        // Saved already.
        _fixture->restart();
        QCOMPARE(
            texts(*ZRKClipmuleClipboard::mainClipboard()),
            (QStringList{QStringLiteral("newer"), QStringLiteral("older"), QStringLiteral("-")}));
        QVERIFY(titles().isEmpty());
    }

    void clipsThatAreThereAreNotDoubled() {
        const auto known = textClip(QStringLiteral("known"));
        const auto sharing = textClip(QStringLiteral("other clip of the same item"));
        setAsideClips(setAside, {known, textClip(QStringLiteral("lost")),
                                 ZRKClipmuleData::initWithItems({sharing->firstItem()})});
        main()->insertClipmuleDataAtIndex(known, 0);
        insertCustom({QStringLiteral("a")});
        ZRKClipmuleClipboard::customClipboards()[0]->insertClipmuleDataAtIndex(sharing, 0);
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes[0].clips, 1);
        QCOMPARE(texts(*main()), (QStringList{QStringLiteral("known"), QStringLiteral("lost")}));
    }

    void theSameClipOfTwoFilesComesBackOnce() {
        const auto clip = textClip(QStringLiteral("lost"));
        setAsideClips(setAside, {clip});
        setAsideClips(setAside + u'2', {clip});
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes.size(), 2);
        QCOMPARE(texts(*main()), QStringList{QStringLiteral("lost")});
        QVERIFY(!exists(setAside));
        QVERIFY(!exists(setAside + u'2'));
    }

    void whatHasNoRoomGetsAClipboardOfItsOwn() {
        QList<Clip> clips;
        for (int number = 0; number < 5; ++number)
            clips.append(textClip(QString::number(number)));
        setAsideClips(setAside, clips);
        for (int number = 0; number < 198; ++number)
            main()->insertClipmuleDataAtIndex(textClip(QStringLiteral("new")), 0);
        (void)StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(main()->items().size(), 200);
        QCOMPARE(texts(*main()).mid(197),
                 (QStringList{QStringLiteral("new"), QStringLiteral("0"), QStringLiteral("1")}));
        QCOMPARE(titles(), QStringList{refuge});
        QCOMPARE(texts(*ZRKClipmuleClipboard::customClipboards()[0]),
                 (QStringList{QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")}));
        // The next ones go there, too.
        setAsideClips(setAside, {textClip(QStringLiteral("5"))});
        (void)StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(titles(), QStringList{refuge});
        QCOMPARE(ZRKClipmuleClipboard::customClipboards()[0]->items().size(), 4);
    }

    void clipsOfAClipboardThatIsGone() {
        setAsideClips(QStringLiteral("X.clipboardItems.unreadable7"),
                      {textClip(QStringLiteral("lost"))});
        (void)StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(titles(), QStringList{refuge});
        QVERIFY(main()->items().isEmpty());
    }

    void clipboardsComeBackWithTheirClips() {
        insertCustom({QStringLiteral("a"), QStringLiteral("b")});
        const auto lost = ZRKClipmuleClipboard::customClipboards()[1];
        lost->insertClipmuleDataAtIndex(textClip(QStringLiteral("one")), 0);
        tick();
        const QByteArray all = _fixture->contents(customFile);
        // A list of its clips was set aside as well, and comes first by its name.
        setAsideClips(lost->oid() + QStringLiteral(".clipboardItems.unreadable"),
                      {textClip(QStringLiteral("two"))});
        const QString kept = ZRKClipmuleClipboard::customClipboards()[0]->oid();
        const QByteArray items =
            _fixture->contents(lost->oid() + QStringLiteral(".clipboardItems"));
        ZRKClipmuleClipboard::removeCustomClipboard(lost);
        tick();
        _fixture->write(lost->oid() + QStringLiteral(".clipboardItems"), items);
        _fixture->write(customFile + QStringLiteral(".unreadable"), all);
        _fixture->restart();
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes.size(), 2);
        QCOMPARE(outcomes[0].boards, 1);
        QCOMPARE(outcomes[1].clips, 1);
        _fixture->restart();
        QCOMPARE(titles(), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        QCOMPARE(ZRKClipmuleClipboard::customClipboards()[0]->oid(), kept);
        QCOMPARE(texts(*ZRKClipmuleClipboard::customClipboards()[1]),
                 (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
    }

    void whatStillCannotBeReadStays_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("garbage") << QByteArray("garbage");
        QTest::newRow("of another kind")
            << KeyedArchiver::archivedData(ArchiveValue(QStringLiteral("text")));
    }
    void whatStillCannotBeReadStays() {
        QFETCH(QByteArray, bytes);
        const QStringList names{customFile + QStringLiteral(".unreadable"),
                                QStringLiteral("Main.clipboard.unreadable"), setAside};
        for (const QString &name : names)
            _fixture->write(name, bytes);
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes.size(), 3);
        for (const auto &outcome : outcomes) {
            QVERIFY(!outcome.reason.isEmpty());
            QCOMPARE(_fixture->contents(outcome.file), bytes);
        }
        QVERIFY(main()->items().isEmpty());
        QVERIFY(titles().isEmpty());
    }

    void aReadableMainClipboardHoldsNothingMore() {
        _fixture->write(QStringLiteral("Main.clipboard.unreadable"),
                        KeyedArchiver::archivedData(named(QStringLiteral("a"))));
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes[0].reason, QString());
        QVERIFY(_fixture->files().filter(QStringLiteral("unreadable")).isEmpty());
        QCOMPARE(main()->title(), std::optional(QStringLiteral("Clipboard")));
    }

    void otherFilesAreNotTouched() {
        const QStringList names{QStringLiteral("x.imageData.unreadable"),
                                QStringLiteral("Main.clipboardItems.unreadable.old"),
                                QStringLiteral("letter.unreadable")};
        for (const QString &name : names)
            _fixture->write(name, KeyedArchiver::archivedData(QList<Clip>()));
        QVERIFY(StoreRecovery::putBack(*_fixture->store, refuge).isEmpty());
        QCOMPARE(_fixture->files().filter(QStringLiteral("unreadable")).size(), 3);
    }

    void nothingGoesBeforeItIsSaved() {
        setAsideClips(setAside, {textClip(QStringLiteral("lost"))});
        QVERIFY(QDir().mkpath(_fixture->path(mainItems + QStringLiteral("/in the way"))));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^DECODE FAIL .")));
        const auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QVERIFY(!outcomes[0].reason.isEmpty());
        QVERIFY(exists(setAside));
    }

    void aListThatWouldGrowTooLargeStaysSetAside() {
        _fixture->restart(100'000);
        main()->insertClipmuleDataAtIndex(textClip(QString(60'000, u'x')), 0);
        setAsideClips(setAside, {textClip(QString(60'000, u'y'))});
        auto outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QVERIFY(outcomes[0].reason.contains(QStringLiteral("100000")));
        QCOMPARE(main()->items().size(), 1);
        QVERIFY(exists(setAside));
        main()->removeClipmuleData(main()->items().first());
        outcomes = StoreRecovery::putBack(*_fixture->store, refuge);
        QCOMPARE(outcomes[0].reason, QString());
        QCOMPARE(main()->items().size(), 1);
    }

    void sweepDeletesWhatNobodySpeaksOf() {
        insertCustom({QStringLiteral("a")});
        const auto kept = imageClip("kept");
        const auto keptInBoard = imageClip("board");
        main()->insertClipmuleDataAtIndex(kept, 0);
        ZRKClipmuleClipboard::customClipboards()[0]->insertClipmuleDataAtIndex(keptInBoard, 0);
        tick();
        const QStringList wanted = _fixture->files();
        const QString id = QStringLiteral("01234567-89AB-4DEF-8123-456789ABCDEF");
        const QStringList orphans{id + QStringLiteral(".imageData"),
                                  id + QStringLiteral(".nativeDictionary"),
                                  id + QStringLiteral(".clipboardItems"),
                                  QStringLiteral("Main.clipboard.VtwPdb"),
                                  QStringLiteral("Custom.clipboards.aaaaaB"),
                                  QStringLiteral("Main.clipboardItems.ABCDEF"),
                                  id + QStringLiteral(".imageData.abcDef"),
                                  id + QStringLiteral(".imageData.part-abcdef")};
        const QStringList strangers{QStringLiteral("holiday.imageData"),
                                    id.toLower() + QStringLiteral(".imageData"),
                                    id + QStringLiteral(".imageData.backup"),
                                    id + QStringLiteral(".imageData.part-1"),
                                    id + QStringLiteral(".png"),
                                    QStringLiteral("letter.txt")};
        for (const QString &name : orphans + strangers)
            _fixture->write(name, "x");
        QVERIFY(QFile::link(QStringLiteral("letter.txt"),
                            _fixture->path(QStringLiteral("11234567-89AB-4DEF-8123-456789ABCDEF"
                                                          ".imageData"))));
        QVERIFY(QDir().mkpath(
            _fixture->path(QStringLiteral("21234567-89AB-4DEF-8123-456789ABCDEF.imageData"))));
        _fixture->restart();
        QCOMPARE(StoreRecovery::sweep(*_fixture->store), orphans.size());
        QStringList expected = wanted + strangers;
        expected.append(QStringLiteral("11234567-89AB-4DEF-8123-456789ABCDEF.imageData"));
        expected.sort();
        QStringList files = _fixture->files();
        files.sort();
        QCOMPARE(files, expected);
        QVERIFY(QFileInfo::exists(
            _fixture->path(QStringLiteral("21234567-89AB-4DEF-8123-456789ABCDEF.imageData"))));
        QCOMPARE(StoreRecovery::sweep(*_fixture->store), 0);
    }

    void sweepWaitsUntilEveryListCanBeRead_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isMissing");
        QTest::newRow("clips of the history missing") << mainItems << true;
        QTest::newRow("clips of the history damaged") << mainItems << false;
        QTest::newRow("history damaged") << QStringLiteral("Main.clipboard") << false;
        QTest::newRow("clipboards missing") << customFile << true;
        QTest::newRow("clipboards damaged") << customFile << false;
        QTest::newRow("clips of a clipboard missing") << QStringLiteral("of the board") << true;
        QTest::newRow("clips of a clipboard damaged") << QStringLiteral("of the board") << false;
        QTest::newRow("a list set aside") << setAside << false;
        QTest::newRow("a list of clipboards set aside")
            << customFile + QStringLiteral(".unreadable2") << false;
    }
    void sweepWaitsUntilEveryListCanBeRead() {
        QFETCH(QString, name);
        QFETCH(bool, isMissing);
        insert({QStringLiteral("one")});
        insertCustom({QStringLiteral("a")});
        const auto board = ZRKClipmuleClipboard::customClipboards()[0];
        const auto clip = imageClip("image");
        board->insertClipmuleDataAtIndex(clip, 0);
        tick();
        const QString image = clip->firstItem()->imageDataPath();
        QVERIFY(QFile::exists(image));
        if (name == u"of the board")
            name = board->oid() + QStringLiteral(".clipboardItems");
        const QString orphan = QStringLiteral("01234567-89AB-4DEF-8123-456789ABCDEF.imageData");
        _fixture->write(orphan, "x");
        if (isMissing)
            QVERIFY(QFile::remove(_fixture->path(name)));
        else
            _fixture->write(name, "garbage");
        _fixture->restart();
        if (!isMissing && (name == u"Main.clipboard" || name == customFile))
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^DECODE FAIL ")));
        QCOMPARE(StoreRecovery::sweep(*_fixture->store), 0);
        QVERIFY(exists(orphan));
        QVERIFY(QFile::exists(image));
    }

private:
    static Clipboard main() { return ZRKClipmuleClipboard::mainClipboard(); }
    static void insert(const QStringList &list) {
        for (const QString &text : list)
            main()->insertClipmuleDataAtIndex(textClip(text), 0);
    }
    void setAsideClips(const QString &name, const QList<Clip> &clips) const {
        _fixture->write(name, KeyedArchiver::archivedData(clips));
    }
    void tick() { _fixture->runLoop.advance(5); }
    [[nodiscard]] bool exists(const QString &name) const {
        return QFile::exists(_fixture->path(name));
    }
    std::unique_ptr<StoreFixture> _fixture;
};

QTEST_GUILESS_MAIN(StoreRecoveryTest)
#include "tst_storerecovery.moc"
