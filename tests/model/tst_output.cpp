// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Desktop.h"

#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::PasteboardType;

namespace {

using NativeDictionary = ZRKClipmuleData::NativeDictionary;

const QByteArray pngBytes = QByteArray::fromHex("89504e47 0102");
const QByteArray jpegBytes = QByteArray::fromHex("ffd8ffe0 0102");
const QByteArray otherBytes = QByteArray::fromHex("4d4d002a 0102");

using Item = std::shared_ptr<ZRKClipmuleDataItem>;

// As a phone sends it.
Item phoneItem(PropertyList::Dictionary dictionary) {
    dictionary.insert(QStringLiteral("createdBy"), 1);
    return ZRKClipmuleDataItem::initWithDictionary(dictionary);
}

Item phoneText(const QString &text) {
    return phoneItem({{QStringLiteral("string"), text}});
}

Item phoneImage(const QByteArray &image) {
    return phoneItem({{QStringLiteral("imageData"), image}});
}

QByteArray contentsOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

} // namespace

class OutputTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desktop = std::make_unique<Desktop>();
        _desktop->pasteboard.copyText(QStringLiteral("before"));
    }

    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void phoneTextIsWritten() {
        QVERIFY(write({phoneText(QStringLiteral("text"))}));
        QCOMPARE(written(), PasteboardContents{.text = "text"});
    }

    void phoneImageIsWrittenWithItsFile() {
        QVERIFY(write({phoneImage(pngBytes)}));
        QCOMPARE(offeredFiles().size(), 1);
        QCOMPARE(written(), (PasteboardContents{.images = {pngBytes}, .files = offeredFiles()}));
        QCOMPARE(contentsOf(offeredFiles().first()), pngBytes);
    }

    void phoneUrlIsWritten() {
        QVERIFY(write({phoneItem({{QStringLiteral("url"), QStringLiteral("http://a/b")}})}));
        QCOMPARE(written(), PasteboardContents{.url = QUrl(QStringLiteral("http://a/b"))});
    }

    void phoneItemOfEverything() {
        QVERIFY(write({phoneItem({{QStringLiteral("string"), QStringLiteral("text")},
                                  {QStringLiteral("url"), QStringLiteral("http://a/b")},
                                  {QStringLiteral("imageData"), jpegBytes}})}));
        QCOMPARE(offeredFiles().size(), 1);
        QCOMPARE(written(), (PasteboardContents{.text = "text",
                                                .images = {jpegBytes},
                                                .files = offeredFiles(),
                                                .url = QUrl(QStringLiteral("http://a/b"))}));
    }

    void writtenAtOnce() {
        const qint64 before = _desktop->pasteboard.changeCount();
        QVERIFY(write({phoneImage(pngBytes)}));
        QCOMPARE(_desktop->pasteboard.writeCount(), 1);
        QCOMPARE(_desktop->pasteboard.changeCount(), before + 1);
    }

    void clipWithoutItemsClears() {
        QVERIFY(write({}));
        QVERIFY(written().isEmpty());
    }

    void nativeTypesAreRestored() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{publicHtml, "<b>a</b>"}, {NSStringPboardType, "native"}});
        item->setString(QStringLiteral("reading"));
        item->setURL(QUrl(QStringLiteral("http://a/")));
        QVERIFY(write({item}));
        QCOMPARE(written(), (PasteboardContents{.text = "native", .html = "<b>a</b>"}));
    }

    void placeholdersBecomeTheImage() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{publicTiff, ""}, {NSTIFFPboardType, ""}});
        item->setImageData(pngBytes);
        QVERIFY(write({item}));
        QCOMPARE(written().images, (QList{pngBytes, pngBytes}));

        const auto onlyOther =
            ZRKClipmuleDataItem::initWithNativeDictionary(NativeDictionary{{publicTiff, ""}});
        onlyOther->setImageData(pngBytes);
        QVERIFY(write({onlyOther}));
        QCOMPARE(offeredFiles().size(), 1);
        QCOMPARE(written(), (PasteboardContents{.images = {pngBytes}, .files = offeredFiles()}));
    }

    // The item's image is the reduced one, the native entry the one that was copied.
    void fullSizeImageComesBack() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{publicTiff, ""}, {NSTIFFPboardType, pngBytes}});
        item->setImageData(jpegBytes);
        QVERIFY(write({item}));
        QCOMPARE(written().images, (QList{pngBytes, pngBytes}));
    }

    // Programs take PNG; what stands under the name of TIFF may be anything.
    void theNamedPngGoesBeforeTheOthers() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSTIFFPboardType, otherBytes}, {publicPng, pngBytes}});
        QVERIFY(write({item}));
        QCOMPARE(written().images, (QList{pngBytes, otherBytes}));
        const auto older = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSTIFFPboardType, otherBytes}, {applePng, pngBytes}});
        QVERIFY(write({older}));
        QCOMPARE(written().images, (QList{pngBytes, otherBytes}));
    }

    void storedUrls_data() {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<QString>("url");
        const auto row = [](const char *name, const QByteArray &stored, const char *url) {
            QTest::newRow(name) << stored << QString::fromLatin1(url);
        };
        const auto list = [](const QList<PropertyList> &values) {
            return PropertyListSerialization::xml(PropertyList::List(values));
        };
        const PropertyList address(QStringLiteral("http://a.org/b"));
        row("list", list({address, QStringLiteral("")}), "http://a.org/b");
        row("list of one", list({address}), "http://a.org/b");
        row("binary list", PropertyListSerialization::binary(PropertyList::List{address}),
            "http://a.org/b");
        row("bare text", " http://a.org/b\n", "http://a.org/b");
        row("empty list", list({}), "");
        row("list of something else", list({1}), "");
        for (const char *none : {"", "a.org/b", "//a.org/", "http://[", "http://a:x/", "%%%:"})
            row(none, none, "");
        constexpr int longest = 256 * 1024;
        const auto link = [](int size) { return "http://a.org/" + QByteArray(size - 13, ' '); };
        row("one below", link(longest - 1), "http://a.org/");
        row("the longest", link(longest), "http://a.org/");
        row("one above", link(longest + 1), "");
        // In a form that would hold the run loop for minutes.
        const QString marks = QStringLiteral("\u0301\u0316").repeated(60'000);
        row("marks", QString(QStringLiteral("http://a") + marks + u'/').toUtf8().first(longest),
            "");
    }

    void storedUrls() {
        QFETCH(QByteArray, stored);
        QFETCH(QString, url);
        QVERIFY(write({ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSURLPboardType, stored}})}));
        QCOMPARE(written(),
                 url.isEmpty() ? PasteboardContents() : PasteboardContents{.url = QUrl(url)});
    }

    void storedTitles() {
        const auto titleOf = [&](const QByteArray &stored) {
            return write({ZRKClipmuleDataItem::initWithNativeDictionary(
                       NativeDictionary{{publicUrlName, stored}})})
                       ? written().title
                       : QStringLiteral("(refused)");
        };
        QCOMPARE(titleOf("T\xc3\xaftle"), QStringLiteral("Tïtle"));
        constexpr int longest = 256 * 1024;
        QCOMPARE(titleOf(QByteArray(longest - 1, 't')).size(), longest - 1);
        QCOMPARE(titleOf(QByteArray(longest, 't')).size(), longest);
        QCOMPARE(titleOf(QByteArray(longest + 1, 't')).size(), 0);
    }

    void urlWithoutASchemeIsNotOffered() {
        QVERIFY(write({phoneItem({{QStringLiteral("url"), QStringLiteral("a.org/b")}})}));
        QVERIFY(written().isEmpty());
    }

    void typesWithoutBytesAreSkipped() {
        const QString empty = QStringLiteral("org.example.empty");
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSTIFFPboardType, ""}, {empty, ""}});
        QVERIFY(write({item}));
        // A placeholder without an image behind it; the other is empty because it was.
        QCOMPARE(written(), (PasteboardContents{.others = {{empty, ""}}}));
    }

    void freshFilesWinOverStoredOnes() {
        const QByteArray stored =
            PropertyListSerialization::xml(PropertyList::List{QStringLiteral("/old/file.png")});
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSFilenamesPboardType, stored}, {NSStringPboardType, "text"}});
        item->setImageData(pngBytes);
        QVERIFY(write({item}));
        QCOMPARE(offeredFiles().size(), 1);
        QVERIFY(offeredFiles().first().startsWith(_desktop->imageFolder()));
        QCOMPARE(written().text, "text");

        // Without an image there are no fresh ones, and the stored ones are not ours to offer.
        item->setImageData(std::nullopt);
        QVERIFY(write({item}));
        QCOMPARE(written(), PasteboardContents{.text = "text"});
    }

    void largestWrittenSet_data() {
        QTest::addColumn<qint64>("above");
        QTest::addColumn<int>("files");
        QTest::newRow("one below") << qint64(-1) << 3;
        QTest::newRow("at the limit") << qint64(0) << 3;
        QTest::newRow("one above") << qint64(1) << 2;
    }

    void largestWrittenSet() {
        QFETCH(qint64, above);
        QFETCH(int, files);
        const QByteArray half = pngBytes + QByteArray(15'000'000 - pngBytes.size(), 'x');
        const QByteArray rest = pngBytes + QByteArray(1'457'280 - pngBytes.size() + above, 'x');
        if (above > 0)
            QTest::ignoreMessage(QtWarningMsg,
                                 "the images of the clip are too large together; 2 of 3 "
                                 "are written to files");
        QVERIFY(write({phoneImage(half), phoneImage(half), phoneImage(rest)}));
        QCOMPARE(offeredFiles().size(), files);
        QCOMPARE(_desktop->imageFiles().size(), files);
        QCOMPARE(contentsOf(offeredFiles().last()), files == 3 ? rest : half);
    }

    void imageThatIsTooLargeForAFileIsPastedAsAnImage() {
        QVERIFY(write({phoneImage(pngBytes)}));
        const QByteArray large = pngBytes + QByteArray(31'457'281 - pngBytes.size(), 'x');
        QTest::ignoreMessage(QtWarningMsg,
                             "the images of the clip are too large together; 0 of 1 are "
                             "written to files");
        QVERIFY(write({phoneImage(large)}));
        QCOMPARE(written(), PasteboardContents{.images = {large}});
        QVERIFY(_desktop->imageFiles().isEmpty());
    }

    void filesAreDeletedWhenTheyAreTold() {
        QVERIFY(write({phoneImage(pngBytes)}));
        QCOMPARE(_desktop->imageFiles().size(), 1);
        ZRKClipmuleData::deleteImageFiles(_desktop->services);
        QVERIFY(_desktop->imageFiles().isEmpty());
        _desktop->services.temporaryFolder = _desktop->folder.filePath(QStringLiteral("none/here"));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("^cannot delete the image files: ")));
        ZRKClipmuleData::deleteImageFiles(_desktop->services);
    }

    void nativeItemOfAPhoneIsNotNative() {
        QVERIFY(
            write({phoneItem({{QStringLiteral("string"), QStringLiteral("text")},
                              {QStringLiteral("nativeDictionary"),
                               PropertyList::Dictionary{{publicHtml, QByteArray("<b>a</b>")}}}})}));
        QCOMPARE(written(), PasteboardContents{.text = "text"});
    }

    void nativeItemWithoutDictionaryIsWrittenByReadings() {
        const auto item = std::make_shared<ZRKClipmuleDataItem>();
        item->setString(QStringLiteral("text"));
        QVERIFY(write({item}));
        QCOMPARE(written(), PasteboardContents{.text = "text"});

        const auto empty = ZRKClipmuleDataItem::initWithNativeDictionary(NativeDictionary());
        empty->setString(QStringLiteral("text"));
        QVERIFY(write({empty}));
        QVERIFY(written().isEmpty());
    }

    void severalTextsBecomeOne() {
        QVERIFY(write({phoneText(QStringLiteral("one")), phoneText(QStringLiteral("two")),
                       phoneText(QStringLiteral("three"))}));
        QCOMPARE(written(), PasteboardContents{.text = "one\n\ntwo\n\nthree"});
        QCOMPARE(_desktop->notice.messages, QStringList());
    }

    void emptyTextsAddNoSeparatorBeforeThem() {
        QVERIFY(write({phoneText(QStringLiteral("")), phoneText(QStringLiteral("one")),
                       phoneText(QStringLiteral("")), phoneText(QStringLiteral("two"))}));
        QCOMPARE(written().text, "one\n\n\n\ntwo");
    }

    void aTextThatWasMadeBeforeIsTaken() {
        const auto clip = ZRKClipmuleData::initWithItems(
            {phoneText(QStringLiteral("one")), phoneText(QStringLiteral("ü"))});
        QCOMPARE(clip->writtenText()(), "one\n\n\xc3\xbc");
        QVERIFY(clip->writeToPasteboard(_desktop->services, QByteArray("made")));
        QCOMPARE(written().text, "made");
        QVERIFY(!ZRKClipmuleData::initWithItems({phoneImage(pngBytes)})->writtenText());
        QVERIFY(!ZRKClipmuleData::initWithItems({})->writtenText());
    }

    // Other programs are offered UTF-8, whatever another machine has stored.
    void aNativeTextIsMadeWellFormed() {
        for (const auto &[stored, text] :
             {std::pair{"\xc3\xbc", "\xc3\xbc"}, std::pair{"a\xff", "a\xef\xbf\xbd"}}) {
            QVERIFY(write({ZRKClipmuleDataItem::initWithNativeDictionary(
                NativeDictionary{{NSStringPboardType, stored}})}));
            QCOMPARE(written().text, QByteArray(text));
        }
    }

    void joinedTextReplacesTheNativeOne() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSStringPboardType, "native"}, {publicHtml, "<b>a</b>"}});
        item->setString(QStringLiteral("one"));
        QVERIFY(write({item, phoneText(QStringLiteral("two"))}));
        QCOMPARE(written().text, "one\n\ntwo");
        QCOMPARE(written().html, "<b>a</b>");
    }

    void onlyTheFirstOfSeveralImagesIsWrittenByType() {
        QVERIFY(write({phoneImage(pngBytes), phoneImage(jpegBytes)}));
        QCOMPARE(offeredFiles().size(), 2);
        QCOMPARE(written(), (PasteboardContents{.images = {pngBytes}, .files = offeredFiles()}));
        QCOMPARE(contentsOf(offeredFiles().at(0)), pngBytes);
        QCOMPARE(contentsOf(offeredFiles().at(1)), jpegBytes);
    }

    void mixedContentIsRefused() {
        const qint64 before = _desktop->pasteboard.changeCount();
        QVERIFY(!write({phoneText(QStringLiteral("text")), phoneImage(pngBytes)}));
        QCOMPARE(_desktop->notice.messages,
                 QStringList{QStringLiteral("Pasting of mixed content clips is not supported.")});
        QCOMPARE(_desktop->pasteboard.changeCount(), before);
        QCOMPARE(written().text, "before");
        QVERIFY(_desktop->imageFiles().isEmpty());

        const auto url = phoneItem({{QStringLiteral("url"), QStringLiteral("http://a/")}});
        QVERIFY(!write({url, url}));
    }

    void itemsWithBothAreNotMixed() {
        const auto both = phoneItem({{QStringLiteral("string"), QStringLiteral("text")},
                                     {QStringLiteral("imageData"), pngBytes}});
        QVERIFY(write({both, phoneText(QStringLiteral("more"))}));
        QCOMPARE(written().text, "text\n\nmore");
        QVERIFY(write({both, phoneImage(pngBytes)}));
        QCOMPARE(written().text, "text");
        QVERIFY(_desktop->notice.messages.isEmpty());
    }

    void oneItemIsNeverMixed() {
        QVERIFY(write({phoneItem({{QStringLiteral("string"), QStringLiteral("text")},
                                  {QStringLiteral("imageData"), pngBytes}})}));
        QCOMPARE(offeredFiles().size(), 1);
        QCOMPARE(written(), (PasteboardContents{
                                .text = "text", .images = {pngBytes}, .files = offeredFiles()}));
        QVERIFY(write({phoneItem({})}));
        QVERIFY(_desktop->notice.messages.isEmpty());
    }

    void failingClipboard() {
        _desktop->pasteboard.failWritesWith(QStringLiteral("gone"));
        QVERIFY_THROWS_EXCEPTION(PlatformException,
                                 (void)write({phoneText(QStringLiteral("text"))}));
        QCOMPARE(written().text, "before");
    }

    void providingDataDoesNothing() {
        const int reads = _desktop->pasteboard.readCount();
        ZRKClipmuleData::pasteboardProvideDataForType(_desktop->pasteboard, NSStringPboardType);
        QCOMPARE(_desktop->pasteboard.readCount(), reads);
        QCOMPARE(written().text, "before");
    }

    void fileNames() {
        const QDateTime time(QDate(2026, 1, 31), QTime(15, 4, 5));
        _desktop->runLoop.setWallClock(
            {double(time.toSecsSinceEpoch()) - Date::unixTimeOfReference});
        QVERIFY(write({phoneImage(pngBytes), phoneImage(pngBytes)}));
        QCOMPARE(_desktop->imageFiles(),
                 (QStringList{QStringLiteral("Clipmule 2026-01-31 15.04.05 PM 1.png"),
                              QStringLiteral("Clipmule 2026-01-31 15.04.05 PM 2.png")}));

        const auto clip = ZRKClipmuleData::initWithItems({phoneImage(pngBytes)});
        clip->setTitle(QStringLiteral("../a title"));
        QVERIFY(clip->writeToPasteboard(_desktop->services));
        QCOMPARE(_desktop->imageFiles(), QStringList{QStringLiteral("..-a title.png")});
        QCOMPARE(offeredFiles(),
                 QStringList{_desktop->imageFolder() + QStringLiteral("/..-a title.png")});
    }

    void extensions_data() {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<QString>("extension");
        QTest::newRow("JPEG") << jpegBytes << QStringLiteral("jpg");
        QTest::newRow("PNG") << pngBytes << QStringLiteral("png");
        QTest::newRow("anything else") << otherBytes << QStringLiteral("tiff");
    }

    void extensions() {
        QFETCH(QByteArray, image);
        QFETCH(QString, extension);
        QVERIFY(write({phoneImage(image)}));
        QCOMPARE(_desktop->imageFiles().size(), 1);
        QVERIFY(_desktop->imageFiles().first().endsWith(u'.' + extension));
    }

    void earlierFilesAreDeleted() {
        QVERIFY(write({phoneImage(pngBytes), phoneImage(pngBytes)}));
        QDir(_desktop->imageFolder()).mkpath(QStringLiteral("below/deeper"));
        QVERIFY(write({phoneImage(jpegBytes)}));
        QCOMPARE(QDir(_desktop->imageFolder())
                     .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)
                     .size(),
                 1);
        // Text leaves them alone.
        QVERIFY(write({phoneText(QStringLiteral("text"))}));
        QCOMPARE(_desktop->imageFiles().size(), 1);
    }

    void pausesOnlyForImages() {
        QVERIFY(write({phoneText(QStringLiteral("text"))}));
        QCOMPARE(_desktop->runLoop.paused().count(), 0.0);
        QVERIFY(write({phoneImage(pngBytes)}));
        QCOMPARE(_desktop->runLoop.paused().count(), 0.66);
    }

    void clipWithAnItemWithoutImageWritesNoFiles() {
        const auto both = phoneItem({{QStringLiteral("string"), QStringLiteral("text")},
                                     {QStringLiteral("imageData"), pngBytes}});
        QVERIFY(write({both, phoneText(QStringLiteral("more"))}));
        QVERIFY(offeredFiles().isEmpty());
        QVERIFY(_desktop->imageFiles().isEmpty());
    }

    void storedFileNamesThatAreNoListAreLogged() {
        for (const PropertyList &stored :
             {PropertyList(QStringLiteral("/a/file")), PropertyList(PropertyList::List{1})}) {
            const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(NativeDictionary{
                {NSFilenamesPboardType, PropertyListSerialization::binary(stored)}});
            item->setImageData(pngBytes);
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                                   "^ERROR GETTING FILE DATA expected")));
            QVERIFY(write({item}));
            QCOMPARE(offeredFiles().size(), 1);
        }
    }

    void storedFileNamesThatAreNoPropertyListAreSilent() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            NativeDictionary{{NSFilenamesPboardType, "<plist"}});
        item->setImageData(pngBytes);
        QVERIFY(write({item}));
        QCOMPARE(offeredFiles().size(), 1);
    }

    void folderThatCannotBeMade() {
        _desktop->services.temporaryFolder = _desktop->folder.filePath(QStringLiteral("none/here"));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^cannot write the image files: ")));
        QVERIFY(write({phoneImage(pngBytes)}));
        QCOMPARE(written(), PasteboardContents{.images = {pngBytes}});
        QCOMPARE(_desktop->runLoop.paused().count(), 0.0);
    }

private:
    [[nodiscard]] bool write(const ZRKClipmuleData::Items &items) {
        const auto clip = ZRKClipmuleData::initWithItems(items);
        return clip->writeToPasteboard(_desktop->services);
    }
    [[nodiscard]] const PasteboardContents &written() const {
        return _desktop->pasteboard.clipboard();
    }
    [[nodiscard]] QStringList offeredFiles() const { return written().files; }
    std::unique_ptr<Desktop> _desktop;
};

QTEST_GUILESS_MAIN(OutputTest)
#include "tst_output.moc"
