// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// Posts key strokes as if the user had typed them, in the platform's vocabulary: character codes,
/// and virtual key codes by position (55 is Command, 9 is the key that types "v").
///
/// The calls of one stroke come between inhibitLocalEvents(true) and inhibitLocalEvents(false); a
/// backend may gather them and act at the end.
class KeyboardEvents {
public:
    KeyboardEvents() = default;
    virtual ~KeyboardEvents() = default;
    KeyboardEvents(const KeyboardEvents &) = delete;
    KeyboardEvents &operator=(const KeyboardEvents &) = delete;

    /// Holds the user's own keyboard and mouse off, or lets them in again.
    virtual void inhibitLocalEvents(bool inhibit) = 0;
    /// Whether posted events mix with the modifiers that are really held.
    virtual void enableEventStateCombining(bool combine) = 0;
    /// Which local events pass while suppressed (bit 0 mouse, 1 keyboard, 2 system-defined), in
    /// which state (0: the suppression interval).
    virtual void setLocalEventsFilterDuringSuppressionState(quint32 filter, quint32 state) = 0;
    virtual void postKeyboardEvent(quint16 character, quint16 virtualKey, bool keyDown) = 0;

    /// How it makes key strokes, for the status: "xtest". "none" where it makes none.
    [[nodiscard]] virtual QString description() const = 0;
};

/// Key strokes for the session's display, in order after whatever else was sent to it; a backend
/// that makes none where there is no display or where it takes no synthesised keys. Needs an
/// installed run loop. Never null.
///
/// `pasteKeys` is asked at each paste which keys the active window takes for it
/// (ActiveApplication.h); may be empty.
[[nodiscard]] std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const Session &session, std::function<std::optional<QString>()> pasteKeys = {});

} // namespace clipmule
