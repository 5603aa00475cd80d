// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/ApplicationTable.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QStringList>

namespace clipmule {

namespace {

const QString pasteKeysEntry = QStringLiteral("pasteKeys");
const QString pasteFromSelectionEntry = QStringLiteral("pasteFromSelection");

// The names in lower case; nothing unless the value is a list of names and nothing else.
std::optional<QStringList> namesIn(const PropertyList &value) {
    const auto *list = value.as<PropertyList::List>();
    if (!list)
        return std::nullopt;
    QStringList names;
    for (const PropertyList &entry : *list) {
        const auto *name = entry.as<QString>();
        if (!name)
            return std::nullopt;
        names.append(name->toLower());
    }
    return names;
}

std::optional<QHash<QString, QString>> byNames(const PropertyList::Dictionary &lists) {
    QHash<QString, QString> result;
    for (const auto &[key, value] : lists.asKeyValueRange()) {
        const std::optional<QStringList> names = namesIn(value);
        if (!names)
            return std::nullopt;
        for (const QString &name : *names)
            result.insert(name, key);
    }
    return result;
}

} // namespace

ApplicationTable ApplicationTable::read(const QString &path) {
    ApplicationTable table;
    table.readFile(path, Missing::IsSaid);
    return table;
}

void ApplicationTable::addUsersOwn(const QString &path) {
    readFile(path, Missing::IsInOrder);
}

void ApplicationTable::readFile(const QString &path, Missing missing) {
    const auto file = RegularFile::read(path, maximumFileBytes);
    if (file && !*file && missing == Missing::IsInOrder)
        return;
    QString problem;
    if (!file) {
        problem = file.error().reason;
    } else if (!*file) {
        problem = QStringLiteral("there is none");
    } else {
        const auto parsed = PropertyListSerialization::parse(**file);
        const auto *entries = parsed ? parsed->as<PropertyList::Dictionary>() : nullptr;
        if (entries)
            problem = add(*entries);
        else
            problem = parsed ? QStringLiteral("it is no dictionary") : parsed.error().reason;
    }
    if (!problem.isEmpty())
        qCWarning(logDesktop).noquote() << "the table of applications cannot be read:" << path
                                        << onOneLine(problem, shownInLabel);
}

// Adds the entries. Returns what is wrong with them; then none is added.
QString ApplicationTable::add(const PropertyList::Dictionary &entries) {
    PropertyList::Dictionary parts = entries;
    const PropertyList strokes = parts.value(pasteKeysEntry, PropertyList::Dictionary());
    const PropertyList selecting = parts.value(pasteFromSelectionEntry, PropertyList::List());
    parts.remove(pasteKeysEntry);
    parts.remove(pasteFromSelectionEntry);
    const auto *lists = strokes.as<PropertyList::Dictionary>();
    const auto pasteKeys = lists ? byNames(*lists) : std::nullopt;
    if (!pasteKeys)
        return QStringLiteral("\"%1\" is not made of lists of names").arg(pasteKeysEntry);
    const std::optional<QStringList> fromSelection = namesIn(selecting);
    if (!fromSelection)
        return QStringLiteral("\"%1\" is no list of names").arg(pasteFromSelectionEntry);
    const auto partsByName = byNames(parts);
    if (!partsByName)
        return QStringLiteral("an entry is no list of names");
    _parts.insert(*partsByName);
    for (const auto &[name, keys] : pasteKeys->asKeyValueRange()) {
        _pasteKeys.insert(name, keys);
        // An entry that changes the keys says anew where they paste from.
        _pasteFromSelection.remove(name);
    }
    for (const QString &name : *fromSelection)
        _pasteFromSelection.insert(name);
    return {};
}

std::optional<QString> ApplicationTable::partOf(const QString &name) const {
    const auto part = _parts.constFind(name.toLower());
    return part == _parts.cend() ? std::nullopt : std::optional<QString>(*part);
}

std::optional<QString> ApplicationTable::pasteKeysOf(const QString &name) const {
    const auto keys = _pasteKeys.constFind(name.toLower());
    return keys == _pasteKeys.cend() ? std::nullopt : std::optional<QString>(*keys);
}

bool ApplicationTable::pastesFromSelection(const QString &name) const {
    return _pasteFromSelection.contains(name.toLower());
}

} // namespace clipmule
