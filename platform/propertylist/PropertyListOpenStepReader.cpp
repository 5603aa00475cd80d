// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"

#include <QStringConverter>

#include <algorithm>

namespace clipmule {

namespace {

bool isBlank(QChar character) {
    const char16_t unit = character.unicode();
    return (unit >= u'\t' && unit <= u'\r') || unit == u' ' || unit == 0x2028 || unit == 0x2029;
}

bool isLineEnd(QChar character) {
    const char16_t unit = character.unicode();
    return unit == u'\n' || unit == u'\r' || unit == 0x2028 || unit == 0x2029;
}

bool isBare(QChar character) {
    const char16_t unit = character.unicode();
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
           (unit >= u'0' && unit <= u'9') || unit == u'_' || unit == u'$' || unit == u'/' ||
           unit == u':' || unit == u'.' || unit == u'-';
}

bool isQuote(QChar character) {
    return character == u'"' || character == u'\'';
}

/// -1 when it is no hexadecimal digit.
int hexadecimalDigit(QChar character) {
    const char16_t unit = character.unicode();
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10;
    return -1;
}

class OpenStepReader {
public:
    OpenStepReader(QStringView text, ParseMemory &memory)
        : _text(text)
        , _memory(memory) {}

    /// Throws Refused, with the line.
    PropertyList read() {
        try {
            return readDocument();
        } catch (Refused &refused) {
            refused.reason += QStringLiteral(" in line %1").arg(_text.first(_at).count(u'\n') + 1);
            throw;
        }
    }

private:
    PropertyList readDocument() {
        skipBlanks();
        if (atEnd())
            return PropertyList::Dictionary();
        PropertyList root = readValue(0);
        skipBlanks();
        if (atEnd())
            return root;
        if (!root.isString())
            refuse(QStringLiteral("text after the property list"));
        // A strings file: the contents of a dictionary, without the braces.
        _at = 0;
        return readEntries(false, 1);
    }

    bool atEnd() const { return _at == _text.size(); }
    QChar current() const { return _text[_at]; }
    bool isAt(char16_t character) const { return !atEnd() && current() == character; }
    bool isFollowedBy(char16_t character) const {
        return _at + 1 < _text.size() && _text[_at + 1] == character;
    }

    void skipBlanks() {
        while (!atEnd()) {
            if (isBlank(current())) {
                ++_at;
            } else if (current() == u'/' && isFollowedBy(u'/')) {
                while (!atEnd() && !isLineEnd(current()))
                    ++_at;
            } else if (current() == u'/' && isFollowedBy(u'*')) {
                const auto end = _text.indexOf(u"*/", _at + 2);
                _at = end < 0 ? _text.size() : end + 2;
            } else {
                return;
            }
        }
    }

    PropertyList readValue(int depth) {
        skipBlanks();
        if (atEnd())
            refuse(QStringLiteral("a value is missing"));
        switch (current().unicode()) {
        case u'{':
            ++_at;
            return readEntries(true, depth + 1);
        case u'(':
            ++_at;
            return readElements(depth + 1);
        case u'<':
            ++_at;
            return readData();
        default:
            return readString();
        }
    }

    static void checkDepth(int depth) {
        if (depth > PropertyListSerialization::maximumDepth)
            refuse(QStringLiteral("nested too deeply"));
    }

    PropertyList readEntries(bool hasBraces, int depth) {
        checkDepth(depth);
        _memory.spend(ParseMemory::head);
        PropertyList::Dictionary entries;
        while (true) {
            skipBlanks();
            if (atEnd()) {
                if (hasBraces)
                    refuse(QStringLiteral("missing }"));
                return entries;
            }
            if (hasBraces && current() == u'}') {
                ++_at;
                return entries;
            }
            _memory.spend(ParseMemory::entry);
            const QString key = readString();
            skipBlanks();
            PropertyList value(key);
            if (!isAt(u';')) {
                if (!isAt(u'='))
                    refuse(QStringLiteral("missing = or ; after a key"));
                ++_at;
                value = readValue(depth);
                skipBlanks();
                if (!isAt(u';'))
                    refuse(QStringLiteral("missing ; after an entry"));
            }
            ++_at;
            entries.insert(key, value);
        }
    }

    PropertyList readElements(int depth) {
        checkDepth(depth);
        _memory.spend(ParseMemory::head);
        PropertyList::List elements;
        while (true) {
            skipBlanks();
            if (isAt(u')')) {
                ++_at;
                return elements;
            }
            _memory.spend(ParseMemory::growingElement);
            elements.append(readValue(depth));
            skipBlanks();
            if (isAt(u','))
                ++_at;
            else if (!isAt(u')'))
                refuse(QStringLiteral("missing , or ) after an element"));
        }
    }

    PropertyList readData() {
        QByteArray bytes;
        const qsizetype end = _text.indexOf(u'>', _at);
        if (end < 0)
            refuse(QStringLiteral("data without an end"));
        _memory.spendData(quint64(end - _at) / 2);
        bytes.reserve((end - _at) / 2);
        while (true) {
            while (!atEnd() && isBlank(current()))
                ++_at;
            if (isAt(u'>')) {
                ++_at;
                return bytes;
            }
            const int high = atEnd() ? -1 : hexadecimalDigit(current());
            const int low = _at + 1 < _text.size() ? hexadecimalDigit(_text[_at + 1]) : -1;
            if (high < 0 || low < 0)
                refuse(QStringLiteral("data that is no pairs of hexadecimal digits"));
            bytes += char(high << 4 | low);
            _at += 2;
        }
    }

    QString readString() {
        if (isQuote(current()))
            return readQuotedString();
        const auto begin = _at;
        while (!atEnd() && isBare(current()))
            ++_at;
        if (_at == begin)
            refuse(QStringLiteral("unexpected character U+%1")
                       .arg(uint(current().unicode()), 4, 16, QLatin1Char('0')));
        _memory.spendText(quint64(_at - begin));
        return _text.sliced(begin, _at - begin).toString();
    }

    /// Units up to the closing quote, escapes as they are written; up to the end without one.
    qsizetype quotedSize(QChar quote) const {
        qsizetype at = _at;
        while (at < _text.size() && _text[at] != quote)
            at += _text[at] == u'\\' ? 2 : 1;
        return std::min(at, _text.size()) - _at;
    }

    QString readQuotedString() {
        const QChar quote = current();
        ++_at;
        const qsizetype size = quotedSize(quote);
        _memory.spendText(quint64(size));
        QString text;
        text.reserve(size);
        auto begin = _at;
        while (!atEnd()) {
            if (current() == quote) {
                text += _text.sliced(begin, _at - begin);
                ++_at;
                return text;
            }
            if (current() != u'\\') {
                ++_at;
                continue;
            }
            text += _text.sliced(begin, _at - begin);
            ++_at;
            text += readEscape();
            begin = _at;
        }
        refuse(QStringLiteral("missing closing quote"));
    }

    QChar readEscape() {
        if (atEnd())
            refuse(QStringLiteral("missing closing quote"));
        const QChar letter = current();
        if (letter >= u'0' && letter <= u'7')
            return readOctal();
        ++_at;
        switch (letter.unicode()) {
        case u'a':
            return u'\a';
        case u'b':
            return u'\b';
        case u'f':
            return u'\f';
        case u'n':
            return u'\n';
        case u'r':
            return u'\r';
        case u't':
            return u'\t';
        case u'v':
            return u'\v';
        case u'U':
            return readUnit();
        default:
            return letter;
        }
    }

    // One to three digits name a byte of the NeXTSTEP set, above \377 modulo 256.
    QChar readOctal() {
        int byte = 0;
        for (int digits = 0; digits < 3 && !atEnd() && current() >= u'0' && current() <= u'7';
             ++digits)
            byte = byte * 8 + (_text[_at++].unicode() - u'0');
        return characterFromNextStep(quint8(byte));
    }

    QChar readUnit() {
        int unit = 0;
        for (int digits = 0; digits < 4; ++digits) {
            const int digit = atEnd() ? -1 : hexadecimalDigit(current());
            if (digit < 0)
                refuse(QStringLiteral("\\U without four hexadecimal digits"));
            unit = unit << 4 | digit;
            ++_at;
        }
        return QChar(unit);
    }

    QStringView _text;
    ParseMemory &_memory;
    qsizetype _at = 0;
};

QString decodeText(QByteArrayView bytes) {
    const auto marked = QStringConverter::encodingForData(bytes);
    QStringDecoder decoder(marked.value_or(QStringConverter::Utf8),
                           QStringConverter::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        refuse(QStringLiteral("not in the encoding that it begins with"));
    return text;
}

} // namespace

Result<PropertyList> PropertyListSerialization::parseOpenStep(QByteArrayView bytes,
                                                              quint64 perByte) {
    try {
        ParseMemory memory(bytes.size(), perByte, memoryFloor);
        const QString text = decodeText(bytes);
        memory.spendText(quint64(text.size()));
        return OpenStepReader(text, memory).read();
    } catch (const Refused &refused) {
        return failure(QStringLiteral("text property list: ") + refused.reason);
    }
}

} // namespace clipmule
