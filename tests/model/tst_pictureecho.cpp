// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipCapture.h"
#include "model/PictureEcho.h"
#include "model/ZRKClipmuleData.h"
#include "platform/images/ImageCodec.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Desktop.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::PasteboardType;

namespace {

using Contents = Copied;

std::shared_ptr<ZRKClipmuleData> received(const PropertyList::Dictionary &item) {
    PropertyList::Dictionary dictionary = item;
    if (!dictionary.contains(QStringLiteral("createdBy")))
        dictionary.insert(QStringLiteral("createdBy"), 1);
    return ZRKClipmuleData::initWithItems({ZRKClipmuleDataItem::initWithDictionary(dictionary)});
}

std::shared_ptr<ZRKClipmuleData> receivedImage(const QByteArray &image) {
    return received({{QStringLiteral("imageData"), image}});
}

} // namespace

// A picture that was received is known again when a clipboard manager has owned it anew.
class PictureEchoTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _desktop = std::make_unique<Desktop>(); }

    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void inAnyEncoding_data() {
        QTest::addColumn<QByteArray>("sent");
        const QImage small = noise({60, 40});
        QTest::newRow("JPEG") << encoded(small, "jpeg");
        QTest::newRow("PNG") << encoded(small, "png");
        QTest::newRow("too large for PNG") << encoded(noise({800, 700}), "jpeg");
        QTest::newRow("to be reduced") << encoded(plain({1601, 1200}), "jpeg");
    }
    void inAnyEncoding() {
        QFETCH(QByteArray, sent);
        const PictureEcho echo(*receivedImage(sent));
        // The very bytes, and what a manager makes of them that keeps pixels.
        const QImage decoded = QImage::fromData(sent);
        for (const Contents &contents :
             {Contents({{NSTIFFPboardType, sent}}),
              Contents(
                  {{publicPng, encoded(decoded.convertToFormat(QImage::Format_RGB888), "png")}}),
              Contents(
                  {{publicPng, encoded(decoded.convertToFormat(QImage::Format_ARGB32), "png")}}),
              Contents({{NSTIFFPboardType, encoded(decoded, "bmp")}})}) {
            QVERIFY(isCopied(echo, contents));
        }
    }

    void anotherPictureIsNone() {
        const QImage image = noise({60, 40});
        const PictureEcho echo(*receivedImage(encoded(image, "png")));
        QImage other = image;
        other.setPixel(59, 39, other.pixel(59, 39) ^ 1U);
        QVERIFY(!isCopied(echo, {{{publicPng, encoded(other, "png")}}}));
        QVERIFY(!isCopied(echo, {{{publicPng, encoded(image.copy(0, 0, 60, 39), "png")}}}));
        QVERIFY(isCopied(echo, {{{publicPng, encoded(image, "png")}}}));
        // The same pixels in other lines.
        const PictureEcho square(*receivedImage(encoded(plain({4, 9}), "png")));
        QVERIFY(!isCopied(square, {{{publicPng, encoded(plain({9, 4}), "png")}}}));
        QVERIFY(isCopied(square, {{{publicPng, encoded(plain({4, 9}), "png")}}}));
    }

    void textBesideThePicture() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        const PictureEcho echo(
            *received({{QStringLiteral("imageData"), png},
                       {QStringLiteral("string"), QStringLiteral("caption")},
                       {QStringLiteral("url"), QStringLiteral("http://a.org/")}}));
        const Contents::Representation image{publicPng, png};
        const Contents::Representation caption{NSStringPboardType, "caption"};
        const Contents::Representation url{NSURLPboardType, "http://a.org/"};
        QVERIFY(isCopied(echo, {{image}}));
        QVERIFY(isCopied(echo, {{image, caption}}));
        QVERIFY(isCopied(echo, {{image, url}}));
        QVERIFY(!isCopied(echo, {{caption}}));
        QVERIFY(!isCopied(echo, {{image, {NSStringPboardType, "other"}}}));
        QVERIFY(!isCopied(echo, {{image, {NSURLPboardType, "http://b.org/"}}}));
        const PictureEcho bare(*receivedImage(png));
        QVERIFY(!isCopied(bare, {{image, caption}}));
        QVERIFY(!isCopied(bare, {{image, url}}));
    }

    void withoutAPicture() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        const Contents copied({{publicPng, png}});
        QVERIFY(!isCopied(PictureEcho(), copied));
        QVERIFY(!isCopied(PictureEcho(*ZRKClipmuleData::initWithItems({})), copied));
        QVERIFY(!isCopied(PictureEcho(*ZRKClipmuleData::initWithString(QStringLiteral("text"))),
                          copied));
        const PictureEcho damaged(*receivedImage("no picture"));
        QVERIFY(!isCopied(damaged, copied));
        QVERIFY(!isCopied(damaged, {{{NSTIFFPboardType, "no picture"}}}));
        QVERIFY(!damaged.hasPixelsOf("no picture", false));
        QVERIFY(!damaged.isIn(*ZRKClipmuleData::initWithItems({})));
        // By their headers they might be the same, but neither has any pixels.
        const QByteArray large = encoded(noise({50, 50}), "png");
        const PictureEcho cut(*receivedImage(large.first(1000)));
        QVERIFY(!cut.hasPixelsOf(large.first(1001), false));
        QVERIFY(!cut.hasPixelsOf(large, false));
    }

    void severalPicturesAreNotOne() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        const PictureEcho echo(*ZRKClipmuleData::initWithImageDatas({png, png}));
        // Only the first of them is on the clipboard.
        QVERIFY(isCopied(echo, {{{publicPng, png}}}));
        QVERIFY(!echo.isIn(*ZRKClipmuleData::initWithImageDatas({png, png})));
    }

    // Of a clip from another desktop the full size is what is on the clipboard.
    void ofAnotherDesktop() {
        const QByteArray reduced = encoded(plain({16, 12}), "jpeg");
        const QImage whole = noise({60, 40});
        const PictureEcho echo(
            *received({{QStringLiteral("imageData"), reduced},
                       {QStringLiteral("createdBy"), 2},
                       {QStringLiteral("nativeDictionary"),
                        PropertyList::Dictionary{{NSTIFFPboardType, encoded(whole, "png")}}}}));
        QVERIFY(isCopied(echo, {{{NSTIFFPboardType, encoded(whole, "bmp")}}}));
        QVERIFY(!isCopied(echo, {{{NSTIFFPboardType, reduced}}}));
    }

    // A photo that its camera noted to be turned comes back upright.
    void turnedPhotos() {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setTransformation(QImageIOHandler::TransformationRotate90);
        QVERIFY(writer.write(noise({40, 20})));
        const PictureEcho echo(*receivedImage(buffer.data()));
        const QImage upright = ImageCodec::decode(buffer.data()).value();
        QCOMPARE(upright.size(), QSize(20, 40));
        QVERIFY(isCopied(echo, {{{publicPng, encoded(upright, "png")}}}));
        QVERIFY(!isCopied(echo, {{{publicPng, encoded(noise({40, 20}), "png")}}}));
    }

    // The size of the pictures decides before their pixels do.
    void otherSizesAreNotDecoded() {
        const QByteArray png = encoded(noise({40, 20}), "png");
        const PictureEcho echo(*receivedImage(png));
        std::atomic_bool isAbandoned = true;
        QVERIFY(!echo.hasPixelsOf(encoded(noise({41, 20}), "png"), isAbandoned));
        QVERIFY(!echo.hasPixelsOf(encoded(noise({40, 20}), "bmp"), isAbandoned));
        QVERIFY(echo.hasPixelsOf(encoded(noise({40, 20}), "bmp"), false));
    }

    void aCopiedFileMayBeIt() {
        const QByteArray png = encoded(noise({40, 20}), "png");
        const PictureEcho echo(*received({{QStringLiteral("imageData"), png},
                                          {QStringLiteral("string"), QStringLiteral("a.bmp")}}));
        const auto file = [&](const QString &name, const QByteArray &bytes) {
            QFile written(_desktop->folder.filePath(name));
            return written.open(QIODevice::WriteOnly) && written.write(bytes) == bytes.size()
                       ? written.fileName()
                       : QString();
        };
        const QString same = file(QStringLiteral("a.bmp"), encoded(noise({40, 20}), "bmp"));
        const QString other = file(QStringLiteral("b.bmp"), encoded(noise({40, 20}), "bmp"));
        _desktop->application.current = identifierOf(ApplicationRole::FileManager);
        const auto areCopied = [&](const QStringList &paths) {
            Contents contents({});
            contents.contents.files = paths;
            return isCopied(echo, contents);
        };
        QVERIFY(areCopied({same}));
        QVERIFY(!areCopied({other})); // its name is another text
        QVERIFY(!areCopied({same, same}));
    }

private:
    [[nodiscard]] bool isCopied(const PictureEcho &echo, const Contents &copied) {
        _desktop->pasteboard.copyByAnotherApplication(copied.contents);
        const auto capture = ClipCapture::begin(_desktop->services);
        const auto pictures = capture->read(echo, false);
        if (!pictures.failures.isEmpty())
            return false;
        return pictures.isReceived && echo.isIn(*capture->clip(pictures));
    }
    std::unique_ptr<Desktop> _desktop;
};

QTEST_GUILESS_MAIN(PictureEchoTest)
#include "tst_pictureecho.moc"
