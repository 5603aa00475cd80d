// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

namespace clipmule {

class MutterConnection;
class WaylandConnection;
class X11Connection;

/// What the program reaches of the desktop session it runs in. Opened once and handed to every
/// make… function, which chooses its backend by what is there; copies share the connections.
struct Session {
    /// The connection that the clipboard, the key strokes and the active application share. They
    /// must share it: a key stroke is then never ahead of the contents that it pastes. Null where
    /// there is no X11 display.
    std::shared_ptr<X11Connection> x11 = {};
    /// The same of a Wayland compositor. A session may have both.
    std::shared_ptr<WaylandConnection> wayland = {};
    /// The same of GNOME's, which lets programs control the clipboard over the session bus. Null
    /// where the other connection does.
    std::shared_ptr<MutterConnection> mutter = {};
};

/// The session of this process, as its environment names it. What cannot be reached is missing,
/// with a line in the log.
[[nodiscard]] Session openSession();

/// The toolkit's platform that reaches a display of this session, by its name: the one that the
/// user set in the environment, else "wayland" on a compositor that lets programs control the
/// clipboard, and an X server's on every other, where windows can be placed by it. Empty where the
/// toolkit would find no display, which ends a process that has windows. To be asked before there
/// is an application object; takes milliseconds, or WaylandConnection::patience with a compositor
/// that hangs.
[[nodiscard]] QByteArray toolkitPlatform();

/// Calls back from the run loop when the display server or the compositor has gone; once for each
/// that there was. Their backends act as null backends from then on. Nothing happens in a session
/// without either.
void whenDisplayIsLost(const Session &session, const std::function<void()> &callback);

} // namespace clipmule
