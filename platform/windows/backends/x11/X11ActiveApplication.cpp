// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/backends/x11/X11ActiveApplication.h"

#include <cstring>

namespace clipmule {

namespace {

// How much of a property is read, in units of four bytes; no class or identifier is longer.
constexpr quint32 maximumPropertyUnits = 256;

} // namespace

X11ActiveApplication::X11ActiveApplication(std::shared_ptr<X11Connection> connection,
                                           KnownPrograms programs)
    : _connection(std::move(connection))
    , _programs(std::move(programs)) {}

QByteArray X11ActiveApplication::property(xcb_window_t window, xcb_atom_t property) const {
    const auto reply = _connection->reply(xcb_get_property_reply,
                                          xcb_get_property(_connection->xcb(), 0, window, property,
                                                           XCB_ATOM_ANY, 0, maximumPropertyUnits));
    if (!reply)
        return {};
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

WindowNames X11ActiveApplication::namesOfTheActiveWindow() const {
    if (_connection->isLost())
        return {};
    const QByteArray active =
        property(_connection->root(), _connection->atom("_NET_ACTIVE_WINDOW"));
    xcb_window_t window = XCB_NONE;
    if (active.size() >= qsizetype(sizeof window))
        std::memcpy(&window, active.constData(), sizeof window);
    if (window == XCB_NONE)
        return {};
    // The instance's name and the class, each ended by NUL.
    const QList<QByteArray> classParts = property(window, XCB_ATOM_WM_CLASS).split('\0');
    return {.toolkitIdentifier =
                QString::fromUtf8(property(window, _connection->atom("_GTK_APPLICATION_ID"))),
            .windowClass = QString::fromUtf8(classParts.value(1)),
            .instance = QString::fromUtf8(classParts.value(0))};
}

std::optional<QString> X11ActiveApplication::identifier() const {
    return _programs.identifier(namesOfTheActiveWindow());
}

ActiveApplication::Pasting X11ActiveApplication::pasting() const {
    return _programs.pasting(namesOfTheActiveWindow());
}

bool hasX11Compositor(X11Connection &connection) {
    // A compositor owns this selection; the number is the screen's.
    const xcb_atom_t selection = connection.atom("_NET_WM_CM_S0");
    const auto owner = connection.reply(xcb_get_selection_owner_reply,
                                        xcb_get_selection_owner(connection.xcb(), selection));
    return owner && owner->owner != XCB_NONE;
}

} // namespace clipmule
