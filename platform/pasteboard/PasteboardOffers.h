// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/PasteboardAudience.h"
#include "platform/pasteboard/PasteboardContents.h"
#include "platform/pasteboard/PasteboardTargets.h"

namespace clipmule {

/// What the desktop's names of clipboard contents (targets, mostly MIME types) mean to the program,
/// in both directions. Nothing here talks to anybody.
namespace PasteboardTypes {

/// Targets beyond this number are not looked at, nor offered: an office suite offers some thirty,
/// and each is a request to its owner and a name that the display server never forgets.
constexpr int maximumTargets = 256;
/// A longer list of URIs, in bytes or in lines, keeps its own name: reading it would hold the run
/// loop, and no such list is a clip (its files are at most 30 MiB together).
constexpr qsizetype maximumUriListBytes = 1024 * 1024;
constexpr int maximumUriListLines = 4096;

using PasteboardTargets::Meaning;

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

/// An owner's answer for a target. Text and HTML are UTF-8 already (ClipboardText.h). An answer
/// without bytes stands for a target that is only known to be offered.
struct Answer {
    Meaning meaning = Meaning::Other;
    QString target;
    std::optional<QByteArray> data;
};

/// The contents in the program's names, in the order given. An answer that does not hold what its
/// target promises keeps the target's name. Of the targets without bytes only those without a
/// meaning are listed: a marker says what it says without any.
[[nodiscard]] PasteboardContents contents(const QList<Answer> &answers);

/// One target that we offer: the bytes, and the name of the type that they are sent as.
struct Offer {
    QString target;
    QString type;
    QByteArray data;
    /// The target's name is not one of ours: it came with the contents.
    bool isForeign = false;
    /// What is offered is the PNG of the image in the bytes, which is made when somebody asks.
    bool isConverted = false;
    /// The target names files of ours, which go when the program ends.
    bool isOfFiles = false;
    /// The audiences to whom the target is not listed.
    QList<PasteboardAudience> notFor = {};
    friend bool operator==(const Offer &, const Offer &) = default;
};

/// What we offer as the clipboard's owner, no target twice. Names that are not ours to offer
/// (protocol targets, names that no display server takes) are left out.
///
/// An image is offered under the name of what it is, and as PNG, which every program takes.
///
/// The contents came from another machine, and file managers act on what is pasted. Files are those
/// of NSFilenamesPboardType and no others: stored lists of them under the desktop's own names are
/// left out, and a URL goes out as a link and as text only.
[[nodiscard]] QList<Offer> offers(const PasteboardContents &contents);

/// The URL of the contents as a link in HTML, which is offered where they have no HTML of their
/// own. Nothing without a URL, for one whose scheme may start a program, and where the contents'
/// text has more lines than the link's. ASCII.
[[nodiscard]] std::optional<QByteArray> anchor(const PasteboardContents &contents);

/// The MIME type of an image's bytes, by their first ones; empty when they are of no known format.
[[nodiscard]] QString imageTypeOf(const QByteArray &data);

} // namespace PasteboardTypes

} // namespace clipmule
