// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

#include <memory>

namespace clipmule {

class X11Connection;

/// The clipboard of the display behind a connection (platform/x11/X11Display.h), followed from now
/// on; the null backend where there is none or where it does not tell of changes. Needs an
/// installed run loop. Never null.
[[nodiscard]] std::unique_ptr<Pasteboard>
makePasteboard(const std::shared_ptr<X11Connection> &connection);

} // namespace clipmule
