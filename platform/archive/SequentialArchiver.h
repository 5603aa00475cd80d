// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"
#include "platform/foundation/Result.h"

#include <QByteArrayView>

namespace clipmule {

/// Writes old archives without keys: the values of an object in the order of encoding.
class SequentialArchiver {
public:
    /// Objects nested deeper raise a PlatformException.
    static constexpr int maximumDepth = 500;

    /// Each object of ours is stored once; strings, numbers, lists and so on each time. Integers
    /// of more than 32 bits, for which the format has no word, raise a PlatformException named
    /// "InvalidArgument"; what encodeWithCoder() raises passes.
    [[nodiscard]] static QByteArray archivedData(const ArchiveValue &root);
};

/// Reads old archives without keys. Each object is decoded once; memory and time stay within a
/// small multiple of the archive's size.
class SequentialUnarchiver {
public:
    /// Objects nested deeper are refused.
    static constexpr int maximumDepth = 500;

    /// The root object. A failure as of KeyedUnarchiver, and when an object consists of other
    /// values than its class reads.
    [[nodiscard]] static Result<ArchiveValue> unarchivedObject(QByteArrayView archive,
                                                               const CodingClasses &classes = {});
};

} // namespace clipmule
