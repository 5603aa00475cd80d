// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/ImageCodec.h"

#include "platform/foundation/PlatformException.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QPainter>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <limits>
#include <memory>

#include <jpeglib.h>
#include <png.h>
#include <zlib.h>

namespace clipmule::ImageCodec {

namespace {

[[noreturn]] void raise(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidImage"), reason);
}

// Raster formats with a signature of their own, as far as their plugins are installed. Drawings
// are no raster images, and formats without a signature are found in any garbage.
bool isKnownFormat(const QByteArray &format) {
    static const QList<QByteArray> formats{"avif", "bmp", "gif",  "heic", "heif", "icns", "ico",
                                           "jp2",  "jpg", "jpeg", "jxl",  "png",  "tiff", "webp"};
    return formats.contains(format);
}

// Whether the reader has an image of a format known here. Where the first bytes tell the format,
// its plug-in alone is asked, and loaded: all of them would stay in memory.
bool canRead(QImageReader &reader, QByteArrayView bytes) {
    constexpr qsizetype beforeName = QLatin1StringView("image/").size();
    if (const QString type = typeOf(bytes); !type.isEmpty()) {
        reader.setFormat(type.sliced(beforeName).toLatin1());
        reader.setAutoDetectImageFormat(false);
    }
    return reader.canRead() && isKnownFormat(reader.format());
}

bool isOpaque(const QImage &image) {
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        QRgb common = 0xff000000;
        for (int x = 0; x < image.width(); ++x)
            common &= line[x];
        if (qAlpha(common) != 0xff)
            return false;
    }
    return true;
}

QImage onWhite(const QImage &image) {
    if (!image.hasAlphaChannel())
        return image;
    QImage opaque(image.size(), QImage::Format_RGB32);
    if (opaque.isNull())
        raise(QStringLiteral("no memory for the image"));
    opaque.fill(Qt::white);
    opaque.setColorSpace(image.colorSpace());
    QPainter(&opaque).drawImage(0, 0, image);
    return opaque;
}

// What an image's colours mean; empty where they mean what everybody takes them for.
QByteArray profileOf(const QImage &image) {
    const QColorSpace space = image.colorSpace();
    const bool needsProfile = space.isValid() && space != QColorSpace(QColorSpace::SRgb);
    return needsProfile ? space.iccProfile() : QByteArray();
}

// For formats that do not tell their size beforehand. Process-wide, and so set by one thread only.
void limitAllocations() {
    [[maybe_unused]] static const bool isSet = [] {
        constexpr qint64 mebibyte = 1024 * 1024;
        QImageReader::setAllocationLimit(int(largestDecoded / mebibyte));
        return true;
    }();
}

// Image bytes that end, for who reads them, when nobody wants the picture any more.
class AbandonableBuffer final : public QBuffer {
public:
    explicit AbandonableBuffer(const std::atomic_bool *isAbandoned)
        : _isAbandoned(isAbandoned) {}

protected:
    qint64 readData(char *data, qint64 most) override {
        return _isAbandoned && *_isAbandoned ? -1 : QBuffer::readData(data, most);
    }

private:
    const std::atomic_bool *_isAbandoned;
};

} // namespace

bool isJpeg(QByteArrayView bytes) {
    return bytes.startsWith("\xFF\xD8\xFF\xE0") || bytes.startsWith("\xFF\xD8\xFF\xE1");
}

bool isPng(QByteArrayView bytes) {
    return bytes.startsWith("\x89PNG");
}

QString typeOf(QByteArrayView bytes) {
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return QStringLiteral("image/png");
    if (bytes.startsWith("\xff\xd8\xff"))
        return QStringLiteral("image/jpeg");
    if (bytes.startsWith(QByteArrayView("II*\0", 4)) ||
        bytes.startsWith(QByteArrayView("MM\0*", 4)))
        return QStringLiteral("image/tiff");
    if (bytes.startsWith("GIF87a") || bytes.startsWith("GIF89a"))
        return QStringLiteral("image/gif");
    if (bytes.size() >= 12 && bytes.startsWith("RIFF") && bytes.sliced(8, 4) == "WEBP")
        return QStringLiteral("image/webp");
    if (bytes.startsWith("BM"))
        return QStringLiteral("image/bmp");
    return {};
}

std::optional<Description> describe(const QByteArray &bytes) {
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!canRead(reader, bytes))
        return std::nullopt;
    return Description{reader.format(), reader.size()};
}

std::optional<QImage> decode(const QByteArray &bytes, const Decoding &decoding) {
    limitAllocations();
    AbandonableBuffer buffer(decoding.isAbandoned);
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!canRead(reader, bytes))
        return std::nullopt;
    // Cameras turn the picture by a note in its header, which a re-encoded image does not carry.
    reader.setAutoTransform(true);

    const QSize size = reader.size();
    constexpr qint64 bytesPerPixel = 4;
    if (size.isValid() && qint64(size.width()) * size.height() > largestDecoded / bytesPerPixel) {
        raise(QStringLiteral("an image of %1 x %2 pixels is too large")
                  .arg(size.width())
                  .arg(size.height()));
    }
    if (decoding.jpegSize.isValid() && reader.format() == "jpeg")
        reader.setScaledSize(decoding.jpegSize);
    QImage image = reader.read();
    if (decoding.isAbandoned && *decoding.isAbandoned)
        return std::nullopt;
    if (image.isNull())
        raise(reader.errorString());
    if (!image.hasAlphaChannel()) {
        image.convertTo(QImage::Format_RGB32);
    } else {
        image.convertTo(QImage::Format_ARGB32);
        // Screenshots have an alpha channel that says nothing; without it they become smaller.
        if (isOpaque(image))
            image.reinterpretAsFormat(QImage::Format_RGB32);
    }
    if (image.isNull())
        raise(QStringLiteral("no memory for the image"));
    return image;
}

namespace {

// Of the levels and filters tried on a photo and a screenshot of 12 million pixels, these make the
// smallest screenshots, and take three quarters of the time of the default filters at this level
// and a third of the default level's.
constexpr int compressionLevel = 3;
// In haste, a photo of 24 million pixels takes 0.9 s instead of 1.75, and 36.7 MB instead of 35.3.
constexpr int compressionLevelInHaste = 1;
constexpr int filters = PNG_FILTER_NONE | PNG_FILTER_SUB;

// A PNG that is being written into memory, up to a number of bytes. It stops at the first byte too
// many: a photo's PNG is ten times the limit, and making all of it takes a second. The library
// reports errors by a long jump, past which no object may be alive that needs to be destroyed: all
// of them live in encoded().
struct Png {
    qsizetype largest;
    // Looked at for every row, where it is given.
    const std::atomic_bool *isAbandoned;
    bool isInHaste; // half the time, some percent larger
    QByteArray bytes = {};
    bool isFull = false;

    static void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }
    static void ignoreWarning(png_structp, png_const_charp) {}
    static void flush(png_structp) {}

    static void append(png_structp png, png_bytep data, size_t count) {
        auto *const self = static_cast<Png *>(png_get_io_ptr(png));
        self->isFull = count > size_t(self->largest - self->bytes.size());
        if (self->isFull)
            png_longjmp(png, 1);
        self->bytes.append(reinterpret_cast<const char *>(data), qsizetype(count));
    }

    bool write(png_structp png, png_infop info, const QImage &image,
               const QByteArray &colorProfile) const {
        if (setjmp(png_jmpbuf(png)))
            return false;
        const bool hasAlpha = image.hasAlphaChannel();
        png_set_IHDR(png, info, png_uint_32(image.width()), png_uint_32(image.height()), 8,
                     hasAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (!colorProfile.isEmpty()) {
            png_set_iCCP(png, info, "ICC", PNG_COMPRESSION_TYPE_BASE,
                         reinterpret_cast<png_const_bytep>(colorProfile.constData()),
                         png_uint_32(colorProfile.size()));
        }
        png_set_compression_level(png, isInHaste ? compressionLevelInHaste : compressionLevel);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, filters);
        png_write_info(png, info);
        // A pixel is a number of the machine, alpha in its highest byte.
        if constexpr (std::endian::native == std::endian::little)
            png_set_bgr(png);
        else if (hasAlpha)
            png_set_swap_alpha(png);
        if (!hasAlpha) {
            png_set_filler(png, 0,
                           std::endian::native == std::endian::little ? PNG_FILLER_AFTER
                                                                      : PNG_FILLER_BEFORE);
        }
        for (int y = 0; y < image.height(); ++y) {
            if (isAbandoned && *isAbandoned)
                return false;
            png_write_row(png, image.constScanLine(y));
        }
        png_write_end(png, info);
        return true;
    }
};

std::optional<QByteArray> encoded(const QImage &image, Png result) {
    const bool isOurFormat =
        image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32;
    png_structp png = isOurFormat ? png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr,
                                                            Png::fail, Png::ignoreWarning)
                                  : nullptr;
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool isComplete = false;
    if (info) {
        png_set_write_fn(png, &result, Png::append, Png::flush);
        // A profile that the library does not like is left out.
        png_set_benign_errors(png, 1);
        isComplete = result.write(png, info, image, profileOf(image));
    }
    png_destroy_write_struct(&png, &info);
    if (isComplete) {
        result.bytes.squeeze();
        return result.bytes;
    }
    if (!result.isFull && !(result.isAbandoned && *result.isAbandoned))
        raise(QStringLiteral("the image cannot be written as PNG"));
    return std::nullopt;
}

} // namespace

std::optional<QByteArray> png(const QImage &image, qsizetype largest,
                              const std::atomic_bool *isAbandoned) {
    return encoded(image, {.largest = largest, .isAbandoned = isAbandoned, .isInHaste = false});
}

std::optional<QByteArray> quickPng(const QImage &image, qsizetype largest,
                                   const std::atomic_bool &isAbandoned) {
    return encoded(image, {.largest = largest, .isAbandoned = &isAbandoned, .isInHaste = true});
}

namespace {

// The chunks that make the pixels and their colours. The others are texts, dates, resolutions, or
// further frames.
bool isOfThePicture(QByteArrayView type) {
    static const QList<QByteArray> types{"IHDR", "PLTE", "IDAT", "IEND", "tRNS", "gAMA",
                                         "cHRM", "sRGB", "iCCP", "sBIT", "cICP"};
    return types.contains(type);
}

// A chunk that nobody may pass over has a first letter in upper case.
bool isCritical(QByteArrayView type) {
    return type[0] >= 'A' && type[0] <= 'Z';
}

} // namespace

std::optional<WrittenPng> writtenPng(QByteArrayView bytes, qsizetype largest) {
    constexpr QByteArrayView signature("\x89PNG\r\n\x1a\n");
    constexpr qsizetype around = 12; // length, type and check sum
    if (!bytes.startsWith(signature))
        return std::nullopt;
    QList<QByteArrayView> chunks{signature};
    qsizetype size = signature.size();
    QByteArrayView compressed; // the first of it
    for (qsizetype at = signature.size(); bytes.size() - at >= around;) {
        const qsizetype length = qFromBigEndian<quint32>(bytes.data() + at);
        if (length > bytes.size() - at - around)
            return std::nullopt;
        const QByteArrayView chunk = bytes.sliced(at, length + around);
        const QByteArrayView type = chunk.sliced(4, 4);
        const QByteArrayView checked = chunk.sliced(4, length + 4);
        const auto sum =
            ::crc32(0, reinterpret_cast<const Bytef *>(checked.data()), uInt(checked.size()));
        if (sum != qFromBigEndian<quint32>(chunk.data() + length + 8))
            return std::nullopt;
        at += chunk.size();
        if (!isOfThePicture(type) && isCritical(type))
            return std::nullopt;
        if (!isOfThePicture(type))
            continue;
        chunks.append(chunk);
        size += chunk.size();
        if (type == "IDAT" && compressed.isEmpty())
            compressed = checked.sliced(4);
        if (type != "IEND")
            continue;
        if (compressed.size() < 2)
            return std::nullopt;
        // The compressor's own word for its effort, in the upper two bits.
        WrittenPng png{.bytes = {}, .isInHaste = quint8(compressed[1]) >> 6U == 0};
        if (size <= largest) {
            png.bytes.reserve(size);
            for (const QByteArrayView each : std::as_const(chunks))
                png.bytes.append(each);
        }
        return png;
    }
    return std::nullopt;
}

namespace {

// A JPEG that is being written into memory, up to a number of bytes: of a large picture of which a
// small one is wanted, the first rows tell. As with PNG, errors are long jumps.
struct Jpeg {
    qint64 largest;
    const std::atomic_bool *isAbandoned;
    QByteArray bytes = {};
    bool isRefused = false;
    char reason[JMSG_LENGTH_MAX] = {};
    jpeg_compress_struct compressor = {};
    jpeg_error_mgr errors = {};
    jpeg_destination_mgr destination = {};
    std::array<JOCTET, 0x4000> room = {};
    jmp_buf failed = {};

    static void fail(j_common_ptr compressor) {
        Jpeg &self = *static_cast<Jpeg *>(compressor->client_data);
        compressor->err->format_message(compressor, self.reason);
        longjmp(self.failed, 1);
    }
    static void ignoreWarning(j_common_ptr, int) {}
    static void beginRoom(j_compress_ptr compressor) {
        Jpeg &self = *static_cast<Jpeg *>(compressor->client_data);
        self.destination.next_output_byte = self.room.data();
        self.destination.free_in_buffer = self.room.size();
    }
    static boolean takeRoom(j_compress_ptr compressor) {
        Jpeg &self = *static_cast<Jpeg *>(compressor->client_data);
        self.take(self.room.size());
        beginRoom(compressor);
        return TRUE;
    }
    static void takeRest(j_compress_ptr compressor) {
        Jpeg &self = *static_cast<Jpeg *>(compressor->client_data);
        self.take(self.room.size() - self.destination.free_in_buffer);
    }
    void take(size_t count) {
        isRefused = qint64(count) > largest - bytes.size() || (isAbandoned && *isAbandoned);
        if (isRefused)
            longjmp(failed, 1);
        bytes.append(reinterpret_cast<const char *>(room.data()), qsizetype(count));
    }

    bool write(const QImage &image, int quality, const QByteArray &colorProfile) {
        compressor.err = jpeg_std_error(&errors);
        errors.error_exit = fail;
        errors.emit_message = ignoreWarning;
        compressor.client_data = this;
        if (setjmp(failed))
            return false;
        jpeg_create_compress(&compressor);
        destination.init_destination = beginRoom;
        destination.empty_output_buffer = takeRoom;
        destination.term_destination = takeRest;
        compressor.dest = &destination;
        compressor.image_width = JDIMENSION(image.width());
        compressor.image_height = JDIMENSION(image.height());
        // A pixel is a number of the machine, blue in its lowest byte.
        compressor.input_components = 4;
        compressor.in_color_space =
            std::endian::native == std::endian::little ? JCS_EXT_BGRX : JCS_EXT_XRGB;
        jpeg_set_defaults(&compressor);
        jpeg_set_quality(&compressor, quality, TRUE);
        constexpr double metersPerInch = 0.0254;
        compressor.density_unit = 1; // an inch
        compressor.X_density = UINT16(std::lround(image.dotsPerMeterX() * metersPerInch));
        compressor.Y_density = UINT16(std::lround(image.dotsPerMeterY() * metersPerInch));
        jpeg_start_compress(&compressor, TRUE);
        if (!colorProfile.isEmpty()) {
            jpeg_write_icc_profile(&compressor,
                                   reinterpret_cast<const JOCTET *>(colorProfile.constData()),
                                   unsigned(colorProfile.size()));
        }
        while (compressor.next_scanline < compressor.image_height) {
            // The library takes rows that it could write to, and does not.
            auto *row = const_cast<JSAMPROW>(image.constScanLine(int(compressor.next_scanline)));
            jpeg_write_scanlines(&compressor, &row, 1);
        }
        jpeg_finish_compress(&compressor);
        return true;
    }
};

std::optional<QByteArray> encodedJpeg(const QImage &image, double compressionFactor, qint64 largest,
                                      const std::atomic_bool *isAbandoned) {
    constexpr int best = 100;
    const int quality = int(std::lround(std::clamp(compressionFactor, 0.0, 1.0) * best));
    const QImage opaque = onWhite(image).convertToFormat(QImage::Format_RGB32);
    // Too much for the stack of a worker thread.
    const auto result =
        std::make_unique<Jpeg>(Jpeg{.largest = largest, .isAbandoned = isAbandoned});
    const bool isComplete = result->write(opaque, quality, profileOf(opaque));
    jpeg_destroy_compress(&result->compressor);
    if (isComplete) {
        result->bytes.squeeze();
        return result->bytes;
    }
    if (!result->isRefused) {
        raise(QStringLiteral("the image cannot be written as JPEG: %1")
                  .arg(QString::fromLatin1(result->reason)));
    }
    return std::nullopt;
}

} // namespace

QByteArray jpeg(const QImage &image, double compressionFactor) {
    return encodedJpeg(image, compressionFactor, std::numeric_limits<qint64>::max(), nullptr)
        .value();
}

std::optional<QByteArray> jpeg(const QImage &image, double compressionFactor, qint64 largest,
                               const std::atomic_bool &isAbandoned) {
    return encodedJpeg(image, compressionFactor, largest, &isAbandoned);
}

} // namespace clipmule::ImageCodec
