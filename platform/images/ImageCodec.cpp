// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/ImageCodec.h"

#include "platform/foundation/PlatformException.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include <png.h>

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

// For formats that do not tell their size beforehand. Process-wide, and so set by one thread only.
void limitAllocations() {
    [[maybe_unused]] static const bool isSet = [] {
        constexpr qint64 mebibyte = 1024 * 1024;
        QImageReader::setAllocationLimit(int(largestDecoded / mebibyte));
        return true;
    }();
}

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
    const QByteArray format = reader.format();
    if (!isKnownFormat(format))
        return std::nullopt;
    return Description{format, reader.size()};
}

std::optional<QImage> decode(const QByteArray &bytes) {
    limitAllocations();
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!isKnownFormat(reader.format()))
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
    QImage image = reader.read();
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

// Writes an image as PNG into memory, up to a number of bytes. It stops at the first byte too
// many: a photo's PNG is ten times the limit, and making all of it takes a second.
class PngEncoder final {
public:
    enum class Outcome { Complete, TooLarge, Abandoned, Failed };

    explicit PngEncoder(qsizetype largest)
        : PngEncoder(largest, nullptr) {}
    // In haste: half the time, some percent larger. Looks at every row whether it is still wanted.
    PngEncoder(qsizetype largest, const std::atomic_bool *isAbandoned)
        : _largest(largest)
        , _isAbandoned(isAbandoned) {}

    // The image is in the format RGB32 or ARGB32; others fail.
    [[nodiscard]] Outcome encode(const QImage &image);
    // The PNG; to be called after a complete encoding.
    [[nodiscard]] QByteArray takeBytes();

private:
    struct Library;

    [[nodiscard]] bool isAbandoned() const { return _isAbandoned && *_isAbandoned; }

    qsizetype _largest;
    const std::atomic_bool *_isAbandoned;
    QByteArray _bytes;
    bool _isFull = false;
};

// What the library calls, and how it is called. It reports errors by a long jump, past which no
// object may be alive that needs to be destroyed: all of them live in encode().
struct PngEncoder::Library {
    static void fail(png_structp png, png_const_charp) { png_longjmp(png, 1); }
    static void ignoreWarning(png_structp, png_const_charp) {}
    static void flush(png_structp) {}

    static void write(png_structp png, png_bytep bytes, size_t count) {
        auto *const encoder = static_cast<PngEncoder *>(png_get_io_ptr(png));
        encoder->_isFull = count > size_t(encoder->_largest - encoder->_bytes.size());
        if (encoder->_isFull)
            png_longjmp(png, 1);
        encoder->_bytes.append(reinterpret_cast<const char *>(bytes), qsizetype(count));
    }

    static bool writeAll(png_structp png, png_infop info, const QImage &image,
                         const QByteArray &colorProfile, const PngEncoder &encoder) {
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
        png_set_compression_level(png, encoder._isAbandoned ? compressionLevelInHaste
                                                            : compressionLevel);
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
            if (encoder.isAbandoned())
                return false;
            png_write_row(png, image.constScanLine(y));
        }
        png_write_end(png, info);
        return true;
    }
};

PngEncoder::Outcome PngEncoder::encode(const QImage &image) {
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
        return Outcome::Failed;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Library::fail,
                                              Library::ignoreWarning);
    if (!png)
        return Outcome::Failed;
    png_infop info = png_create_info_struct(png);
    bool complete = false;
    if (info) {
        png_set_write_fn(png, this, Library::write, Library::flush);
        // A profile that the library does not like is left out.
        png_set_benign_errors(png, 1);
        const QColorSpace space = image.colorSpace();
        const bool needsProfile = space.isValid() && space != QColorSpace(QColorSpace::SRgb);
        const QByteArray profile = needsProfile ? space.iccProfile() : QByteArray();
        complete = Library::writeAll(png, info, image, profile, *this);
    }
    png_destroy_write_struct(&png, &info);
    if (complete)
        return Outcome::Complete;
    if (_isFull)
        return Outcome::TooLarge;
    return isAbandoned() ? Outcome::Abandoned : Outcome::Failed;
}

QByteArray PngEncoder::takeBytes() {
    _bytes.squeeze();
    return std::exchange(_bytes, {});
}

std::optional<QByteArray> encoded(PngEncoder encoder, const QImage &image) {
    switch (encoder.encode(image)) {
    case PngEncoder::Outcome::Complete:
        return encoder.takeBytes();
    case PngEncoder::Outcome::TooLarge:
    case PngEncoder::Outcome::Abandoned:
        return std::nullopt;
    case PngEncoder::Outcome::Failed:
        raise(QStringLiteral("the image cannot be written as PNG"));
    }
    Q_UNREACHABLE();
}

} // namespace

std::optional<QByteArray> png(const QImage &image, qsizetype largest) {
    return encoded(PngEncoder(largest), image);
}

std::optional<QByteArray> quickPng(const QImage &image, qsizetype largest,
                                   const std::atomic_bool &isAbandoned) {
    return encoded(PngEncoder(largest, &isAbandoned), image);
}

QByteArray jpeg(const QImage &image, double compressionFactor) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(int(std::lround(std::clamp(compressionFactor, 0.0, 1.0) * 100)));
    if (!writer.write(onWhite(image)))
        raise(writer.errorString());
    return buffer.data();
}

} // namespace clipmule::ImageCodec
