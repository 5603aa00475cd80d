// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"

#include "platform/foundation/Log.h"
#include "platform/mutter/MutterConnection.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandDataControl.h"
#include "platform/x11/X11Connection.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <utility>

namespace clipmule {

namespace {

constexpr const char *platformVariable = "QT_QPA_PLATFORM";

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

bool hasX11Display() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    xcb_connection_t *const connection = xcb_connect(nullptr, nullptr);
    const bool isThere = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    return isThere;
}

// The plug-in comes in a package of its own.
bool toolkitKnowsWayland() {
    const QStringList folders = QCoreApplication::libraryPaths();
    return std::any_of(folders.cbegin(), folders.cend(), [](const QString &folder) {
        return QFile::exists(folder + QStringLiteral("/platforms/libqwayland-generic.so")) ||
               // So later versions of the toolkit call it.
               QFile::exists(folder + QStringLiteral("/platforms/libqwayland.so"));
    });
}

// The first of the user's list that reaches a display. Each is a name, perhaps with options.
QByteArray usersPlatform() {
    const QList<QByteArray> platforms = qgetenv(platformVariable).split(';');
    for (const QByteArray &platform : platforms) {
        const bool isReached = platform.startsWith("wayland")
                                   ? toolkitKnowsWayland() && !WaylandConnection::probe().isEmpty()
                               : platform.startsWith("xcb")
                                   ? hasX11Display()
                                   // The others show nothing, or need nobody to show it.
                                   : !platform.isEmpty();
        if (isReached)
            return platform;
    }
    qCWarning(logX11, "%s names no display that can be reached: %s", platformVariable,
              qUtf8Printable(cutForLog(qEnvironmentVariable(platformVariable))));
    return {};
}

} // namespace

Session openSession() {
    Session session{.x11 = openX11(), .wayland = WaylandConnection::open()};
    if (session.wayland && !WaylandDataControl::isOffered(session.wayland))
        session.mutter = MutterConnection::open();
    return session;
}

QByteArray toolkitPlatform() {
    if (!qEnvironmentVariableIsEmpty(platformVariable))
        return usersPlatform();
    const QList<QByteArray> offered = WaylandConnection::probe();
    const bool hasPlugin = toolkitKnowsWayland();
    if (WaylandDataControl::isOffered(offered)) {
        if (hasPlugin)
            return "wayland";
        qCWarning(logWayland, "the toolkit has no plug-in for Wayland: install qt6-wayland");
    }
    if (hasX11Display())
        return "xcb";
    return hasPlugin && !offered.isEmpty() ? "wayland" : "";
}

void whenDisplayIsLost(const Session &session, const std::function<void()> &callback) {
    if (session.x11)
        session.x11->whenLost(callback);
    if (session.wayland)
        session.wayland->whenLost(callback);
}

} // namespace clipmule
