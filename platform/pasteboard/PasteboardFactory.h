// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardAudience.h"

#include <memory>

namespace clipmule {

class X11Connection;

/// The clipboard of the display behind a connection (platform/x11/X11Display.h), followed from now
/// on; the null backend where there is none or where it does not tell of changes. Needs an
/// installed run loop. Never null. What is listed follows the audience; without the function that
/// is unknown.
[[nodiscard]] std::unique_ptr<Pasteboard>
makePasteboard(const std::shared_ptr<X11Connection> &connection,
               FindPasteboardAudience audience = {});

} // namespace clipmule
