// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipCapture.h"
#include "model/ZRKClipmuleData.h"
#include "platform/images/ImageCodec.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QImageWriter>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

// Told apart by their width.
QByteArray picture(int width, const char *format = "png") {
    QImage image(width, 3, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, format).write(image);
    return buffer.data();
}

} // namespace

// What takes long is worked on beside the run loop; here the test says when it is done.
class PictureWatchTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _journal = std::make_unique<SyncJournal>(std::ref(_desk->notice), *_desk->shared);
        _watch = std::make_unique<ClipboardWatch>(_desk->pasteboardServices, *_journal);
        _isNeeded = true;
        _takes = true;
        _told.clear();
        _watch->isNeeded = [this] { return _isNeeded; };
        _watch->onCopy = [this](ZRKClipmuleData &clip) {
            const auto item = clip.firstItem();
            _hash = item->stringHash();
            _told += item->hasImageData()
                         ? QString::number(QImage::fromData(*item->imageData()).width())
                         : item->string().value_or(u"no text"_s);
            return _takes;
        };
        _watch->start();
        tick();
        _desk->work.hold();
    }

    void end() override {
        _watch.reset();
        _journal.reset();
        _desk.reset();
    }

private Q_SLOTS:
    void aPictureIsToldWhenItIsReady() {
        copyPicture(8);
        _desk->advance(10);
        QVERIFY(_told.isEmpty());
        QCOMPARE(work().waiting(), 1);
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
        // And known from then on.
        copyPicture(8);
        _desk->settle();
        work().doNext();
        QCOMPARE(_told.size(), 1);
    }

    void aTextIsToldInTheLookItself() {
        copyText(u"text"_s);
        _desk->settle();
        QCOMPARE(_told, QStringList{u"text"_s});
        QCOMPARE(work().started(), 0);
    }

    void aLongTextIsToldWhenItIsRead_data() {
        QTest::addColumn<PasteboardContents>("longest");
        QTest::addColumn<PasteboardContents>("longer");
        QTest::addColumn<QString>("end");
        const QByteArray text(ClipCapture::longText, 'x');
        const QByteArray rtf = "{\\rtf1 " + QByteArray(ClipCapture::longText - 8, 'x');
        const auto tabular = [](const QByteArray &table) {
            return PasteboardContents{.others = {{PasteboardType::NSTabularTextPboardType, table}}};
        };
        QTest::newRow("text") << PasteboardContents{.text = text}
                              << PasteboardContents{.text = text + '\r'} << u"\n"_s;
        QTest::newRow("RTF") << PasteboardContents{.rtf = rtf + '}'}
                             << PasteboardContents{.rtf = rtf + "x}"} << u"x"_s;
        QTest::newRow("another type") << tabular(text) << tabular(text + '\r') << u"\n"_s;
    }
    void aLongTextIsToldWhenItIsRead() {
        QFETCH(PasteboardContents, longest);
        QFETCH(PasteboardContents, longer);
        QFETCH(QString, end);
        copy(longest);
        tick();
        QCOMPARE(work().started(), 0);
        QCOMPARE(_told.size(), 1);
        QCOMPARE(_hash, std::nullopt);
        copy(longer);
        tick();
        QCOMPARE(work().waiting(), 1);
        QCOMPARE(_told.size(), 1);
        work().doNext();
        QCOMPARE(_told.size(), 2);
        QVERIFY(_told.last() == _told.first() + end);
        QCOMPARE(_hash, std::optional(qHash(_told.last())));
    }

    void aLongTextThatIsNotReadByThenIsLeftOut() {
        copyText(QString(ClipCapture::longText + 1, u'x'));
        _desk->settle();
        copyText(u"text"_s);
        tick();
        work().doNext();
        QCOMPARE(_told, QStringList{u"text"_s});
    }

    // As much as the pictures' text may be beside them.
    void aLongTextBesideAPictureCountsForItsSize() {
        copy({.text = QByteArray(ClipCapture::longText + 1, 'x'), .images = {picture(8)}});
        _desk->settle();
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
    }

    void whatWasCopiedAfterIsToldAfter() {
        copyPicture(8);
        _desk->settle();
        copyText(u"text"_s);
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
        tick();
        QCOMPARE(_told, (QStringList{u"8"_s, u"text"_s}));
    }

    void aPictureThatIsNotReadyByThenIsLeftOut() {
        copyPicture(8);
        _desk->settle();
        copyText(u"text"_s);
        tick();
        QCOMPARE(_told, QStringList{u"text"_s});
        work().doNext();
        tick();
        QCOMPARE(_told, QStringList{u"text"_s});
        // It was not told, so it is news.
        copyPicture(8);
        _desk->settle();
        work().doNext();
        QCOMPARE(_told, (QStringList{u"text"_s, u"8"_s}));
    }

    // The phones have that text already, and the picture is not on the clipboard any more.
    void theLastTextAgainLeavesItOutToo() {
        copyText(u"text"_s);
        tick();
        copyPicture(8);
        tick();
        copyText(u"text"_s);
        tick();
        work().doNext();
        QCOMPARE(_told, QStringList{u"text"_s});
    }

    void ofTwoPicturesTheNewerIsTold() {
        copyPicture(8);
        _desk->settle();
        copyPicture(9);
        tick();
        QCOMPARE(work().waiting(), 2);
        work().doNext();
        QVERIFY(_told.isEmpty());
        work().doNext();
        QCOMPARE(_told, QStringList{u"9"_s});
    }

    void whatIsNotToldLeavesNothingOut_data() {
        using Copy = std::function<void(PictureWatchTest &)>;
        QTest::addColumn<Copy>("copy");
        QTest::newRow("nothing") << Copy([](PictureWatchTest &test) { test.copy({}); });
        QTest::newRow("a secret") << Copy([](PictureWatchTest &test) {
            QTest::ignoreMessage(QtInfoMsg, "Not sent: what you copied is marked as secret.");
            test.copy({.text = "hunter2", .others = {{u"x-kde-passwordManagerHint"_s, "secret"}}});
        });
        QTest::newRow("what has no content") << Copy([](PictureWatchTest &test) {
            QTest::ignoreMessage(QtInfoMsg,
                                 "Not sent: there is no text, link or image in what you copied.");
            test.copy({.others = {{u"image/x-emf"_s, std::nullopt}}});
        });
        QTest::newRow("what is refused") << Copy([](PictureWatchTest &test) {
            test._takes = false;
            test.copyText(u"too large"_s);
        });
        QTest::newRow("what cannot be read") << Copy([](PictureWatchTest &test) {
            QTest::ignoreMessage(QtWarningMsg, "ERROR CREATING DATA PasteboardFailure: broken");
            QTest::ignoreMessage(QtInfoMsg,
                                 "Not sent: what you copied could not be read. [broken]");
            test._desk->pasteboard.failReadsWith(u"broken"_s);
            test.copyText(u"text"_s);
        });
    }
    void whatIsNotToldLeavesNothingOut() {
        QFETCH(std::function<void(PictureWatchTest &)>, copy);
        copyPicture(8);
        _desk->settle();
        copy(*this);
        tick();
        _told.clear();
        _takes = true;
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
    }

    // A phone's clip is no copy: what was copied before it goes its way, and what we wrote is known
    // all the same.
    void whatAPhoneSendsMeanwhileIsKnown() {
        copyPicture(8);
        _desk->settle();
        const auto clip = ZRKClipmuleData::initWithString(u"from the phone"_s);
        QVERIFY(clip->writeToPasteboard(_desk->pasteboardServices));
        _watch->noteWritten(*clip);
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
        copyText(u"from the phone"_s);
        tick();
        QCOMPARE(_told, QStringList{u"8"_s});
    }

    void aReceivedPictureIsKnownInAnotherEncoding() {
        receivePicture(8);
        copy({.images = {picture(8, "bmp")}});
        tick();
        work().doNext();
        QVERIFY(_told.isEmpty());
        // With another text it is another clip.
        copy({.text = "text", .images = {picture(8, "bmp")}});
        tick();
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
        // From then on it is no echo.
        copy({.images = {picture(8, "tiff")}});
        tick();
        work().doNext();
        QCOMPARE(_told, (QStringList{u"8"_s, u"8"_s}));
    }

    // Compared is what was received when it was copied.
    void aPictureThatIsReceivedMeanwhileIsNoEcho() {
        copy({.images = {picture(8, "bmp")}});
        _desk->settle();
        receivePicture(8);
        work().doNext();
        QCOMPARE(_told, (QStringList{u"8"_s}));
        copy({.images = {picture(8, "bmp")}});
        tick();
        work().doNext();
        QCOMPARE(_told.size(), 1);
    }

    // Its placeholder stands for it on other desktops.
    void aDamagedPictureIsNone() {
        copy({.images = {picture(8).first(60)}});
        _desk->settle();
        QTest::ignoreMessage(QtWarningMsg, "ERROR CREATING IMAGE DATA Unable to read image data");
        work().doNext();
        QCOMPARE(_told, QStringList{u"no text"_s});
    }

    // A phone that lost its connection for a moment gets it when it is back.
    void thePhoneMayGoMeanwhile() {
        copyPicture(8);
        _desk->settle();
        _isNeeded = false;
        _watch->needMayHaveChanged();
        tick();
        QVERIFY(!_desk->pasteboard.isWatching());
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
    }

    void theWatchMayEndMeanwhile() {
        copyPicture(8);
        _desk->settle();
        _watch.reset();
        work().doNext();
        QVERIFY(_told.isEmpty());
    }

    void copiedFilesThatAreNoPicturesAreTheirNames() {
        _desk->activeApplication.current = identifierOf(ApplicationRole::FileManager);
        copy({.files = {u"/none/a.txt"_s, u"/none/b.txt"_s}});
        tick();
        QVERIFY(_told.isEmpty());
        work().doNext();
        QCOMPARE(_told, QStringList{u"a.txt\nb.txt"_s});
    }

    // Which go on while we copy, write and end.
    void byThreads() {
        BackgroundWork::setStandIn({});
        const auto isTold = [this](const QString &what) {
            return QTest::qWaitFor([&] { return _told.contains(what); });
        };
        copyPicture(8);
        tick();
        QVERIFY(isTold(u"8"_s));
        receivePicture(9);
        copy({.images = {picture(9, "bmp")}});
        tick();
        copyPicture(10);
        tick();
        QVERIFY(isTold(u"10"_s));
        copyPicture(11);
        tick();
        copyText(u"text"_s);
        tick();
        copyPicture(12);
        _desk->settle();
        _watch.reset();
        QCoreApplication::processEvents();
        QCOMPARE(_told, (QStringList{u"8"_s, u"10"_s, u"text"_s}));
    }

    void itsMemoryIsGivenBackWhenItIsTold() {
        const int before = _desk->runLoop.pendingCount();
        copy({.text = QByteArray(1'100'000, 'x'), .images = {picture(8)}});
        _desk->advance(10);
        QCOMPARE(_desk->runLoop.pendingCount(), before);
        // The clipboard's own is let go of already.
        QVERIFY(_desk->pasteboard.clipboard().isEmpty());
        work().doNext();
        QCOMPARE(_told, QStringList{u"8"_s});
        QCOMPARE(_desk->runLoop.pendingCount(), before + 1);
    }

private:
    void copy(const PasteboardContents &contents) {
        _desk->pasteboard.copyByAnotherApplication(contents);
    }
    void copyText(const QString &text) { _desk->pasteboard.copyText(text); }
    void copyPicture(int width) { copy({.images = {picture(width)}}); }
    void receivePicture(int width) {
        const auto clip = ZRKClipmuleData::initWithImageData(picture(width));
        clip->firstItem()->setCreatedBy(ZRKClipmuleDataItem::createdByPhone);
        QVERIFY(clip->writeToPasteboard(_desk->pasteboardServices));
        _watch->noteWritten(*clip);
    }
    void tick() { _desk->advance(ClipboardWatch::pollInterval.count()); }
    [[nodiscard]] ManualWork &work() { return _desk->work; }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<SyncJournal> _journal;
    std::unique_ptr<ClipboardWatch> _watch;
    bool _isNeeded = true;
    bool _takes = true;
    QStringList _told;
    std::optional<size_t> _hash; // that was made in the background
};

QTEST_GUILESS_MAIN(PictureWatchTest)
#include "tst_picturewatch.moc"
