// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/BrowserClips.h"

#include "model/StoreRecovery.h"

#include <QFileInfo>

namespace clipmule {

namespace {

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
    _store->start();
    _board = _store->mainClipboard();
    // What a program that was killed left over.
    (void)StoreRecovery::sweep(*_store);
}

BrowserClips::~BrowserClips() {
    if (_store)
        _store->saveIfNeeded();
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
    letMemoryGo();
    return gone;
}

bool BrowserClips::remove(const QString &id) {
    const Clip clip = withId(id);
    if (clip)
        _board->removeClipmuleData(clip);
    return clip != nullptr;
}

void BrowserClips::removeAll() {
    while (!_board->items().isEmpty())
        _board->removeClipmuleData(_board->items().last());
    if (_store)
        _store->saveIfNeeded();
}

void BrowserClips::letMemoryGo() {
    if (!_store)
        return;
    _memoryTimer = RunLoop::current().performAfter(2 * ClipboardStore::saveInterval, [this] {
        _store->saveIfNeeded();
        _board->releaseCachedData();
    });
}

} // namespace clipmule
