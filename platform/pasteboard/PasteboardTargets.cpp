// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardTargets.h"

#include <QSet>

#include <algorithm>

namespace clipmule::PasteboardTargets {

namespace {
// An atom's name is counted with 16 bits; no real target's is longer than this.
constexpr qsizetype maximumNameLength = 255;
} // namespace

bool isProtocol(const QString &target) {
    static const QSet<QString> names{
        QStringLiteral("TARGETS"),
        QStringLiteral("MULTIPLE"),
        QStringLiteral("TIMESTAMP"),
        QStringLiteral("SAVE_TARGETS"),
        QStringLiteral("DELETE"),
        QStringLiteral("INSERT_PROPERTY"),
        QStringLiteral("INSERT_SELECTION"),
        QStringLiteral("INCR"),
        QStringLiteral("ATOM_PAIR"),
        // About the owner.
        QStringLiteral("BACKGROUND"),
        QStringLiteral("CHARACTER_POSITION"),
        QStringLiteral("CLASS"),
        QStringLiteral("CLIENT_WINDOW"),
        QStringLiteral("COLUMN_NUMBER"),
        QStringLiteral("FOREGROUND"),
        QStringLiteral("HOST_NAME"),
        QStringLiteral("HOSTNAME"),
        QStringLiteral("IP_ADDRESS"),
        QStringLiteral("LENGTH"),
        QStringLiteral("LINE_NUMBER"),
        QStringLiteral("LIST_LENGTH"),
        QStringLiteral("MODULE"),
        QStringLiteral("NAME"),
        QStringLiteral("OWNER_OS"),
        QStringLiteral("PROCEDURE"),
        QStringLiteral("PROCESS"),
        QStringLiteral("TASK"),
        QStringLiteral("USER"),
        // Resources.
        QStringLiteral("BITMAP"),
        QStringLiteral("COLORMAP"),
        QStringLiteral("DRAWABLE"),
        QStringLiteral("PIXMAP"),
    };
    return names.contains(target);
}

bool isBoundToItsSession(const QString &target) {
    static const QSet<QString> names{
        QStringLiteral("GTK_TEXT_BUFFER_CONTENTS"),
        QStringLiteral("application/vnd.portal.files"),
        QStringLiteral("application/vnd.portal.filetransfer"),
        QStringLiteral("application/x-qt-image"),
        // Where the contents were copied from: addresses with what was asked there, paths, keys.
        QStringLiteral("application/x-openoffice-link"),
        QStringLiteral("application/x-openoffice-objectdescriptor"),
        QStringLiteral("chromium/x-internal-source-rfh-token"),
        QStringLiteral("chromium/x-source-url"),
        QStringLiteral("text/x-moz-url-priv"),
    };
    // Some add what the contents are called, after a semicolon.
    return names.contains(target.section(u';', 0, 0));
}

bool namesFiles(const QString &target) {
    // "text/uri-list", "application/x-kde4-urilist", "x-special/gnome-copied-files",
    // "x-special/nautilus-clipboard", "application/x-kde-cutselection", "text/x-moz-url-data",
    // "application/x-moz-file", "_NETSCAPE_URL", "FILE_NAME"
    static const QStringList parts{
        QStringLiteral("uri-list"),     QStringLiteral("urilist"),
        QStringLiteral("copied-files"), QStringLiteral("x-special/"),
        QStringLiteral("cutselection"), QStringLiteral("moz-url"),
        QStringLiteral("moz-file"),     QStringLiteral("netscape"),
        QStringLiteral("file_name"),    QStringLiteral("file-list"),
        QStringLiteral("filenames"),    QStringLiteral("file-url"),
    };
    const QString lower = target.toLower();
    return std::any_of(parts.begin(), parts.end(),
                       [&](const QString &part) { return lower.contains(part); });
}

bool isValidName(const QString &target) {
    return !target.isEmpty() && target.size() <= maximumNameLength &&
           std::all_of(target.begin(), target.end(),
                       [](QChar unit) { return unit >= u' ' && unit <= u'~'; });
}

} // namespace clipmule::PasteboardTargets
