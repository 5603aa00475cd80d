// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardTargets.h"

namespace clipmule::kit {

// The beginnings of images, and a whole one.
inline const QByteArray png = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");
inline const QByteArray jpeg = QByteArray::fromHex("ffd8ffe000104a464946");
inline const QByteArray tiff = QByteArray::fromHex("49492a0008000000");
inline const QByteArray icon = QByteArray::fromHex(
    "000001000100010100000100200030000000160000002800000001000000020000000100200000000000"
    "0400000000000000000000000000000000000000ff0000ff00000000");

/// The bytes that are offered under a name.
inline QByteArray offered(const PasteboardContents &contents, const char *target) {
    for (const PasteboardOffers::Offer &offer : PasteboardOffers::offers(contents)) {
        if (offer.target != QLatin1String(target))
            continue;
        const PasteboardOffers::Outgoing outgoing{offer.data, offer.isLatin1};
        const QByteArray bytes = outgoing.next(offer.data.size());
        return {bytes.constData(), bytes.size()};
    }
    return "(not offered)";
}

/// What there is on a clipboard, in this order; of other contents the names.
inline QStringList kinds(const Pasteboard &pasteboard) {
    const PasteboardContents &contents = pasteboard.contents();
    QStringList kinds;
    const auto add = [&](const char *kind, bool isThere) {
        if (isThere)
            kinds.append(QString::fromLatin1(kind));
    };
    add("text", contents.text.has_value());
    add("html", contents.html.has_value());
    add("rtf", contents.rtf.has_value());
    add("image", !contents.images.isEmpty());
    add("files", !contents.files.isEmpty());
    add("url", contents.url.has_value());
    add("title", !contents.title.isEmpty());
    return kinds + contents.others.keys();
}

/// The text on a clipboard; null without one.
inline QString textOn(const Pasteboard &pasteboard) {
    const auto text = pasteboard.contents().text;
    return text ? QString::fromUtf8(*text) : QString();
}

} // namespace clipmule::kit
