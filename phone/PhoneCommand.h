// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QStringList>

#include <variant>

namespace clipmule {

/// One line typed at the phone stand-in.
namespace PhoneCommand {

/// A clip to send: to the desk, or by way of it to the other phones.
struct SendText {
    QStringList strings;
    bool forOtherPhones = false;
};
struct SendUrl {
    QString url;
    bool forOtherPhones = false;
};
struct SendImage {
    QString path;
    bool forOtherPhones = false;
};
/// An envelope as it stands in a property-list file.
struct SendPropertyList {
    QString path;
};
struct Quit {};
/// A line without a command: nothing to do.
struct Nothing {};
struct Invalid {
    QString reason;
};

using Command =
    std::variant<Nothing, SendText, SendUrl, SendImage, SendPropertyList, Quit, Invalid>;

/// "text …", "url …", "image FILE", "strings A | B | C", "relay text|url|image|strings …",
/// "plist FILE", "quit". What follows the command is taken as it stands, with "\\n" for a line
/// break, "\\r" for a carriage return and "\\\\" for a backslash in texts.
[[nodiscard]] Command parse(const QString &line);

} // namespace PhoneCommand

} // namespace clipmule
