// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/foundation/RunLoop.h"
#include "support/RegisteredPhones.h"

#include <QStringList>

#include <optional>

namespace clipmule {

/// What the user wants of clipmule-preferences.
struct PreferencesCommand {
    enum class Kind {
        Discover,
        Register,
        Unregister,
        Rename,
        List,
        Get,
        Set,
        Unset,
        Enable,
        Disable,
        Status,
        Doctor,
        Help,
        Version,
    };
    using Domain = Settings::Domain;

    Kind kind = Kind::Help;
    /// The phone's service name; to register it, 1 to 63 bytes and no control characters.
    QString service;
    /// The phone's display name; nothing to take the service name, or to leave the present one.
    std::optional<QString> name;
    /// The phone's own paste mode; an inner nothing is that of all phones.
    std::optional<std::optional<PasteMode>> pasteMode;
    /// Where the phone is to be reached, checked; an empty text is wherever it is discovered.
    std::optional<QString> address;
    QString key;
    PropertyList value;
    /// The domain of the key; the shared one for a key that is no setting.
    Domain domain = Domain::Shared;
    /// How long to look for phones; nothing for what is usual with the command.
    std::optional<RunLoop::Seconds> wait;
    bool asJson = false;
    /// Whether the command goes on until it is interrupted.
    bool watches = false;
};

/// UTF-16 units of a display name: what a menu can show, and more.
inline constexpr qsizetype longestDisplayName = 255;
/// UTF-16 units of a key. Keys are words; this keeps an accident out of the file.
inline constexpr qsizetype longestKey = 255;
inline constexpr RunLoop::Seconds longestWait{600};

/// The arguments without the program's name. The failure is one line for people.
[[nodiscard]] Result<PreferencesCommand> parseCommandLine(const QStringList &arguments);
/// "true" and "false" are booleans, digits integers, decimal fractions reals; all else is a text.
[[nodiscard]] PropertyList valueFromText(const QString &text);
/// How to use the program.
[[nodiscard]] QString usage();

/// Longer names are not compared: the time is that of both lengths multiplied.
inline constexpr qsizetype longestCompared = 255;

/// What somebody who typed a name that is not there probably meant: one that differs in letter
/// case, in the shape of quotation marks, dashes and blanks, or in few characters. Nothing when
/// none is near.
[[nodiscard]] std::optional<QString> nearestName(const QString &typed, const QStringList &names);
/// "; did you mean NAME?", or nothing.
[[nodiscard]] QString suggestion(const QString &typed, const QStringList &names);

} // namespace clipmule
