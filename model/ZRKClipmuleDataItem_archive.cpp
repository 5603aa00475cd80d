// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleDataItem.h"

namespace clipmule {

namespace {

// The persistent cache of another version holds values that are derived in other ways.
constexpr qint64 currentCacheVersion = 2;

const QString oidKey = QStringLiteral("oid");
const QString imageDataHashKey = QStringLiteral("imageDataHash");
const QString stringKey = QStringLiteral("string");
const QString urlKey = QStringLiteral("url");
const QString hasImageDataKey = QStringLiteral("hasImageData");
const QString hasNativeDictionaryKey = QStringLiteral("hasNativeDictionary");
const QString cacheDictionaryKey = QStringLiteral("cacheDictionary");
const QString cacheVersionKey = QStringLiteral("cacheVersion");
const QString createdByKey = QStringLiteral("createdBy");

} // namespace

QStringList ZRKClipmuleDataItem::archivedClassNames() const {
    return {QStringLiteral("ZRKClipmuleDataItem"), QStringLiteral("NSObject")};
}

void ZRKClipmuleDataItem::encodeWithCoder(Encoder &coder) {
    saveExtraData();
    const bool hasSavedImage = _itemFlags.hasImageData && !_itemFlags.isImageDataDirty;
    const bool hasSavedNativeDictionary =
        _itemFlags.hasNativeDictionary && !_itemFlags.isNativeDictionaryDirty;
    coder.encodeObject(oid(), oidKey);
    coder.encodeObject(quint32(hasSavedImage ? _imageDataHash : 0), imageDataHashKey);
    coder.encodeObject(_string, stringKey);
    coder.encodeObject(_url ? ArchiveValue(*_url, urlText()) : ArchiveValue(), urlKey);
    coder.encodeBool(hasSavedImage, hasImageDataKey);
    coder.encodeBool(hasSavedNativeDictionary, hasNativeDictionaryKey);
    if (coder.allowsKeyedCoding())
        coder.encodeObject(_persistentCacheDictionary, cacheDictionaryKey);
    coder.encodeInteger(currentCacheVersion, cacheVersionKey);
    coder.encodeInteger(_createdBy, createdByKey);
    // The archive claims no side file that could not be written yet, so the item stays dirty.
    _itemFlags.isDirty = _itemFlags.isImageDataDirty || _itemFlags.isNativeDictionaryDirty;
}

void ZRKClipmuleDataItem::initWithCoder(Decoder &coder) {
    _itemFlags = {};
    _oid = coder.decodeString(oidKey);
    const std::optional<PropertyList> hash = coder.decodeNumber(imageDataHashKey);
    _imageDataHash = hash ? quint32(hash->unsignedValue()) : 0;
    _string = coder.decodeString(stringKey);
    const ArchiveValue url = coder.decodeObject(urlKey);
    _url = url.url();
    // A stored URL that is not valid any more counts as none.
    if (_url && !_url->isValid())
        _url.reset();
    if (_url)
        _urlText = url.urlText();
    _itemFlags.hasImageData = coder.decodeBool(hasImageDataKey);
    _itemFlags.hasNativeDictionary = coder.decodeBool(hasNativeDictionaryKey);
    std::optional<PropertyList> cache;
    if (coder.allowsKeyedCoding())
        cache = coder.decodePropertyList(cacheDictionaryKey);
    if (coder.decodeInteger(cacheVersionKey) == currentCacheVersion && cache)
        _persistentCacheDictionary = cache->dictionary();
    _createdBy = coder.decodeInteger(createdByKey);
}

} // namespace clipmule
