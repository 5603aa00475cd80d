// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

class ActiveApplication;
class ClipNotice;
class Pasteboard;

/// What clips need of the desktop to be captured from its clipboard and written to it. Nothing is
/// owned.
struct PasteboardServices {
    Pasteboard &pasteboard;
    const ActiveApplication &activeApplication;
    ClipNotice &notice;
    /// Absolute path of the folder in which the folder of pasted images is made. It belongs to this
    /// user alone; PrivateFolder::temporaryPath() is the session's.
    QString temporaryFolder;
};

} // namespace clipmule
