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
QByteArray markOf(const std::optional<QByteArray> &bytes) {
    if (!bytes)
        return {};
    try {
        const std::optional<QImage> decoded = ImageCodec::decode(*bytes);
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

} // namespace

PictureEcho::PictureEcho(const ZRKClipmuleData &written) {
    const auto item = written.firstItem();
    if (!item || !item->hasImageData())
        return;
    _image = item->imageData();
    _string = item->string();
    _url = item->url();
}

bool PictureEcho::isIn(const ZRKClipmuleData &captured) {
    const auto item = captured.firstItem();
    if ((!_image && _mark.isEmpty()) || captured.itemCount() != 1 || !item->hasImageData())
        return false;
    const bool isOtherText = item->hasString() && item->string() != _string;
    const bool isOtherUrl = item->hasURL() && item->url() != _url;
    if (isOtherText || isOtherUrl)
        return false;
    if (_image) {
        _mark = markOf(ZRKClipmuleData::portableImageData(_image, nullptr));
        _image.reset();
    }
    return !_mark.isEmpty() && markOf(item->imageData()) == _mark;
}

} // namespace clipmule
