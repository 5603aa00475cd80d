// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/propertylist/PropertyListSerialization.h"

namespace clipmule::tests {

// The beginnings of images, and a whole one.
inline const QByteArray png = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");
inline const QByteArray jpeg = QByteArray::fromHex("ffd8ffe000104a464946");
inline const QByteArray tiff = QByteArray::fromHex("49492a0008000000");
inline const QByteArray icon = QByteArray::fromHex(
    "000001000100010100000100200030000000160000002800000001000000020000000100200000000000"
    "0400000000000000000000000000000000000000ff0000ff00000000");

/// What lists of files and links are among the contents.
inline QByteArray fileList(const QStringList &paths) {
    PropertyList::List list;
    for (const QString &path : paths)
        list.append(path);
    return PropertyListSerialization::xml(list);
}

inline QByteArray urlBytes(const char *url) {
    return PasteboardReadings::urlData(QUrl(QString::fromLatin1(url)));
}

/// The bytes that are offered under a name.
inline QByteArray offered(const PasteboardContents &contents, const char *target) {
    for (const PasteboardTypes::Offer &offer : PasteboardTypes::offers(contents)) {
        if (offer.target == QLatin1String(target))
            return offer.data;
    }
    return "(not offered)";
}

} // namespace clipmule::tests
