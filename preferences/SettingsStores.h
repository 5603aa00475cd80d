// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/ZRKUserDefaults.h"

namespace clipmule {

/// The domains that the window shows and changes, each followed while other programs change it.
struct SettingsStores {
    /// What the agent and the preferences share.
    std::shared_ptr<ZRKUserDefaults> shared;
    /// The agent's own.
    std::shared_ptr<ZRKUserDefaults> agent;
    /// The agent's counters.
    std::shared_ptr<ZRKUserDefaults> statistics;
    /// What the preferences program keeps for itself.
    std::shared_ptr<ZRKUserDefaults> own;

    static QString ownIdentifier() {
        return QStringLiteral("com.zendrik.ClipmuleSync.Preferences");
    }
    static QString statisticsIdentifier() {
        return QStringLiteral("com.zendrik.ClipmuleSync.stats");
    }

    /// Makes the environment that of the process, too. Nothing when the installation names no
    /// shared domain.
    [[nodiscard]] static std::optional<SettingsStores>
    open(const ZRKUserDefaults::Environment &environment);
    /// A domain without fallback values, which are the shared one's.
    [[nodiscard]] static std::shared_ptr<ZRKUserDefaults>
    openPlain(const QString &identifier, const ZRKUserDefaults::Environment &environment);

    /// Reads all of it anew: without a session bus nobody tells of changes.
    void reload() const;
};

/// Whether a value that was set is in the database now, or a key that was removed is gone; the
/// database itself only logs a failure.
[[nodiscard]] bool isWritten(PreferencesDatabase &database, const QString &domain,
                             const QString &key, const std::optional<PropertyList> &value);

} // namespace clipmule
