// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/KnownPrograms.h"

namespace clipmule {

namespace {

// The keys of a terminal that is in no table: "v" with Control alone is for the program that runs
// in it.
const QString terminalKeys = QStringLiteral("Ctrl+Shift+V");

} // namespace

QStringList WindowNames::said() const {
    QStringList names{toolkitIdentifier, windowClass, instance};
    names.removeAll(QString());
    return names;
}

std::optional<DesktopFiles::Program> KnownPrograms::programOf(const WindowNames &names) const {
    for (const QString &name : names.said()) {
        if (const auto program = _desktopFiles->find(name))
            return program;
    }
    return std::nullopt;
}

std::optional<QString> KnownPrograms::identifier(const WindowNames &names) const {
    for (const QString &name : names.said()) {
        if (const auto part = _table.partOf(name))
            return part;
    }
    const auto program = programOf(names);
    if (program) {
        if (const auto part = _table.partOf(program->identifier))
            return part;
        if (program->isFileManager)
            return identifierOf(ApplicationRole::FileManager);
    }
    if (!names.toolkitIdentifier.isEmpty())
        return names.toolkitIdentifier;
    if (program)
        return program->identifier;
    if (!names.windowClass.isEmpty())
        return names.windowClass.toLower();
    return std::nullopt;
}

ActiveApplication::Pasting KnownPrograms::pasting(const WindowNames &names) const {
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

} // namespace clipmule
