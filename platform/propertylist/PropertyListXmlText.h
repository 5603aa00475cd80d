// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace clipmule {

/// The text of an XML property list as UTF-8.
struct PropertyListXmlText {
    /// The text without byte-order mark; a view of the bytes that were given, or of `converted`.
    QByteArrayView text;
    QByteArray converted;
    /// Why the bytes were refused; empty when they were not. Bytes that are said to be UTF-8 are
    /// not looked at here.
    QString error;
};

/// Finds the encoding and converts where it is not UTF-8: by the byte-order mark; else UTF-16 when
/// one of the first two bytes is zero; else what the XML declaration says (UTF-8, US-ASCII,
/// ISO-8859-1, UTF-16); else UTF-8.
[[nodiscard]] PropertyListXmlText decodePropertyListXml(QByteArrayView bytes);

} // namespace clipmule
