// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/DataFile.h"
#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/Log.h"
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

// What is read is not kept: it is asked for once in a while, and may be as large as an image.
std::optional<ZRKClipmuleDataItem::NativeDictionary> ZRKClipmuleDataItem::nativeDictionary() const {
    if (!_itemFlags.hasNativeDictionary || _itemFlags.clearsNativeDictionary)
        return std::nullopt;
    if (_nativeDictionary)
        return _nativeDictionary;
    std::optional<NativeDictionary> read;
    (void)ClipboardStore::shared().load(nativeDictionaryPath(), [&read](const ArchiveValue &root) {
        NativeDictionary dictionary;
        const PropertyList value = root.propertyList().value();
        for (const auto &[type, bytes] : value.dictionary().asKeyValueRange())
            dictionary.insert(type, bytes.data());
        read = std::move(dictionary);
    });
    return read;
}

void ZRKClipmuleDataItem::releaseCachedData() {
    clearTransientCache();
    if (!_itemFlags.isNativeDictionaryDirty)
        _nativeDictionary.reset();
    if (!_itemFlags.isImageDataDirty)
        _imageData.reset();
}

void ZRKClipmuleDataItem::saveExtraData() {
    if (_itemFlags.clearsNativeDictionary) {
        DataFile::remove(nativeDictionaryPath());
        _itemFlags.clearsNativeDictionary = false;
        _nativeDictionary.reset();
    } else if (_itemFlags.isNativeDictionaryDirty) {
        _itemFlags.isNativeDictionaryDirty = !saveNativeDictionary();
    }
    if (_itemFlags.isImageDataDirty)
        _itemFlags.isImageDataDirty = !saveImageData();
    // The item stays dirty after a save that was not made for an archive, too.
    if (_itemFlags.isImageDataDirty || _itemFlags.isNativeDictionaryDirty)
        _itemFlags.isDirty = true;
}

bool ZRKClipmuleDataItem::saveNativeDictionary() {
    const QString path = nativeDictionaryPath();
    const ArchiveValue root = ArchiveValue(_nativeDictionary).immutable();
    const bool isSaved = ClipboardStore::shared().save(root, path);
    if (!isSaved && !_itemFlags.isNativeDictionaryFailureLogged)
        qCWarning(logModel).noquote() << "FAILED TO SAVE" << path;
    _itemFlags.isNativeDictionaryFailureLogged = !isSaved;
    return isSaved;
}

bool ZRKClipmuleDataItem::saveImageData() {
    const QString path = imageDataPath();
    bool isSaved = true;
    if (!_imageData) {
        DataFile::remove(path);
    } else {
        try {
            DataFile::write(path, *_imageData);
        } catch (const PlatformException &exception) {
            isSaved = false;
            ClipboardStore::shared().noteFailure(exception.reason());
            if (!_itemFlags.isImageFailureLogged)
                qCWarning(logModel).noquote() << "FAILED TO SAVE" << path;
        }
    }
    _itemFlags.isImageFailureLogged = !isSaved;
    return isSaved;
}

// Removes every file that the flags say may be on disk, the ones that the next save would delete
// included.
void ZRKClipmuleDataItem::erase() {
    if (_itemFlags.hasNativeDictionary || _itemFlags.clearsNativeDictionary)
        DataFile::remove(nativeDictionaryPath());
    if (_itemFlags.hasImageData || _itemFlags.isImageDataDirty)
        DataFile::remove(imageDataPath());
}

} // namespace clipmule
