// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/x11/X11Display.h"

#include "platform/x11/Log.h"
#include "platform/x11/X11Connection.h"

namespace clipmule {

bool x11DisplayIsThere() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
    const bool isThere = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return isThere;
}

std::shared_ptr<X11Connection> openX11Display() {
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

void whenX11DisplayIsLost(const std::shared_ptr<X11Connection> &connection,
                          std::function<void()> callback) {
    if (connection)
        connection->whenLost(std::move(callback));
}

} // namespace clipmule
