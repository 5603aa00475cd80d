// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/DataFile.h"
#include "model/Log.h"
#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/PlatformException.h"

namespace clipmule {

QString ZRKClipmuleDataItem::imageDataPath() const {
    return ClipboardStore::shared().path(oid(), QStringLiteral("imageData"));
}

QString ZRKClipmuleDataItem::nativeDictionaryPath() const {
    return ClipboardStore::shared().path(oid(), QStringLiteral("nativeDictionary"));
}

std::optional<QByteArray> ZRKClipmuleDataItem::imageData() const {
    if (_imageData || !_itemFlags.hasImageData)
        return _imageData;
    const QString path = imageDataPath();
    try {
        _imageData = DataFile::read(path);
    } catch (const PlatformException &) {
        qCWarning(logModel).noquote() << "FAILED TO READ" << path;
    }
    return _imageData;
}

std::optional<ZRKClipmuleDataItem::NativeDictionary> ZRKClipmuleDataItem::nativeDictionary() const {
    if (!_itemFlags.hasNativeDictionary || _itemFlags.clearsNativeDictionary)
        return std::nullopt;
    return _nativeDictionary;
}

void ZRKClipmuleDataItem::releaseCachedData() {
    clearTransientCache();
    if (!_itemFlags.isNativeDictionaryDirty)
        _nativeDictionary.reset();
    if (!_itemFlags.isImageDataDirty)
        _imageData.reset();
}

void ZRKClipmuleDataItem::saveExtraData() {
    if (!_itemFlags.isImageDataDirty)
        return;
    const QString path = imageDataPath();
    if (_imageData) {
        try {
            DataFile::write(path, *_imageData);
        } catch (const PlatformException &) {
            _itemFlags.hasImageData = false;
            qCWarning(logModel).noquote() << "FAILED TO SAVE" << path;
        }
    } else {
        DataFile::remove(path);
    }
    _itemFlags.isImageDataDirty = false;
}

void ZRKClipmuleDataItem::erase() {
    if (_itemFlags.hasNativeDictionary)
        DataFile::remove(nativeDictionaryPath());
    if (_itemFlags.hasImageData)
        DataFile::remove(imageDataPath());
}

} // namespace clipmule
