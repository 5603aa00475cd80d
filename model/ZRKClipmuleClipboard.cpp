// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleClipboard.h"

#include "Common/Categories/ZRKNSStringCategory.h"
#include "model/DataFile.h"
#include "model/RecordForms.h"
#include "platform/foundation/PlatformException.h"
#include "support/ZRKNotificationCenter.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>

namespace clipmule {

ZRKClipmuleClipboard::~ZRKClipmuleClipboard() {
    if (!_items)
        return;
    for (const auto &clip : std::as_const(*_items)) {
        if (clip->clipboard() == this)
            clip->setClipboard(nullptr);
    }
}

std::shared_ptr<ClipboardStore> ZRKClipmuleClipboard::handedOver() {
    if (auto store = _handedOver.lock())
        return store;
    throw PlatformException(QStringLiteral("InternalInconsistency"),
                            QStringLiteral("no store was handed over"));
}

void ZRKClipmuleClipboard::setStore(const std::shared_ptr<ClipboardStore> &store) {
    _store = store;
    if (!_items)
        return;
    for (const auto &clip : std::as_const(*_items))
        clip->setStore(store);
}

QString ZRKClipmuleClipboard::oid() const {
    if (!_oid)
        _oid = ZRKNSStringCategory::uuid();
    return *_oid;
}

QString ZRKClipmuleClipboard::itemsPath() const {
    const auto store = _store.lock();
    return store ? store->path(oid(), QStringLiteral("clipboardItems")) : QString();
}

std::optional<QString> ZRKClipmuleClipboard::title() const {
    return isMain() ? QCoreApplication::translate("Clipmule", "Clipboard") : _title;
}

void ZRKClipmuleClipboard::change(std::optional<QString> &name,
                                  const std::optional<QString> &value) {
    if (name && value && *name == *value)
        return;
    name = value;
    _isDirty = true;
}

QString ZRKClipmuleClipboard::iconName() const {
    return isMain() ? QStringLiteral("main") : _iconName.value_or(QStringLiteral("default"));
}

const ZRKClipmuleClipboard::Clips &ZRKClipmuleClipboard::items() {
    if (_items)
        return *_items;
    Clips clips;
    const auto store = _store.lock();
    const bool isLoaded = store && store->load(itemsPath(), [&clips](const ArchiveValue &root) {
        clips = root.objectsOfClass<ZRKClipmuleData>().value_or(Clips());
    });
    for (const auto &clip : std::as_const(clips))
        clip->setClipboard(this);
    _items = std::move(clips);
    // The list and its count are in two files. They differ when the program was killed between
    // writing one and the other.
    if (isLoaded)
        _count = quint64(_items->size());
    return *_items;
}

void ZRKClipmuleClipboard::postChange(const QString &name, const QString &clipsName,
                                      const std::shared_ptr<ZRKClipmuleData> &clip) {
    auto &center = ZRKNotificationCenter::platformDefault();
    std::shared_ptr<const Object> self = weak_from_this().lock();
    if (!self)
        self = unowned(this);
    center.postNotification({ZRKClipmuleClipboardDidChange, self, {}, nullptr});
    center.postNotification({name, self, {}, clip});
    center.postNotification({clipsName, clip, {}, nullptr});
}

void ZRKClipmuleClipboard::insertClipmuleDataAtIndex(const std::shared_ptr<ZRKClipmuleData> &clip,
                                                     qsizetype index) {
    // The argument may be an element of a list, and observers may drop the clipboard.
    const auto inserted = clip;
    const auto self = weak_from_this().lock();
    const Clips &clips = items();
    if (index < 0 || index > clips.size()) {
        throw PlatformException(QStringLiteral("RangeException"),
                                QStringLiteral("index %1 is beyond the %2 clips of the clipboard")
                                    .arg(index)
                                    .arg(clips.size()));
    }
    _items->insert(index, inserted);
    if (const auto store = _store.lock()) {
        inserted->setStore(store);
        store->keepClip(inserted);
    }
    _count = quint64(clips.size());
    inserted->setClipboard(this);
    postChange(ZRKClipmuleClipboardDidInsert, ZRKClipmuleDataWasAdded, inserted);
    while (capacity() != 0 && clips.size() > capacity())
        removeClipmuleData(clips.last());
    _isDirty = true;
    _itemsDirty = true;
}

void ZRKClipmuleClipboard::removeClipmuleData(const std::shared_ptr<ZRKClipmuleData> &clip) {
    const auto removed = clip;
    const auto self = weak_from_this().lock();
    const qsizetype index = items().indexOf(removed);
    if (index < 0)
        return;
    if (const auto store = _store.lock())
        store->eraseClipLater(removed);
    _items->removeAt(index);
    _count = quint64(_items->size());
    removed->setClipboard(nullptr);
    postChange(ZRKClipmuleClipboardDidRemove, ZRKClipmuleDataWasRemoved, removed);
    _isDirty = true;
    _itemsDirty = true;
}

std::shared_ptr<ZRKClipmuleData> ZRKClipmuleClipboard::clipmuleDataWithOID(const QString &oid) {
    const Clips &clips = items();
    const auto found = std::find_if(clips.begin(), clips.end(),
                                    [&](const auto &clip) { return clip->oid() == oid; });
    return found == clips.end() ? nullptr : *found;
}

bool ZRKClipmuleClipboard::isAnyLoadedClipDirty() const {
    return _items && std::any_of(_items->begin(), _items->end(),
                                 [](const auto &clip) { return clip->isDirty(); });
}

bool ZRKClipmuleClipboard::isDirty() const {
    return _isDirty || _itemsDirty || isAnyLoadedClipDirty();
}

void ZRKClipmuleClipboard::releaseCachedData() {
    if (!_items)
        return;
    for (const auto &clip : std::as_const(*_items))
        clip->releaseCachedData();
}

void ZRKClipmuleClipboard::erase() {
    for (const auto &clip : items()) {
        clip->erase();
        clip->setClipboard(nullptr);
    }
    _items->clear();
    if (!_store.expired())
        DataFile::remove(itemsPath());
}

bool ZRKClipmuleClipboard::isEqual(const Object &other) const {
    const auto *clipboard = dynamic_cast<const ZRKClipmuleClipboard *>(&other);
    return clipboard && oid() == clipboard->oid();
}

size_t ZRKClipmuleClipboard::hash() const {
    return qHash(oid());
}

QString ZRKClipmuleClipboard::description() const {
    return _title.value_or(QStringLiteral("(null)"));
}

// All that the archive of a clipboard holds, in the order of archives without keys.
template <typename Form>
void ZRKClipmuleClipboard::list(Form &form) {
    form.archived(QStringLiteral("oid"), _oid);
    form.archived(
        QStringLiteral("title"), [&] { return title(); }, [&](auto title) { _title = title; });
    form.archived(
        QStringLiteral("iconName"), [&] { return std::optional(iconName()); },
        [&](auto name) { _iconName = name; });
    form.archived(
        QStringLiteral("count"), [&] { return std::optional(quint32(_count)); },
        [&](auto count) { _count = count ? *count : quint64(items().size()); });
}

void ZRKClipmuleClipboard::encodeWithCoder(Encoder &coder) {
    // An archive without keys holds no id for a clipboard that nobody has asked for one.
    if (coder.allowsKeyedCoding())
        (void)oid();
    RecordForms::ArchiveWriter writer(coder);
    list(writer);
    const auto store = _store.lock();
    // Clips that were never loaded are in their file as they are.
    const bool areClipsSaved = !_items || !(_itemsDirty || isAnyLoadedClipDirty()) ||
                               (store && store->save(*_items, itemsPath()));
    _isDirty = false;
    _itemsDirty = !areClipsSaved;
}

void ZRKClipmuleClipboard::initWithCoder(Decoder &coder) {
    _isDirty = false;
    RecordForms::ArchiveReader reader(coder);
    list(reader);
}

namespace {

// Bytes of one object's records, references, numbers and offsets and of its entry in the list. The
// figure is generous, and a test holds it against real archives.
constexpr qint64 sizeOfAnObject = 512;
// Bytes of a text's marker and length.
constexpr qint64 sizeOfAMarker = 16;

template <typename SizeOf>
qint64 sizeBy(const ZRKClipmuleClipboard::Clips &clips, SizeOf sizeOf) {
    qint64 size = sizeOfAnObject;
    for (const auto &clip : clips) {
        size += sizeOfAnObject * (1 + clip->itemCount());
        size += sizeOf(clip->oid()) + sizeOf(clip->title().value_or(QString()));
        for (const auto &item : clip->items())
            size += sizeOf(item->oid()) + sizeOf(item->string().value_or(QString())) +
                    sizeOf(item->urlText());
    }
    return size;
}

} // namespace

qint64 archivedSize(const ZRKClipmuleClipboard::Clips &clips) {
    QSet<QString> known;
    return sizeBy(clips, [&known](const QString &text) -> qint64 {
        const qsizetype before = known.size();
        known.insert(text);
        if (known.size() == before)
            return 0;
        const bool isAscii =
            std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x80; });
        return sizeOfAMarker + text.size() * (isAscii ? 1 : 2);
    });
}

bool archiveFits(const ZRKClipmuleClipboard::Clips &clips, qint64 limit) {
    const auto atMost = [](const QString &text) { return sizeOfAMarker + 2 * text.size(); };
    return sizeBy(clips, atMost) <= limit || archivedSize(clips) <= limit;
}

} // namespace clipmule
