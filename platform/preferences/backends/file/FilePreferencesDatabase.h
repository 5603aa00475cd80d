// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/preferences/PreferencesDatabase.h"

namespace clipmule {

/// Preferences as one XML property list a domain, "<domain>.plist" in a folder of this program's
/// own. Every write takes the folder's lock, reads the file, changes one key and replaces the file
/// in one step, so that processes do not undo each other's changes and a reader never sees half a
/// file. Folder and files are for their owner only.
///
/// A file that is no property list or cannot be read counts as empty; before it is replaced it is
/// kept as "<domain>.plist.damaged-1" (or -2 …). What cannot be written is logged, and the file
/// stays as it was. Of a linked file the target changes.
///
/// Each file carries the version of its form under a key of its own, which is no preference. A file
/// of a later version is read as far as it can be, and never written.
class FilePreferencesDatabase final : public PreferencesDatabase {
public:
    /// Preferences are some kilobytes; the room is for a panel that keeps pictures in them. Every
    /// write writes the whole file, and every program reads it at its start.
    static constexpr qint64 largestFile = 8 * 1024 * 1024;
    /// The most bytes of a domain, so that every name derived from it stays within the file
    /// system's 255.
    static constexpr qsizetype longestDomain = 200;
    /// How long a write waits for the lock: longer than any write takes. Only a program that was
    /// stopped in the middle of one holds the lock longer.
    static constexpr RunLoop::Seconds lockPatience{1};

    /// The form that is written. To be raised when an older program would misread what a newer one
    /// has written, not for further keys.
    static constexpr qint64 currentVersion = 1;

    /// The folder is made, with its parents, when something is written first.
    explicit FilePreferencesDatabase(const QString &folder);

    /// Letters, digits, '.', '-' and '_', the first no full stop; at most longestDomain.
    [[nodiscard]] static bool isValidDomain(const QString &domain);

    [[nodiscard]] PropertyList::Dictionary copyMultiple(const QString &domain) override;
    Result<void> setValue(const QString &domain, const QString &key,
                          const std::optional<PropertyList> &value) override;
    /// Waits until the file is on the disk.
    Result<void> synchronize(const QString &domain) override;

private:
    [[nodiscard]] QString path(const QString &domain) const;
    /// Where a linked file really is; path() for any other.
    [[nodiscard]] QString linkedPath(const QString &domain) const;
    /// Empty when there is no file; the failure says why one does not count.
    [[nodiscard]] Result<PropertyList::Dictionary> read(const QString &domain) const;
    [[nodiscard]] Result<void> merge(const QString &domain, const QString &key,
                                     const std::optional<PropertyList> &value);
    [[nodiscard]] Result<void> replace(const QString &domain, const QByteArray &bytes);
    [[nodiscard]] Result<void> keepAside(const QString &domain) const;
    [[nodiscard]] Result<void> makeFolder() const;
    [[nodiscard]] Result<FileHandle> lock() const;

    QString _folder;
};

} // namespace clipmule
