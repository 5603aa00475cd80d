// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

struct Session;

/// Makes key strokes as if the user had typed them.
class KeyboardEvents {
public:
    KeyboardEvents() = default;
    virtual ~KeyboardEvents() = default;
    KeyboardEvents(const KeyboardEvents &) = delete;
    KeyboardEvents &operator=(const KeyboardEvents &) = delete;

    /// Makes the stroke that pastes in the active window: Control down, "v" down, "v" up, Control
    /// up, or what else is known to paste there. Nothing that the user types comes between, and
    /// what modifiers are really held takes no part in it.
    virtual void paste() = 0;

    /// How it makes key strokes, for the status: "xtest". "none" where it makes none, "xwayland"
    /// where it makes them for windows of X11 programs only.
    [[nodiscard]] virtual QString description() const = 0;
    /// Why it makes none, or not for every window, in plain English for the status, without a full
    /// stop; empty where it makes them for all.
    [[nodiscard]] virtual QString obstacle() const { return {}; }
};

/// Key strokes for the session's display, in order after whatever else was sent to it. Where there
/// is no display, or one that takes no synthesised keys, none are made, which is said once, at the
/// first. Needs an installed run loop. Never null.
///
/// `pasteKeys` is asked at each paste which keys the active window takes for it
/// (ActiveApplication.h); may be empty.
[[nodiscard]] std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const Session &session, std::function<std::optional<QString>()> pasteKeys = {});

} // namespace clipmule
