// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "ui/SyncStatusSource.h"

#include "support/ZRKNotificationCenter.h"

namespace clipmule::kit {

/// An agent whose state a test writes down.
class FakeSyncStatus final : public SyncStatusSource {
public:
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    void setEnabled(bool value) override { enabled = value; }
    [[nodiscard]] bool isConnected() const override { return !connected.isEmpty(); }
    [[nodiscard]] QStringList connectedDeviceNames() const override { return connected; }
    [[nodiscard]] QStringList registeredDeviceNames() const override { return registered; }
    [[nodiscard]] const Bundle *prefPaneBundle() override { return nullptr; }
    [[nodiscard]] bool hasUpdater() override { return false; }
    void checkForUpdates() override {}

    /// As the agent does when one of these has changed.
    static void announce() {
        ZRKNotificationCenter::platformDefault().postNotificationName(
            QStringLiteral("ZRKClipmuleSyncStatusDidChange"));
    }

    bool enabled = true;
    QStringList connected;
    QStringList registered;
};

} // namespace clipmule::kit
