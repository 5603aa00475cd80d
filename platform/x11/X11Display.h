// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <memory>

namespace clipmule {

class X11Connection;

/// Whether there is a display that lets us in. For deciding what kind of application to be, before
/// there is one.
[[nodiscard]] bool x11DisplayIsThere();

/// The connection that the clipboard, the keystrokes and the active application share. They must
/// share it: a keystroke is then never ahead of the contents that it pastes. Null, with a line in
/// the log, where there is no display.
[[nodiscard]] std::shared_ptr<X11Connection> openX11Display();

/// Calls back once, from the run loop, when the display server has gone. The backends act as null
/// backends from then on. Nothing happens for a null connection.
void whenX11DisplayIsLost(const std::shared_ptr<X11Connection> &connection,
                          std::function<void()> callback);

} // namespace clipmule
