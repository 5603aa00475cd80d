// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace clipmule {

/// The programs that are installed, by their desktop files. Read at the first question, and again
/// when a folder has changed.
class DesktopFiles {
public:
    /// Larger files are not read: the longest, with all their translations, have some 50 KB.
    static constexpr qint64 maximumFileBytes = 1024 * 1024;
    /// More are not read: a desktop with everything installed has a thousand.
    static constexpr int maximumFiles = 4096;

    struct Program {
        /// The file's name without ".desktop".
        QString identifier;
        bool isFileManager = false;
        bool isTerminal = false;
    };

    /// Folders in the order of their precedence.
    explicit DesktopFiles(QStringList folders);
    /// The applications folders of the user and of the system.
    [[nodiscard]] static QStringList standardFolders();

    /// Finds a program by identifier, by the window class that the file names, or by the last part
    /// of the identifier ("dolphin" of "org.kde.dolphin"), in this order and whatever the case.
    [[nodiscard]] std::optional<Program> find(const QString &name) const;

private:
    void readIfChanged() const;
    void readFolder(const QString &folder) const;
    void readFile(const QString &path, const QString &identifier) const;

    QStringList _folders;
    mutable QList<qint64> _changed; // of the folders, when they were read
    mutable QHash<QString, Program> _byIdentifier;
    mutable QHash<QString, Program> _byClass;
    mutable QHash<QString, Program> _byLastPart;
};

} // namespace clipmule
