// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/pasteboard/X11TestOwner.h"

#include <QStringList>

namespace clipmule::kit {

using Offers = QList<X11TestOwner::Answer>;

/// What a program offered when something was copied in it, in its order.
struct RecordedCopy {
    QString program;
    /// "text", "styled", "link", "image", "photo", "cells", "some rows" (200), "rows" (3,000),
    /// "file", "picture file" or "password".
    QString kind;
    Offers offers;
};

/// What a program asked for when it pasted from an owner that offered this.
struct RecordedPaste {
    QString program;
    /// "text", "url", "strings", "png" or "jpeg".
    QString kind;
    QStringList offered;
    QStringList asked;
};

/// What a clipboard manager offered when an owner had ended.
struct RecordedTakeover {
    QString manager;
    /// "text", "styled" or "image" of another program; "ours, text" or "ours, image".
    QString what;
    Offers offered;
    /// What the manager had asked for before.
    QStringList asked;
    Offers afterwards;
};

// Real programs as scripts/try-programs --record has kept them in tests/data/programs. Their own
// folder becomes the one given, an absolute path: the files that they name are to be put there.
// Long contents are kept by their size and made up: a text by its beginning and x's, a picture by
// its format and pixels, which cost as much as the real ones do. A file that cannot be read ends
// the test program.

[[nodiscard]] QList<RecordedCopy> recordedCopies(const QString &folder);
[[nodiscard]] QList<RecordedPaste> recordedPastes();
[[nodiscard]] QList<RecordedTakeover> recordedTakeovers();

} // namespace clipmule::kit
