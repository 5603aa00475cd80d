// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/backends/x11/X11ActiveApplication.h"

#include <cstring>

namespace clipmule {

namespace {

// How much of a property is read, in units of four bytes; no class or identifier is longer.
constexpr quint32 maximumPropertyUnits = 256;

const QString fileManager = QStringLiteral("com.apple.finder");
// The keys of a terminal that is in no table: "v" with Control alone is for the program that runs
// in it.
const QString terminalKeys = QStringLiteral("Ctrl+Shift+V");

} // namespace

X11ActiveApplication::X11ActiveApplication(std::shared_ptr<X11Connection> connection,
                                           ApplicationTable table,
                                           std::unique_ptr<DesktopFiles> desktopFiles)
    : _connection(std::move(connection))
    , _table(std::move(table))
    , _desktopFiles(std::move(desktopFiles)) {}

QByteArray X11ActiveApplication::property(xcb_window_t window, xcb_atom_t property) const {
    const auto reply = _connection->reply(xcb_get_property_reply,
                                          xcb_get_property(_connection->xcb(), 0, window, property,
                                                           XCB_ATOM_ANY, 0, maximumPropertyUnits));
    if (!reply)
        return {};
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

QStringList X11ActiveApplication::Names::said() const {
    QStringList names{toolkitIdentifier, windowClass, instance};
    names.removeAll(QString());
    return names;
}

X11ActiveApplication::Names X11ActiveApplication::namesOfTheActiveWindow() const {
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

std::optional<DesktopFiles::Program> X11ActiveApplication::programOf(const Names &names) const {
    for (const QString &name : names.said()) {
        if (const auto program = _desktopFiles->find(name))
            return program;
    }
    return std::nullopt;
}

std::optional<QString> X11ActiveApplication::identifier() const {
    const Names names = namesOfTheActiveWindow();
    for (const QString &name : names.said()) {
        if (const auto part = _table.partOf(name))
            return part;
    }
    const auto program = programOf(names);
    if (program) {
        if (const auto part = _table.partOf(program->identifier))
            return part;
        if (program->isFileManager)
            return fileManager;
    }
    if (!names.toolkitIdentifier.isEmpty())
        return names.toolkitIdentifier;
    if (program)
        return program->identifier;
    if (!names.windowClass.isEmpty())
        return names.windowClass.toLower();
    return std::nullopt;
}

ActiveApplication::Pasting X11ActiveApplication::pasting() const {
    const Names names = namesOfTheActiveWindow();
    const auto program = programOf(names);
    QStringList known = names.said();
    if (program)
        known.append(program->identifier);
    for (const QString &name : std::as_const(known)) {
        if (const auto keys = _table.pasteKeysOf(name))
            return {.keys = keys, .isFromSelection = _table.pastesFromSelection(name)};
    }
    if (program && program->isTerminal)
        return {.keys = terminalKeys};
    return {};
}

bool hasX11Compositor(X11Connection &connection) {
    // A compositor owns this selection; the number is the screen's.
    const xcb_atom_t selection = connection.atom("_NET_WM_CM_S0");
    const auto owner = connection.reply(xcb_get_selection_owner_reply,
                                        xcb_get_selection_owner(connection.xcb(), selection));
    return owner && owner->owner != XCB_NONE;
}

} // namespace clipmule
