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
    };
    return names.contains(target);
}

bool isValidName(const QString &target) {
    return !target.isEmpty() && target.size() <= maximumNameLength &&
           std::all_of(target.begin(), target.end(),
                       [](QChar unit) { return unit >= u' ' && unit <= u'~'; });
}

} // namespace clipmule::PasteboardTargets
