// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"

#include "model/ZRKClipmuleClipboard.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"

#include <QDir>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

const QString mainFile = QStringLiteral("Main.clipboard");
const QString customFile = QStringLiteral("Custom.clipboards");

// What the archives of the store may hold, all of it kept there.
CodingClasses classesOf(const std::shared_ptr<ClipboardStore> &store) {
    const auto making = [&store]<typename T>(std::in_place_type_t<T>) {
        return [store] {
            const auto object = std::make_shared<T>();
            object->setStore(store);
            return object;
        };
    };
    return {
        {QStringLiteral("ZRKClipmuleClipboard"), making(std::in_place_type<ZRKClipmuleClipboard>)},
        {QStringLiteral("ZRKClipmuleData"), [] { return std::make_shared<ZRKClipmuleData>(); }},
        {QStringLiteral("ZRKClipmuleDataItem"), making(std::in_place_type<ZRKClipmuleDataItem>)}};
}

} // namespace

ClipboardStore::ClipboardStore(Private, QString dataPath, qint64 largestList)
    : _dataPath(std::move(dataPath))
    , _largestList(largestList) {}

std::shared_ptr<ClipboardStore> ClipboardStore::make(const QString &dataPath, qint64 largestList) {
    return std::make_shared<ClipboardStore>(Private(), dataPath, largestList);
}

void ClipboardStore::start() {
    _saveTimer = RunLoop::current().performEvery(saveInterval, [this] { saveIfNeeded(); });
}

QString ClipboardStore::userPath() {
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

QString ClipboardStore::path(const QString &oid, const QString &extension) const {
    return QDir(_dataPath).filePath(DataFile::name(oid, extension));
}

std::shared_ptr<ZRKClipmuleClipboard> ClipboardStore::mainClipboard() {
    if (_mainClipboard)
        return _mainClipboard;
    (void)load(QDir(_dataPath).filePath(mainFile), [this](const ArchiveValue &root) {
        _mainClipboard = root.objectOfClass<ZRKClipmuleClipboard>();
    });
    if (!_mainClipboard) {
        _mainClipboard = std::make_shared<ZRKClipmuleClipboard>();
        _mainClipboard->setOid(ZRKClipmuleClipboard::mainOID);
        _mainClipboard->setStore(shared_from_this());
    }
    return _mainClipboard;
}

const ClipboardStore::Clipboards &ClipboardStore::customClipboards() {
    if (_customClipboards)
        return *_customClipboards;
    (void)load(QDir(_dataPath).filePath(customFile), [this](const ArchiveValue &root) {
        _customClipboards = root.objectsOfClass<ZRKClipmuleClipboard>();
    });
    if (!_customClipboards)
        _customClipboards.emplace();
    return *_customClipboards;
}

ClipboardStore::Clipboards ClipboardStore::allClipboards() {
    return Clipboards{mainClipboard()} + customClipboards();
}

std::shared_ptr<ZRKClipmuleClipboard> ClipboardStore::clipboardWithOID(const QString &oid) {
    if (mainClipboard()->oid() == oid)
        return _mainClipboard;
    for (const auto &clipboard : customClipboards()) {
        if (clipboard->oid() == oid)
            return clipboard;
    }
    return nullptr;
}

std::shared_ptr<ZRKClipmuleData> ClipboardStore::clipmuleDataWithOID(const QString &oid) {
    for (const auto &clipboard : allClipboards()) {
        if (auto clip = clipboard->clipmuleDataWithOID(oid))
            return clip;
    }
    return nullptr;
}

void ClipboardStore::insertCustomClipboardAtIndex(
    const std::shared_ptr<ZRKClipmuleClipboard> &clipboard, qsizetype index) {
    // The argument may be an element of a list that changes here.
    const auto inserted = clipboard; // NOLINT(performance-unnecessary-copy-initialization)
    if (index < 0 || index > customClipboards().size()) {
        throw PlatformException(QStringLiteral("RangeException"),
                                QStringLiteral("index %1 is beyond the %2 custom clipboards")
                                    .arg(index)
                                    .arg(customClipboards().size()));
    }
    _deletedClipboards.removeAll(inserted);
    inserted->setStore(shared_from_this());
    _customClipboards->insert(index, inserted);
    _customIsDirty = true;
}

void ClipboardStore::removeCustomClipboard(const std::shared_ptr<ZRKClipmuleClipboard> &clipboard) {
    const auto removed = clipboard;
    _deletedClipboards.append(removed);
    (void)customClipboards();
    _customClipboards->removeIf([&](const auto &other) { return other->isEqual(*removed); });
    _customIsDirty = true;
}

void ClipboardStore::moveClipboardAtIndexToIndex(qsizetype from, qsizetype to) {
    const qsizetype count = customClipboards().size();
    if (from < 0 || from >= count || to < 0 || to >= count)
        return;
    _customClipboards->move(from, to);
    _customIsDirty = true;
}

bool ClipboardStore::load(const QString &path,
                          const std::function<void(const ArchiveValue &root)> &take) {
    bool hasRoot = true;
    const Result<bool> isThere = read(path, [&](const ArchiveValue &root) {
        hasRoot = !root.isNil();
        if (hasRoot)
            take(root);
    });
    if (!isThere)
        qCWarning(logModel).noquote() << "DECODE FAIL" << isThere.error().reason;
    // An archive without a root holds nothing for us, but may for another program.
    if (!isThere || !hasRoot)
        _unreadablePaths.insert(path);
    return isThere.value_or(false) && hasRoot;
}

Result<bool> ClipboardStore::read(const QString &path,
                                  const std::function<void(const ArchiveValue &root)> &take) {
    const auto bytes = DataFile::read(path, _largestList);
    if (!bytes)
        return tl::unexpected(bytes.error());
    if (!*bytes)
        return false;
    const auto root = KeyedUnarchiver::unarchivedObject(**bytes, classesOf(shared_from_this()));
    if (!root)
        return tl::unexpected(root.error());
    try {
        take(*root);
        return true;
    } catch (const PlatformException &exception) {
        return failure(exception.reason());
    }
}

bool ClipboardStore::write(const QByteArray &bytes, const QString &path, qint64 limit) {
    Result<void> result;
    if (_unreadablePaths.contains(path))
        result = DataFile::keepUnreadable(path);
    if (result) {
        _unreadablePaths.remove(path);
        result = DataFile::write(path, bytes, limit);
    }
    if (!result)
        noteFailure(result.error().reason);
    return result.has_value();
}

bool ClipboardStore::save(const ArchiveValue &root, const QString &path) {
    try {
        return write(KeyedArchiver::archivedData(root), path, _largestList);
    } catch (const PlatformException &exception) {
        noteFailure(exception.reason());
        return false;
    }
}

bool ClipboardStore::saveSideFile(const std::optional<QByteArray> &bytes, const QString &path) {
    if (!bytes)
        DataFile::remove(path);
    if (!bytes || write(*bytes, path, DataFile::largest)) {
        _unsavedSideFiles.remove(path);
        return true;
    }
    if (!_unsavedSideFiles.contains(path))
        qCWarning(logModel).noquote() << "FAILED TO SAVE" << path;
    _unsavedSideFiles.insert(path);
    return false;
}

bool ClipboardStore::saveMainClipboard() {
    const auto clipboard = mainClipboard();
    if (!clipboard->isDirty())
        return true;
    if (save(clipboard, QDir(_dataPath).filePath(mainFile)) && !clipboard->isListDirty())
        return true;
    clipboard->setDirty(true);
    return false;
}

bool ClipboardStore::saveCustomClipboards() {
    if (!_customClipboards)
        return true;
    const auto isDirty = [](const auto &clipboard) { return clipboard->isDirty(); };
    if (!_customIsDirty)
        _customIsDirty = std::any_of(_customClipboards->begin(), _customClipboards->end(), isDirty);
    if (!_customIsDirty)
        return true;
    if (!save(*_customClipboards, QDir(_dataPath).filePath(customFile)))
        return false;
    _customIsDirty = false;
    return std::none_of(_customClipboards->begin(), _customClipboards->end(),
                        [](const auto &clipboard) { return clipboard->isListDirty(); });
}

void ClipboardStore::noteFailure(const QString &reason) {
    qCDebug(logModel).noquote() << "cannot save:" << reason;
    if (_failure.isEmpty())
        _failure = reason;
}

void ClipboardStore::tellOfSaving() {
    const QString failure = std::exchange(_failure, {});
    if (std::exchange(_isFailureTold, !failure.isEmpty()) == !failure.isEmpty())
        return;
    if (onSavingDidChange)
        onSavingDidChange(failure);
}

// A list that could not be written stays dirty and is written at a later beat. Until then its old
// file still speaks of what was removed, so that must not be erased yet.
void ClipboardStore::saveIfNeeded() {
    const bool isMainSaved = saveMainClipboard();
    const bool isCustomSaved = saveCustomClipboards();
    tellOfSaving();
    if (!isMainSaved || !isCustomSaved)
        return;
    for (const auto &clipboard : std::exchange(_deletedClipboards, {}))
        clipboard->erase();
    for (const auto &clip : std::exchange(_deletedDatas, {}))
        clip->erase();
}

} // namespace clipmule
