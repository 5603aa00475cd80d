// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "model/ClipCapture.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/RtfText.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Desktop.h"

#include <QTest>

#include <sys/stat.h>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::PasteboardType;

namespace {

using Contents = Copied;

QSize sizeOf(const QByteArray &image) {
    return QImage::fromData(image).size();
}

void writeFile(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray fileNames(const QStringList &paths) {
    PropertyList::List list;
    for (const QString &path : paths)
        list.append(path);
    return PropertyListSerialization::xml(list);
}

} // namespace

class CaptureTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _desktop = std::make_unique<Desktop>(); }

    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void textIsCaptured() {
        const auto clip = captureText(QStringLiteral("some text"));
        QVERIFY(clip);
        QCOMPARE(clip->itemCount(), 1);
        const auto item = clip->firstItem();
        QVERIFY(item->data() == clip.get());
        QCOMPARE(item->string(), std::optional(QStringLiteral("some text")));
        QVERIFY(item->isNative());
        QVERIFY(!item->hasImageData());
        QVERIFY(!item->hasURL());
        QVERIFY(!clip->title());
        QCOMPARE(item->nativeDictionary(), std::optional(ZRKClipmuleData::NativeDictionary{
                                               {NSStringPboardType, "some text"}}));
    }

    void emptyClipboardIsNoClip() {
        QVERIFY(!ZRKClipmuleData::initFromPasteboard(_desktop->services));
        QVERIFY(captureText(QStringLiteral("text")));
        _desktop->pasteboard.removeOwner();
        QVERIFY(!ZRKClipmuleData::initFromPasteboard(_desktop->services));
    }

    void vetoes_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("captured");
        const QString hint = QStringLiteral("x-kde-passwordManagerHint");
        QTest::newRow("transient")
            << QStringLiteral("org.nspasteboard.TransientType") << QByteArray() << false;
        QTest::newRow("generated")
            << QStringLiteral("Pasteboard generator type") << QByteArray("x") << false;
        QTest::newRow("text expansion")
            << QStringLiteral("com.typeit4me.clipping") << QByteArray() << false;
        QTest::newRow("password") << hint << QByteArray("secret") << false;
        QTest::newRow("password, line end") << hint << QByteArray("secret\n") << false;
        QTest::newRow("password, NUL") << hint << QByteArray("secret\0", 7) << false;
        QTest::newRow("password, both") << hint << QByteArray(" Secret\r\n\0", 10) << false;
        QTest::newRow("hint of something else") << hint << QByteArray("secretary") << true;
        QTest::newRow("hint that begins so") << hint << QByteArray("secret no") << true;
        QTest::newRow("hint that it is none") << hint << QByteArray("public") << true;
        QTest::newRow("hint without a value") << hint << QByteArray() << true;
        QTest::newRow("any other type")
            << QStringLiteral("org.example.any") << QByteArray() << true;
    }

    void vetoes() {
        QFETCH(QString, type);
        QFETCH(QByteArray, value);
        QFETCH(bool, captured);
        const auto clip = capture({{{NSStringPboardType, "text"}, {type, value}}});
        QCOMPARE(clip != nullptr, captured);
    }

    void hintThatIsNotToldIsAVeto() {
        QVERIFY(!capture({{{NSStringPboardType, "text"},
                           {QStringLiteral("x-kde-passwordManagerHint"), std::nullopt}}}));
        QVERIFY(ClipCapture::isSecret(_desktop->pasteboard));
    }

    void nativeDictionaryHoldsEveryType() {
        const QByteArray png = encoded(plain({4, 4}), "png");
        const auto clip = capture({{{publicHtml, "<b>a</b>"},
                                    {NSPICTPboardType, "pict"},
                                    {applePict, "pict"},
                                    {NSTIFFPboardType, png},
                                    {publicTiff, png},
                                    {publicPng, png},
                                    {QStringLiteral("org.example.empty"), QByteArray("")},
                                    {QStringLiteral("org.example.none"), std::nullopt}}});
        QVERIFY(clip);
        const ZRKClipmuleData::NativeDictionary expected{{publicHtml, "<b>a</b>"},
                                                         // The image itself is the item's.
                                                         {NSTIFFPboardType, ""},
                                                         {publicTiff, ""},
                                                         {publicPng, png},
                                                         {QStringLiteral("org.example.empty"), ""}};
        QCOMPARE(clip->firstItem()->nativeDictionary(), std::optional(expected));
        QVERIFY(clip->firstItem()->hasImageData());
    }

    void textOfTheFirstReadingThatExists() {
        const QStringList order{NSStringPboardType,
                                NSRTFPboardType,
                                NSRTFDPboardType,
                                NSTabularTextPboardType,
                                NSMultipleTextSelectionPboardType,
                                NSInkTextPboardType};
        QList<Contents::Representation> representations;
        for (qsizetype i = order.size(); i-- > 0;) {
            const QString text = QStringLiteral("text %1").arg(i);
            const bool isRtf = order[i] == NSRTFPboardType || order[i] == NSRTFDPboardType;
            const QByteArray bytes = isRtf ? "{\\rtf1 " + text.toUtf8() + '}' : text.toUtf8();
            representations.append({order[i], bytes});
            const auto clip = capture({representations});
            QVERIFY(clip);
            QCOMPARE(clip->firstItem()->string(), std::optional(text));
        }
        const auto clip = capture({{{QStringLiteral("org.example.text"), "text"}}});
        QVERIFY(clip);
        QVERIFY(!clip->firstItem()->hasString());
    }

    // Markup that cannot be read, rich-text folders, and bytes that are not UTF-8.
    void whatIsNoTextIsPassedOver() {
        const auto textIn = [&](const QString &type, const QByteArray &data) {
            return capture({{{type, data}, {NSInkTextPboardType, "ink"}}})->firstItem()->string();
        };
        const QString ink = QStringLiteral("ink");
        for (const QString &type : {NSRTFPboardType, NSRTFDPboardType}) {
            QCOMPARE(textIn(type, "{\\rtf1\\b x}"), QStringLiteral("x"));
            QCOMPARE(textIn(type, "text"), QStringLiteral("text"));
            QCOMPARE(textIn(type, "{text"), QStringLiteral("{text"));
            QCOMPARE(textIn(type, "{\\rtf1" + QByteArray(maximumRtfDepth, '{')), ink);
            QCOMPARE(textIn(type, "\n {\\rt"), ink);
            QCOMPARE(textIn(type, "\xff"), ink);
        }
        QCOMPARE(textIn(NSRTFPboardType, "rtfd"), QStringLiteral("rtfd"));
        QCOMPARE(textIn(NSRTFDPboardType, QByteArray("rtfd\0\0\0\0", 8)), ink);
        QCOMPARE(textIn(NSTabularTextPboardType, "\xff"), ink);
    }

    void lineEndings_data() {
        QTest::addColumn<QString>("copied");
        QTest::addColumn<QString>("captured");
        QTest::newRow("CR LF") << QStringLiteral("one\r\ntwo") << QStringLiteral("one\n\ntwo");
        QTest::newRow("CR") << QStringLiteral("one\rtwo") << QStringLiteral("one\ntwo");
        QTest::newRow("LF") << QStringLiteral("one\ntwo\n") << QStringLiteral("one\ntwo\n");
        QTest::newRow("others") << QStringLiteral("a\vb\fc\u0085d\u2028e\u2029f")
                                << QStringLiteral("a\nb\nc\nd\ne\nf");
        QTest::newRow("none") << QString(QStringLiteral("")) << QString(QStringLiteral(""));
    }

    void lineEndings() {
        QFETCH(QString, copied);
        QFETCH(QString, captured);
        QCOMPARE(captureText(copied)->firstItem()->string(), std::optional(captured));
    }

    void imageOfTheFirstTypeThatExists() {
        const Contents::Representation tiff{NSTIFFPboardType, encoded(plain({3, 3}), "tiff")};
        const Contents::Representation png{publicPng, encoded(plain({4, 4}), "png")};
        const Contents::Representation apple{applePng, encoded(plain({5, 5}), "png")};
        const auto sizeOfCaptured = [&](const Contents &contents) {
            return sizeOf(capture(contents)->firstItem()->imageData().value());
        };
        QCOMPARE(sizeOfCaptured({{apple, png, tiff}}), QSize(3, 3));
        QCOMPARE(sizeOfCaptured({{apple, png}}), QSize(4, 4));
        QCOMPARE(sizeOfCaptured({{apple}}), QSize(5, 5));
        QVERIFY(!capture({{{QStringLiteral("image/x-other"), *png.data}}})
                     ->firstItem()
                     ->hasImageData());
    }

    void garbageIsNoImage() {
        const auto clip = capture({{{publicPng, "no image at all"}, {NSStringPboardType, "text"}}});
        QVERIFY(clip);
        QVERIFY(!clip->firstItem()->hasImageData());
        QCOMPARE(clip->firstItem()->string(), std::optional(QStringLiteral("text")));
    }

    void damagedImageIsLogged() {
        const QByteArray whole = encoded(noise({50, 50}), "png");
        QTest::ignoreMessage(QtWarningMsg, "ERROR CREATING IMAGE DATA Unable to read image data");
        const auto clip = capture({{{publicPng, whole.first(whole.size() / 2)}}});
        QVERIFY(clip);
        QVERIFY(!clip->firstItem()->hasImageData());
    }

    void pixelBombIsLogged() {
        // A bitmap's header: 10000 pixels each way, 24 bits a pixel, and not one of them.
        const QByteArray bomb = QByteArray::fromHex("424d 00000000 00000000 36000000"
                                                    "28000000 10270000 10270000 0100 1800")
                                    .append(24, '\0');
        QTest::ignoreMessage(
            QtWarningMsg,
            "ERROR CREATING IMAGE DATA an image of 10000 x 10000 pixels is too large");
        const auto clip = capture({{{NSTIFFPboardType, bomb}}});
        QVERIFY(clip);
        QVERIFY(!clip->firstItem()->hasImageData());
    }

    void urlAndTitle() {
        const auto clip =
            capture({{{NSURLPboardType, "https://example.com/a"}, {publicUrlName, "An example"}}});
        QVERIFY(clip);
        QCOMPARE(clip->firstItem()->url(),
                 std::optional(QUrl(QStringLiteral("https://example.com/a"))));
        QCOMPARE(clip->title(), std::optional(QStringLiteral("An example")));
    }

    void readFailuresPass() {
        _desktop->pasteboard.copyText(QStringLiteral("text"));
        _desktop->pasteboard.failReadsWith(QStringLiteral("gone"));
        QVERIFY_THROWS_EXCEPTION(PlatformException,
                                 (void)ZRKClipmuleData::initFromPasteboard(_desktop->services));
    }

    void smallImageStaysPng() {
        const QImage image = noise({100, 80});
        const auto clip = capture({{{NSTIFFPboardType, encoded(image, "tiff")}}});
        const auto item = clip->firstItem();
        QVERIFY(item->hasPNG());
        QCOMPARE(QImage::fromData(*item->imageData()).convertToFormat(image.format()), image);
        QCOMPARE(item->nativeDictionary()->value(NSTIFFPboardType), QByteArray(""));
    }

    // The largest noise whose PNG is within the limit, and one more line of it.
    void pngLimit() {
        constexpr qsizetype limit = 1'500'000;
        constexpr int width = 1000;
        int height = int(limit / (3 * width));
        while (ImageCodec::png(noise({width, height}), 2 * limit)->size() > limit)
            --height;
        const auto within =
            ZRKClipmuleData::portableImageData(encoded(noise({width, height}), "bmp"), nullptr);
        QVERIFY(within);
        QVERIFY(ImageCodec::isPng(*within));
        QVERIFY(within->size() <= limit && within->size() > limit - 3 * width - 100);
        const auto above =
            ZRKClipmuleData::portableImageData(encoded(noise({width, height + 1}), "bmp"), nullptr);
        QVERIFY(above);
        QVERIFY(ImageCodec::isJpeg(*above));
    }

    void largePngBecomesJpeg() {
        const QImage image = noise({1000, 1000});
        const auto clip = capture({{{publicPng, encoded(image, "png")}}});
        const auto item = clip->firstItem();
        QVERIFY(item->hasJPEG());
        QCOMPARE(item->imageData(), std::optional(ImageCodec::jpeg(image, 0.9)));
        // Not reduced, so there is no other full-size image to keep, and the PNG is too bulky.
        const ZRKClipmuleData::NativeDictionary placeholder{{NSTIFFPboardType, ""}};
        QCOMPARE(item->nativeDictionary(), std::optional(placeholder));
    }

    void largestImageThatIsNotReduced() {
        ZRKClipmuleData::NativeDictionary native;
        const auto image =
            ZRKClipmuleData::portableImageData(encoded(plain({1600, 1200}), "png"), &native);
        QVERIFY(image);
        QVERIFY(ImageCodec::isPng(*image));
        QCOMPARE(sizeOf(*image), QSize(1600, 1200));
        QVERIFY(native.isEmpty());
        // One line more.
        const auto reduced =
            ZRKClipmuleData::portableImageData(encoded(plain({1600, 1201}), "png"), &native);
        QVERIFY(reduced);
        QVERIFY(ImageCodec::isJpeg(*reduced));
        QVERIFY(native.contains(NSTIFFPboardType));
    }

    void largerImageIsReduced() {
        const QImage image = plain({2000, 1000});
        const auto clip =
            capture({{{NSTIFFPboardType, encoded(image, "tiff")}, {NSStringPboardType, "text"}}});
        const auto item = clip->firstItem();
        QVERIFY(item->hasJPEG());
        QCOMPARE(sizeOf(*item->imageData()), QSize(1600, 800));
        const QByteArray full = item->nativeDictionary()->value(NSTIFFPboardType);
        QVERIFY(ImageCodec::isPng(full));
        QCOMPARE(QImage::fromData(full).convertToFormat(image.format()), image);
    }

    void largerNoisyImageIsKeptAsJpeg() {
        const QImage image = noise({2000, 1000});
        ZRKClipmuleData::NativeDictionary native;
        const auto reduced = ZRKClipmuleData::portableImageData(encoded(image, "png"), &native);
        QVERIFY(reduced);
        QVERIFY(ImageCodec::isJpeg(*reduced));
        QCOMPARE(sizeOf(*reduced), QSize(1600, 800));
        QCOMPARE(native.value(NSTIFFPboardType), ImageCodec::jpeg(image, 0.9));
        QCOMPARE(*reduced,
                 ImageCodec::jpeg(ZRKNSImageCategory::copyWithMaxSize(image, {1600, 1600}), 0.9));
    }

    void manyPixelsInASmallSquareAreNotScaled() {
        const auto image =
            ZRKClipmuleData::portableImageData(encoded(plain({1500, 1500}), "png"), nullptr);
        QVERIFY(image);
        QVERIFY(ImageCodec::isJpeg(*image));
        QCOMPARE(sizeOf(*image), QSize(1500, 1500));
    }

    // 144 dots an inch: half the size in points, and no pixel fewer.
    void pixelsCountWhateverTheResolution() {
        const auto sizeOfCaptured = [](QSize size) {
            QImage image = plain(size);
            image.setDotsPerMeterX(5669);
            image.setDotsPerMeterY(5669);
            return sizeOf(
                ZRKClipmuleData::portableImageData(encoded(image, "png"), nullptr).value());
        };
        QCOMPARE(sizeOfCaptured({1000, 1000}), QSize(1000, 1000));
        QCOMPARE(sizeOfCaptured({1600, 1200}), QSize(1600, 1200));
        QCOMPARE(sizeOfCaptured({2000, 1000}), QSize(1600, 800));
    }

    void theFirstOfSeveralRepresentationsCounts() {
        // Two pages of grey, a byte a pixel: 3 x 2 pixels of 40, and 5 x 4 of c0.
        const QByteArray tiff = QByteArray::fromHex(
            "49492a0008000000"
            "0900 000103000100000003000000 010103000100000002000000 020103000100000008000000"
            "     030103000100000001000000 060103000100000001000000 11010400010000007a000000"
            "     150103000100000001000000 160103000100000002000000 170104000100000006000000 "
            "80000000"
            "404040404040"
            "0900 000103000100000005000000 010103000100000004000000 020103000100000008000000"
            "     030103000100000001000000 060103000100000001000000 1101040001000000f2000000"
            "     150103000100000001000000 160103000100000004000000 170104000100000014000000 "
            "00000000"
            "c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0c0");
        QCOMPARE(tiff.size(), 262);
        const auto image = ZRKClipmuleData::portableImageData(tiff, nullptr);
        QVERIFY(image);
        QCOMPARE(sizeOf(*image), QSize(3, 2));
        QCOMPARE(QImage::fromData(*image).pixelColor(0, 0), QColor(0x40, 0x40, 0x40));
    }

    void withoutANativeDictionary() {
        QVERIFY(!ZRKClipmuleData::portableImageData(std::nullopt, nullptr));
        QVERIFY(!ZRKClipmuleData::portableImageData(QByteArray(), nullptr));
        const auto image =
            ZRKClipmuleData::portableImageData(encoded(plain({2000, 1000}), "png"), nullptr);
        QVERIFY(image);
        QCOMPARE(sizeOf(*image), QSize(1600, 800));
    }

    void currentApplication() {
        QCOMPARE(ZRKClipmuleData::currentAppID(_desktop->services), std::nullopt);
        _desktop->application.current = QStringLiteral("org.example.editor");
        QCOMPARE(ZRKClipmuleData::currentAppID(_desktop->services),
                 std::optional(QStringLiteral("org.example.editor")));
    }

    void oneImageFile() {
        writeFile(path(QStringLiteral("my photo.2.png")), encoded(plain({10, 10}), "png"));
        const auto clip = captureFiles({path(QStringLiteral("my photo.2.png"))});
        QVERIFY(clip);
        QCOMPARE(clip->itemCount(), 1);
        QCOMPARE(clip->title(), std::optional(QStringLiteral("my photo.2")));
        const auto item = clip->firstItem();
        QVERIFY(item->data() == clip.get());
        QVERIFY(item->hasPNG());
        QCOMPARE(item->string(), std::optional(QStringLiteral("my photo.2.png")));
        QVERIFY(item->nativeDictionary()->contains(NSFilenamesPboardType));

        writeFile(path(QStringLiteral(".png")), encoded(plain({10, 10}), "png"));
        QCOMPARE(captureFiles({path(QStringLiteral(".png"))})->title(),
                 std::optional(QStringLiteral(".png")));
    }

    void severalImageFiles() {
        writeFile(path(QStringLiteral("a.jpg")), encoded(plain({10, 10}), "jpeg"));
        writeFile(path(QStringLiteral("b.tif")), encoded(plain({20, 20}), "tiff"));
        const auto clip =
            captureFiles({path(QStringLiteral("b.tif")), path(QStringLiteral("a.jpg"))});
        QVERIFY(clip);
        QCOMPARE(clip->itemCount(), 2);
        QVERIFY(!clip->title());
        QCOMPARE(clip->items()[0]->string(), std::optional(QStringLiteral("b.tif")));
        QCOMPARE(sizeOf(*clip->items()[0]->imageData()), QSize(20, 20));
        QCOMPARE(clip->items()[1]->string(), std::optional(QStringLiteral("a.jpg")));
        QVERIFY(clip->items()[1]->hasPNG());
        // The clipboard's own representations go with the first.
        QVERIFY(clip->items()[0]->nativeDictionary()->contains(NSStringPboardType));
        QCOMPARE(clip->items()[1]->nativeDictionary(),
                 std::optional(ZRKClipmuleData::NativeDictionary()));
    }

    void filesOfThePhotoManager() {
        writeFile(path(QStringLiteral("a.png")), encoded(plain({10, 10}), "png"));
        _desktop->application.current = identifierOf(ApplicationRole::PhotoManager);
        const auto clip =
            capture({{{NSFilenamesPboardType, fileNames({path(QStringLiteral("a.png"))})}}});
        QVERIFY(clip->hasImageData());
    }

    void filesOfOtherApplicationsAreNotLoaded() {
        writeFile(path(QStringLiteral("a.png")), encoded(plain({10, 10}), "png"));
        for (const std::optional<QString> &application :
             {std::optional<QString>(), std::optional(QStringLiteral("org.example.editor")),
              std::optional(identifierOf(ApplicationRole::Spreadsheet))}) {
            _desktop->application.current = application;
            const auto clip =
                capture({{{NSFilenamesPboardType, fileNames({path(QStringLiteral("a.png"))})}}});
            QVERIFY(clip);
            QVERIFY(!clip->hasImageData());
            QVERIFY(clip->firstItem()->nativeDictionary()->contains(NSFilenamesPboardType));
        }
    }

    void largestFileSet() {
        // 30 MiB together; what follows the image in the file does not matter to it.
        const QString image = path(QStringLiteral("a.jpg"));
        const QString filler = path(QStringLiteral("b.jpg"));
        const QByteArray jpeg = encoded(plain({10, 10}), "jpeg");
        writeFile(image, jpeg);
        writeFile(filler, jpeg);
        const auto isLoaded = [&](qint64 total) {
            QFile file(filler);
            return file.resize(total - jpeg.size()) &&
                   captureFiles({image, filler})->hasImageData();
        };
        QVERIFY(isLoaded(31'457'279));
        QVERIFY(isLoaded(31'457'280));
        QVERIFY(!isLoaded(31'457'281));
        const auto clip = captureFiles({image, filler});
        QCOMPARE(clip->itemCount(), 1);
        QCOMPARE(clip->firstItem()->string(), std::optional(image + u'\n' + filler));
        QVERIFY(!clip->title());
    }

    void mostFiles() {
        const QString image = path(QStringLiteral("a.png"));
        writeFile(image, encoded(plain({1, 1}), "png"));
        for (const auto &[count, isLoaded] :
             {std::pair(999, true), std::pair(1000, true), std::pair(1001, false)}) {
            const auto clip = captureFiles(QStringList(count, image));
            QCOMPARE(clip->itemCount(), isLoaded ? count : 1);
            QCOMPARE(clip->hasImageData(), isLoaded);
        }
    }

    void fileThatIsNoImageFallsBack() {
        writeFile(path(QStringLiteral("a.png")), encoded(plain({10, 10}), "png"));
        writeFile(path(QStringLiteral("b.txt")), "text");
        const QStringList paths{path(QStringLiteral("a.png")), path(QStringLiteral("b.txt"))};
        const auto clip = captureFiles(paths);
        QVERIFY(clip);
        QCOMPARE(clip->itemCount(), 1);
        QVERIFY(!clip->hasImageData());
        QCOMPARE(clip->firstItem()->string(), std::optional(paths.join(u'\n')));
    }

    void missingFileFallsBack() {
        QVERIFY(!captureFiles({path(QStringLiteral("none.png"))})->hasImageData());
        QVERIFY(!captureFiles({_desktop->folder.path()})->hasImageData());
        QVERIFY(!captureFiles({})->hasImageData());
    }

    void pipeFallsBack() {
        const QString pipe = path(QStringLiteral("pipe.png"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(!captureFiles({pipe})->hasImageData());
    }

    void textCopiedInAFileManagerIsText() {
        _desktop->application.current = identifierOf(ApplicationRole::FileManager);
        const auto clip = captureText(QStringLiteral("renamed"));
        QCOMPARE(clip->itemCount(), 1);
        QCOMPARE(clip->firstItem()->string(), std::optional(QStringLiteral("renamed")));
    }

    void largeImageFileIsReduced() {
        writeFile(path(QStringLiteral("a.png")), encoded(plain({2000, 1000}), "png"));
        const auto item = captureFiles({path(QStringLiteral("a.png"))})->firstItem();
        QCOMPARE(sizeOf(*item->imageData()), QSize(1600, 800));
        QVERIFY(!item->nativeDictionary()->contains(NSTIFFPboardType));
    }

private:
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> capture(const Contents &copied) {
        _desktop->pasteboard.copyByAnotherApplication(copied.contents);
        return ZRKClipmuleData::initFromPasteboard(_desktop->services);
    }
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> captureText(const QString &text) {
        return capture({{{NSStringPboardType, text.toUtf8()}}});
    }
    // Copied in a file manager.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> captureFiles(const QStringList &paths) {
        _desktop->application.current = identifierOf(ApplicationRole::FileManager);
        return capture({{{NSFilenamesPboardType, fileNames(paths)},
                         {NSStringPboardType, paths.join(u'\n').toUtf8()}}});
    }
    [[nodiscard]] QString path(const QString &name) const {
        return _desktop->folder.filePath(name);
    }
    std::unique_ptr<Desktop> _desktop;
};

QTEST_MAIN(CaptureTest)
#include "tst_capture.moc"
