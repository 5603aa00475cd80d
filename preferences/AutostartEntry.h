// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QString>
#include <QStringList>

namespace clipmule {

/// Whether the desktop starts a program, the agent if no other is named, at login: an entry in the
/// autostart folders, where the user's own takes precedence over the installed one.
///
/// An entry that the user has edited keeps everything but the line that says whether it counts.
class AutostartEntry {
public:
    /// A desktop entry has some hundred bytes; with all translations some thousand.
    static constexpr qint64 largestFile = 64 * 1024;

    /// What is started where no entry is installed.
    struct Started {
        Started(QString startedProgram, // NOLINT(google-explicit-constructor)
                QString entryFile = QStringLiteral("com.zendrik.ClipmuleSync.desktop"),
                QString shownName = QStringLiteral("Clipmule Sync"),
                QString shownComment =
                    QStringLiteral("Keeps the clipboard in step with phones on the same network"));
        /// An absolute path, or a name.
        QString program;
        QString file;
        QString name;
        QString comment;
    };

    /// The user's folder, and those of the system in the order of their precedence.
    AutostartEntry(QString userFolder, QStringList systemFolders, Started started);
    /// The entry in the folders that the environment names.
    [[nodiscard]] static AutostartEntry standard(const Started &started = {agentProgram()});
    /// The agent beside this program, or its bare name.
    [[nodiscard]] static QString agentProgram();

    /// Whether an entry counts that starts a program which is there.
    [[nodiscard]] bool isEnabled() const;
    /// Switches the entry on or off. A failure is in the words of the system; nothing has changed
    /// then.
    [[nodiscard]] Result<void> setEnabled(bool enabled);

private:
    [[nodiscard]] QString userFile() const;
    [[nodiscard]] QString completeEntry() const;
    [[nodiscard]] Result<void> write(const QByteArray &entry);

    QString _userFolder;
    QStringList _systemFolders;
    Started _started;
};

} // namespace clipmule
