// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/ClipboardText.h"

#include <QRegularExpression>

#include <optional>

namespace clipmule {

namespace {

std::optional<QString> charsetOf(const QString &target) {
    static const QRegularExpression pattern(QStringLiteral("charset\\s*=\\s*\"?([^\";\\s]+)"),
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(target);
    return match.hasMatch() ? std::optional<QString>(match.captured(1).toLower()) : std::nullopt;
}

} // namespace

ClipboardText::ClipboardText(const QString &target, const QString &type) {
    const QString charset = charsetOf(type).value_or(charsetOf(target).value_or(QString()));
    if (type == u"UTF8_STRING") {
        return;
    } else if (type == u"STRING") {
        _encoding = Encoding::Latin1;
    } else if (type == u"COMPOUND_TEXT") {
        _encoding = Encoding::Compound;
    } else if (target == u"STRING" || charset == u"iso-8859-1" || charset == u"us-ascii") {
        _encoding = Encoding::Latin1;
    } else if (target == u"COMPOUND_TEXT") {
        _encoding = Encoding::Compound;
    } else if (target == u"text/unicode" || charset == u"utf-16" || charset == u"utf-16le") {
        _decoder = QStringDecoder(QStringDecoder::Utf16LE);
    } else if (charset == u"utf-16be") {
        _decoder = QStringDecoder(QStringDecoder::Utf16BE);
    }
}

void ClipboardText::append(QByteArrayView bytes) {
    if (_encoding == Encoding::Latin1) {
        _utf8 += QString::fromLatin1(bytes).toUtf8();
        return;
    }
    if (_encoding == Encoding::Compound) {
        appendCompound(bytes);
        return;
    }
    QByteArray joined;
    if (_mayHaveMark) {
        _start += bytes;
        if (_start.size() < 2)
            return;
        _mayHaveMark = false;
        if (_start.startsWith("\xff\xfe"))
            _decoder = QStringDecoder(QStringDecoder::Utf16LE);
        else if (_start.startsWith("\xfe\xff"))
            _decoder = QStringDecoder(QStringDecoder::Utf16BE);
        joined = std::move(_start);
        bytes = joined;
    }
    const QString text = _decoder(bytes);
    _utf8 += text.toUtf8();
}

QByteArray ClipboardText::take() {
    if (_mayHaveMark && !_start.isEmpty()) {
        const QString text = _decoder(_start);
        _utf8 += text.toUtf8();
    }
    qsizetype size = _utf8.size();
    while (size > 0 && _utf8.at(size - 1) == '\0')
        --size;
    _utf8.truncate(size);
    return std::move(_utf8);
}

// Two halves of the byte range, each with a character set that escape sequences exchange. ASCII,
// Latin-1 and UTF-8 are read; owners that have more to say offer UTF8_STRING as well.
void ClipboardText::appendCompound(QByteArrayView bytes) {
    constexpr char escape = '\x1b';
    constexpr qsizetype longestEscape = 4;
    QByteArray utf8;
    utf8.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        switch (_state) {
        case Compound::Text:
            if (byte == escape)
                _state = Compound::Escape;
            else if (byte >= 0 && (_lowerIsAscii || byte == '\n' || byte == '\t'))
                utf8 += byte;
            else if (byte < 0 && _upperIsLatin1)
                (utf8 += char(0xc0 | (quint8(byte) >> 6))) += char(0x80 | (byte & 0x3f));
            else
                utf8 += "\xef\xbf\xbd";
            break;
        case Compound::Utf8:
            if (byte == escape)
                _state = Compound::Utf8Escape;
            else
                utf8 += byte;
            break;
        case Compound::Escape:
        case Compound::Utf8Escape:
            _escape += byte;
            // Intermediate bytes, then a final one.
            if (byte < ' ' || byte > '/' || _escape.size() == longestEscape)
                endEscape();
            break;
        }
    }
    const QString text = _decoder(utf8);
    _utf8 += text.toUtf8();
}

void ClipboardText::endEscape() {
    _state = _state == Compound::Utf8Escape ? Compound::Utf8 : Compound::Text;
    if (_escape == "%G")
        _state = Compound::Utf8;
    else if (_escape == "%@")
        _state = Compound::Text;
    else if (_escape.startsWith('('))
        _lowerIsAscii = _escape == "(B";
    else if (_escape.startsWith(')') || _escape.startsWith('-'))
        _upperIsLatin1 = _escape == "-A";
    else if (_escape.startsWith("$)"))
        _upperIsLatin1 = false;
    else if (_escape.startsWith('$'))
        _lowerIsAscii = false;
    _escape.clear();
}

} // namespace clipmule
