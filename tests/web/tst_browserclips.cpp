// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FullDisk.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "web/BrowserClips.h"
#include "web/PageClip.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

BrowserClips::Clip textClip(const QString &text) {
    return ZRKClipmuleData::initWithString(text);
}

BrowserClips::Clip pictureClip(qsizetype size) {
    return ZRKClipmuleData::initWithImageData(QByteArray(size, 'p'));
}

const QRegularExpression noRoom(u"^clips cannot be kept: .*: File too large$"_s);

QStringList textsOf(const ZRKClipmuleClipboard::Clips &clips) {
    QStringList texts;
    for (const auto &clip : clips)
        texts += PageClip::textOf(*clip);
    return texts;
}

} // namespace

// What is kept for one browser, in memory and in files.
class BrowserClipsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _folder.emplace(); }
    void end() override { _folder.reset(); }

private Q_SLOTS:
    void eachChangeIsInTheFilesAtOnce() {
        BrowserClips clips(_folder->path());
        const auto first = textClip(u"first"_s);
        const auto second = textClip(u"second"_s);
        QCOMPARE(clips.keep(first), QStringList());
        QCOMPARE(clips.keep(second), QStringList());
        QCOMPARE(inFiles(), (QStringList{u"second"_s, u"first"_s}));
        QVERIFY(clips.remove(second->oid()));
        QVERIFY(!clips.remove(second->oid()));
        QCOMPARE(inFiles(), QStringList{u"first"_s});
        const auto waiting = textClip(u"waits"_s);
        QVERIFY(clips.addWaiting(waiting));
        // Once, however often it is asked for.
        QVERIFY(clips.addWaiting(waiting));
        QVERIFY(clips.addWaiting(textClip(u"too"_s)));
        QCOMPARE(waitingInFiles(), (QStringList{u"waits"_s, u"too"_s}));
        clips.removeWaiting(waiting);
        QCOMPARE(waitingInFiles(), QStringList{u"too"_s});
        clips.removeAll();
        QCOMPARE(inFiles(), QStringList());
        QCOMPARE(waitingInFiles(), QStringList());
    }

    void whatADiskHasNoRoomForDoesNotWait() {
        BrowserClips clips(_folder->path());
        QVERIFY(clips.addWaiting(textClip(u"short"_s)));
        {
            const kit::FullDisk full(50'000);
            QTest::ignoreMessage(QtWarningMsg, noRoom);
            QVERIFY(!clips.addWaiting(textClip(QString(100'000, u'x'))));
        }
        QCOMPARE(textsOf(clips.waiting()), QStringList{u"short"_s});
        QCOMPARE(waitingInFiles(), QStringList{u"short"_s});
    }

    void aClipThatADiskHadNoRoomForIsSavedLater() {
        BrowserClips clips(_folder->path());
        const QString text(100'000, u'x');
        {
            const kit::FullDisk full(50'000);
            QTest::ignoreMessage(QtWarningMsg, noRoom);
            QCOMPARE(clips.keep(textClip(text)), QStringList());
        }
        QCOMPARE(inFiles(), QStringList());
        {
            // And again, while it is full; it is said once.
            const kit::FullDisk full(50'000);
            _runLoop.advance(ClipboardStore::saveInterval);
        }
        QCOMPARE(inFiles(), QStringList());
        _runLoop.advance(ClipboardStore::saveInterval);
        QCOMPARE(inFiles(), QStringList{text});
        rests();
    }

    void withoutAFolderClipsAreInMemory() {
        BrowserClips clips((QString()));
        const auto clip = textClip(u"a"_s);
        QCOMPARE(clips.keep(clip), QStringList());
        QCOMPARE(clips.withId(clip->oid()), clip);
        QVERIFY(!clips.addWaiting(clip));
        clips.removeWaiting(clip);
        QCOMPARE(textsOf(clips.waiting()), QStringList());
        QCOMPARE(_runLoop.pendingCount(), 0);
        clips.removeAll();
        QCOMPARE(textsOf(clips.all()), QStringList());
    }

    void theOldestGoForTheNewest() {
        BrowserClips clips(_folder->path());
        const auto oldest = textClip(u"0"_s);
        QCOMPARE(clips.keep(oldest), QStringList());
        for (int number = 1; number < 50; ++number)
            QCOMPARE(clips.keep(textClip(QString::number(number))), QStringList());
        QCOMPARE(clips.keep(textClip(u"50"_s)), QStringList{oldest->oid()});
        QCOMPARE(clips.all().size(), 50);
    }

    void alsoForTheirBytes_data() {
        QTest::addColumn<bool>("isPicture");
        QTest::addColumn<qsizetype>("half");
        QTest::newRow("texts") << false << qsizetype(12'500'000);
        QTest::newRow("pictures") << true << qsizetype(25'000'000);
    }
    void alsoForTheirBytes() {
        QFETCH(bool, isPicture);
        QFETCH(qsizetype, half);
        const auto clipOf = [&](qsizetype size) {
            return isPicture ? pictureClip(size) : textClip(QString(size, u'x'));
        };
        BrowserClips clips(_folder->path());
        const auto oldest = clipOf(half);
        const auto next = clipOf(half);
        QCOMPARE(clips.keep(oldest), QStringList());
        QCOMPARE(clips.keep(next), QStringList());
        const auto small = clipOf(1);
        QCOMPARE(clips.keep(small), QStringList{oldest->oid()});
        // One that is larger than all may be together stands alone.
        QCOMPARE(clips.keep(clipOf(2 * half + 1)), (QStringList{next->oid(), small->oid()}));
        QCOMPARE(clips.all().size(), 1);
    }

    void picturesLeaveTheMemory() {
        BrowserClips clips(_folder->path());
        const auto kept = pictureClip(1000);
        const auto waiting = pictureClip(2000);
        QVERIFY(clips.keep(kept).isEmpty());
        QVERIFY(clips.addWaiting(waiting));
        for (const auto &clip : {kept, waiting})
            QVERIFY(QFile::remove(clip->firstItem()->imageDataPath()));
        _runLoop.advance(9.9);
        QVERIFY(kept->firstItem()->imageData() && waiting->firstItem()->imageData());
        // Each look puts it off.
        clips.letMemoryGo();
        _runLoop.advance(9.9);
        QVERIFY(kept->firstItem()->imageData() && waiting->firstItem()->imageData());
        _runLoop.advance(0.1);
        QVERIFY(!kept->firstItem()->imageData());
        QVERIFY(!waiting->firstItem()->imageData());
    }

    void countingAPictureDoesNotFetchIt() {
        BrowserClips clips(_folder->path());
        const auto clip = pictureClip(1000);
        QCOMPARE(BrowserClips::sizeOf(*clip), 1000);
        QVERIFY(clips.keep(clip).isEmpty());
        _runLoop.advance(10.0);
        QCOMPARE(BrowserClips::sizeOf(*clip), 1000);
        QVERIFY(QFile::remove(clip->firstItem()->imageDataPath()));
        QVERIFY(!clip->firstItem()->imageData());
    }

    void nothingIsDoneAtRest() {
        BrowserClips clips(_folder->path());
        rests();
        QVERIFY(clips.keep(pictureClip(1000)).isEmpty());
        QVERIFY(clips.addWaiting(textClip(u"waits"_s)));
        rests();
        BrowserClips again(_folder->path());
        rests();
    }

private:
    // When pictures have left the memory.
    void rests() {
        _runLoop.advance(10.0);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    // What another run of the program finds.
    [[nodiscard]] QStringList inFiles() const {
        return textsOf(ClipboardStore::make(_folder->path())->mainClipboard()->items());
    }
    [[nodiscard]] QStringList waitingInFiles() const {
        const auto store = ClipboardStore::make(_folder->path());
        return textsOf(store->customClipboards().constFirst()->items());
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::optional<QTemporaryDir> _folder;
};

QTEST_GUILESS_MAIN(BrowserClipsTest)
#include "tst_browserclips.moc"
