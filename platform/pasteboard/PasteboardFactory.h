// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

#include <functional>
#include <memory>

namespace clipmule {

class X11Connection;

/// The clipboard of the display behind a connection (platform/x11/X11Display.h), followed from now
/// on; the null backend where there is none or where it does not tell of changes. Needs an
/// installed run loop. Never null.
///
/// The function is asked, as long as the clipboard is ours, whether the user may be working in a
/// file manager: only then are the files of images offered.
[[nodiscard]] std::unique_ptr<Pasteboard>
makePasteboard(const std::shared_ptr<X11Connection> &connection,
               std::function<bool()> mayBeFileManager = {});

} // namespace clipmule
