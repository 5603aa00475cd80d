// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/PortablePicture.h"

#include "Common/Categories/ZRKNSImageCategory.h"
#include "platform/images/ImageCodec.h"

#include <algorithm>
#include <limits>

namespace clipmule::PortablePicture {

namespace {

using ImageCodec::WrittenPng;

constexpr QSize square{reducedSide, reducedSide};
constexpr qint64 anySize = std::numeric_limits<qint64>::max();

bool isToBeReduced(QSize size) {
    return size.isValid() && qint64(size.width()) * size.height() > mostPixels;
}

// What was copied.
struct Source {
    bool isJpeg;
    qsizetype size; // in bytes
    std::optional<WrittenPng> png;
};

// As PNG of so many bytes at most; nothing where it has more. A PNG stays as it was written where
// it is small enough; one that is not is tried again only where its writer made no effort. What a
// JPEG has left of a picture takes more bytes without loss than it took there.
std::optional<QByteArray> asPng(const QImage &image, const Source &source, qint64 largest,
                                const std::atomic_bool &isAbandoned) {
    if (source.png && !source.png->bytes.isEmpty() && source.png->bytes.size() <= largest)
        return source.png->bytes;
    if ((source.png && !source.png->isInHaste) || (source.isJpeg && source.size > largest))
        return std::nullopt;
    return ImageCodec::png(image, largest, &isAbandoned);
}

// As PNG, or as JPEG where that is too large; no bytes where both have more than so many.
QByteArray inItsOwnSize(const QImage &image, const Source &source, qint64 largest,
                        const std::atomic_bool &isAbandoned) {
    if (const auto png = asPng(image, source, std::min(largest, qint64(largestPng)), isAbandoned))
        return *png;
    return ImageCodec::jpeg(image, jpegCompressionFactor, largest, isAbandoned)
        .value_or(QByteArray(""));
}

} // namespace

std::optional<Forms> make(const QByteArray &picture, const LargestFull &largestFull,
                          const std::atomic_bool &isAbandoned) {
    const auto described = ImageCodec::describe(picture);
    if (!described)
        return std::nullopt;
    const Source source{.isJpeg = described->format == "jpeg",
                        .size = picture.size(),
                        .png = ImageCodec::writtenPng(picture, largestPng)};
    const bool isReduced = isToBeReduced(described->size);
    if (source.png && !source.png->bytes.isEmpty() && !isReduced)
        return Forms{source.png->bytes};

    ImageCodec::Decoding decoding{.isAbandoned = &isAbandoned};
    if (isReduced && !largestFull)
        decoding.jpegSize = ZRKNSImageCategory::sizeWithMaxSize(described->size, square);
    const std::optional<QImage> image = ImageCodec::decode(picture, decoding);
    if (!image)
        return std::nullopt;
    Forms forms;
    if (isReduced || isToBeReduced(image->size())) {
        forms.portable = ImageCodec::jpeg(ZRKNSImageCategory::copyWithMaxSize(*image, square),
                                          jpegCompressionFactor);
        const qint64 largest = largestFull ? largestFull(forms.portable.size()) : -1;
        if (largestFull)
            forms.full =
                largest < 0 ? QByteArray("") : inItsOwnSize(*image, source, largest, isAbandoned);
    } else {
        forms.portable = inItsOwnSize(*image, source, anySize, isAbandoned);
    }
    return isAbandoned ? std::nullopt : std::optional(forms);
}

} // namespace clipmule::PortablePicture
