// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// What each name of clipboard contents on this desktop is to the program: the table that
/// everything else asks. It stands at the top of PasteboardTargets.cpp.
namespace clipmule::PasteboardTargets {

/// What contents are, whatever their owner calls them. All raster images are one meaning, all names
/// of plain text another.
enum class Meaning { Text, Html, Rtf, Image, UriList, MozillaUrl, Other };

/// What is done with a target that an owner offers.
enum class Role {
    Reading,   ///< fetched for its meaning, unless a better name for that was answered
    Native,    ///< fetched, and kept under its own name
    Protocol,  ///< the selection protocol, the owner or its resources: never contents
    Session,   ///< useful only while the owner lives, or inside it: keys, pointers, placeholders
    Origin,    ///< where the contents were copied from: addresses, paths, tokens
    Duplicate, ///< what another target of the same owner says as well, in a form that is read
    Picture,   ///< a bulky picture of contents that travel as what they are
};

struct Target {
    Role role = Role::Native;
    Meaning meaning = Meaning::Other;
    /// The rank among the names of one meaning; the lowest is the best and asked for first.
    int rank = 0;
};
[[nodiscard]] Target find(const QString &target);

/// Whether it is not to be asked for, nor offered again when a phone sends it: Protocol, Session
/// and Origin.
[[nodiscard]] bool isNobodysBusiness(const QString &target);

/// Whether a target is a list of files or links, under any of the names that file managers and
/// browsers know them by.
[[nodiscard]] bool namesFiles(const QString &target);

/// Whether a name can be a target: printable ASCII, of a length that a display server takes.
[[nodiscard]] bool isValidName(const QString &target);

} // namespace clipmule::PasteboardTargets
