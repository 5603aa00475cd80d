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

// As PNG of so many bytes at most; nothing where it has more. A PNG stays as it was written where
// it is small enough; one that is not is tried again only where its writer made no effort.
std::optional<QByteArray> asPng(const QImage &image, const std::optional<WrittenPng> &written,
                                qint64 largest, const std::atomic_bool &isAbandoned) {
    if (written && !written->bytes.isEmpty() && written->bytes.size() <= largest)
        return written->bytes;
    if (written && !written->isInHaste)
        return std::nullopt;
    return ImageCodec::png(image, largest, &isAbandoned);
}

// As PNG, or as JPEG where that is too large; no bytes where both have more than so many.
QByteArray inItsOwnSize(const QImage &image, const std::optional<WrittenPng> &written,
                        qint64 largest, const std::atomic_bool &isAbandoned) {
    if (const auto png = asPng(image, written, std::min(largest, qint64(largestPng)), isAbandoned))
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
    const auto written = ImageCodec::writtenPng(picture, largestPng);
    const bool isReduced = isToBeReduced(described->size);
    if (written && !written->bytes.isEmpty() && !isReduced)
        return Forms{written->bytes};

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
                largest < 0 ? QByteArray("") : inItsOwnSize(*image, written, largest, isAbandoned);
    } else {
        forms.portable = inItsOwnSize(*image, written, anySize, isAbandoned);
    }
    return isAbandoned ? std::nullopt : std::optional(forms);
}

} // namespace clipmule::PortablePicture
