// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "tests/kit/ImagePlugins.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QImageWriter>
#include <QScopeGuard>
#include <QTest>
#include <QtEndian>

#include <cstring>

#include <sys/mman.h>

using namespace clipmule;

namespace {

// Every pixel another colour.
QImage colourful(QSize size, QImage::Format format = QImage::Format_RGB32) {
    QImage image(size, format);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixelColor(x, y, QColor(x * 7 % 256, y * 11 % 256, (x + y) * 13 % 256));
    }
    return image;
}

// Cannot be compressed, the same on every run.
QImage noise(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525U + 1013904223U;
            image.setPixel(x, y, 0xff000000U | (state >> 8U));
        }
    }
    return image;
}

QByteArray encoded(const QImage &image, const char *format) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, format).write(image);
    return buffer.data();
}

// A PNG that consists of its signature and a header for so many pixels.
QByteArray pngHeader(quint32 width, quint32 height) {
    QByteArray header("IHDR");
    header.append(8, '\0');
    qToBigEndian(width, header.data() + 4);
    qToBigEndian(height, header.data() + 8);
    header.append(QByteArray::fromHex("0802000000")); // 8 bits, RGB
    quint32 check = 0xffffffffU;
    for (const char byte : std::as_const(header)) {
        check ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            check = (check >> 1U) ^ ((check & 1U) ? 0xedb88320U : 0U);
    }
    QByteArray bytes = QByteArray::fromHex("89504e470d0a1a0a 0000000d") + header;
    bytes.append(4, '\0');
    qToBigEndian(~check, bytes.data() + bytes.size() - 4);
    return bytes;
}

QByteArray bmpHeader(qint32 width, qint32 height) {
    QByteArray bytes("BM");
    bytes.append(52, '\0');
    bytes[10] = 54; // where the pixels begin
    bytes[14] = 40; // size of the second header
    qToLittleEndian(width, bytes.data() + 18);
    qToLittleEndian(height, bytes.data() + 22);
    bytes[26] = 1;
    bytes[28] = 24; // bits a pixel
    return bytes;
}

// The sizes in the first directory of a TIFF, replaced.
QByteArray tiffClaiming(quint32 width, quint32 height) {
    QByteArray bytes = encoded(colourful({8, 8}), "tiff");
    const auto directory = qFromLittleEndian<quint32>(bytes.constData() + 4);
    const int entries = qFromLittleEndian<quint16>(bytes.constData() + directory);
    for (int i = 0; i < entries; ++i) {
        char *const entry = bytes.data() + directory + 2 + i * 12;
        const auto tag = qFromLittleEndian<quint16>(entry);
        if (tag != 256 && tag != 257)
            continue;
        qToLittleEndian(quint16(4), entry + 2); // a 32-bit number
        qToLittleEndian(tag == 256 ? width : height, entry + 8);
    }
    return bytes;
}

QByteArray gifHeader() {
    // Screen and image of 65535 x 65535 pixels, and no data.
    return QByteArray::fromHex("474946383961 ffffffff 00 00 00 2c 00000000 ffffffff 00 08 00");
}

} // namespace

class ImageCodecTest final : public kit::TestCase {
    Q_OBJECT

public:
    // What the decoder of TIFF says of a damaged one is its own, and each version's.
    ImageCodecTest()
        : TestCase(QStringLiteral("^(?!.*(Invalid pos|StripByteCounts|read.* directory))")) {}

private Q_SLOTS:
    // The first: a plug-in stays where it once was loaded.
    void noOtherPluginIsLoadedThanTheOneOfTheFormat() {
        QCOMPARE(kit::loadedImagePlugins(), QStringList());
        const auto png = ImageCodec::png(colourful({3, 2}), 1000);
        QVERIFY(png);
        QCOMPARE(ImageCodec::describe(*png)->size, QSize(3, 2));
        QVERIFY(ImageCodec::decode(*png));
        QCOMPARE(kit::loadedImagePlugins(), QStringList());

        const QByteArray gif = QByteArray::fromHex("474946383961 01000100 800000 000000 ffffff"
                                                   "2c 00000000 01000100 00 02 02 4401 00 3b");
        QCOMPARE(ImageCodec::describe(gif)->format, QByteArray("gif"));
        QVERIFY(ImageCodec::decode(gif));
        QCOMPARE(kit::loadedImagePlugins(), QStringList{QStringLiteral("libqgif.so")});
    }

    void decodesEveryFormat_data() {
        QTest::addColumn<QByteArray>("format");
        for (const char *format : {"png", "jpeg", "tiff", "bmp", "webp", "ico"})
            QTest::newRow(format) << QByteArray(format);
    }

    void decodesEveryFormat() {
        QFETCH(QByteArray, format);
        QImage image({40, 30}, QImage::Format_RGB32);
        image.fill(QColor(200, 100, 50));
        const auto decoded = ImageCodec::decode(encoded(image, format.constData()));
        QVERIFY(decoded);
        QCOMPARE(decoded->size(), image.size());
        QCOMPARE(decoded->format(), QImage::Format_RGB32);
        const QColor colour = decoded->pixelColor(20, 15);
        QVERIFY2(qAbs(colour.red() - 200) < 4 && qAbs(colour.green() - 100) < 4 &&
                     qAbs(colour.blue() - 50) < 4,
                 qPrintable(colour.name()));
    }

    void opaqueAlphaIsDropped() {
        const QImage image = colourful({20, 20}, QImage::Format_ARGB32);
        const auto decoded = ImageCodec::decode(encoded(image, "png"));
        QVERIFY(decoded);
        QCOMPARE(decoded->format(), QImage::Format_RGB32);
        QCOMPARE(decoded->pixelColor(3, 4), image.pixelColor(3, 4));
    }

    void transparencyStays() {
        QImage image = colourful({20, 20}, QImage::Format_ARGB32);
        // One pixel, the last.
        image.setPixel(19, 19, qRgba(10, 20, 30, 254));
        const auto decoded = ImageCodec::decode(encoded(image, "png"));
        QVERIFY(decoded);
        QCOMPARE(decoded->format(), QImage::Format_ARGB32);
        QCOMPARE(decoded->pixel(19, 19), qRgba(10, 20, 30, 254));
    }

    void photosAreTurnedUpright() {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setTransformation(QImageIOHandler::TransformationRotate90);
        QVERIFY(writer.write(colourful({40, 20})));
        const auto decoded = ImageCodec::decode(buffer.data());
        QVERIFY(decoded);
        QCOMPARE(decoded->size(), QSize(20, 40));
    }

    void whatIsNoRasterImageIsNothing_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("text") << QByteArray("just some text");
        QTest::newRow("zeros") << QByteArray(100, '\0');
        QTest::newRow("drawing") << QByteArray(
            "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
        // Formats that a few plain words look like.
        QTest::newRow("portable bitmap") << QByteArray("P1\n2 2\n0 1 1 0\n");
        QTest::newRow("X bitmap") << encoded(colourful({8, 8}), "xbm");
        QTest::newRow("document") << QByteArray("%PDF-1.4\n");
    }

    void whatIsNoRasterImageIsNothing() {
        QFETCH(QByteArray, bytes);
        QVERIFY(!ImageCodec::decode(bytes));
    }

    void imagesThatClaimTooMuchAreRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("PNG, 60000 x 60000") << pngHeader(60000, 60000);
        QTest::newRow("PNG, the most it can say") << pngHeader(0x7fffffff, 0x7fffffff);
        QTest::newRow("PNG, one line") << pngHeader(1000000, 1000);
        QTest::newRow("BMP") << bmpHeader(60000, 60000);
        QTest::newRow("BMP, upside down") << bmpHeader(60000, -60000);
        QTest::newRow("TIFF") << tiffClaiming(60000, 60000);
        QTest::newRow("GIF") << gifHeader();
    }

    void imagesThatClaimTooMuchAreRefused() {
        QFETCH(QByteArray, bytes);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ImageCodec::decode(bytes));
    }

    // 256 MiB at 4 bytes a pixel are 8192 x 8192. The headers have no pixels behind them: what is
    // not refused for its size is refused for that, with another reason.
    void largestSizeIsThePixelsThatFitIntoMemory() {
        const auto reasonFor = [](quint32 width, quint32 height) {
            try {
                (void)ImageCodec::decode(bmpHeader(qint32(width), qint32(height)));
            } catch (const PlatformException &exception) {
                return exception.reason();
            }
            return QStringLiteral("none");
        };
        const QString tooLarge = QStringLiteral("an image of %1 x 8192 pixels is too large");
        QVERIFY(reasonFor(8191, 8192) != tooLarge.arg(8191));
        QVERIFY(reasonFor(8192, 8192) != tooLarge.arg(8192));
        QCOMPARE(reasonFor(8193, 8192), tooLarge.arg(8193));
    }

    void damagedImagesAreRefused_data() {
        QTest::addColumn<QByteArray>("bytes");
        for (const char *format : {"png", "tiff", "webp"}) {
            const QByteArray bytes = encoded(noise({100, 100}), format);
            QTest::addRow("%s, half", format) << bytes.first(bytes.size() / 2);
        }
        QTest::newRow("PNG, header only") << pngHeader(100, 100);
        QTest::newRow("PNG, signature only") << QByteArray::fromHex("89504e470d0a1a0a");
    }

    void damagedImagesAreRefused() {
        QFETCH(QByteArray, bytes);
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ImageCodec::decode(bytes));
    }

    void pngKeepsEveryPixel_data() {
        QTest::addColumn<QImage>("image");
        QTest::newRow("opaque") << colourful({33, 17});
        QTest::newRow("one pixel") << colourful({1, 1});
        QImage transparent = colourful({33, 17}, QImage::Format_ARGB32);
        for (int x = 0; x < 33; ++x)
            transparent.setPixel(x, 5, qRgba(x, 2 * x, 3 * x, 7 * x));
        QTest::newRow("transparent") << transparent;
    }

    void pngKeepsEveryPixel() {
        QFETCH(QImage, image);
        const auto bytes = ImageCodec::png(image, 100'000);
        QVERIFY(bytes);
        QVERIFY(ImageCodec::isPng(*bytes));
        QImage back;
        QVERIFY(back.loadFromData(*bytes, "png"));
        QCOMPARE(back.hasAlphaChannel(), image.hasAlphaChannel());
        QCOMPARE(back.convertToFormat(image.format()), image);
    }

    void pngStopsAtTheLimit() {
        const QImage image = noise({200, 200});
        const auto whole = ImageCodec::png(image, 1'000'000);
        QVERIFY(whole);
        // Three bytes a pixel that cannot be made fewer.
        QVERIFY(whole->size() > 120'000);
        QVERIFY(ImageCodec::png(image, whole->size() + 1));
        QCOMPARE(ImageCodec::png(image, whole->size()), whole);
        QVERIFY(!ImageCodec::png(image, whole->size() - 1));
        QVERIFY(!ImageCodec::png(image, 0));
    }

    // What nobody may read ends the test.
    void pngDoesNotGoOnAboveTheLimit() {
        constexpr int side = 1024;
        constexpr size_t lineBytes = side * sizeof(QRgb);
        constexpr int readable = 64;
        void *const lines = ::mmap(nullptr, side * lineBytes, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        QVERIFY(lines != MAP_FAILED);
        const auto unmap = qScopeGuard([&] { ::munmap(lines, side * lineBytes); });
        auto *const bytes = static_cast<uchar *>(lines);
        const QImage top = noise({side, readable});
        std::memcpy(bytes, top.constBits(), readable * lineBytes);
        QCOMPARE(::mprotect(bytes + readable * lineBytes, (side - readable) * lineBytes, PROT_NONE),
                 0);
        const QImage image(static_cast<const uchar *>(lines), side, side, qsizetype(lineBytes),
                           QImage::Format_RGB32);
        QVERIFY(!ImageCodec::png(image, 100'000));
    }

    void pngKeepsTheColourSpace() {
        QImage image = colourful({10, 10});
        image.setColorSpace(QColorSpace(QColorSpace::AdobeRgb));
        const auto bytes = ImageCodec::png(image, 100'000);
        QVERIFY(bytes);
        QImage back;
        QVERIFY(back.loadFromData(*bytes, "png"));
        QCOMPARE(back.colorSpace(), image.colorSpace());
    }

    void pngOfAnotherFormatIsRefused() {
        QVERIFY_THROWS_EXCEPTION(
            PlatformException,
            (void)ImageCodec::png(colourful({8, 8}, QImage::Format_RGB888), 100'000));
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ImageCodec::png(QImage(), 100'000));
    }

    void jpegOfTheGivenQuality() {
        const QImage image = noise({64, 64});
        const QByteArray bytes = ImageCodec::jpeg(image, 0.9);
        QVERIFY(ImageCodec::isJpeg(bytes));
        QBuffer expected;
        expected.open(QIODevice::WriteOnly);
        QImageWriter writer(&expected, "jpeg");
        writer.setQuality(90);
        QVERIFY(writer.write(image));
        QCOMPARE(bytes, expected.data());
        QVERIFY(ImageCodec::jpeg(image, 0.5).size() < bytes.size());
    }

    void jpegUpToASize() {
        // Some pixels more than the encoder keeps before it writes any.
        const QImage image = noise({200, 200});
        const QByteArray bytes = ImageCodec::jpeg(image, 0.9);
        const std::atomic_bool isAbandoned = false;
        QCOMPARE(ImageCodec::jpeg(image, 0.9, bytes.size(), isAbandoned), bytes);
        QCOMPARE(ImageCodec::jpeg(image, 0.9, bytes.size() - 1, isAbandoned), std::nullopt);
        QCOMPARE(ImageCodec::jpeg(image, 0.9, 0, isAbandoned), std::nullopt);
        QCOMPARE(ImageCodec::jpeg(image, 0.9, bytes.size(), true), std::nullopt);
        // That is no question of size.
        QVERIFY_THROWS_EXCEPTION(PlatformException,
                                 (void)ImageCodec::jpeg(QImage(), 0.9, 1000, isAbandoned));
    }

    void jpegIsOnWhite() {
        QImage image({16, 16}, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QImage back;
        QVERIFY(back.loadFromData(ImageCodec::jpeg(image, 0.9), "jpeg"));
        QCOMPARE(back.pixelColor(8, 8), QColor(Qt::white));
    }

    void jpegOfTooLongAnImageIsRefused() {
        QVERIFY_THROWS_EXCEPTION(
            PlatformException, (void)ImageCodec::jpeg(QImage(65501, 1, QImage::Format_RGB32), 0.9));
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)ImageCodec::jpeg(QImage(), 0.9));
    }

    void signatures() {
        QVERIFY(ImageCodec::isJpeg(QByteArray::fromHex("ffd8ffe0")));
        QVERIFY(ImageCodec::isJpeg(QByteArray::fromHex("ffd8ffe1")));
        QVERIFY(!ImageCodec::isJpeg(QByteArray::fromHex("ffd8ffe2")));
        QVERIFY(!ImageCodec::isJpeg(QByteArray::fromHex("ffd8ff")));
        QVERIFY(ImageCodec::isPng(QByteArray::fromHex("89504e47")));
        QVERIFY(!ImageCodec::isPng(QByteArray("PNG")));
    }

    void typesAreKnownByTheFirstBytes_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("type");
        const QByteArray png("\x89PNG\r\n\x1a\n");
        QTest::newRow("PNG") << png << QStringLiteral("image/png");
        QTest::newRow("JPEG") << QByteArray("\xff\xd8\xff\xe2") << QStringLiteral("image/jpeg");
        QTest::newRow("TIFF, little end first")
            << QByteArray("II*\0\10\0\0\0", 8) << QStringLiteral("image/tiff");
        QTest::newRow("TIFF, big end first")
            << QByteArray("MM\0*\0\0\0\10", 8) << QStringLiteral("image/tiff");
        QTest::newRow("GIF") << QByteArray("GIF89a") << QStringLiteral("image/gif");
        QTest::newRow("old GIF") << QByteArray("GIF87a") << QStringLiteral("image/gif");
        QTest::newRow("WebP") << QByteArray("RIFF\1\2\3\4WEBP") << QStringLiteral("image/webp");
        QTest::newRow("WebP cut short") << QByteArray("RIFF\1\2\3\4WEB") << QString();
        QTest::newRow("BMP") << QByteArray("BM6") << QStringLiteral("image/bmp");
        QTest::newRow("PNG cut short") << png.first(7) << QString();
        QTest::newRow("nothing") << QByteArray() << QString();
    }

    void typesAreKnownByTheFirstBytes() {
        QFETCH(QByteArray, data);
        QTEST(ImageCodec::typeOf(data), "type");
    }
};

QTEST_MAIN(ImageCodecTest)
#include "tst_imagecodec.moc"
