// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/backends/wayland/WaylandActiveApplication.h"

namespace clipmule {

ActiveApplication::Pasting WaylandActiveApplication::pasting() const {
    const Pasting pasting = _programs.pasting(names());
    return pasting.isFromSelection ? Pasting{.keys = QStringLiteral("None")} : pasting;
}

} // namespace clipmule
