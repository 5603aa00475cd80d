// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ZRKClipmuleClipboard.h"

namespace clipmule {

/// An upper bound of the bytes that the file of a list of clips takes, without writing it: equal
/// texts count once, as the archive stores them. Persistent caches, which nothing fills with more
/// than a few numbers, are not looked at.
[[nodiscard]] qint64 archivedSize(const ZRKClipmuleClipboard::Clips &clips);

/// Whether the file's size is within the limit; looks at the texts themselves only where their
/// lengths alone do not tell.
[[nodiscard]] bool archiveFits(const ZRKClipmuleClipboard::Clips &clips, qint64 limit);

} // namespace clipmule
