// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QStringList>

namespace clipmule {

/// One line typed at the phone stand-in.
struct PhoneCommand {
    enum class Verb {
        Nothing, // a line without a command
        Invalid, // the text says why
        Help,
        Quit,
        // Send a clip, or a message as it stands in a file.
        Text,
        Url,
        Image,
        PropertyList,
        // What is kept: clips by their number, boards by their name.
        History,
        Show,
        Copy,
        File,
        Forget,
        Filters,
        Filter,
        Boards,
        NewBoard,
        RenameBoard,
        MoveBoard,
        RemoveBoard,
        Restore
    };

    Verb verb = Verb::Nothing;
    /// The texts, URL or path to send, or the words in the order in which they are typed.
    QStringList texts = {};
    /// The number of a clip, or a position; both begin at 1.
    int number = 0;
    /// Whether the clip is for the other phones, by way of the desk, and not for the desk itself.
    bool forOtherPhones = false;

    /// A line of help: how a command is typed, and what it does.
    struct Usage {
        Verb verb = Verb::Nothing;
        /// Of a command about what is kept this is also what it is read by. Words in small letters
        /// stand for themselves, N and POSITION for a number, [X] may be missing, and [X]... is any
        /// number of words.
        QString form;
        QString purpose;
        /// Whether it is about what is kept in a folder.
        bool needsFolder = false;
    };
    [[nodiscard]] static const QList<Usage> &usages();

    /// What follows "text", "url", "image", "strings", "relay" and "plist" is taken as it stands,
    /// with "\\n" for a line break, "\\r" for a carriage return and "\\\\" for a backslash in
    /// texts, and "~/" for the home folder in names of files. Blanks before a command count for
    /// nothing.
    ///
    /// What follows a command about what is kept is words. Quotation marks, anywhere in a word,
    /// hold blanks together; a backslash there means what it means in texts, and makes an ordinary
    /// character of a quotation mark.
    [[nodiscard]] static PhoneCommand parse(const QString &line);
};

} // namespace clipmule
