// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QString>

namespace clipmule {

class SettingsStores;

/// What a paired browser is for the agent of the same user: a phone in its list, found without the
/// network. Nothing happens without settings.
class DeskSettings final {
public:
    /// The settings outlive it; they may be null.
    explicit DeskSettings(SettingsStores *settings)
        : _settings(settings) {}

    /// The agent connects to the phone of that service from now on.
    [[nodiscard]] Result<void> pair(const QString &service, const QString &name);
    /// Nothing happens where somebody has unpaired it: no browser comes back by giving itself a
    /// name.
    [[nodiscard]] Result<void> rename(const QString &service, const QString &name);
    [[nodiscard]] Result<void> unpair(const QString &service);
    /// Whether the user has the sync switched on.
    [[nodiscard]] bool isSyncOn() const;

private:
    SettingsStores *_settings;
};

} // namespace clipmule
