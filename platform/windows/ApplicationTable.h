// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <optional>

namespace clipmule {

/// What is known of the programs of this desktop, by their identifiers and window classes: a
/// property list with the entries
///
/// - identifier of a well-known application ("com.apple.finder"): the programs that play its part;
/// - "pasteKeys": names of key strokes ("Ctrl+Shift+V"), each with the programs that paste by it;
/// - "pasteFromSelection": the programs whose stroke pastes what is selected, not what was copied.
///
/// Names are compared without regard to case.
class ApplicationTable {
public:
    /// A larger file is not read: the program's own has some hundred names.
    static constexpr qint64 maximumFileBytes = 256 * 1024;

    /// A table with nothing in it, and a line in the log, when the file cannot be read.
    [[nodiscard]] static ApplicationTable read(const QString &path);
    /// Adds a file of the same form, whose entries replace those that are there. A missing file is
    /// in order. Of a file that is too large, damaged or of another form nothing is added, and a
    /// line in the log says so.
    void addUsersOwn(const QString &path);

    /// The part that a program plays, by any of its names.
    [[nodiscard]] std::optional<QString> partOf(const QString &name) const;
    /// The name of the key stroke by which it pastes, where that is not the usual one.
    [[nodiscard]] std::optional<QString> pasteKeysOf(const QString &name) const;
    [[nodiscard]] bool pastesFromSelection(const QString &name) const;

private:
    enum class Missing { IsSaid, IsInOrder };
    void readFile(const QString &path, Missing missing);
    [[nodiscard]] QString add(const PropertyList::Dictionary &entries);

    QHash<QString, QString> _parts;
    QHash<QString, QString> _pasteKeys;
    QSet<QString> _pasteFromSelection;
};

} // namespace clipmule
