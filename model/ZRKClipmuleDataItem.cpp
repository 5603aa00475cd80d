// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleDataItem.h"

#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/ClipboardStore.h"
#include "model/DataFile.h"
#include "model/RecordForms.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/images/ImageCodec.h"
#include "platform/propertylist/PropertyListSerialization.h"

namespace clipmule {

namespace {

// The sum of the bytes, which wraps at the width of a machine word.
size_t byteSum(const QByteArray &bytes) {
    // Blocks of a fixed size, whose sum fits into 32 bits, are what compilers turn into vector
    // instructions: six times as fast on the images of large clips.
    constexpr qsizetype block = 4096;
    const auto *at = reinterpret_cast<const quint8 *>(bytes.constData());
    size_t sum = 0;
    qsizetype left = bytes.size();
    for (; left >= block; left -= block, at += block) {
        quint32 blockSum = 0;
        for (qsizetype i = 0; i < block; ++i)
            blockSum += at[i];
        sum += blockSum;
    }
    for (qsizetype i = 0; i < left; ++i)
        sum += at[i];
    return sum;
}

// URLs that were copied from one another share one private object until one is changed.
bool isSameObject(const std::optional<QUrl> &left, const std::optional<QUrl> &right) {
    if (!left || !right)
        return left.has_value() == right.has_value();
    QUrl a = *left;
    QUrl b = *right;
    return a.data_ptr() == b.data_ptr();
}

bool isSameObject(const QByteArray &left, const QByteArray &right) {
    return left.constData() == right.constData() && left.size() == right.size();
}

void setCacheValue(PropertyList::Dictionary &cache, const std::optional<PropertyList> &value,
                   const QString &key) {
    if (value)
        cache.insert(key, *value);
    else
        cache.remove(key);
}

std::optional<PropertyList> cacheValue(const PropertyList::Dictionary &cache, const QString &key) {
    const PropertyList *const value = find(cache, key);
    return value ? std::optional(*value) : std::nullopt;
}

// The key of the representations, whose number is looked at before they are read.
const QString nativeDictionaryKey = QStringLiteral("nativeDictionary");

// The persistent cache of another version holds values that are derived in other ways.
constexpr qint64 currentCacheVersion = 2;

} // namespace

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleDataItem::initWithNativeDictionary(std::optional<NativeDictionary> dictionary) {
    auto item = std::make_shared<ZRKClipmuleDataItem>();
    item->_itemFlags.hasNativeDictionary = dictionary.has_value();
    item->_itemFlags.isNativeDictionaryDirty = dictionary.has_value();
    item->_nativeDictionary = std::move(dictionary);
    return item;
}

QString ZRKClipmuleDataItem::oid() const {
    if (!_oid)
        _oid = ZRKNSStringCategory::uuid();
    return *_oid;
}

// A native dictionary that is still new belongs to what is being set: the capture makes an item of
// it and adds text and image. One that is already saved belongs to the content before.
void ZRKClipmuleDataItem::invalidateNativeDictionary() {
    if (!_itemFlags.hasNativeDictionary || _itemFlags.isNativeDictionaryDirty)
        return;
    _itemFlags.hasNativeDictionary = false;
    _itemFlags.clearsNativeDictionary = true;
}

void ZRKClipmuleDataItem::contentDidChange() {
    setDirty(true);
    clearPersistentCache();
    clearTransientCache();
}

void ZRKClipmuleDataItem::setString(const std::optional<QString> &string) {
    if (_string && string && *_string == *string)
        return;
    invalidateNativeDictionary();
    _string = string;
    _stringHash.reset();
    contentDidChange();
}

void ZRKClipmuleDataItem::setURL(const std::optional<QUrl> &url) {
    if (isSameObject(_url, url))
        return;
    invalidateNativeDictionary();
    setUrl(url);
    contentDidChange();
}

QString ZRKClipmuleDataItem::urlText() const {
    return _urlText ? *_urlText : _url ? _url->toString(QUrl::FullyEncoded) : QString();
}

void ZRKClipmuleDataItem::setImageData(const std::optional<QByteArray> &data) {
    if (data ? _imageData && isSameObject(*_imageData, *data)
             : !_itemFlags.hasImageData && !_imageData)
        return;
    invalidateNativeDictionary();
    _imageData = data;
    _imageDataHash = data ? byteSum(*data) : 0;
    _itemFlags.hasImageData = data.has_value();
    _itemFlags.isImageDataDirty = true;
    contentDidChange();
}

bool ZRKClipmuleDataItem::hasJPEG() const {
    const std::optional<QByteArray> image = imageData();
    return image && ImageCodec::isJpeg(*image);
}

bool ZRKClipmuleDataItem::hasPNG() const {
    const std::optional<QByteArray> image = imageData();
    return image && ImageCodec::isPng(*image);
}

std::optional<PropertyList>
ZRKClipmuleDataItem::nativePropertyListForType(const QString &type) const {
    const std::optional<NativeDictionary> dictionary = nativeDictionary();
    if (!dictionary)
        return std::nullopt;
    const auto found = dictionary->constFind(type);
    if (found == dictionary->constEnd())
        return std::nullopt;
    const auto parsed = PropertyListSerialization::parse(*found);
    return parsed ? std::optional(*parsed) : std::nullopt;
}

void ZRKClipmuleDataItem::setClipmuleDataItem(const ZRKClipmuleDataItem &other) {
    setString(other.string());
    setUrl(other.url());
    _urlText = other._urlText;
    setImageData(other.imageData());
}

quint64 ZRKClipmuleDataItem::size() const {
    quint64 size = 0;
    if (_string)
        size += quint64(_string->size());
    size += quint64(urlText().size());
    if (const std::optional<QByteArray> image = imageData())
        size += quint64(image->size());
    if (const std::optional<NativeDictionary> native = nativeDictionary()) {
        for (const auto &[type, bytes] : native->asKeyValueRange())
            size += quint64(type.size()) + quint64(bytes.size());
    }
    return size;
}

void ZRKClipmuleDataItem::setPersistentCacheValueForKey(const std::optional<PropertyList> &value,
                                                        const QString &key) {
    setCacheValue(_persistentCacheDictionary, value, key);
    // The flag is set directly: setDirty() would drop what was just stored.
    _itemFlags.isDirty = true;
}

std::optional<PropertyList>
ZRKClipmuleDataItem::persistentCacheValueForKey(const QString &key) const {
    return cacheValue(_persistentCacheDictionary, key);
}

void ZRKClipmuleDataItem::setTransientCacheValueForKey(const std::optional<PropertyList> &value,
                                                       const QString &key) {
    setCacheValue(_transientCacheDictionary, value, key);
}

std::optional<PropertyList>
ZRKClipmuleDataItem::transientCacheValueForKey(const QString &key) const {
    return cacheValue(_transientCacheDictionary, key);
}

void ZRKClipmuleDataItem::setDirty(bool dirty) {
    if (dirty == _itemFlags.isDirty)
        return;
    if (dirty) {
        _persistentCacheDictionary.clear();
        _transientCacheDictionary.clear();
    }
    _itemFlags.isDirty = dirty;
}

bool ZRKClipmuleDataItem::isEqual(const Object &other) const {
    const auto *item = dynamic_cast<const ZRKClipmuleDataItem *>(&other);
    if (!item)
        return false;
    if (oid() == item->oid())
        return true;
    return hash() == item->hash() && _string == item->_string && _url == item->_url;
}

size_t ZRKClipmuleDataItem::hash() const {
    size_t hash = _imageDataHash + (_url ? qHash(*_url) : 0);
    if (_string)
        hash += _stringHash ? *_stringHash : qHash(*_string);
    return hash;
}

std::shared_ptr<ZRKClipmuleDataItem> ZRKClipmuleDataItem::copyWithZone() {
    auto copy = fromDictionary(toDictionary());
    copy->resetOID();
    saveExtraData();
    releaseCachedData();
    return copy;
}

QString ZRKClipmuleDataItem::description() const {
    const QString none = QStringLiteral("(null)");
    const std::optional<NativeDictionary> native = nativeDictionary();
    PropertyList::List types;
    if (native) {
        for (const QString &type : native->keys())
            types.append(type);
    }
    return QStringLiteral("%1 %2 %3 %4")
        .arg(native ? PropertyList(types).description() : none,
             _string ? cutForLog(*_string) : none, _url ? cutForLog(urlText()) : none,
             QString::number(hasImageData() ? 1 : 0));
}

void ZRKClipmuleDataItem::setStore(const std::shared_ptr<ClipboardStore> &store) {
    const auto previous = _store.lock();
    if (previous && previous != store) {
        _nativeDictionary = nativeDictionary();
        _itemFlags.isNativeDictionaryDirty = _nativeDictionary.has_value();
        _itemFlags.isImageDataDirty = imageData().has_value();
    }
    _store = store;
}

QString ZRKClipmuleDataItem::pathOf(const QString &extension) const {
    const auto store = _store.lock();
    return store ? store->path(oid(), extension) : QString();
}

std::optional<QByteArray> ZRKClipmuleDataItem::imageData() const {
    if (_imageData || !_itemFlags.hasImageData || _store.expired())
        return _imageData;
    const QString path = imageDataPath();
    if (const auto bytes = DataFile::read(path))
        _imageData = *bytes;
    else
        qCWarning(logModel).noquote() << "FAILED TO READ" << path;
    return _imageData;
}

// What is read is not kept: it is asked for once in a while, and may be as large as an image.
std::optional<ZRKClipmuleDataItem::NativeDictionary> ZRKClipmuleDataItem::nativeDictionary() const {
    if (!_itemFlags.hasNativeDictionary || _itemFlags.clearsNativeDictionary)
        return std::nullopt;
    const auto store = _store.lock();
    if (_nativeDictionary || !store)
        return _nativeDictionary;
    std::optional<NativeDictionary> read;
    (void)store->load(nativeDictionaryPath(), [&read](const ArchiveValue &root) {
        read = RecordForms::bytesOf(root.propertyList().value());
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
    const auto store = _store.lock();
    if (!store)
        return;
    if (_itemFlags.clearsNativeDictionary) {
        DataFile::remove(nativeDictionaryPath());
        _itemFlags.clearsNativeDictionary = false;
        _nativeDictionary.reset();
    } else if (_itemFlags.isNativeDictionaryDirty) {
        const ArchiveValue root = ArchiveValue(_nativeDictionary).immutable();
        _itemFlags.isNativeDictionaryDirty =
            !store->saveSideFile(KeyedArchiver::archivedData(root), nativeDictionaryPath());
    }
    if (_itemFlags.isImageDataDirty)
        _itemFlags.isImageDataDirty = !store->saveSideFile(_imageData, imageDataPath());
    // The item stays dirty after a save that was not made for an archive, too.
    if (_itemFlags.isImageDataDirty || _itemFlags.isNativeDictionaryDirty)
        _itemFlags.isDirty = true;
}

// Removes every file that the flags say may be on disk, the ones that the next save would delete
// included.
void ZRKClipmuleDataItem::erase() {
    if (_store.expired())
        return;
    if (_itemFlags.hasNativeDictionary || _itemFlags.clearsNativeDictionary)
        DataFile::remove(nativeDictionaryPath());
    if (_itemFlags.hasImageData || _itemFlags.isImageDataDirty)
        DataFile::remove(imageDataPath());
}

// All that the forms of an item hold, in the order of archives without keys.
template <typename Item, typename Form>
void ZRKClipmuleDataItem::list(Item &item, Form &form) {
    form.both(QStringLiteral("oid"), item._oid);
    form.archived(
        QStringLiteral("imageDataHash"),
        [&] { return std::optional(quint32(item.hasSavedImage() ? item._imageDataHash : 0)); },
        [&](auto hash) { item._imageDataHash = hash.value_or(0); });
    form.both(QStringLiteral("string"), item._string);
    form.both(
        QStringLiteral("url"),
        [&] {
            return RecordForms::UrlText{item._url, item.urlText()};
        },
        [&](auto read) {
            const bool isUsable = read.url && read.url->isValid();
            item._url = isUsable ? read.url : std::nullopt;
            item._urlText = isUsable ? std::optional(read.text) : std::nullopt;
        });
    form.archived(
        QStringLiteral("hasImageData"), [&] { return item.hasSavedImage(); },
        [&](auto has) { item._itemFlags.hasImageData = has; });
    form.archived(
        QStringLiteral("hasNativeDictionary"),
        [&] { return item.hasNativeDictionary() && !item.isNativeDictionaryDirty(); },
        [&](auto has) { item._itemFlags.hasNativeDictionary = has; });
    form.keyed(QStringLiteral("cacheDictionary"), item._persistentCacheDictionary);
    form.archived(
        QStringLiteral("cacheVersion"), [] { return currentCacheVersion; },
        [&](auto version) {
            item._persistentCacheDictionary = version == currentCacheVersion
                                                  ? item._persistentCacheDictionary
                                                  : PropertyList::Dictionary();
        });
    form.both(QStringLiteral("createdBy"), item._createdBy);
    form.inDictionary(
        nativeDictionaryKey, [&] { return item.nativeDictionary(); },
        [&](auto native) {
            item._itemFlags.hasNativeDictionary = native.has_value();
            item._itemFlags.isNativeDictionaryDirty = native.has_value();
            item._nativeDictionary = native;
        });
    // After the representations, which belong to it.
    form.inDictionary(
        QStringLiteral("imageData"), [&] { return item.imageData(); },
        [&](auto image) { item.setImageData(image); });
}

PropertyList::Dictionary ZRKClipmuleDataItem::toDictionary() const {
    (void)oid();
    RecordForms::DictionaryWriter writer;
    list(*this, writer);
    return writer.dictionary;
}

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleDataItem::initWithDictionary(const PropertyList::Dictionary &dictionary) {
    const PropertyList *const native = find(dictionary, nativeDictionaryKey);
    if (native && native->dictionary().size() > mostRepresentations) {
        throw PlatformException(
            QStringLiteral("InvalidArgument"),
            QStringLiteral("an item of %1 native representations; at most %2 are accepted")
                .arg(native->dictionary().size())
                .arg(mostRepresentations));
    }
    return fromDictionary(dictionary);
}

std::shared_ptr<ZRKClipmuleDataItem>
ZRKClipmuleDataItem::fromDictionary(const PropertyList::Dictionary &dictionary) {
    auto item = std::make_shared<ZRKClipmuleDataItem>();
    RecordForms::DictionaryReader reader(dictionary);
    list(*item, reader);
    return item;
}

void ZRKClipmuleDataItem::encodeWithCoder(Encoder &coder) {
    saveExtraData();
    (void)oid();
    RecordForms::ArchiveWriter writer(coder);
    list(*this, writer);
    // The archive claims no side file that could not be written yet, so the item stays dirty.
    _itemFlags.isDirty = _itemFlags.isImageDataDirty || _itemFlags.isNativeDictionaryDirty;
}

void ZRKClipmuleDataItem::initWithCoder(Decoder &coder) {
    _itemFlags = {};
    RecordForms::ArchiveReader reader(coder);
    list(*this, reader);
}

} // namespace clipmule
