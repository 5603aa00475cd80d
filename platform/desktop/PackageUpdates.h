// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace clipmule {

/// The system's package manager, as far as updates of a single package go. One request at a time.
class PackageUpdates {
public:
    PackageUpdates() = default;
    virtual ~PackageUpdates() = default;
    PackageUpdates(const PackageUpdates &) = delete;
    PackageUpdates &operator=(const PackageUpdates &) = delete;

    struct Answer {
        enum class Outcome {
            UpToDate,
            Available,    ///< there is a newer version
            NotInstalled, ///< the package is not installed: the program came in another way
            Installed,    ///< the newer version has been installed
            NoService,    ///< nobody to ask
            Failed,
        };
        Outcome outcome = Outcome::Failed;
        /// The version that is available.
        QString version = {};
        /// The text by which installUpdate() knows the version.
        QString identifier = {};
        /// Why it failed, in the words of the package manager; may be empty.
        QString error = {};
    };
    using Callback = std::function<void(const Answer &)>;

    enum class Asker {
        User,   ///< waits for the answer: the lists of packages are fetched anew first
        Nobody, ///< in the background, from the lists as they are
    };
    /// The answer comes from the run loop, never from inside the call, and not after this object
    /// was destroyed. A request made while another one runs fails.
    virtual void findUpdate(const QString &package, Asker asker, Callback callback) = 0;
    /// The package manager may ask the user for a password.
    virtual void installUpdate(const QString &identifier, Callback callback) = 0;
};

/// Speaks to PackageKit over the system bus.
[[nodiscard]] std::unique_ptr<PackageUpdates> makePackageUpdates();

} // namespace clipmule
