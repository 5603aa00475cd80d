// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/PropertyList.h"

#include <QByteArray>
#include <QMap>
#include <QUrl>

#include <memory>
#include <optional>

namespace clipmule {

class ClipboardStore;
class ZRKClipmuleData;

// The kinds of representation; each constant's value is its own name.
inline const QString ZRKClipmuleDataStringType = QStringLiteral("ZRKClipmuleDataStringType");
inline const QString ZRKClipmuleDataURLType = QStringLiteral("ZRKClipmuleDataURLType");
inline const QString ZRKClipmuleDataImageDataType = QStringLiteral("ZRKClipmuleDataImageDataType");

/// Names of representations in the native dictionary, as every desktop writes and reads them. Text
/// and titles are UTF-8; files are a property list of absolute paths, a URL one of its text and an
/// empty base.
namespace PasteboardType {
inline const QString NSStringPboardType = QStringLiteral("NSStringPboardType");
inline const QString NSRTFPboardType = QStringLiteral("NSRTFPboardType");
inline const QString NSRTFDPboardType = QStringLiteral("NSRTFDPboardType");
inline const QString NSTabularTextPboardType = QStringLiteral("NSTabularTextPboardType");
inline const QString NSMultipleTextSelectionPboardType =
    QStringLiteral("NSMultipleTextSelectionPboardType");
inline const QString NSInkTextPboardType = QStringLiteral("NSInkTextPboardType");
inline const QString NSTIFFPboardType = QStringLiteral("NSTIFFPboardType");
inline const QString NSPICTPboardType = QStringLiteral("NSPICTPboardType");
inline const QString NSFilenamesPboardType = QStringLiteral("NSFilenamesPboardType");
inline const QString NSURLPboardType = QStringLiteral("NSURLPboardType");
inline const QString publicTiff = QStringLiteral("public.tiff");
inline const QString publicPng = QStringLiteral("public.png");
inline const QString publicHtml = QStringLiteral("public.html");
inline const QString publicUrlName = QStringLiteral("public.url-name");
inline const QString applePict = QStringLiteral("com.apple.pict");
inline const QString applePng = QStringLiteral("Apple PNG pasteboard type");
} // namespace PasteboardType

/// One thing that was on the clipboard, in up to four representations at once: text, a URL, the
/// bytes of an image, and the clipboard's own representations (the native dictionary).
///
/// Its dictionary form carries everything and travels to the phones. In a store the two bulky
/// representations are kept in side files named after the item's id, and are loaded when they are
/// asked for; an item that no store keeps has everything in memory. Bytes are shared, never copied.
/// Main thread only.
class ZRKClipmuleDataItem final : public Object, public Coding {
public:
    /// Clipboard type name to the bytes of that representation.
    using NativeDictionary = QMap<QString, QByteArray>;

    /// Origin codes: of items made by this program, and of those in old archives made elsewhere.
    static constexpr qint64 createdByDesktop = 2;
    static constexpr qint64 createdByPhone = 1;

    /// A received item with more native representations is refused. Clipboards offer a few dozen.
    static constexpr qsizetype mostRepresentations = 1'000;

    /// A new item is dirty, of the desktop, without representations and without an id yet.
    ZRKClipmuleDataItem() = default;
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleDataItem>
    initWithNativeDictionary(std::optional<NativeDictionary> dictionary);
    /// Makes an item from its dictionary form, which comes from another machine: a value of the
    /// wrong kind, and too many native representations, raise a PlatformException named
    /// "InvalidArgument".
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleDataItem>
    initWithDictionary(const PropertyList::Dictionary &dictionary);

    /// The id, made when it is first asked for.
    [[nodiscard]] QString oid() const;
    /// Drops the id; the next question for it makes a new one.
    void resetOID() { _oid.reset(); }

    /// The clip that holds this item; not owned, set and cleared by the clip.
    [[nodiscard]] ZRKClipmuleData *data() const { return _data; }
    void setData(ZRKClipmuleData *data) { _data = data; }

    /// Keeps the item in the files of a store; what it has in those of another comes along.
    void setStore(const std::shared_ptr<ClipboardStore> &store);

    [[nodiscard]] const std::optional<QString> &string() const { return _string; }
    /// A string equal to the present one changes nothing.
    void setString(const std::optional<QString> &string);
    [[nodiscard]] bool hasString() const { return _string.has_value(); }
    /// The string's hash as qHash() makes it, where somebody has told it: to make that of a long
    /// string takes milliseconds. Gone with the string.
    [[nodiscard]] std::optional<size_t> stringHash() const { return _stringHash; }
    void setStringHash(size_t hash) { _stringHash = hash; }

    [[nodiscard]] const std::optional<QUrl> &url() const { return _url; }
    /// The very URL already held changes nothing; one that is merely equal counts as a change.
    void setURL(const std::optional<QUrl> &url);
    /// Stores the value and does nothing else: no flag, no cache, no native dictionary is touched.
    void setUrl(const std::optional<QUrl> &url) {
        _url = url;
        _urlText.reset();
    }
    [[nodiscard]] bool hasURL() const { return _url.has_value(); }
    /// The URL's text as it was received or archived; of any other URL the encoded one. Empty
    /// without a URL.
    [[nodiscard]] QString urlText() const;

    /// The image's bytes, in whatever format. Read from the side file when they are not in memory,
    /// and kept then.
    [[nodiscard]] std::optional<QByteArray> imageData() const;
    /// The very bytes already held (the same storage, not merely equal bytes) change nothing.
    void setImageData(const std::optional<QByteArray> &data);
    /// Whether there is an image, in memory or on disk.
    [[nodiscard]] bool hasImageData() const { return _itemFlags.hasImageData; }
    [[nodiscard]] bool hasJPEG() const;
    [[nodiscard]] bool hasPNG() const;
    /// The sum of the image's bytes, which wraps; 0 without an image.
    [[nodiscard]] size_t imageDataHash() const { return _imageDataHash; }

    /// The native dictionary, read from the side file, every time, when it is not in memory.
    [[nodiscard]] std::optional<NativeDictionary> nativeDictionary() const;
    [[nodiscard]] bool hasNativeDictionary() const { return _itemFlags.hasNativeDictionary; }
    /// The bytes of a native type parsed as a property list; nothing when there are none or they
    /// are no property list.
    [[nodiscard]] std::optional<PropertyList> nativePropertyListForType(const QString &type) const;

    /// Takes over the text, the URL and the image of another item.
    void setClipmuleDataItem(const ZRKClipmuleDataItem &other);

    /// The image type where there is an image, else the string type.
    [[nodiscard]] QString bestType() const {
        return hasImageData() ? ZRKClipmuleDataImageDataType : ZRKClipmuleDataStringType;
    }
    [[nodiscard]] qint64 createdBy() const { return _createdBy; }
    /// Sets the origin, for archives that noted it elsewhere.
    void setCreatedBy(qint64 createdBy) { _createdBy = createdBy; }
    /// Whether this program made the item from the desktop's clipboard.
    [[nodiscard]] bool isNative() const { return _createdBy == createdByDesktop; }
    /// The UTF-16 units of text, URL and native type names, and the bytes of the image and of the
    /// native representations. Fetches the image from disk when it must.
    [[nodiscard]] quint64 size() const;

    // Derived values under a caller's key, dropped whenever the content changes. The persistent
    // ones are archived: each change of them makes the item dirty. No value removes the key.
    void setPersistentCacheValueForKey(const std::optional<PropertyList> &value,
                                       const QString &key);
    [[nodiscard]] std::optional<PropertyList> persistentCacheValueForKey(const QString &key) const;
    void removePersistentCacheValueForKey(const QString &key) {
        setPersistentCacheValueForKey(std::nullopt, key);
    }
    void clearPersistentCache() {
        _persistentCacheDictionary.clear();
        _itemFlags.isDirty = true;
    }
    void setTransientCacheValueForKey(const std::optional<PropertyList> &value, const QString &key);
    [[nodiscard]] std::optional<PropertyList> transientCacheValueForKey(const QString &key) const;
    void removeTransientCacheValueForKey(const QString &key) {
        _transientCacheDictionary.remove(key);
    }
    void clearTransientCache() { _transientCacheDictionary.clear(); }

    /// Whether the item changed since it was last archived.
    [[nodiscard]] bool isDirty() const { return _itemFlags.isDirty; }
    /// Becoming dirty drops both caches.
    void setDirty(bool dirty);
    [[nodiscard]] bool isImageDataDirty() const { return _itemFlags.isImageDataDirty; }
    [[nodiscard]] bool isNativeDictionaryDirty() const {
        return _itemFlags.isNativeDictionaryDirty;
    }
    [[nodiscard]] bool clearsNativeDictionary() const { return _itemFlags.clearsNativeDictionary; }
    /// Frees the transient cache and what the side files hold as well. What is not saved stays.
    void releaseCachedData();
    /// Brings the side files up to date. What cannot be written stays in memory and keeps the item
    /// dirty, so that the next save tries again; the store is told, and the log once for each file.
    void saveExtraData();
    /// Deletes the side files.
    void erase();
    // The paths of the side files; empty without a store.
    [[nodiscard]] QString imageDataPath() const { return pathOf(QStringLiteral("imageData")); }
    [[nodiscard]] QString nativeDictionaryPath() const {
        return pathOf(QStringLiteral("nativeDictionary"));
    }

    /// The dictionary form, which travels, with every representation inline.
    [[nodiscard]] PropertyList::Dictionary toDictionary() const;
    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleDataItem"), QStringLiteral("NSObject")};
    }
    /// Saves the side files first. The archive claims no image and no native dictionary that are
    /// not in their files.
    void encodeWithCoder(Encoder &coder) override;
    void initWithCoder(Decoder &coder) override;
    /// Whether the ids are the same, or text and URL are the same and the images have the same byte
    /// sum.
    [[nodiscard]] bool isEqual(const Object &other) const override;
    /// A hash of image, text and URL, stable within one run; costs no look at the image.
    [[nodiscard]] size_t hash() const;
    /// A new item of the same content with an id of its own. This item saves its side files and
    /// frees what it held in memory.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleDataItem> copyWithZone();
    [[nodiscard]] QString description() const override;

private:
    struct ItemFlags {
        bool isDirty : 1 = false;
        bool hasImageData : 1 = false;
        bool isImageDataDirty : 1 = false;
        bool hasNativeDictionary : 1 = false;
        bool isNativeDictionaryDirty : 1 = false;
        bool clearsNativeDictionary : 1 = false;
    };

    template <typename Item, typename Form>
    static void list(Item &item, Form &form);
    [[nodiscard]] bool hasSavedImage() const { return hasImageData() && !isImageDataDirty(); }
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleDataItem>
    fromDictionary(const PropertyList::Dictionary &dictionary);
    void invalidateNativeDictionary();
    void contentDidChange();
    [[nodiscard]] QString pathOf(const QString &extension) const;

    mutable std::optional<QString> _oid;
    std::optional<QString> _string;
    std::optional<size_t> _stringHash;
    std::optional<QUrl> _url;
    // The URL's text, only where it was given as a text. Equality goes by the URL itself: what the
    // desktop's clipboard gives back is the same URL, though its text may be written in another
    // way.
    std::optional<QString> _urlText;
    mutable std::optional<QByteArray> _imageData;
    std::optional<NativeDictionary> _nativeDictionary;
    PropertyList::Dictionary _persistentCacheDictionary;
    PropertyList::Dictionary _transientCacheDictionary;
    size_t _imageDataHash = 0;
    qint64 _createdBy = createdByDesktop;
    ItemFlags _itemFlags{.isDirty = true};
    ZRKClipmuleData *_data = nullptr;
    std::weak_ptr<ClipboardStore> _store;
};

} // namespace clipmule
