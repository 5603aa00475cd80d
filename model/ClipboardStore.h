// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

/// The state that all clipboards share. The program has one, made when it is first asked for, in
/// the user's documents folder; a test makes its own with a folder of its own.
class ClipboardStore final {
public:
    explicit ClipboardStore(QString dataPath);
    ~ClipboardStore();
    ClipboardStore(const ClipboardStore &) = delete;
    ClipboardStore &operator=(const ClipboardStore &) = delete;
    ClipboardStore(ClipboardStore &&) = delete;
    ClipboardStore &operator=(ClipboardStore &&) = delete;

    /// Makes a store the one in use for its own lifetime, then restores the previous one. The store
    /// is not owned.
    class Installation {
    public:
        explicit Installation(ClipboardStore &store);
        ~Installation();
        Installation(const Installation &) = delete;
        Installation &operator=(const Installation &) = delete;
        Installation(Installation &&) = delete;
        Installation &operator=(Installation &&) = delete;

    private:
        ClipboardStore *_previous;
    };

    /// The one in use.
    [[nodiscard]] static ClipboardStore &shared();

    /// The folder of all files.
    [[nodiscard]] const QString &dataPath() const { return _dataPath; }
    /// Of the file that belongs to an id.
    [[nodiscard]] QString path(const QString &oid, const QString &extension) const;

private:
    QString _dataPath;
};

} // namespace clipmule
