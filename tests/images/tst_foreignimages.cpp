// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QImageWriter>
#include <QTest>
#include <QtEndian>

#include <cstdio>

#include <jpeglib.h>
#include <zlib.h>

using namespace clipmule;
using ImageCodec::decode;
using ImageCodec::Decoding;
using ImageCodec::writtenPng;

namespace {

// The decoder's own word.
const char *const endsTooSoon = "Corrupt JPEG data: premature end of data segment";

constexpr qsizetype anySize = 1'000'000'000;

// Four fields: red, green; blue, white.
QImage fields(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const bool isLeft = x < size.width() / 2;
            const bool isUpper = y < size.height() / 2;
            image.setPixel(x, y,
                           isUpper ? (isLeft ? 0xffff0000 : 0xff00ff00)
                                   : (isLeft ? 0xff0000ff : 0xffffffff));
        }
    }
    return image;
}

// The colours of the corners, in reading order: "RGBW" of the above.
QByteArray corners(const QImage &image) {
    const auto letter = [&](int x, int y) -> char {
        const QColor colour = image.pixelColor(x, y);
        const auto isFull = [](int channel) { return channel > 200; };
        if (isFull(colour.red()) && isFull(colour.green()))
            return isFull(colour.blue()) ? 'W' : 'Y';
        return isFull(colour.red()) ? 'R' : isFull(colour.green()) ? 'G' : 'B';
    };
    const int right = image.width() - 3;
    const int bottom = image.height() - 3;
    return QByteArray() + letter(2, 2) + letter(right, 2) + letter(2, bottom) +
           letter(right, bottom);
}

enum class Kind { Plain, Grey, Cmyk, Progressive };

// As the library writes it; what other programs make of it is one of its options.
QByteArray jpegOf(const QImage &image, Kind kind) {
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char *bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &bytes, &size);
    jpeg.image_width = JDIMENSION(image.width());
    jpeg.image_height = JDIMENSION(image.height());
    jpeg.input_components = kind == Kind::Cmyk ? 4 : kind == Kind::Grey ? 1 : 3;
    jpeg.in_color_space = kind == Kind::Cmyk   ? JCS_CMYK
                          : kind == Kind::Grey ? JCS_GRAYSCALE
                                               : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 95, TRUE);
    if (kind == Kind::Progressive)
        jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row;
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            // Printers' inks are written as what is left of the light.
            if (kind == Kind::Grey)
                row.append(char(qGray(pixel)));
            else
                row += QByteArray() + char(qRed(pixel)) + char(qGreen(pixel)) + char(qBlue(pixel));
            if (kind == Kind::Cmyk)
                row.append('\xff');
        }
        auto *line = reinterpret_cast<JSAMPROW>(row.data());
        jpeg_write_scanlines(&jpeg, &line, 1);
    }
    jpeg_finish_compress(&jpeg);
    QByteArray result(reinterpret_cast<const char *>(bytes), qsizetype(size));
    jpeg_destroy_compress(&jpeg);
    ::free(bytes);
    return result;
}

// With a camera's note how it was held.
QByteArray turned(QByteArray jpeg, quint8 orientation) {
    const QByteArray note = QByteArray::fromHex("ffe1 0022 457869660000 49492a0008000000"
                                                "0100 1201 0300 01000000") +
                            char(orientation) + QByteArray::fromHex("000000 00000000");
    return jpeg.insert(2, note);
}

// The size in the frame's header, replaced.
QByteArray jpegClaiming(QByteArray jpeg, quint16 width, quint16 height) {
    for (const char kind : {'\xc0', '\xc2'}) {
        const qsizetype frame = jpeg.indexOf(QByteArray("\xff") + kind);
        if (frame < 0)
            continue;
        qToBigEndian(height, jpeg.data() + frame + 5);
        qToBigEndian(width, jpeg.data() + frame + 7);
    }
    return jpeg;
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

const QByteArray signature("\x89PNG\r\n\x1a\n");

// One grey pixel, with so much effort.
QByteArray compressed(int level) {
    const QByteArray raw(2, '\0');
    QByteArray bytes(100, '\0');
    uLongf size = 100;
    ::compress2(reinterpret_cast<Bytef *>(bytes.data()), &size,
                reinterpret_cast<const Bytef *>(raw.constData()), 2, level);
    return bytes.first(qsizetype(size));
}

const QByteArray header = chunk("IHDR", QByteArray::fromHex("00000001 00000001 08 00 00 00 00"));
const QByteArray ending = chunk("IEND", "");

QByteArray onePixel() {
    return signature + header + chunk("IDAT", compressed(6)) + ending;
}

} // namespace

// Pictures as cameras, browsers and damaged disks make them.
class ForeignImagesTest final : public kit::TestCase {
    Q_OBJECT

public:
    // Some versions of the decoder say this once, some twice.
    ForeignImagesTest()
        : TestCase(QStringLiteral("^(?!JPEG datastream contains no image)")) {}

private Q_SLOTS:
    void everyWayToHoldACamera_data() {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("as it is") << 1 << QByteArray("RGBW");
        QTest::newRow("left to right") << 2 << QByteArray("GRWB");
        QTest::newRow("upside down") << 3 << QByteArray("WBGR");
        QTest::newRow("top to bottom") << 4 << QByteArray("BWRG");
        QTest::newRow("transposed") << 5 << QByteArray("RBGW");
        QTest::newRow("a quarter to the right") << 6 << QByteArray("BRWG");
        QTest::newRow("the other diagonal") << 7 << QByteArray("WGBR");
        QTest::newRow("a quarter to the left") << 8 << QByteArray("GWRB");
    }
    void everyWayToHoldACamera() {
        QFETCH(int, orientation);
        QFETCH(QByteArray, expected);
        const QByteArray jpeg = turned(jpegOf(fields({128, 96}), Kind::Plain), quint8(orientation));
        const bool isOnItsSide = orientation >= 5;
        const auto whole = decode(jpeg);
        QVERIFY(whole);
        QCOMPARE(whole->size(), isOnItsSide ? QSize(96, 128) : QSize(128, 96));
        QCOMPARE(corners(*whole), expected);
        const auto small = decode(jpeg, {.jpegSize = {45, 34}});
        QVERIFY(small);
        QCOMPARE(small->size(), isOnItsSide ? QSize(34, 45) : QSize(45, 34));
        QCOMPARE(corners(*small), expected);
    }

    void everyKindOfJpeg_data() {
        QTest::addColumn<QByteArray>("jpeg");
        QTest::addColumn<QByteArray>("expected");
        const QImage image = fields({128, 96});
        QTest::newRow("plain") << jpegOf(image, Kind::Plain) << QByteArray("RGBW");
        QTest::newRow("progressive") << jpegOf(image, Kind::Progressive) << QByteArray("RGBW");
        QTest::newRow("for printers") << jpegOf(image, Kind::Cmyk) << QByteArray("RGBW");
        QTest::newRow("grey") << jpegOf(image, Kind::Grey) << QByteArray("BBBW");
    }
    void everyKindOfJpeg() {
        QFETCH(QByteArray, jpeg);
        QFETCH(QByteArray, expected);
        for (const QSize size : {QSize(), QSize(127, 95), QSize(64, 48), QSize(1, 1)}) {
            const auto image = decode(jpeg, {.jpegSize = size});
            QVERIFY(image);
            QCOMPARE(image->format(), QImage::Format_RGB32);
            QCOMPARE(image->size(), size.isValid() ? size : QSize(128, 96));
            if (size != QSize(1, 1))
                QCOMPARE(corners(*image), expected);
        }
    }

    void onlyJpegIsReducedWhileItIsDecoded() {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(QImageWriter(&buffer, "png").write(fields({128, 96})));
        QCOMPARE(decode(buffer.data(), {.jpegSize = {64, 48}})->size(), QSize(128, 96));
    }

    // What is missing is grey, as in every program that shows it.
    void aJpegThatIsCutShortIsShown() {
        const QByteArray whole = jpegOf(fields({128, 96}), Kind::Plain);
        const QByteArray cut = whole.first(whole.size() - 100);
        for (const QSize size : {QSize(), QSize(64, 48)}) {
            QTest::ignoreMessage(QtWarningMsg, endsTooSoon);
            const auto image = decode(cut, {.jpegSize = size});
            QVERIFY(image);
            QCOMPARE(corners(*image).first(2), QByteArray("RG"));
        }
        QVERIFY_THROWS_EXCEPTION(PlatformException, (void)decode(whole.first(100)));
        QVERIFY_THROWS_EXCEPTION(PlatformException,
                                 (void)decode(whole.first(100), {.jpegSize = {64, 48}}));
    }

    // Refused by their whole size, however little of it is wanted.
    void jpegsThatClaimTooMuchAreRefused_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<bool>("isTooLarge");
        QTest::newRow("the most it can say") << 65500 << 65500 << true;
        QTest::newRow("one line") << 65500 << 1025 << true;
        QTest::newRow("one above") << 8193 << 8192 << true;
        QTest::newRow("at the limit") << 8192 << 8192 << false;
    }
    void jpegsThatClaimTooMuchAreRefused() {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(bool, isTooLarge);
        for (const Kind kind : {Kind::Plain, Kind::Progressive}) {
            // Of an honest one the pixels are made as far as its size allows, so it is not tried
            // in full.
            const QByteArray jpeg =
                jpegClaiming(jpegOf(fields({16, 16}), kind), quint16(width), quint16(height));
            const QSize small{width / 64, height / 64};
            if (!isTooLarge)
                QTest::ignoreMessage(QtWarningMsg, endsTooSoon);
            QString reason;
            try {
                QCOMPARE(decode(jpeg, {.jpegSize = small})->size(), small);
            } catch (const PlatformException &exception) {
                reason = exception.reason();
            }
            QCOMPARE(reason, isTooLarge ? QStringLiteral("an image of %1 x %2 pixels is too large")
                                              .arg(width)
                                              .arg(height)
                                        : QString());
        }
    }

    void whoWantsNoPictureGetsNone_data() {
        QTest::addColumn<QByteArray>("bytes");
        for (const char *format : {"png", "jpeg", "bmp", "tiff"}) {
            QBuffer buffer;
            buffer.open(QIODevice::WriteOnly);
            QVERIFY(QImageWriter(&buffer, format).write(fields({128, 96})));
            QTest::newRow(format) << buffer.data();
        }
    }
    void whoWantsNoPictureGetsNone() {
        QFETCH(QByteArray, bytes);
        std::atomic_bool isAbandoned = false;
        const auto image = decode(bytes, {.isAbandoned = &isAbandoned});
        QVERIFY(image);
        QVERIFY(ImageCodec::png(*image, anySize, &isAbandoned));
        isAbandoned = true;
        QVERIFY(!decode(bytes, {.isAbandoned = &isAbandoned}));
        QVERIFY(!ImageCodec::png(*image, anySize, &isAbandoned));
        QVERIFY(ImageCodec::png(*image, anySize));
    }

    void aWrittenPngKeepsItsPicture() {
        const QByteArray rest = chunk("IDAT", compressed(6)) + ending;
        QCOMPARE(writtenPng(onePixel(), anySize)->bytes, onePixel());
        for (const char *kept : {"PLTE", "tRNS", "gAMA", "cHRM", "sRGB", "iCCP", "sBIT", "cICP"}) {
            const QByteArray png = signature + header + chunk(kept, "x") + rest;
            QCOMPARE(writtenPng(png, anySize)->bytes, png);
        }
        for (const char *dropped :
             {"tEXt", "iTXt", "zTXt", "tIME", "pHYs", "eXIf", "acTL", "fdAT", "bKGD", "zZZZ"}) {
            const QByteArray png = signature + header + chunk(dropped, "secret") + rest;
            QCOMPARE(writtenPng(png, anySize)->bytes, onePixel());
        }
        QCOMPARE(writtenPng(onePixel() + "what follows", anySize)->bytes, onePixel());
        const QByteArray split = signature + header + chunk("IDAT", compressed(6).first(3)) +
                                 chunk("IDAT", compressed(6).sliced(3)) + ending;
        QCOMPARE(writtenPng(split, anySize)->bytes, split);
    }

    void whatIsNoWholePngIsNone_data() {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray whole = onePixel();
        const QByteArray data = chunk("IDAT", compressed(6));
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("signature") << signature;
        QTest::newRow("JPEG") << jpegOf(fields({16, 16}), Kind::Plain);
        QTest::newRow("no end") << whole.chopped(ending.size());
        QTest::newRow("one byte missing") << whole.chopped(1);
        QTest::newRow("no pixels") << signature + header + ending;
        QTest::newRow("no compressed data") << signature + header + chunk("IDAT", "") + ending;
        QTest::newRow("one byte of it") << signature + header + chunk("IDAT", "x") + ending;
        QTest::newRow("a critical chunk that nobody knows")
            << signature + header + chunk("ZZZZ", "x") + data + ending;
        QTest::newRow("the first letter that makes it critical")
            << signature + header + chunk("AZZZ", "x") + data + ending;
        const auto damaged = [&](const char *name, qsizetype at) {
            QByteArray bytes = whole;
            bytes[at] = char(bytes[at] ^ 1);
            QTest::newRow(name) << bytes;
        };
        damaged("signature damaged", 3);
        damaged("width damaged", signature.size() + 11);
        damaged("type damaged", signature.size() + header.size() + 7);
        damaged("pixels damaged", signature.size() + header.size() + 10);
        damaged("check sum damaged", whole.size() - 1);
        damaged("length of the end damaged", whole.size() - 9);
        QByteArray lying = whole;
        lying.replace(signature.size(), 4, QByteArray::fromHex("ffffffff"));
        QTest::newRow("a chunk of 4 GB") << lying;
        // What it says is there, but its check sum is not.
        lying = signature + header + QByteArray::fromHex("00000001") + "IDATxyz";
        QTest::newRow("a chunk without room") << lying;
    }
    void whatIsNoWholePngIsNone() {
        QFETCH(QByteArray, bytes);
        QVERIFY(!writtenPng(bytes, anySize));
    }

    // Even where memory goes on, and all would be well.
    void nothingIsReadBehindTheEnd() {
        const QByteArray png =
            signature + header + chunk("IDAT", compressed(6)) + chunk("IEND", "12345");
        QVERIFY(writtenPng(png, anySize));
        for (qsizetype missing = 1; missing <= 17; ++missing)
            QVERIFY(!writtenPng(QByteArrayView(png).chopped(missing), anySize));
    }

    void aWrittenPngOfSoManyBytes() {
        const QByteArray png = onePixel();
        const QByteArray noted = signature + header + chunk("tEXt", "note") +
                                 png.sliced(signature.size() + header.size());
        for (const QByteArray &bytes : {png, noted}) {
            QVERIFY(writtenPng(bytes, png.size() - 1)->bytes.isEmpty());
            QCOMPARE(writtenPng(bytes, png.size())->bytes, png);
            QCOMPARE(writtenPng(bytes, png.size() + 1)->bytes, png);
        }
    }

    void theEffortIsKnown() {
        for (int level = 0; level <= 9; ++level) {
            const QByteArray png =
                signature + header + chunk("IDAT", compressed(level)) + chunk("IDAT", "?") + ending;
            QCOMPARE(writtenPng(png, anySize)->isInHaste, level < 2);
            QCOMPARE(writtenPng(png, 0)->isInHaste, level < 2);
        }
    }
};

QTEST_MAIN(ForeignImagesTest)
#include "tst_foreignimages.moc"
