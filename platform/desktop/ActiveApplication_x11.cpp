// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/ActiveApplication_x11.h"

#include <cstring>

namespace clipmule {

namespace {

// In units of four bytes; no class or identifier is longer, and the rest of one is not looked at.
constexpr quint32 maximumPropertyUnits = 256;

const QString fileManager = QStringLiteral("com.apple.finder");

} // namespace

ActiveApplicationX11::ActiveApplicationX11(std::shared_ptr<X11Connection> connection,
                                           ApplicationTable table,
                                           std::unique_ptr<DesktopFiles> desktopFiles)
    : _connection(std::move(connection))
    , _table(std::move(table))
    , _desktopFiles(std::move(desktopFiles)) {}

QByteArray ActiveApplicationX11::property(xcb_window_t window, xcb_atom_t property) const {
    const auto reply = _connection->reply(xcb_get_property_reply,
                                          xcb_get_property(_connection->xcb(), 0, window, property,
                                                           XCB_ATOM_ANY, 0, maximumPropertyUnits));
    if (!reply)
        return {};
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

std::optional<QString> ActiveApplicationX11::identifier() const {
    if (_connection->isLost())
        return std::nullopt;
    const QByteArray active =
        property(_connection->root(), _connection->atom("_NET_ACTIVE_WINDOW"));
    xcb_window_t window = XCB_NONE;
    if (active.size() >= qsizetype(sizeof window))
        std::memcpy(&window, active.constData(), sizeof window);
    if (window == XCB_NONE)
        return std::nullopt;

    const QString toolkitIdentifier =
        QString::fromUtf8(property(window, _connection->atom("_GTK_APPLICATION_ID")));
    // The instance's name and the class, each ended by NUL.
    const QList<QByteArray> classParts = property(window, XCB_ATOM_WM_CLASS).split('\0');
    const QString instance = QString::fromUtf8(classParts.value(0));
    const QString windowClass = QString::fromUtf8(classParts.value(1));

    std::optional<DesktopFiles::Program> program;
    for (const QString &name : {toolkitIdentifier, windowClass, instance}) {
        if (name.isEmpty())
            continue;
        if (const auto part = _table.partOf(name))
            return part;
        if (!program)
            program = _desktopFiles->find(name);
    }
    if (program) {
        if (const auto part = _table.partOf(program->identifier))
            return part;
        if (program->isFileManager)
            return fileManager;
    }
    if (!toolkitIdentifier.isEmpty())
        return toolkitIdentifier;
    if (program)
        return program->identifier;
    if (!windowClass.isEmpty())
        return windowClass.toLower();
    return std::nullopt;
}

} // namespace clipmule
