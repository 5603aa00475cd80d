// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/BrowserClips.h"

#include "model/StoreRecovery.h"

#include <QFileInfo>
#include <QLoggingCategory>

#include <malloc.h>

namespace clipmule {

namespace {

Q_LOGGING_CATEGORY(logWeb, "clipmule.web")

// Without a look at a picture that is on disk.
qint64 pictureSize(const ZRKClipmuleDataItem &item) {
    if (!item.hasImageData())
        return 0;
    if (!item.isImageDataDirty()) {
        if (const QFileInfo file(item.imageDataPath()); file.isFile())
            return file.size();
    }
    return item.imageData().value_or(QByteArray()).size();
}

} // namespace

BrowserClips::BrowserClips(const QString &folder) {
    if (folder.isEmpty()) {
        _board = std::make_shared<ZRKClipmuleClipboard>();
        return;
    }
    _store = ClipboardStore::make(folder);
    _store->onSavingDidChange = [](const QString &failure) {
        if (!failure.isEmpty())
            qCWarning(logWeb).noquote() << "clips cannot be kept:" << failure;
    };
    _board = _store->mainClipboard();
    if (_store->customClipboards().isEmpty())
        _store->insertCustomClipboardAtIndex(std::make_shared<ZRKClipmuleClipboard>(), 0);
    _waiting = _store->customClipboards().constFirst();
    // What a program that was killed left over.
    (void)StoreRecovery::sweep(*_store);
    save();
}

BrowserClips::~BrowserClips() {
    save();
}

const ZRKClipmuleClipboard::Clips &BrowserClips::all() const {
    return _board->items();
}

BrowserClips::Clip BrowserClips::withId(const QString &id) const {
    return _board->clipmuleDataWithOID(id);
}

qint64 BrowserClips::sizeOf(const ZRKClipmuleData &clip) {
    qint64 size = 0;
    for (const auto &item : clip.items())
        size += 2 * item->string().value_or(QString()).size() + 2 * item->urlText().size() +
                pictureSize(*item);
    return size;
}

QStringList BrowserClips::keep(const Clip &clip) {
    _board->insertClipmuleDataAtIndex(clip, 0);
    qint64 bytes = 0;
    qsizetype fitting = 0;
    for (const Clip &kept : _board->items()) {
        bytes += sizeOf(*kept);
        if (fitting >= mostClips || bytes > mostBytes)
            break;
        ++fitting;
    }
    QStringList gone;
    while (_board->items().size() > std::max<qsizetype>(fitting, 1)) {
        gone.append(_board->items().last()->oid());
        _board->removeClipmuleData(_board->items().last());
    }
    save();
    letMemoryGo();
    return gone;
}

bool BrowserClips::remove(const QString &id) {
    const Clip clip = withId(id);
    if (!clip)
        return false;
    _board->removeClipmuleData(clip);
    save();
    return true;
}

void BrowserClips::removeReceived() {
    while (!_board->items().isEmpty())
        _board->removeClipmuleData(_board->items().last());
    save();
}

void BrowserClips::removeAll() {
    while (_waiting && !_waiting->items().isEmpty())
        _waiting->removeClipmuleData(_waiting->items().last());
    removeReceived();
}

ZRKClipmuleClipboard::Clips BrowserClips::waiting() const {
    return _waiting ? _waiting->items() : ZRKClipmuleClipboard::Clips();
}

bool BrowserClips::addWaiting(const Clip &clip) {
    if (!_waiting)
        return false;
    if (_waiting->items().contains(clip))
        return true;
    _waiting->insertClipmuleDataAtIndex(clip, _waiting->items().size());
    _store->saveIfNeeded();
    if (_waiting->isDirty()) {
        _waiting->removeClipmuleData(clip);
        return false;
    }
    letMemoryGo();
    return true;
}

void BrowserClips::removeWaiting(const Clip &clip) {
    if (!_waiting)
        return;
    _waiting->removeClipmuleData(clip);
    save();
}

void BrowserClips::save() {
    if (!_store)
        return;
    _store->saveIfNeeded();
    if (_board->isDirty() || _waiting->isDirty())
        _retryTimer =
            RunLoop::current().performAfter(ClipboardStore::saveInterval, [this] { save(); });
}

void BrowserClips::letMemoryGo() {
    if (!_store)
        return;
    _memoryTimer = RunLoop::current().performAfter(2 * ClipboardStore::saveInterval, [this] {
        _board->releaseCachedData();
        _waiting->releaseCachedData();
        // What came with a clip was given back before the pictures went.
        ::malloc_trim(0);
    });
}

} // namespace clipmule
