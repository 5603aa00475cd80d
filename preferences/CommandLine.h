// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/foundation/RunLoop.h"

#include <QStringList>

namespace clipmule {

/// What the user wants of clipmule-preferences.
struct PreferencesCommand {
    enum class Kind {
        Discover,
        Register,
        Unregister,
        List,
        Get,
        Set,
        Enable,
        Disable,
        Status,
        Doctor,
        Help,
        Version,
    };
    enum class Domain {
        Shared,     ///< what the agent and the preferences share
        Agent,      ///< the agent's own
        Statistics, ///< its counters
    };

    Kind kind = Kind::Help;
    /// The phone's service name; to register it, 1 to 63 bytes and no control characters.
    QString service;
    /// The phone's display name; nothing to take the service name, or to leave the present one.
    std::optional<QString> name;
    QString key;
    PropertyList value;
    Domain domain = Domain::Shared;
    /// How long to look for phones.
    RunLoop::Seconds wait{3};
    bool asJson = false;
};

struct ParsedCommandLine {
    /// Missing when the arguments make no sense.
    std::optional<PreferencesCommand> command;
    /// One line for people, in that case.
    QString error;
};

/// A service name is a DNS label.
inline constexpr qsizetype longestServiceName = 63;
/// In characters: what a menu can show, and more.
inline constexpr qsizetype longestDisplayName = 255;
/// In characters. Keys are words; this keeps an accident out of the file.
inline constexpr qsizetype longestKey = 255;
inline constexpr RunLoop::Seconds longestWait{600};

/// The arguments without the program's name.
[[nodiscard]] ParsedCommandLine parseCommandLine(const QStringList &arguments);
/// "true" and "false" are booleans, digits integers, decimal fractions reals; all else is a text.
[[nodiscard]] PropertyList valueFromText(const QString &text);
/// How to use the program.
[[nodiscard]] QString usage();

} // namespace clipmule
