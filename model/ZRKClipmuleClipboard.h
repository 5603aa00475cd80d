// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleData.h"
#include "platform/archive/Coding.h"
#include "platform/foundation/Object.h"

#include <QList>

#include <memory>
#include <optional>

namespace clipmule {

// Posted on the platform's default centre with the clipboard as the object. The last two carry the
// clip as their attachment, which stands for the entry of this key: what a notification tells other
// processes holds property-list values only, and an object is none.
inline const QString ZRKClipmuleClipboardDidChange =
    QStringLiteral("ZRKClipmuleClipboardDidChange");
inline const QString ZRKClipmuleClipboardDidInsert =
    QStringLiteral("ZRKClipmuleClipboardDidInsert");
inline const QString ZRKClipmuleClipboardDidRemove =
    QStringLiteral("ZRKClipmuleClipboardDidRemove");
inline const QString ZRKClipmuleClipboardDataKey = QStringLiteral("ZRKClipmuleClipboardDataKey");

/// A named, ordered list of clips, kept on disk: the main clipboard, which holds the latest 200, or
/// one that the user made.
///
/// What it is called and how many clips it has is known without its clips, which are loaded when
/// they are asked for, from the files of its store. Main thread only.
class ZRKClipmuleClipboard final : public Object,
                                   public Coding,
                                   public std::enable_shared_from_this<ZRKClipmuleClipboard> {
public:
    using Clips = QList<std::shared_ptr<ZRKClipmuleData>>;
    using Clipboards = QList<std::shared_ptr<ZRKClipmuleClipboard>>;

    static inline const QString mainOID = QStringLiteral("Main");
    static constexpr qsizetype mainCapacity = 200;

    /// A new clipboard is dirty, without clips and without an id yet.
    ZRKClipmuleClipboard() = default;
    ~ZRKClipmuleClipboard() override;

    // Class operations, see ClipboardStore. They go to the store that the program has handed over;
    // without one they raise a PlatformException. Nothing here uses them.
    static void handOver(const std::shared_ptr<ClipboardStore> &store) { _handedOver = store; }
    [[nodiscard]] static QString dataPath() { return handedOver()->dataPath(); }
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleClipboard> mainClipboard() {
        return handedOver()->mainClipboard();
    }
    [[nodiscard]] static Clipboards customClipboards() { return handedOver()->customClipboards(); }
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleClipboard>
    clipboardWithOID(const QString &oid) {
        return handedOver()->clipboardWithOID(oid);
    }
    /// Looks in every clipboard.
    [[nodiscard]] static std::shared_ptr<ZRKClipmuleData>
    storedClipmuleDataWithOID(const QString &oid) {
        return handedOver()->clipmuleDataWithOID(oid);
    }
    static void insertCustomClipboardAtIndex(const std::shared_ptr<ZRKClipmuleClipboard> &clipboard,
                                             qsizetype index) {
        handedOver()->insertCustomClipboardAtIndex(clipboard, index);
    }
    static void removeCustomClipboard(const std::shared_ptr<ZRKClipmuleClipboard> &clipboard) {
        handedOver()->removeCustomClipboard(clipboard);
    }
    static void moveClipboardAtIndexToIndex(qsizetype from, qsizetype to) {
        handedOver()->moveClipboardAtIndexToIndex(from, to);
    }
    static void saveIfNeeded() { handedOver()->saveIfNeeded(); }

    /// The store that keeps it, which calls this; its clips are kept there, too.
    void setStore(const std::shared_ptr<ClipboardStore> &store);
    /// The id, made when it is first asked for.
    [[nodiscard]] QString oid() const;
    void setOid(const QString &oid) { _oid = oid; }
    [[nodiscard]] bool isMain() const { return oid() == mainOID; }
    /// The path of the file that holds the clips; empty without a store.
    [[nodiscard]] QString itemsPath() const;

    /// The title, in the user's language for the main clipboard.
    [[nodiscard]] std::optional<QString> title() const;
    /// A title equal to the stored one changes nothing.
    void setTitle(const std::optional<QString> &title) { change(_title, title); }
    /// The name of the icon: "main" for the main clipboard, "default" where none was set.
    [[nodiscard]] QString iconName() const;
    void setIconName(const std::optional<QString> &iconName) { change(_iconName, iconName); }
    /// How many clips it holds; costs no look at them.
    [[nodiscard]] quint64 count() const { return _count; }
    void setCount(quint64 count) { _count = count; }
    /// How many it can hold; 0 for any number.
    [[nodiscard]] qsizetype capacity() const { return isMain() ? mainCapacity : 0; }

    /// Loads the clips when they are not loaded yet.
    [[nodiscard]] const Clips &items();
    /// Clips beyond the capacity are removed from the end. An index beyond the end raises a
    /// PlatformException named "RangeException".
    void insertClipmuleDataAtIndex(const std::shared_ptr<ZRKClipmuleData> &clip, qsizetype index);
    /// Removes the clip. Its files are erased at the next save, unless it is inserted again before.
    /// A clip that is not in this clipboard changes nothing.
    void removeClipmuleData(const std::shared_ptr<ZRKClipmuleData> &clip);
    /// The clip with this id; null when there is none.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clipmuleDataWithOID(const QString &oid);

    /// The clipboard itself, its list, or any clip already loaded changed since it was archived.
    [[nodiscard]] bool isDirty() const;
    void setDirty(bool dirty) { _isDirty = dirty; }
    /// The clipboard itself or its list changed since they were written. Unlike isDirty() it says
    /// nothing of a clip whose image could not be written, which its archive does not speak of.
    [[nodiscard]] bool isListDirty() const { return _isDirty || _itemsDirty; }
    void releaseCachedData();
    /// Deletes the files of every clip and of the list.
    void erase();

    [[nodiscard]] QStringList archivedClassNames() const override {
        return {QStringLiteral("ZRKClipmuleClipboard"), QStringLiteral("NSObject")};
    }
    /// Writes the file of the clips as well when it needs to be.
    void encodeWithCoder(Encoder &coder) override;
    void initWithCoder(Decoder &coder) override;

    /// Whether the ids are the same.
    [[nodiscard]] bool isEqual(const Object &other) const override;
    [[nodiscard]] size_t hash() const;
    [[nodiscard]] QString description() const override;

private:
    [[nodiscard]] static std::shared_ptr<ClipboardStore> handedOver();
    template <typename Form>
    void list(Form &form);
    void change(std::optional<QString> &name, const std::optional<QString> &value);
    [[nodiscard]] bool isAnyLoadedClipDirty() const;
    void postChange(const QString &name, const QString &clipsName,
                    const std::shared_ptr<ZRKClipmuleData> &clip);

    static inline std::weak_ptr<ClipboardStore> _handedOver;
    std::weak_ptr<ClipboardStore> _store;
    mutable std::optional<QString> _oid;
    std::optional<QString> _title;
    std::optional<QString> _iconName;
    quint64 _count = 0;
    std::optional<Clips> _items;
    bool _isDirty = true;
    bool _itemsDirty = false;
};

/// An upper bound of the bytes that the file of a list of clips takes, without writing it: equal
/// texts count once, as the archive stores them. Persistent caches, which nothing fills with more
/// than a few numbers, are not looked at.
[[nodiscard]] qint64 archivedSize(const ZRKClipmuleClipboard::Clips &clips);

/// Whether the file's size is within the limit; looks at the texts themselves only where their
/// lengths alone do not tell.
[[nodiscard]] bool archiveFits(const ZRKClipmuleClipboard::Clips &clips, qint64 limit);

} // namespace clipmule
