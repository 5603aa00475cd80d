// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/session/Refusal.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace clipmule {

class Bundle;

/// Posted on the platform's default centre when the connection picture may have changed.
inline const QString ZRKClipmuleSyncStatusDidChange =
    QStringLiteral("ZRKClipmuleSyncStatusDidChange");
/// Posted on the platform's default centre when lastRefusal() changed.
inline const QString ZRKClipmuleSyncDidRefuse = QStringLiteral("ZRKClipmuleSyncDidRefuse");

/// What the status item, its menu and its views ask of the agent, and the few things they tell it.
class SyncStatusSource {
public:
    SyncStatusSource() = default;
    virtual ~SyncStatusSource() = default;
    Q_DISABLE_COPY_MOVE(SyncStatusSource)

    [[nodiscard]] virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool enabled) = 0;
    /// Whether any phone is connected.
    [[nodiscard]] virtual bool isConnected() const = 0;
    [[nodiscard]] virtual QStringList connectedDeviceNames() const = 0;
    [[nodiscard]] virtual QStringList registeredDeviceNames() const = 0;
    /// The bundle of the preferences panel, which holds the help book; null when there is none.
    [[nodiscard]] virtual const Bundle *prefPaneBundle() = 0;
    /// What was refused last, with its time, since the agent runs; nothing when nothing was.
    /// userText() makes a line of it.
    [[nodiscard]] virtual std::optional<Refusal> lastRefusal() const { return std::nullopt; }
    /// Whether anything can look for updates.
    [[nodiscard]] virtual bool hasUpdater() = 0;
    /// Asks the updater to look now. Nothing where there is none.
    virtual void checkForUpdates() = 0;
};

} // namespace clipmule
