// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class X11Connection;

/// Key strokes for the display behind a connection (platform/x11/X11Display.h), in order after
/// whatever else was sent over it; the null backend where there is none or where the display takes
/// no synthesised keys. Needs an installed run loop. Never null.
///
/// `pasteKeys` is asked at each paste which keys the active window takes for it
/// (ActiveApplication.h); may be empty.
[[nodiscard]] std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const std::shared_ptr<X11Connection> &connection,
                   std::function<std::optional<QString>()> pasteKeys = {});

} // namespace clipmule
