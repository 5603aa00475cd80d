// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/windows/ActiveApplication.h"
#include "platform/windows/KnownPrograms.h"
#include "platform/x11/X11Connection.h"

#include <memory>

namespace clipmule {

/// The window that the window manager calls active, and what it says of its program. Three round
/// trips to the display server a question.
class X11ActiveApplication final : public ActiveApplication {
public:
    X11ActiveApplication(std::shared_ptr<X11Connection> connection, KnownPrograms programs);

    [[nodiscard]] std::optional<QString> identifier() const override;
    [[nodiscard]] Pasting pasting() const override;

private:
    [[nodiscard]] WindowNames namesOfTheActiveWindow() const;
    [[nodiscard]] QByteArray property(xcb_window_t window, xcb_atom_t property) const;

    std::shared_ptr<X11Connection> _connection;
    KnownPrograms _programs;
};

/// Whether a compositor runs on the display.
[[nodiscard]] bool hasX11Compositor(X11Connection &connection);

} // namespace clipmule
