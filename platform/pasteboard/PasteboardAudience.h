// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

namespace clipmule {

/// Who looks at what we offer: the program in front, as far as it is known. Programs take the first
/// form that they know, and what suits one does harm in another.
enum class PasteboardAudience {
    Unknown,
    FileManager,
    Spreadsheet,
    Other,
};

/// Asked, while the clipboard is ours, whenever somebody asks for a list of what there is, and
/// something of it is not for everybody.
using FindPasteboardAudience = std::function<PasteboardAudience()>;

} // namespace clipmule
