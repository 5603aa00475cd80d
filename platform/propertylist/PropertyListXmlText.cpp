// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListXmlText.h"

#include "platform/foundation/Log.h"

#include <QStringConverter>
#include <QtEndian>

#include <algorithm>

namespace clipmule {

namespace {

PropertyListXmlText refused(const QString &error) {
    return {{}, {}, error};
}

qsizetype utf8Size(QStringView text) {
    qsizetype size = 0;
    for (const QChar unit : text)
        size += unit < u'\x80' ? 1 : unit < u'\x800' || unit.isSurrogate() ? 2 : 3;
    return size;
}

// Converts in pieces and at the right size: QString::toUtf8() takes three bytes for every unit.
PropertyListXmlText asUtf8(QStringView text) {
    constexpr qsizetype piece = 65536;
    PropertyListXmlText result;
    result.converted.reserve(utf8Size(text));
    QStringEncoder encoder(QStringConverter::Utf8);
    for (qsizetype at = 0; at < text.size(); at += piece)
        result.converted += QByteArray(encoder(text.sliced(at, std::min(piece, text.size() - at))));
    result.text = result.converted;
    return result;
}

PropertyListXmlText fromUtf16(QByteArrayView bytes, QStringDecoder::Encoding encoding) {
    const QString error = QStringLiteral("the text is not valid UTF-16");
    if (bytes.size() % 2 != 0)
        return refused(error);
    // The first byte-order mark, if there was one, is gone; a second is a character.
    QStringDecoder decoder(encoding, QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder(bytes);
    if (!text.isValidUtf16())
        return refused(error);
    return asUtf8(text);
}

PropertyListXmlText fromUtf32(QByteArrayView bytes, quint32 (*read)(const void *)) {
    const QString error = QStringLiteral("the text is not valid UTF-32");
    if (bytes.size() % 4 != 0)
        return refused(error);
    QString text;
    text.reserve(bytes.size() / 4);
    for (qsizetype at = 0; at < bytes.size(); at += 4) {
        const quint32 character = read(bytes.data() + at);
        if (character > QChar::LastValidCodePoint || (character & 0xfffff800) == 0xd800)
            return refused(error);
        text += QChar::fromUcs4(character);
    }
    return asUtf8(text);
}

/// The value of `encoding="…"` in the XML declaration; empty when there is none.
QByteArrayView declaredEncoding(QByteArrayView bytes) {
    if (!bytes.startsWith("<?xml"))
        return {};
    const auto declaration = bytes.first(std::max<qsizetype>(0, bytes.indexOf("?>")));
    constexpr QByteArrayView attribute = "encoding";
    auto at = declaration.indexOf(attribute);
    if (at < 0)
        return {};
    at += attribute.size();
    const auto skipBlanks = [&] {
        while (at < declaration.size() && QByteArrayView(" \t\r\n").contains(declaration[at]))
            ++at;
    };
    skipBlanks();
    if (at == declaration.size() || declaration[at] != '=')
        return {};
    ++at;
    skipBlanks();
    if (at == declaration.size() || (declaration[at] != '"' && declaration[at] != '\''))
        return {};
    const auto end = declaration.indexOf(declaration[at], at + 1);
    return end < 0 ? QByteArrayView() : declaration.sliced(at + 1, end - at - 1);
}

PropertyListXmlText fromDeclared(QByteArrayView bytes, const QByteArray &name) {
    if (name.isEmpty() || name == "utf-8" || name == "utf8")
        return {bytes, {}, {}};
    if (name == "us-ascii" || name == "ascii") {
        if (std::any_of(bytes.begin(), bytes.end(), [](char byte) { return quint8(byte) > 0x7f; }))
            return refused(QStringLiteral("the text is not US-ASCII as declared"));
        return {bytes, {}, {}};
    }
    if (name == "iso-8859-1" || name == "iso_8859-1" || name == "latin1")
        return asUtf8(QString::fromLatin1(bytes));
    // A declaration that can be read byte by byte is not in UTF-16.
    if (name.startsWith("utf-16"))
        return refused(QStringLiteral("the text is not UTF-16 as declared"));
    return refused(
        QStringLiteral("unknown encoding \"%1\"").arg(cutForLog(QString::fromLatin1(name))));
}

} // namespace

PropertyListXmlText decodePropertyListXml(QByteArrayView bytes) {
    if (bytes.startsWith(QByteArrayView("\xff\xfe\0\0", 4)))
        return fromUtf32(bytes.sliced(4), qFromLittleEndian<quint32>);
    if (bytes.startsWith(QByteArrayView("\0\0\xfe\xff", 4)))
        return fromUtf32(bytes.sliced(4), qFromBigEndian<quint32>);
    if (bytes.startsWith("\xef\xbb\xbf"))
        return {bytes.sliced(3), {}, {}};
    if (bytes.startsWith("\xff\xfe"))
        return fromUtf16(bytes.sliced(2), QStringDecoder::Utf16LE);
    if (bytes.startsWith("\xfe\xff"))
        return fromUtf16(bytes.sliced(2), QStringDecoder::Utf16BE);
    if (bytes.size() >= 2 && bytes[0] == '\0')
        return fromUtf16(bytes, QStringDecoder::Utf16BE);
    if (bytes.size() >= 2 && bytes[1] == '\0')
        return fromUtf16(bytes, QStringDecoder::Utf16LE);
    return fromDeclared(bytes, declaredEncoding(bytes).toByteArray().toLower());
}

} // namespace clipmule
