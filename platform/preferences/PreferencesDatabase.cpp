// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/PreferencesDatabase.h"

#include "platform/preferences/backends/file/FilePreferencesDatabase.h"

#include <QDir>
#include <QStandardPaths>

namespace clipmule {

std::unique_ptr<PreferencesDatabase> makePreferencesDatabase() {
    return std::make_unique<FilePreferencesDatabase>(preferencesFolder());
}

QString preferencesFolder() {
    // A relative path would mean another folder for each program.
    const bool isUsable = QDir::isAbsolutePath(qEnvironmentVariable("XDG_CONFIG_HOME"));
    return (isUsable ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                     : QDir::homePath() + QStringLiteral("/.config")) +
           QStringLiteral("/clipmule-sync");
}

} // namespace clipmule
