// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"

namespace clipmule {

/// Under which names of this desktop (targets, mostly MIME types) contents are offered to other
/// programs, and with what bytes. Nothing here talks to anybody.
namespace PasteboardOffers {

/// One target that we offer: the bytes, and the name of the type that they are sent as.
struct Offer {
    QString target;
    QString type;
    QByteArray data;
    /// The target's name is not one of ours: it came with the contents.
    bool isForeign = false;
    /// What is offered is the PNG of the image in the bytes, which is made when somebody asks.
    bool isConverted = false;
    /// The bytes are UTF-8 and are sent as Latin-1, in which every character of theirs is.
    bool isLatin1 = false;
    /// The target names files of ours, which go when the program ends.
    bool isOfFiles = false;
    /// The audiences to whom the target is not listed.
    QList<PasteboardAudience> notFor = {};
    friend bool operator==(const Offer &, const Offer &) = default;
};

/// An offer's bytes on their way to a program, some at a time.
struct Outgoing {
    QByteArray data;
    bool isLatin1 = false; // see Offer
    qsizetype offset = 0;

    /// The next ones as they are sent, of at most so many of the offer's, and at least four; valid
    /// as long as this is. Empty at the end.
    [[nodiscard]] QByteArray next(qsizetype most) const;
    /// These were taken, from the beginning of next().
    void take(QByteArrayView bytes);
    [[nodiscard]] bool isAtEnd() const { return offset == data.size(); }
};

/// What we offer as the clipboard's owner, no target twice. Names that are not ours to offer
/// (protocol targets, names that no display server takes) are left out.
///
/// An image is offered under the name of what it is, and as PNG, which every program takes.
///
/// The contents came from another machine, and file managers act on what is pasted. Files are those
/// that the contents name as files: stored lists of them under the desktop's own names are left
/// out, and a URL goes out as a link and as text only.
[[nodiscard]] QList<Offer> offers(const PasteboardContents &contents);

/// The URL of the contents as a link in HTML, which is offered where they have no HTML of their
/// own. Nothing without a URL, for one whose scheme may start a program, and where the contents'
/// text has more lines than the link's. ASCII.
[[nodiscard]] std::optional<QByteArray> anchor(const PasteboardContents &contents);

} // namespace PasteboardOffers

} // namespace clipmule
