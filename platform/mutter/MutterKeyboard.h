// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/mutter/MutterSession.h"
#include "platform/wayland/WaylandKeyboard.h"
#include "platform/wayland/WaylandSeatLayout.h"

#include <deque>

namespace clipmule {

/// Key strokes with GNOME's compositor, each in a session of its own: the user is shown a mark
/// while a session is started, so it is stopped with the last key. The next one is asked for at
/// once, so that a stroke need not wait for it.
///
/// Unlike elsewhere, a modifier that the user holds takes part in the stroke: nobody is told which
/// are held, and the compositor ignores the release of a key that the session has not pressed.
class MutterKeyboard final : public WaylandKeyboard {
public:
    /// How long a stroke may wait for a session. After a quarter of a second the next clip may be
    /// on the clipboard, which would be pasted in the place of this one.
    static constexpr RunLoop::Seconds patience{0.2};

    /// The compositor's own connection tells the user's layout.
    MutterKeyboard(std::shared_ptr<MutterConnection> connection,
                   std::shared_ptr<WaylandConnection> wayland);

    [[nodiscard]] QString name() const override { return QStringLiteral("mutter"); }
    /// True as well when the stroke has to wait; false when there is no compositor.
    [[nodiscard]] bool type(const QList<quint32> &symbols) override;

private:
    struct Stroke {
        QList<quint32> symbols;
        RunLoop::Timer end;
    };

    void makeFirst();
    void press(quint32 symbol, bool isDown);

    MutterSession _session;
    WaylandSeatLayout _layout;
    std::deque<Stroke> _waiting; // the oldest first
};

} // namespace clipmule
