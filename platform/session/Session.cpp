// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"

#include "platform/foundation/Log.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/x11/X11Connection.h"

#include <utility>

namespace clipmule {

namespace {

std::shared_ptr<X11Connection> openX11() {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        qCInfo(logX11, "there is no X11 display in this session");
        return nullptr;
    }
    auto connection = X11Connection::open();
    if (!connection)
        qCWarning(logX11, "the X11 display \"%s\" cannot be opened",
                  qUtf8Printable(qEnvironmentVariable("DISPLAY")));
    return connection;
}

} // namespace

Session openSession() {
    return {.x11 = openX11(), .wayland = WaylandConnection::open()};
}

bool hasDisplay() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
    const bool isThere = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return isThere;
}

void whenDisplayIsLost(const Session &session, const std::function<void()> &callback) {
    if (session.x11)
        session.x11->whenLost(callback);
    if (session.wayland)
        session.wayland->whenLost(callback);
}

} // namespace clipmule
