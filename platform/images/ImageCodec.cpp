// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/images/ImageCodec.h"

#include "platform/foundation/PlatformException.h"
#include "platform/images/PngEncoder.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <cmath>

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
