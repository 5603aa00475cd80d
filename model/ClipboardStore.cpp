// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"

#include "model/DataFile.h"

#include <QDir>
#include <QStandardPaths>

#include <utility>

namespace clipmule {

namespace {
ClipboardStore *installedStore = nullptr;
} // namespace

ClipboardStore::ClipboardStore(QString dataPath)
    : _dataPath(std::move(dataPath)) {}

ClipboardStore::~ClipboardStore() = default;

ClipboardStore::Installation::Installation(ClipboardStore &store)
    : _previous(std::exchange(installedStore, &store)) {}

ClipboardStore::Installation::~Installation() {
    installedStore = _previous;
}

ClipboardStore &ClipboardStore::shared() {
    if (installedStore)
        return *installedStore;
    static ClipboardStore ofTheUser(
        QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    return ofTheUser;
}

QString ClipboardStore::path(const QString &oid, const QString &extension) const {
    return QDir(_dataPath).filePath(DataFile::name(oid, extension));
}

} // namespace clipmule
