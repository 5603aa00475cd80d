// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/LineEditor.h"

namespace clipmule {

// Without a library there is no editor: the terminal's own editing is enough.
std::unique_ptr<LineEditor> LineEditor::make(int, int, const QByteArray &) {
    return nullptr;
}

} // namespace clipmule
