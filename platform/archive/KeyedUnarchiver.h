// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"

#include <QByteArrayView>

namespace clipmule {

/// Reads keyed archives, as binary or XML property lists, of this program and of others that use
/// the format. Each object is decoded once; memory and time stay within a small multiple of the
/// archive's size.
class KeyedUnarchiver {
public:
    /// Objects nested deeper are refused, so that they can be destroyed recursively.
    static constexpr int maximumDepth = 500;
    /// A larger file is refused unread. A native dictionary holds one clipboard's contents; more
    /// than this was never written.
    static constexpr qint64 largestFile = 256 * 1024 * 1024;

    /// The root object; nil when the archive has none. Raises a PlatformException named
    /// "InvalidArchive" when the bytes are no such archive, when anything in it is malformed, when
    /// a class is neither a standard one nor among the given ones, when a list or dictionary
    /// contains itself, and when objects that are referred to often expand to more than
    /// PropertyListSerialization allows for its size. What initWithCoder() raises passes.
    [[nodiscard]] static ArchiveValue unarchivedObject(QByteArrayView archive,
                                                       const CodingClasses &classes = {});
    /// Reads a file like an archive's bytes; nil when there is no such file.
    [[nodiscard]] static ArchiveValue unarchivedObjectOfFile(const QString &path,
                                                             const CodingClasses &classes = {});
};

} // namespace clipmule
