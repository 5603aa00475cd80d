// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"
#include "platform/session/Refusal.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// What only the agent knows, as it tells it to the other programs of the session. Texts are in
/// plain English, for a bug report, and name no clip's contents.
struct AgentStatus {
    enum class PhoneState {
        NotSeen,   ///< not on the network
        Seen,      ///< on the network, without a connection
        Connected, ///< reached
    };
    struct Phone {
        QString service;
        QString name;
        PhoneState state = PhoneState::NotSeen;
        /// When it was on the network last, if it ever was while this agent ran.
        std::optional<Date> lastSeen;
        /// Why the last attempt or connection failed, and when; empty when none did.
        QString lastError;
        std::optional<Date> lastErrorDate;
        friend bool operator==(const Phone &, const Phone &) = default;
    };

    QString version;
    /// The version of the Qt library that the agent runs on.
    QString qtVersion;
    bool syncEnabled = false;
    /// Whether it was started where there is a display. Without one it only passes clips on from
    /// phone to phone, and leaves as soon as another is started on the desktop.
    bool hasDisplay = false;
    /// "x11", "ext-data-control", "wlr-data-control", or "none" without a clipboard.
    QString pasteboardBackend;
    bool pasteboardCanRead = false;
    bool pasteboardCanWrite = false;
    /// "xtest", "virtual-keyboard", "fake-input", "mutter", "xwayland" where only windows of X11
    /// programs are pasted into, or "none" where pasting is left to the user.
    QString pasteBackend;
    /// Into whatever window.
    bool canPaste = false;
    /// Why not, without a full stop; empty where it can.
    QString pasteObstacle = {};
    /// "none", or what the status item appears in.
    QString trayKind;
    /// One line: which responder finds the phones.
    QString discovery;
    QList<Phone> phones;
    /// Why the last clip that was not sent or not pasted was refused, and when; empty when none
    /// was.
    QString lastRefusedClip;
    std::optional<Date> lastRefusedClipDate;
    /// What was refused while this agent ran, the newest first; a bounded number of them.
    QList<Refusal> refusals = {};

    friend bool operator==(const AgentStatus &, const AgentStatus &) = default;
};

/// The agent's side of com.zendrik.ClipmuleSync.Status on the session bus: read-only properties,
/// whose changes are announced. docs/status-interface.md describes it.
class StatusInterface {
public:
    StatusInterface() = default;
    virtual ~StatusInterface() = default;
    Q_DISABLE_COPY_MOVE(StatusInterface)

    /// Shows itself on the bus. False without one.
    virtual bool start() = 0;
    /// What is told from now on; properties that differ from before are announced.
    virtual void setStatus(const AgentStatus &status) = 0;
};

/// The other side: follows an agent that may come and go.
class StatusReader {
public:
    StatusReader() = default;
    virtual ~StatusReader() = default;
    Q_DISABLE_COPY_MOVE(StatusReader)

    enum class Agent {
        Unknown,    ///< not answered yet, or no session bus
        NotRunning, ///< nobody has its name
        Running,    ///< and status() holds what it told
        Silent,     ///< runs, and does not answer: an older version, or stuck
    };

    /// Begins to look; the first answer comes from the run loop.
    virtual void start() = 0;
    [[nodiscard]] virtual Agent agent() const = 0;
    /// What the agent told; present only while the agent runs.
    [[nodiscard]] virtual const std::optional<AgentStatus> &status() const = 0;
    /// Whether there is a session bus to ask.
    [[nodiscard]] virtual bool hasBus() const = 0;
    /// Called when any of it changed.
    std::function<void()> onChange;
};

[[nodiscard]] std::unique_ptr<StatusInterface> makeStatusInterface();
[[nodiscard]] std::unique_ptr<StatusReader> makeStatusReader();

} // namespace clipmule
