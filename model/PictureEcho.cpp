// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/PictureEcho.h"

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"

#include <QCryptographicHash>

namespace clipmule {

namespace {

// A mark that is the same for the same pixels, however they were encoded; empty when the bytes are
// no image.
QByteArray markOf(const QByteArray &bytes, const std::atomic_bool &isAbandoned) {
    try {
        const auto decoded = ImageCodec::decode(bytes, {.isAbandoned = &isAbandoned});
        if (!decoded)
            return {};
        const QImage image = decoded->convertToFormat(QImage::Format_ARGB32);
        QCryptographicHash hash(QCryptographicHash::Sha1);
        hash.addData(QByteArray::number(image.width()));
        for (int y = 0; y < image.height(); ++y)
            hash.addData(QByteArrayView(image.constScanLine(y), qsizetype(image.width()) * 4));
        return hash.result();
    } catch (const PlatformException &) {
        return {};
    }
}

// Some formats turn the image by a note, and some tell its size only with the pixels.
bool mayHaveSamePixels(const QByteArray &left, const QByteArray &right) {
    const auto first = ImageCodec::describe(left);
    const auto second = ImageCodec::describe(right);
    return first && second &&
           (!first->size.isValid() || !second->size.isValid() || first->size == second->size ||
            first->size == second->size.transposed());
}

} // namespace

PictureEcho::PictureEcho(const ZRKClipmuleData &written) {
    const auto item = written.firstItem();
    if (!item || !item->hasImageData())
        return;
    _image = written.writtenImage();
    _string = item->string();
    _url = item->url();
}

bool PictureEcho::hasPixelsOf(const QByteArray &copied, const std::atomic_bool &isAbandoned) const {
    if (!_image || !mayHaveSamePixels(*_image, copied))
        return false;
    if (copied == *_image)
        return true;
    const QByteArray mark = markOf(*_image, isAbandoned);
    return !mark.isEmpty() && markOf(copied, isAbandoned) == mark;
}

bool PictureEcho::isIn(const ZRKClipmuleData &captured) const {
    const auto item = captured.firstItem();
    if (captured.itemCount() != 1 || !item->hasImageData())
        return false;
    const bool isOtherText = item->hasString() && item->string() != _string;
    const bool isOtherUrl = item->hasURL() && item->url() != _url;
    return !isOtherText && !isOtherUrl;
}

} // namespace clipmule
