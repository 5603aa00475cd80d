// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QString>

namespace clipmule {

class ClipboardStore;

/// Puts a store's folder in order: what was set aside because it could not be read goes back as
/// soon as it can be, and what a killed program left behind goes away.
///
/// The folder must be this process's alone.
namespace StoreRecovery {

/// What became of one file that was set aside.
struct Outcome {
    /// Its name in the folder.
    QString file;
    /// Why it stays as it is; empty when all that it held is where it belongs, and it is gone.
    QString reason;
    // How many of them had not been there.
    qsizetype clips = 0;
    qsizetype boards = 0;
};

/// Looks at every list that was set aside, under whatever number. Clipboards that are not there go
/// behind the others; clips that are nowhere go behind those of their clipboard. Where that has no
/// room for all of them, or is gone, they go to a custom clipboard of the given title, which is
/// made when there is none. Saves the store; a file goes only when that has worked.
[[nodiscard]] QList<Outcome> putBack(ClipboardStore &store, const QString &title);

/// Deletes the files of items and lists that no list speaks of, and temporary files; how many that
/// were. Only files that are named as the store names its own are looked at, and none is deleted
/// while any list is missing, cannot be read or is set aside.
qsizetype sweep(ClipboardStore &store);

} // namespace StoreRecovery

} // namespace clipmule
