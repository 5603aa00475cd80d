// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QStringList>

#include <optional>
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
/// Tells the commands.
struct Help {};
/// A line without a command: nothing to do.
struct Nothing {};
struct Invalid {
    QString reason;
};

// What is kept: clips by their number, boards by their name.

/// The clips of a board, or of the history where none is named.
struct History {
    std::optional<QString> board;
};
struct Show {
    int number = 0;
};
/// Sends a kept clip to the desk.
struct Copy {
    int number = 0;
};
/// Adds a copy of a kept clip to a board.
struct File {
    int number = 0;
    QString board;
};
struct Forget {
    int number = 0;
};
/// Lists the filters that apply to a kept clip.
struct Filters {
    int number = 0;
};
/// Makes a new clip by a filter; each setting is NAME=VALUE.
struct Filter {
    int number = 0;
    QString title;
    QStringList settings;
};
struct Boards {};
struct NewBoard {
    QString name;
};
struct RenameBoard {
    QString name;
    QString newName;
};
/// The first position is 1.
struct MoveBoard {
    QString name;
    int position = 0;
};
struct RemoveBoard {
    QString name;
};
/// Puts back what was set aside because it could not be read.
struct Restore {};

using Command = std::variant<Nothing, SendText, SendUrl, SendImage, SendPropertyList, History, Show,
                             Copy, File, Forget, Filters, Filter, Boards, NewBoard, RenameBoard,
                             MoveBoard, RemoveBoard, Restore, Help, Quit, Invalid>;

/// A line of help: how a command is typed, and what it does.
struct Usage {
    QString form;
    QString purpose;
    /// Whether it is about what is kept in a folder.
    bool needsFolder = false;
};
[[nodiscard]] const QList<Usage> &usages();

/// "text …", "url …", "image FILE", "strings A | B | C", "relay text|url|image|strings …",
/// "plist FILE", "help" or "?", "quit" or "exit": what follows the command is taken as it stands,
/// with "\\n" for a line break, "\\r" for a carriage return and "\\\\" for a backslash in texts,
/// and "~/" for the home folder in names of files. Blanks before a command count for nothing.
///
/// "history [BOARD]", "show|copy|forget|filters N", "file N BOARD", "filter N TITLE [NAME=VALUE]…",
/// "boards", "board new NAME", "board rename NAME NAME", "board move NAME POSITION", "board remove
/// NAME", "restore": what follows is words. Quotation marks, anywhere in a word, hold blanks
/// together; a backslash there means what it means in texts, and makes an ordinary character of a
/// quotation mark.
[[nodiscard]] Command parse(const QString &line);

} // namespace PhoneCommand

} // namespace clipmule
