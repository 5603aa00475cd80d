// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleDataItem.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Result.h"

#include <QList>
#include <QStringList>

#include <functional>

namespace clipmule {

class ActiveApplication;
class Pasteboard;
class ZRKClipmuleClipboard;
struct PasteboardContents;

// Posted on the platform's default centre with the clip as the object.
inline const QString ZRKClipmuleDataWasAdded = QStringLiteral("ZRKClipmuleDataWasAdded");
inline const QString ZRKClipmuleDataWasRemoved = QStringLiteral("ZRKClipmuleDataWasRemoved");

/// What clips need of the desktop to be captured from its clipboard and written to it. Nothing is
/// owned.
struct PasteboardServices {
    Pasteboard &pasteboard;
    const ActiveApplication &activeApplication;
    /// Shows the user a short message, already in the user's language, for a few seconds.
    std::function<void(const QString &text)> notice;
    /// Absolute path of the folder in which the folder of pasted images is made. It belongs to this
    /// user alone; PrivateFolder::temporaryPath() is the session's.
    QString temporaryFolder;
};

/// A clip: one clipboard event, an ordered list of items with a title and a creation date.
///
/// Its dictionary form is what travels to and from the phones. Main thread only.
class ZRKClipmuleData final : public Object, public Coding {
public:
    using Items = QList<std::shared_ptr<ZRKClipmuleDataItem>>;
    using NativeDictionary = ZRKClipmuleDataItem::NativeDictionary;

    /// A received clip of more items is refused: the clipboard of a phone holds a handful, and a
    /// frame of empty ones would otherwise become many times its size in memory.
    static constexpr qsizetype mostItems = 10'000;
    /// Files copied in a file manager are captured as images up to this many bytes in all.
    static constexpr qint64 largestFileSet = 31'457'280;
    /// Files copied in a file manager are captured up to this many, at which the largest set has 31
    /// kB for each: a small photo.
    static constexpr qsizetype mostFiles = 1000;
    /// The images of a written clip that are offered as files take up to this many bytes together,
    /// the first ones going first. The folder is often in memory, and one image can stand in a clip
    /// many times.
    static constexpr qint64 largestWrittenSet = largestFileSet;

    /// A clip of a greater size does not travel; see size().
    static constexpr quint64 largestTravelling = 9'999'999;
    /// What a captured clip carries for desktops only may make it at most so many times as large as
    /// what the phones read of it, or as large as smallClip if that is more.
    static constexpr quint64 mostTimesItsReadings = 4;
    /// A clip up to this size may carry anything for desktops: a tenth of the largest clip, which
    /// takes a wireless network less than a tenth of a second.
    static constexpr quint64 smallClip = 1'000'000;

    /// A new clip is dirty, not saved, dated now, without items and without an id yet.
    ZRKClipmuleData();
    ~ZRKClipmuleData() override;
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData> initWithItems(const Items &items);
    /// Clips of one item each.
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    initWithStrings(const QStringList &strings);
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData> initWithString(const QString &string) {
        return initWithStrings({string});
    }
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    initWithImageDatas(const QList<QByteArray> &imageDatas);
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    initWithImageData(const QByteArray &imageData) {
        return initWithImageDatas({imageData});
    }
    /// Makes a clip from its dictionary form, which comes from another machine: a value of the
    /// wrong kind, and too many items, raise a PlatformException named "InvalidArgument".
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    initWithDictionary(const PropertyList::Dictionary &dictionary);

    /// What is on the desktop's clipboard, all in one go (see ClipCapture); null when that is
    /// nothing, or nothing to be kept. Of the native representations the bulkiest are left out
    /// until the clip is as small as the limits above ask for; its text, URL, title and list of
    /// files stay.
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    initFromPasteboard(const PasteboardServices &services);
    /// Identifier of the application the user works in; nothing when there is none.
    [[nodiscard]] static std::optional<QString> currentAppID(const PasteboardServices &services);
    /// The bytes of an image in a form and size that suits a phone; nothing when they are no image.
    /// The full-size image is put into the native dictionary, where one is given, when the result
    /// is a reduced one. Failures are logged.
    [[nodiscard]] static std::optional<QByteArray>
    portableImageData(const std::optional<QByteArray> &imageData,
                      NativeDictionary *nativeDictionary);
    /// Writes the clip to the desktop's clipboard, as a whole and at once. False, and nothing
    /// written, when the clip mixes text and images over several items; the user is told. Blocks
    /// for 0.66 s when the clip holds images. A clipboard that fails raises a PlatformException.
    /// `text` is what writtenText() made, where that was done before.
    bool writeToPasteboard(const PasteboardServices &services,
                           std::optional<QByteArray> text = {}) const;
    /// Makes the text that writing offers, in UTF-8, of values that nobody changes: on any thread.
    /// Empty when there is none.
    [[nodiscard]] std::function<QByteArray()> writtenText() const;
    /// Makes the hashes of the items' strings, likewise; an item without one has any number.
    [[nodiscard]] std::function<QList<size_t>()> stringHashes() const;
    /// Tells the items what that made; they must not have changed meanwhile.
    void setStringHashes(const QList<size_t> &hashes);
    /// The picture that writing offers before any other.
    [[nodiscard]] std::optional<QByteArray> writtenImage() const;
    /// Writes the clip's images to temporary files and puts their paths into the contents that are
    /// to be written. Those of an earlier clip are deleted.
    void addImageFilenames(const PasteboardServices &services, PasteboardContents &contents) const;
    /// The name of a file that a pasted image is written to: the clip's title or, when it has none
    /// or a blank one, the program's name and the time, "Clipmule 2026-01-31 15.04.05 PM"; then a
    /// blank and the counter, where there is one; then a dot and the extension.
    ///
    /// The title comes from another machine. What cannot stand in a file name is replaced, and the
    /// title is cut between two characters so that the whole takes at most 255 bytes of UTF-8.
    [[nodiscard]] static QString imageFileName(const std::optional<QString> &title,
                                               const QDateTime &localTime,
                                               std::optional<qsizetype> counter,
                                               const QString &extension);
    /// Deletes the files of the last clip that was written. Failures are logged.
    static void deleteImageFiles(const PasteboardServices &services);
    /// The entry for data that a clipboard asks for later. The clip sets all its data when it
    /// declares it, so this does nothing.
    static void pasteboardProvideDataForType(Pasteboard &pasteboard, const QString &type);

    /// The id, made when it is first asked for.
    [[nodiscard]] QString oid() const;
    void setOid(const QString &oid) { _oid = oid; }
    void resetOID() { _oid.reset(); }
    [[nodiscard]] const std::optional<QString> &title() const { return _title; }
    /// A title equal to the present one changes nothing.
    void setTitle(const std::optional<QString> &title);
    [[nodiscard]] const std::optional<Date> &creationDate() const { return _creationDate; }
    void setCreationDate(const std::optional<Date> &date) { _creationDate = date; }
    /// The clipboard that holds the clip; not owned, set and cleared by the clipboard.
    [[nodiscard]] ZRKClipmuleClipboard *clipboard() const { return _clipboard; }
    void setClipboard(ZRKClipmuleClipboard *clipboard) { _clipboard = clipboard; }

    /// Keeps the items in the files of a store.
    void setStore(const std::shared_ptr<ClipboardStore> &store);

    [[nodiscard]] const Items &items() const { return _items; }
    [[nodiscard]] qsizetype itemCount() const { return _items.size(); }
    /// The first item; null when there is none.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleDataItem> firstItem() const;
    /// Removes every item that is equal to this one.
    void removeItem(const std::shared_ptr<ZRKClipmuleDataItem> &item);

    // Whether any item has an image, text or a URL.
    [[nodiscard]] bool hasImageData() const { return anyItem(&ZRKClipmuleDataItem::hasImageData); }
    [[nodiscard]] bool hasString() const { return anyItem(&ZRKClipmuleDataItem::hasString); }
    [[nodiscard]] bool hasURL() const { return anyItem(&ZRKClipmuleDataItem::hasURL); }
    /// The UTF-16 units of the title and the sizes of the items, added up.
    [[nodiscard]] quint64 size() const;

    /// Whether the clip itself or any item changed since it was last archived.
    [[nodiscard]] bool isDirty() const {
        return _isDirty || anyItem(&ZRKClipmuleDataItem::isDirty);
    }
    /// Whether it has been archived, or comes from an archive.
    [[nodiscard]] bool isSaved() const { return _isSaved; }
    void releaseCachedData();
    /// Deletes the items' side files.
    void erase();

    /// The dictionary form, which travels. A clip without a creation date raises a
    /// PlatformException.
    [[nodiscard]] PropertyList::Dictionary toDictionary() const;
    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleData"), QStringLiteral("NSObject")};
    }
    void encodeWithCoder(Encoder &coder) override;
    void initWithCoder(Decoder &coder) override;
    /// Whether the ids are the same, or the items are equal and in the same order.
    [[nodiscard]] bool isEqual(const Object &other) const override;
    /// The sum of the items' hashes.
    [[nodiscard]] size_t hash() const;
    /// The hash, or, where that is 0 because there is neither text nor URL nor image, one of the
    /// native representations: clips that only desktops can read are told apart, too. 0 only for a
    /// clip that holds nothing at all.
    [[nodiscard]] size_t contentHash() const;
    /// A new clip of copied items, with the same title, dated now and in no clipboard.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> copyWithZone();
    [[nodiscard]] QString description() const override;

private:
    /// The paths of the files that were written; none when no item has an image.
    [[nodiscard]] Result<QStringList> writeImages(const PasteboardServices &services) const;
    [[nodiscard]] bool anyItem(bool (ZRKClipmuleDataItem::*isSo)() const) const;
    template <typename Clip, typename Form>
    static void list(Clip &clip, Form &form);
    void append(const std::shared_ptr<ZRKClipmuleDataItem> &item);

    mutable std::optional<QString> _oid;
    std::optional<Date> _creationDate;
    std::optional<QString> _title;
    Items _items;
    ZRKClipmuleClipboard *_clipboard = nullptr;
    bool _isDirty = true;
    bool _isSaved = false;
};

} // namespace clipmule
