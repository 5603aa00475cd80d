// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/windows/Compositor.h"
#include "platform/x11/X11Connection.h"

#include <utility>

namespace clipmule {

namespace {

class X11Compositor final : public Compositor {
public:
    explicit X11Compositor(std::shared_ptr<X11Connection> connection)
        : _connection(std::move(connection)) {}

    [[nodiscard]] bool isRunning() const override {
        if (!_connection || _connection->isLost())
            return true;
        // A compositor owns this selection; the number is the screen's.
        const xcb_atom_t selection = _connection->atom("_NET_WM_CM_S0");
        const auto owner = _connection->reply(
            xcb_get_selection_owner_reply, xcb_get_selection_owner(_connection->xcb(), selection));
        return owner && owner->owner != XCB_NONE;
    }

private:
    std::shared_ptr<X11Connection> _connection;
};

} // namespace

std::unique_ptr<Compositor> makeCompositor(const Session &session) {
    return std::make_unique<X11Compositor>(session.x11);
}

} // namespace clipmule
