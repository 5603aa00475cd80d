// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace clipmule {

/// All that can be fetched: a table of names made at the start. No name that comes from outside
/// ever reaches a file system.
class PageFiles final {
public:
    struct File {
        QByteArray type;
        QByteArray plain;
        QByteArray zipped;
        /// Of the plain bytes and of the zipped ones, with their quotation marks.
        QByteArray plainTag;
        QByteArray zippedTag;
    };

    /// What the program was built with.
    static inline const QString builtIn = QStringLiteral(":/page");
    /// Takes the files below a folder, each beside itself compressed, with ".gz" behind its name.
    /// Names of other kinds than a page is made of are passed over.
    explicit PageFiles(const QString &folder);

    /// Null when there is none of that path; "/" is the page itself.
    [[nodiscard]] const File *find(const QByteArray &path) const;
    [[nodiscard]] bool isEmpty() const { return _files.isEmpty(); }

private:
    QHash<QByteArray, File> _files;
};

} // namespace clipmule
