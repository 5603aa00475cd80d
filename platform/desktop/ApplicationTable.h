// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QString>

#include <optional>

namespace clipmule {

/// Which programs of this desktop play the part of which well-known application: a property list
/// of the part's identifier ("com.apple.finder") to the identifiers and window classes of the
/// programs, in lower case.
class ApplicationTable {
public:
    /// A table with nothing in it, and a line in the log, when the file cannot be read.
    [[nodiscard]] static ApplicationTable read(const QString &path);

    /// The part that a program plays, by any of its names.
    [[nodiscard]] std::optional<QString> partOf(const QString &name) const;

private:
    QHash<QString, QString> _parts;
};

} // namespace clipmule
