// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"
#include "platform/foundation/Result.h"

#include <QByteArrayView>

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
};

/// Reads keyed archives, as binary or XML property lists, of this program and of others that use
/// the format. Each object is decoded once; memory and time stay within a small multiple of the
/// archive's size.
class KeyedUnarchiver {
public:
    /// Objects nested deeper are refused, so that they can be destroyed recursively.
    static constexpr int maximumDepth = 500;

    /// The root object; nil when the archive has none. A failure when the bytes are no such
    /// archive, when anything in it is malformed, when a class is neither a standard one nor among
    /// the given ones, when a list or dictionary contains itself, when objects that are referred to
    /// often expand to more than PropertyListSerialization allows for its size, and when
    /// initWithCoder() raises a PlatformException.
    [[nodiscard]] static Result<ArchiveValue> unarchivedObject(QByteArrayView archive,
                                                               const CodingClasses &classes = {});
};

} // namespace clipmule
