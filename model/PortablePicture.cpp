// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/PortablePicture.h"

#include "Common/Categories/ZRKNSImageCategory.h"
#include "platform/images/ImageCodec.h"

namespace clipmule::PortablePicture {

namespace {

using ImageCodec::WrittenPng;

constexpr QSize square{reducedSide, reducedSide};

bool isToBeReduced(QSize size) {
    return size.isValid() && qint64(size.width()) * size.height() > mostPixels;
}

// As PNG, or as JPEG where that is too large. A PNG stays as it was written where it is small
// enough; one that is not is tried again only where its writer made no effort.
QByteArray inItsOwnSize(const QImage &image, const std::optional<WrittenPng> &written,
                        const std::atomic_bool &isAbandoned) {
    if (written && !written->bytes.isEmpty())
        return written->bytes;
    if (!written || written->isInHaste) {
        if (const auto png = ImageCodec::png(image, largestPng, &isAbandoned))
            return *png;
    }
    return isAbandoned ? QByteArray() : ImageCodec::jpeg(image, jpegCompressionFactor);
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
            forms.full = largest < 0 ? QByteArray("") : inItsOwnSize(*image, written, isAbandoned);
        if (forms.full && forms.full->size() > largest)
            forms.full = QByteArray("");
    } else {
        forms.portable = inItsOwnSize(*image, written, isAbandoned);
    }
    return isAbandoned ? std::nullopt : std::optional(forms);
}

} // namespace clipmule::PortablePicture
