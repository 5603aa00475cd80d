// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "app/AgentBackends.h"
#include "app/Face.h"
#include "app/ZRKClipmuleSyncApp.h"
#include "platform/dnssd/FixedAddresses.h"
#include "platform/session/InstalledProgram.h"

#include <memory>
#include <optional>

namespace clipmule {

/// The whole agent on its backends: settings, application, face and status.
class Agent {
public:
    enum class Started {
        ByCommand, ///< silent
        BySession, ///< opens the preferences the first time that there is no phone yet
        ByUser,    ///< opens them when there is no phone yet, or no icon to be seen
    };

    /// How long a status area gets to take the icon in, before there is none.
    static constexpr RunLoop::Seconds patienceWithStatusArea{3};

    /// The installation's bundle; without a display there is no face.
    Agent(Bundle bundle, AgentBackends backends, std::unique_ptr<Face> face, Started started);
    ~Agent();
    Q_DISABLE_COPY_MOVE(Agent)

    /// Ends the event loop when the display is gone. False when the installation lacks what it
    /// needs.
    bool start();
    /// Ends what other programs see of us, then the event loop.
    void terminate();

private:
    void launch(const std::shared_ptr<ZRKUserDefaults> &shared);
    void showFaceTo(SyncServices &services, const std::shared_ptr<ZRKUserDefaults> &shared);
    void welcome();
    void openPreferences();
    void followInstallation();
    void tellStatusSoon();
    void tellStatus();

    const Started _started;
    const Bundle _bundle;
    // Destroyed in the opposite order, the application first.
    AgentBackends _backends;
    dnssd::FixedAddresses _phones{*_backends.dnssd};
    std::unique_ptr<Face> _face;
    PasteboardServices _pasteboardServices;
    std::shared_ptr<ZRKUserDefaults> _applicationDefaults;
    InstalledProgram _program{_backends.programPath};
    RunLoop::Timer _tellStatus;
    RunLoop::Timer _lookForIcon;
    bool _isEnding = false;
    std::unique_ptr<ZRKClipmuleSyncApp> _application;
};

} // namespace clipmule
