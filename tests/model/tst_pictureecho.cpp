// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

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
        const auto clip = receivedImage(sent);
        PictureEcho echo(*clip);
        // The very bytes, and what a manager makes of them that keeps pixels.
        const QImage decoded = QImage::fromData(sent);
        for (const Contents &contents :
             {Contents({{NSTIFFPboardType, sent}}),
              Contents(
                  {{publicPng, encoded(decoded.convertToFormat(QImage::Format_RGB888), "png")}}),
              Contents(
                  {{publicPng, encoded(decoded.convertToFormat(QImage::Format_ARGB32), "png")}}),
              Contents({{NSTIFFPboardType, encoded(decoded, "bmp")}})}) {
            const auto captured = capture(contents);
            QVERIFY(captured->hash() != clip->hash() ||
                    contents.contents.others.contains(publicPng) || ImageCodec::isPng(sent));
            QVERIFY(echo.isIn(*captured));
            QVERIFY(echo.isIn(*captured));
        }
    }

    void anotherPictureIsNone() {
        const QImage image = noise({60, 40});
        PictureEcho echo(*receivedImage(encoded(image, "png")));
        QImage other = image;
        other.setPixel(59, 39, other.pixel(59, 39) ^ 1U);
        QVERIFY(!echo.isIn(*capture({{{publicPng, encoded(other, "png")}}})));
        QVERIFY(!echo.isIn(*capture({{{publicPng, encoded(image.copy(0, 0, 60, 39), "png")}}})));
        QVERIFY(echo.isIn(*capture({{{publicPng, encoded(image, "png")}}})));
        // The same pixels in other lines.
        PictureEcho square(*receivedImage(encoded(plain({4, 9}), "png")));
        QVERIFY(!square.isIn(*capture({{{publicPng, encoded(plain({9, 4}), "png")}}})));
        QVERIFY(square.isIn(*capture({{{publicPng, encoded(plain({4, 9}), "png")}}})));
    }

    void textBesideThePicture() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        PictureEcho echo(*received({{QStringLiteral("imageData"), png},
                                    {QStringLiteral("string"), QStringLiteral("caption")},
                                    {QStringLiteral("url"), QStringLiteral("http://a.org/")}}));
        const Contents::Representation image{publicPng, png};
        const Contents::Representation caption{NSStringPboardType, "caption"};
        const Contents::Representation url{NSURLPboardType, "http://a.org/"};
        QVERIFY(echo.isIn(*capture({{image}})));
        QVERIFY(echo.isIn(*capture({{image, caption}})));
        QVERIFY(echo.isIn(*capture({{image, url}})));
        QVERIFY(!echo.isIn(*capture({{caption}})));
        QVERIFY(!echo.isIn(*capture({{image, {NSStringPboardType, "other"}}})));
        QVERIFY(!echo.isIn(*capture({{image, {NSURLPboardType, "http://b.org/"}}})));
        PictureEcho bare(*receivedImage(png));
        QVERIFY(!bare.isIn(*capture({{image, caption}})));
        QVERIFY(!bare.isIn(*capture({{image, url}})));
    }

    void withoutAPicture() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        const auto captured = capture({{{publicPng, png}}});
        QVERIFY(!PictureEcho().isIn(*captured));
        QVERIFY(!PictureEcho(*ZRKClipmuleData::initWithItems({})).isIn(*captured));
        QVERIFY(
            !PictureEcho(*ZRKClipmuleData::initWithString(QStringLiteral("text"))).isIn(*captured));
        PictureEcho damaged(*receivedImage("no picture"));
        QVERIFY(!damaged.isIn(*ZRKClipmuleData::initWithImageData("no picture")));
        QVERIFY(!damaged.isIn(*captured));
        QVERIFY(!damaged.isIn(*capture({{{NSTIFFPboardType, "no picture"}}})));
        QVERIFY(!damaged.isIn(*ZRKClipmuleData::initWithItems({})));
    }

    void severalPicturesAreNotOne() {
        const QByteArray png = encoded(plain({10, 10}), "png");
        PictureEcho echo(*ZRKClipmuleData::initWithImageDatas({png, png}));
        // Only the first of them is on the clipboard.
        QVERIFY(echo.isIn(*capture({{{publicPng, png}}})));
        QVERIFY(!echo.isIn(*ZRKClipmuleData::initWithImageDatas({png, png})));
    }

private:
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> capture(const Contents &copied) {
        _desktop->pasteboard.copyByAnotherApplication(copied.contents);
        return ZRKClipmuleData::initFromPasteboard(_desktop->services);
    }
    std::unique_ptr<Desktop> _desktop;
};

QTEST_GUILESS_MAIN(PictureEchoTest)
#include "tst_pictureecho.moc"
