// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>

namespace clipmule {

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
    /// The whole text; nothing may be appended after it.
    [[nodiscard]] QByteArray take();

private:
    enum class Encoding { Unicode, Latin1, Compound };
    // How far the reader of compound text has come.
    enum class Compound { Text, Utf8, Escape, Utf8Escape };

    void appendCompound(QByteArrayView bytes);
    void endEscape();

    Encoding _encoding = Encoding::Unicode;
    // UTF-8 unless a byte order mark or the name says otherwise; decided by the first two bytes.
    QStringDecoder _decoder{QStringDecoder::Utf8};
    bool _mayHaveMark = true;
    QByteArray _start;
    QByteArray _utf8;

    Compound _state = Compound::Text;
    QByteArray _escape;
    bool _lowerIsAscii = true;
    bool _upperIsLatin1 = true;
};

} // namespace clipmule
