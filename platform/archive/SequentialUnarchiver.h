// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/archive/Coding.h"

#include <QByteArrayView>

namespace clipmule {

/// Reads old archives without keys. Each object is decoded once; memory and time stay within a
/// small multiple of the archive's size.
class SequentialUnarchiver {
public:
    /// Objects nested deeper are refused.
    static constexpr int maximumDepth = 500;

    /// The root object. Raises a PlatformException named "InvalidArchive" as KeyedUnarchiver does,
    /// and when an object consists of other values than its class reads.
    [[nodiscard]] static ArchiveValue unarchivedObject(QByteArrayView archive,
                                                       const CodingClasses &classes = {});
};

} // namespace clipmule
