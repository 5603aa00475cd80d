// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QString>
#include <QStringList>

namespace clipmule {

/// Whether the desktop starts the agent at login: an entry in the autostart folders, where the
/// user's own takes precedence over the installed one.
///
/// An entry that the user has edited keeps everything but the line that says whether it counts.
class AutostartEntry {
public:
    /// A desktop entry has some hundred bytes; with all translations some thousand.
    static constexpr qint64 largestFile = 64 * 1024;

    /// The user's folder, those of the system in the order of their precedence, and the program to
    /// start where no entry is installed: an absolute path, or a name.
    AutostartEntry(QString userFolder, QStringList systemFolders, QString program);
    /// The entry in the folders that the environment names, with the agent beside this program.
    [[nodiscard]] static AutostartEntry standard();
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
    QString _program;
};

} // namespace clipmule
