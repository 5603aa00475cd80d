// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <functional>

namespace clipmule {

/// Looks for newer versions of the program and installs them.
class Updater {
public:
    Updater() = default;
    virtual ~Updater() = default;
    Q_DISABLE_COPY_MOVE(Updater)

    /// Called before an installation that the updater starts.
    std::function<void(Updater &)> onWillInstallUpdate;
    virtual void setAutomaticallyChecksForUpdates(bool automatically) = 0;
    /// Asks now, because the user wants to know; the answer is shown to the user.
    virtual void checkForUpdates() = 0;
};

} // namespace clipmule
