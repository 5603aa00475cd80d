// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Result.h"

#include <QByteArray>
#include <QString>

namespace clipmule {

/// A folder for temporary files that only this user can enter, in a place that others may be able
/// to write to. No symbolic link is followed to it or in it, whoever made it.
class PrivateFolder final {
public:
    /// Where such folders are made: the session's runtime folder, else one of this user's own in
    /// /tmp.
    [[nodiscard]] static QString temporaryPath();

    /// Deletes the folder of this name in the parent, with all its contents, and makes it anew. The
    /// parent is made when it is missing; its own parent is not. A failure when the parent is a
    /// symbolic link, belongs to somebody else or can be written by others, and when anything
    /// cannot be deleted or made.
    [[nodiscard]] static Result<PrivateFolder> makeEmpty(const QString &parent,
                                                         const QString &name);

    [[nodiscard]] const QString &path() const { return _path; }
    /// Writes a file that is not there yet. After a failure there may be a part of it.
    [[nodiscard]] Result<void> write(const QString &name, const QByteArray &bytes) const;

private:
    PrivateFolder(QString path, FileHandle folder)
        : _path(std::move(path))
        , _folder(std::move(folder)) {}

    QString _path;
    FileHandle _folder;
};

} // namespace clipmule
