// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

namespace clipmule {

/// Looks for newer versions of the program and installs them.
class Updater {
public:
    Updater() = default;
    virtual ~Updater() = default;
    Updater(const Updater &) = delete;
    Updater &operator=(const Updater &) = delete;

    struct Delegate {
        /// Called before an installation that the updater starts.
        std::function<void(Updater &)> updaterWillInstallUpdate;
    };

    virtual void setDelegate(Delegate delegate) = 0;
    virtual void setAutomaticallyChecksForUpdates(bool automatically) = 0;
    /// Asks now, because the user wants to know; the answer is shown to the user.
    virtual void checkForUpdates() = 0;
};

} // namespace clipmule
