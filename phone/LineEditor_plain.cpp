// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/LineEditor.h"

namespace clipmule {

// Without a library the terminal itself is editor enough.
std::unique_ptr<LineEditor> LineEditor::make(int, int, const QByteArray &, Delegate) {
    return nullptr;
}

} // namespace clipmule
