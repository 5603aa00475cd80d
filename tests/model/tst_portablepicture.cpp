// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "model/PortablePicture.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "tests/kit/TestCase.h"
#include "tests/model/Desktop.h"

#include <QPainter>
#include <QTest>
#include <QtEndian>

#include <array>
#include <cstdlib>
#include <limits>

#include <zlib.h>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;
using PortablePicture::Forms;
using PortablePicture::LargestFull;
using PortablePicture::make;

namespace {

constexpr qint64 anySize = std::numeric_limits<qint64>::max();

LargestFull upTo(qint64 size) {
    return [size](qsizetype) { return size; };
}

QByteArray chunk(const QByteArray &type, const QByteArray &data) {
    QByteArray bytes(4, '\0');
    qToBigEndian(quint32(data.size()), bytes.data());
    bytes += type + data;
    const auto sum = quint32(
        ::crc32(0, reinterpret_cast<const Bytef *>(bytes.constData() + 4), uInt(bytes.size() - 4)));
    bytes.append(4, '\0');
    qToBigEndian(sum, bytes.data() + bytes.size() - 4);
    return bytes;
}

// The image as another program may have written it, padded to so many bytes behind its pixels.
QByteArray pngOf(const QImage &image, int level, qsizetype size = 0, int bits = 8) {
    const QImage rgb = image.convertToFormat(QImage::Format_RGB888);
    QByteArray raw;
    for (int y = 0; y < rgb.height(); ++y) {
        raw += '\0';
        for (int at = 0; at < rgb.width() * 3; ++at)
            raw += QByteArray(bits / 8, char(rgb.constScanLine(y)[at]));
    }
    uLongf length = ::compressBound(uLong(raw.size()));
    QByteArray compressed(qsizetype(length), '\0');
    ::compress2(reinterpret_cast<Bytef *>(compressed.data()), &length,
                reinterpret_cast<const Bytef *>(raw.constData()), uLong(raw.size()), level);
    compressed.truncate(qsizetype(length));
    QByteArray header(8, '\0');
    qToBigEndian(quint32(image.width()), header.data());
    qToBigEndian(quint32(image.height()), header.data() + 4);
    header += char(bits) + QByteArray::fromHex("02000000");
    const QByteArray end = chunk("IEND", "");
    QByteArray png = "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("IDAT", compressed);
    const qsizetype missing = size - png.size() - end.size();
    if (missing >= 12)
        png += chunk("IDAT", QByteArray(missing - 12, '\0'));
    return png + end;
}

QByteArray jpegOf(const QImage &image) {
    return ImageCodec::jpeg(image, 0.9);
}

// The most that any channel of any pixel differs.
int difference(const QImage &left, const QImage &right) {
    int most = left.size() == right.size() ? 0 : 256;
    for (int y = 0; y < left.height() && most < 256; ++y) {
        for (int x = 0; x < left.width(); ++x) {
            const QRgb one = left.pixel(x, y);
            const QRgb other = right.pixel(x, y);
            most = std::max({most, std::abs(qRed(one) - qRed(other)),
                             std::abs(qGreen(one) - qGreen(other)),
                             std::abs(qBlue(one) - qBlue(other))});
        }
    }
    return most;
}

// Slopes, which no scaling changes much.
QImage slopes(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x * 255 / size.width(), y * 255 / size.height(), 128));
    }
    return image;
}

} // namespace

class PortablePictureTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    // Whatever it is made of inside: 16 bits, colours from a table, lines out of order.
    void aSmallPngTravelsAsItWasWritten_data() {
        QTest::addColumn<QByteArray>("png");
        const QImage image = slopes({60, 40});
        QTest::newRow("plain") << pngOf(image, 6);
        QTest::newRow("not compressed") << pngOf(image, 0);
        QTest::newRow("16 bits") << pngOf(image, 6, 0, 16);
        QTest::newRow("a table of colours")
            << encoded(image.convertToFormat(QImage::Format_Indexed8), "png");
        QTest::newRow("grey") << encoded(image.convertToFormat(QImage::Format_Grayscale8), "png");
        QTest::newRow("transparent")
            << encoded(image.convertToFormat(QImage::Format_ARGB32), "png");
        // One pixel is one line in any order.
        QByteArray interlaced = "\x89PNG\r\n\x1a\n";
        interlaced += chunk("IHDR", QByteArray::fromHex("00000001 00000001 08 02 00 00 01"));
        const QByteArray data = pngOf(plain({1, 1}), 6);
        interlaced += data.sliced(33);
        QTest::newRow("interlaced") << interlaced;
    }
    void aSmallPngTravelsAsItWasWritten() {
        QFETCH(QByteArray, png);
        const auto forms = make(png, upTo(anySize), false);
        QVERIFY(forms);
        QVERIFY(!forms->full);
        // Qt writes the resolution, too.
        QCOMPARE(forms->portable, ImageCodec::writtenPng(png, anySize)->bytes);
        QVERIFY(!QImage::fromData(png).isNull());
        QCOMPARE(QImage::fromData(forms->portable).convertToFormat(QImage::Format_ARGB32),
                 QImage::fromData(png).convertToFormat(QImage::Format_ARGB32));
    }

    // A decoder would refuse it.
    void thePixelsOfASmallPngAreNotLookedAt() {
        const QByteArray whole = pngOf(slopes({60, 40}), 6);
        constexpr qsizetype signatureAndHeader = 8 + 25;
        const QByteArray png =
            whole.first(signatureAndHeader) + chunk("IDAT", "no pixels") + chunk("IEND", "");
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ImageCodec::decode(png));
        QCOMPARE(make(png, upTo(anySize), false)->portable, png);
    }

    void itsTextsStayHere() {
        QImage image = plain({20, 20});
        image.setText(u"Source"_s, u"/home/user/secret.xcf"_s);
        const QByteArray png = encoded(image, "png");
        QVERIFY(png.contains("secret"));
        QVERIFY(!make(png, {}, false)->portable.contains("secret"));
    }

    // What is padded behind its pixels is as good as pixels for the size.
    void theLargestPng_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("staysAsItIs");
        QTest::newRow("one below") << 1'499'999 << true;
        QTest::newRow("at the limit") << 1'500'000 << true;
        QTest::newRow("one above") << 1'500'001 << false;
    }
    void theLargestPng() {
        QFETCH(int, size);
        QFETCH(bool, staysAsItIs);
        const QImage image = slopes({60, 40});
        const auto portable = [&](int level) {
            const QByteArray png = pngOf(image, level, size);
            return png.size() == size ? make(png, {}, false)->portable : QByteArray();
        };
        for (const int level : {0, 1, 2, 6, 9})
            QCOMPARE(portable(level).size() == size, staysAsItIs);
        if (staysAsItIs)
            return;
        // Who made an effort is not tried again; who made none is.
        for (const int level : {2, 6, 9})
            QCOMPARE(portable(level), jpegOf(image));
        for (const int level : {0, 1})
            QCOMPARE(portable(level), *ImageCodec::png(image, 1'500'000));
    }

    void aDamagedPngIsRefused() {
        const QByteArray png = pngOf(slopes({60, 40}), 6);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)make(png.first(200), {}, false));
        QVERIFY(!make("no picture", {}, false));
        QVERIFY(!make({}, {}, false));
        // Its header and all of its pixels do not make it whole.
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)make(png.chopped(12), {}, false));
        QByteArray flipped = png;
        flipped[100] = char(flipped[100] ^ 1);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)make(flipped, {}, false));
    }

    void otherFormatsBecomePng() {
        const QImage image = slopes({60, 40});
        for (const char *format : {"jpeg", "bmp", "tiff", "webp"}) {
            const QByteArray bytes = encoded(image, format);
            QCOMPARE(make(bytes, upTo(anySize), false)->portable,
                     *ImageCodec::png(*ImageCodec::decode(bytes), 1'500'000));
        }
        const QByteArray large = encoded(noise({1000, 1000}), "bmp");
        QCOMPARE(make(large, {}, false)->portable, jpegOf(noise({1000, 1000})));
    }

    void aJpegTooLargeForPngIsNotTriedAsOne() {
        const QImage image = slopes({60, 40});
        const auto padded = [&](qsizetype size) {
            QByteArray bytes = encoded(image, "jpeg");
            return bytes.append(size - bytes.size(), '\0');
        };
        QVERIFY(ImageCodec::isPng(make(padded(1'500'000), {}, false)->portable));
        QVERIFY(ImageCodec::isJpeg(make(padded(1'500'001), {}, false)->portable));
        // In its own size the room counts as well.
        QByteArray large = encoded(slopes({2000, 1000}), "jpeg");
        const QByteArray asPng = *make(large, upTo(anySize), false)->full;
        QVERIFY(ImageCodec::isPng(asPng));
        large.append(2 * asPng.size(), '\0');
        QVERIFY(ImageCodec::isPng(*make(large, upTo(large.size()), false)->full));
        QVERIFY(!ImageCodec::isPng(*make(large, upTo(large.size() - 1), false)->full));
    }

    void mostPixels_data() {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("isReduced");
        QTest::newRow("one line below") << QSize(1600, 1199) << false;
        QTest::newRow("at the limit") << QSize(1600, 1200) << false;
        QTest::newRow("one line above") << QSize(1600, 1201) << true;
        QTest::newRow("one column above") << QSize(1601, 1200) << true;
        QTest::newRow("a line") << QSize(60000, 32) << false;
        QTest::newRow("a longer line") << QSize(60001, 32) << true;
    }
    void mostPixels() {
        QFETCH(QSize, size);
        QFETCH(bool, isReduced);
        for (const char *format : {"png", "jpeg", "bmp"}) {
            const QByteArray bytes = encoded(plain(size), format);
            for (const LargestFull &largest : {LargestFull(), upTo(anySize)}) {
                const auto forms = make(bytes, largest, false);
                QVERIFY(forms);
                QCOMPARE(forms->full.has_value(), isReduced && largest);
                QCOMPARE(ImageCodec::isJpeg(forms->portable), isReduced);
                QCOMPARE(QImage::fromData(forms->portable).size(),
                         ZRKNSImageCategory::sizeWithMaxSize(size,
                                                             isReduced ? QSize(1600, 1600) : size));
            }
        }
    }

    // With the full size asked for it is made of all pixels, else of fewer, which looks the same.
    void aReducedJpeg_data() {
        QTest::addColumn<QSize>("size");
        QTest::newRow("wide") << QSize(3000, 1500);
        QTest::newRow("high") << QSize(1203, 2999);
        QTest::newRow("hardly too large") << QSize(1610, 1201);
        QTest::newRow("in a small square") << QSize(1500, 1500);
    }
    void aReducedJpeg() {
        QFETCH(QSize, size);
        const QByteArray jpeg = jpegOf(slopes(size));
        const auto ofAll = make(jpeg, upTo(anySize), false);
        const auto ofFewer = make(jpeg, {}, false);
        QVERIFY(ofAll && ofFewer);
        QCOMPARE(ofAll->portable, jpegOf(ZRKNSImageCategory::copyWithMaxSize(
                                      *ImageCodec::decode(jpeg), {1600, 1600})));
        const QImage image = QImage::fromData(ofFewer->portable);
        QVERIFY(difference(QImage::fromData(ofAll->portable), image) < 12);
    }

    void theFullSize() {
        const QImage image = slopes({2000, 1000});
        const auto full = [](const QByteArray &picture, qint64 largest) {
            return make(picture, upTo(largest), false)->full;
        };
        // A PNG as it was written.
        const QByteArray png = pngOf(image, 6);
        QVERIFY(png.size() < 1'500'000);
        QCOMPARE(full(png, png.size()), png);
        QCOMPARE(full(png, png.size() + 1), png);
        QCOMPARE(full(png, png.size() - 1), jpegOf(image));
        QCOMPARE(full(png, -1), QByteArray(""));
        // Anything else as PNG, or as JPEG.
        const QByteArray made = *ImageCodec::png(image, 1'500'000);
        const QByteArray bitmap = encoded(image, "bmp");
        QCOMPARE(full(bitmap, made.size()), made);
        QVERIFY(made.size() < jpegOf(image).size());
        QCOMPARE(full(bitmap, made.size() - 1), QByteArray(""));
        const QByteArray grain = encoded(noise({2000, 1000}), "bmp");
        const QByteArray asJpeg = jpegOf(noise({2000, 1000}));
        QCOMPARE(full(grain, asJpeg.size()), asJpeg);
        QCOMPARE(full(grain, asJpeg.size() - 1), QByteArray(""));
    }

    // Small enough to be a PNG, but not for the room that there is.
    void theFullSizeIsWhateverHasRoom() {
        QImage image = slopes({2000, 1000});
        QPainter(&image).drawImage(0, 0, noise({2000, 100}));
        const QByteArray asPng = *ImageCodec::png(image, 1'500'000);
        const QByteArray asJpeg = jpegOf(image);
        QVERIFY(asJpeg.size() < asPng.size());
        for (const QByteArray &picture :
             {encoded(image, "bmp"), pngOf(image, 6), pngOf(image, 1)}) {
            const auto full = [&](qint64 largest) {
                return make(picture, upTo(largest), false)->full;
            };
            QVERIFY(ImageCodec::isPng(*full(1'500'000)));
            QCOMPARE(full(asJpeg.size()), asJpeg);
            QCOMPARE(full(asJpeg.size() - 1), QByteArray(""));
        }
    }

    void theFullSizeDependsOnThePortableOne() {
        QList<qsizetype> asked;
        const auto forms = make(
            encoded(noise({2000, 1000}), "bmp"),
            [&](qsizetype portable) {
                asked.append(portable);
                return anySize;
            },
            false);
        QCOMPARE(asked, QList<qsizetype>{forms->portable.size()});
    }

    void nobodyWantsIt() {
        std::atomic_bool isAbandoned = true;
        for (const char *format : {"jpeg", "bmp"})
            QVERIFY(!make(encoded(noise({200, 100}), format), {}, isAbandoned));
        // Said while it is at work.
        isAbandoned = false;
        const auto abandon = [&](qsizetype) {
            isAbandoned = true;
            return anySize;
        };
        QVERIFY(!make(encoded(noise({2000, 1000}), "bmp"), abandon, isAbandoned));
    }
};

QTEST_MAIN(PortablePictureTest)
#include "tst_portablepicture.moc"
