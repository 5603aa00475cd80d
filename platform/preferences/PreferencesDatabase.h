// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/foundation/Result.h"

#include <memory>

namespace clipmule {

/// The preferences of the current user: a dictionary of property-list values for each application
/// identifier (a domain). Values written are seen by other processes at once.
class PreferencesDatabase {
public:
    PreferencesDatabase() = default;
    virtual ~PreferencesDatabase() = default;
    PreferencesDatabase(const PreferencesDatabase &) = delete;
    PreferencesDatabase &operator=(const PreferencesDatabase &) = delete;

    /// All pairs of a domain; empty when there are none or they cannot be read (logged).
    [[nodiscard]] virtual PropertyList::Dictionary copyMultiple(const QString &domain) = 0;
    /// Sets a value, or removes the key when there is none. After a failure, which is logged, the
    /// domain is as it was.
    virtual Result<void> setValue(const QString &domain, const QString &key,
                                  const std::optional<PropertyList> &value) = 0;
    /// Makes what was written to the domain survive a power failure.
    virtual Result<void> synchronize(const QString &domain) = 0;
};

/// The user's own, in preferencesFolder().
[[nodiscard]] std::unique_ptr<PreferencesDatabase> makePreferencesDatabase();

/// "clipmule-sync" in the user's folder for configuration ($XDG_CONFIG_HOME, if that is an absolute
/// path).
[[nodiscard]] QString preferencesFolder();

} // namespace clipmule
