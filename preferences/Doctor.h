// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/NetworkFacts.h"
#include "preferences/PhoneList.h"

#include <QJsonObject>

namespace clipmule {

/// Why no phone is found, as far as it can be told, and what to try.
struct NetworkAdvice {
    enum class Kind {
        NoInterface,    ///< this computer is in no network
        MulticastFails, ///< its questions do not get out
        NoAnswer,       ///< nobody hears them, or answers are held back
        NoAvahi,        ///< the daemon is missing; phones are looked for without it
        NothingWrong,   ///< the phone is to be looked at
    };
    Kind kind = Kind::NothingWrong;
    /// The reason and the remedy in the user's language, one sentence each.
    QString reason;
    QString whatToTry;
};

/// Advice on the first thing that keeps phones from being found.
[[nodiscard]] NetworkAdvice adviceFor(const dnssd::NetworkFacts &facts);

/// Why a running agent cannot use the desktop's clipboard, in the user's language; empty where it
/// can.
[[nodiscard]] QString clipboardObstacle(const AgentStatus &status);

/// What to do so that the desktop (XDG_CURRENT_DESKTOP) shows the agent's icon, in the user's
/// language; empty where nothing is known to help.
[[nodiscard]] QString trayAdvice(const AgentStatus &status, const QString &desktop);

/// Looks at all that has to work for the clipboard to be in step with a phone, for a bug report.
/// In plain English, and without anything of any clip's contents.
namespace Doctor {

struct Facts {
    QString version;
    QString qtVersion;
    /// The distribution and its kernel.
    QString system;
    /// "x11", "wayland", … as the session says; empty where it does not.
    QString sessionType;
    /// The desktop's name for itself.
    QString desktop;
    /// The X display and the Wayland one; empty where there is none.
    QString display;
    QString waylandDisplay;
    bool hasSessionBus = false;
    StatusReader::Agent agent = StatusReader::Agent::Unknown;
    std::optional<AgentStatus> status;
    dnssd::NetworkFacts network;
    bool syncEnabled = true;
    /// Whether the list of registered phones can be read.
    bool listIsReadable = true;
    QList<PhoneList::Phone> registered;
    QList<PhoneList::Phone> available;
};

struct Report {
    /// The report for people: one screen.
    QStringList lines;
    /// The same for programs.
    QJsonObject json;
    /// What keeps the user from what the program is for, one sentence each; empty when all is well.
    QStringList problems;
};

[[nodiscard]] Report examine(const Facts &facts);

/// The facts that the environment and the system tell; the others are left as they are.
[[nodiscard]] Facts factsOfThisSession();

} // namespace Doctor

} // namespace clipmule
