// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace clipmule {

/// Files in the data directory. They hold what the user copied, so nobody else may read them. A
/// symbolic link is none of them: it is not read, and a file takes its place.
namespace DataFile {

/// In bytes. Far above what a clip may hold; a larger file is neither written nor read.
inline constexpr qint64 largest = 256LL * 1024 * 1024;

/// The bytes of the file; nothing when there is no such file.
[[nodiscard]] Result<std::optional<QByteArray>> read(const QString &path, qint64 limit = largest);

/// Replaces the file as a whole or not at all. Its folder is made when it is missing.
[[nodiscard]] Result<void> write(const QString &path, const QByteArray &bytes,
                                 qint64 limit = largest);

/// Makes a folder, and those above it, for this user alone; one that is there stays as it is.
/// False when that is not possible.
[[nodiscard]] bool makeFolder(const QString &path);

/// Gives the file a second name beside the first, with ".unreadable" and a number where it must be,
/// so that replacing it loses nothing.
[[nodiscard]] Result<void> keepUnreadable(const QString &path);

/// Deletes the file; every error is ignored.
void remove(const QString &path);

/// The name of the file that belongs to an id. Ids come from other machines: one that is no plain
/// file name is replaced by its digest.
[[nodiscard]] QString name(const QString &oid, const QString &extension);

} // namespace DataFile

} // namespace clipmule
