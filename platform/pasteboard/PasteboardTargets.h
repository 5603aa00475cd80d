// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

#include <QByteArrayView>
#include <QStringDecoder>

namespace clipmule {

/// The names of clipboard contents on this desktop (targets, mostly MIME types), what each is to
/// the program, and what an owner's answers mean. The table that all of it asks stands at the top
/// of PasteboardTargets.cpp. Nothing here talks to anybody.
namespace PasteboardTargets {

/// Targets beyond this number are not looked at, nor offered: an office suite offers some thirty,
/// and each is a request to its owner and a name that the display server never forgets.
inline constexpr int maximumTargets = 256;
/// A longer list of URIs, in bytes or in lines, keeps its own name: reading it would hold the run
/// loop, and no such list is a clip (its files are at most 30 MiB together).
inline constexpr qsizetype maximumUriListBytes = 1024 * 1024;
inline constexpr int maximumUriListLines = 4096;
/// UTF-16 units; a longer title of a URL is none. Titles have some hundred.
inline constexpr qsizetype longestTitle = 256 * 1024;

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

[[nodiscard]] bool isWebUrl(const QUrl &url);

/// Whether a name can be a target: printable ASCII, of a length that a display server takes.
[[nodiscard]] bool isValidName(const QString &target);

/// One thing to ask the owner for: the targets that carry the same, best first. The next one is
/// asked for only when the one before it was refused.
struct Request {
    Meaning meaning = Meaning::Other;
    QStringList targets;
    friend bool operator==(const Request &, const Request &) = default;
};

/// What to ask for, in the owner's order: one request for each meaning, one for each target without
/// any, and nothing for what the table of targets leaves with its owner.
[[nodiscard]] QList<Request> requests(const QStringList &targets);
/// The targets that hold contents but are not asked for, in the owner's order, no name twice. They
/// show that an owner which has nothing else has something, though nothing that travels.
[[nodiscard]] QStringList leftOut(const QStringList &targets);

/// An owner's answer for a target. Text and HTML are UTF-8 already (ClipboardText). An answer
/// without bytes stands for a target that is only known to be offered.
struct Answer {
    Meaning meaning = Meaning::Other;
    QString target;
    std::optional<QByteArray> data;
};

/// The contents that the answers, in the owner's order, are: of two with one meaning the first. An
/// answer that does not hold what its target promises keeps the target's name. Of the targets
/// without bytes only those without a meaning are listed: a marker says what it says without any.
[[nodiscard]] PasteboardContents contents(const QList<Answer> &answers);

} // namespace PasteboardTargets

/// Turns the bytes of a text or HTML target into UTF-8 while they arrive, so that a large text
/// never has to be converted at once. What is no character in the source's encoding becomes U+FFFD;
/// byte order marks and trailing NULs go.
class ClipboardText {
public:
    /// The target that was asked for and the type that the owner answered with; either may tell the
    /// encoding, the type more reliably.
    ClipboardText(const QString &target, const QString &type);

    void append(QByteArrayView bytes);
    /// How many bytes of UTF-8 there are so far.
    [[nodiscard]] qsizetype size() const { return _utf8.size(); }
    /// The whole text, never null; nothing may be appended after it.
    [[nodiscard]] QByteArray take();

private:
    enum class Encoding { Unicode, Latin1, Compound };
    // How far the reader of compound text has come.
    enum class Compound { Text, Utf8, Escape, Utf8Escape };

    void appendUtf8(QByteArrayView bytes);
    void appendCompound(QByteArrayView bytes);
    void endEscape();

    Encoding _encoding = Encoding::Unicode;
    // Of UTF-16, if a byte order mark or the name says so; decided by the first two bytes.
    std::optional<QStringDecoder> _utf16;
    bool _mayHaveMark = true;
    QByteArray _start;
    // Of UTF-8: what begins a character at the end of what came.
    QByteArray _tail;
    bool _mayHaveUtf8Mark = true;
    QByteArray _utf8;

    Compound _state = Compound::Text;
    QByteArray _escape;
    bool _lowerIsAscii = true;
    bool _upperIsLatin1 = true;
};

} // namespace clipmule
