// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/bundle/Bundle.h"
#include "platform/dnssd/DnsSd.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/power/SystemPower.h"
#include "platform/preferences/DistributedNotifications.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "platform/session/Session.h"
#include "platform/session/SessionPrograms.h"
#include "platform/session/StatusInterface.h"
#include "platform/windows/ActiveApplication.h"

#include <QString>

#include <memory>

namespace clipmule {

/// Everything that the agent runs on. Nothing is null.
struct AgentBackends {
    Session session = {};
    std::unique_ptr<PreferencesDatabase> database;
    std::unique_ptr<DistributedNotifications> notifications;
    std::unique_ptr<SystemPower> power;
    std::unique_ptr<dnssd::Backend> dnssd;
    std::shared_ptr<ActiveApplication> activeApplication;
    std::unique_ptr<Pasteboard> pasteboard;
    std::unique_ptr<KeyboardEvents> keyboard;
    std::unique_ptr<SessionPrograms> sessionPrograms;
    std::unique_ptr<StatusInterface> statusInterface;
    /// See PasteboardServices::temporaryFolder.
    QString temporaryFolder;
    /// The file of the program that runs; empty for none that could be updated.
    QString programPath = {};
};

/// The backends of the session that this process runs in. The bundle holds the table of
/// applications.
[[nodiscard]] AgentBackends makeAgentBackends(const Bundle &bundle);

/// Who reads what we offer, by the window in front: a photo manager takes files as a file manager
/// does.
[[nodiscard]] PasteboardAudience audienceOf(const ActiveApplication &inFront);

} // namespace clipmule
