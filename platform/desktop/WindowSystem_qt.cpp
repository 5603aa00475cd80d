// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/WindowSystem.h"

#include "platform/x11/X11Connection.h"

#include <QGuiApplication>

#include <utility>

namespace clipmule {

namespace {

class ToolkitWindowSystem final : public WindowSystem {
public:
    explicit ToolkitWindowSystem(std::shared_ptr<X11Connection> connection)
        : _connection(std::move(connection)) {}

    [[nodiscard]] bool canPlaceWindows() const override {
        // A Wayland compositor keeps the places to itself.
        return !QGuiApplication::platformName().startsWith(u"wayland");
    }

    [[nodiscard]] bool blendsWindows() const override {
        if (!canPlaceWindows())
            return true;
        if (!_connection || _connection->isLost())
            return false;
        // A compositing manager owns this selection of its screen.
        const auto owner = _connection->reply(
            xcb_get_selection_owner_reply,
            xcb_get_selection_owner(_connection->xcb(), _connection->atom("_NET_WM_CM_S0")));
        return owner && owner->owner != XCB_NONE;
    }

private:
    std::shared_ptr<X11Connection> _connection;
};

} // namespace

std::unique_ptr<WindowSystem> makeWindowSystem(std::shared_ptr<X11Connection> connection) {
    return std::make_unique<ToolkitWindowSystem>(std::move(connection));
}

} // namespace clipmule
