// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"

namespace clipmule {

/// Writes keyed archives: property lists in which every object is stored once and referred to by
/// number, each value of an object under a key of its own.
class KeyedArchiver {
public:
    /// Objects nested deeper (the root and the leaves count) raise a PlatformException: far beyond
    /// list, clip, list, item, text.
    static constexpr int maximumDepth = 500;

    /// The archive as a binary property list. Equal strings, numbers and bytes are stored once, as
    /// is each object of ours; but where so many places share one that KeyedUnarchiver would refuse
    /// the archive, each of them gets its own. Besides too deep nesting, a key that an object uses
    /// twice raises a PlatformException named "InvalidArgument"; what encodeWithCoder() raises
    /// passes.
    [[nodiscard]] static QByteArray archivedData(const ArchiveValue &root);
    /// The same archive as a value.
    [[nodiscard]] static PropertyList archivedPropertyList(const ArchiveValue &root);
    /// Replaces the file in one step; false, with a log line, when it cannot be written, and the
    /// old file stays. Raises what archivedData() does.
    static bool archiveRootObjectToFile(const ArchiveValue &root, const QString &path);
};

} // namespace clipmule
