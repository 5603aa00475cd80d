// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

// Notifications of the platform's default centre that this program posts itself.

/// The application is about to end; its object is the application.
inline const QString NSApplicationWillTerminateNotification =
    QStringLiteral("NSApplicationWillTerminateNotification");
/// A value of the program's own defaults has changed, here or in another program.
inline const QString NSUserDefaultsDidChangeNotification =
    QStringLiteral("NSUserDefaultsDidChangeNotification");

} // namespace clipmule
