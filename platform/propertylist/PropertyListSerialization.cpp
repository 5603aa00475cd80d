// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/Base64.h"
#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListText.h"

#include <QLocale>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string_view>

namespace clipmule {

namespace {

[[noreturn]] void refuse(const QString &reason) {
    throw Refused{reason};
}

enum class Element { Plist, Dict, Array, String, Key, Data, Date, Real, Integer, True, False };

constexpr std::array<std::pair<std::string_view, Element>, 11> elements{{
    {"key", Element::Key},
    {"string", Element::String},
    {"dict", Element::Dict},
    {"array", Element::Array},
    {"integer", Element::Integer},
    {"data", Element::Data},
    {"date", Element::Date},
    {"real", Element::Real},
    {"true", Element::True},
    {"false", Element::False},
    {"plist", Element::Plist},
}};

bool isBlank(char character) {
    return static_cast<unsigned char>(character) <= ' ' &&
           (character == ' ' || character == '\t' || character == '\n' || character == '\r');
}

QString shown(std::string_view text) {
    return cutForLog(QString::fromUtf8(text.data(), qsizetype(std::min<size_t>(text.size(), 256))));
}

/// Reads white space, a sign, white space, then decimal digits, or hexadecimal ones after "0x".
std::optional<PropertyList> integerFromXml(std::string_view text) {
    const char *at = text.data();
    const char *const end = at + text.size();
    at = std::find_if_not(at, end, isBlank);
    bool isNegative = false;
    if (at < end && (*at == '-' || *at == '+'))
        isNegative = *at++ == '-';
    at = std::find_if_not(at, end, isBlank);
    const bool isHexadecimal = end - at >= 2 && at[0] == '0' && (at[1] == 'x' || at[1] == 'X');
    if (isHexadecimal)
        at += 2;

    quint64 magnitude = 0;
    const auto read = std::from_chars(at, end, magnitude, isHexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    if (!isNegative)
        return std::make_optional<PropertyList>(magnitude);
    constexpr quint64 lowest = quint64(1) << 63;
    if (magnitude > lowest)
        return std::nullopt;
    return std::make_optional<PropertyList>(qint64(0 - magnitude));
}

/// Decimal digits with a point and an exponent, or a word for what is no number or has no end. The
/// point is a point in every locale; out of range is infinite or zero.
std::optional<double> realFromXml(std::string_view text) {
    const bool hasPlus = text.starts_with('+');
    const char *const begin = text.data() + (hasPlus ? 1 : 0);
    const char *const end = text.data() + text.size();
    double real = 0;
    const auto read = std::from_chars(begin, end, real);
    if (read.ec == std::errc::invalid_argument || read.ptr != end || (hasPlus && *begin == '-'))
        return std::nullopt;
    if (read.ec == std::errc::result_out_of_range)
        return QLocale::c().toDouble(QLatin1String(begin, end));
    // Neither with a sign nor with a number of its own.
    constexpr size_t sizeOfNan = 3;
    return std::isnan(real) && text.size() != sizeOfNan ? std::nullopt : std::optional(real);
}

/// A scanner for the eleven elements of a property list, not for XML: no entities but the five, no
/// character of a string is changed, and what XML forbids in a text is taken as it is.
class XmlReader {
public:
    XmlReader(QByteArrayView text, ParseMemory &memory)
        : _text(text.data(), size_t(text.size()))
        , _memory(memory) {}

    /// Throws Refused, with the line.
    PropertyList read() {
        try {
            return readDocument();
        } catch (Refused &refused) {
            const auto line = std::count(_text.begin(), _text.begin() + ptrdiff_t(_at), '\n') + 1;
            refused.reason += QStringLiteral(" in line %1").arg(line);
            throw;
        }
    }

private:
    struct Tag {
        Element element;
        std::string_view name;
        bool isEmpty;
    };

    PropertyList readDocument() {
        skipToTag(true);
        const Tag root = readTag();
        if (root.element != Element::Plist)
            return readValue(root, 0);
        if (root.isEmpty)
            refuse(QStringLiteral("no value inside <plist>"));
        skipToTag();
        if (isAtCloseTag())
            refuse(QStringLiteral("no value inside <plist>"));
        PropertyList value = readValue(readTag(), 0);
        skipToTag();
        if (!isAtCloseTag())
            refuse(QStringLiteral("a second value inside <plist>"));
        readCloseTag(root);
        return value;
    }

    bool atEnd() const { return _at == _text.size(); }
    bool isAt(std::string_view text) const {
        return _text.size() - _at >= text.size() &&
               std::memcmp(_text.data() + _at, text.data(), text.size()) == 0;
    }
    bool isAtCloseTag() const { return isAt("</"); }

    /// Moves behind the next occurrence of a text.
    void skipPast(std::string_view text, const char *what) {
        const size_t found = _text.find(text, _at);
        if (found == _text.npos)
            refuse(QStringLiteral("%1 without an end").arg(QLatin1String(what)));
        _at = found + text.size();
    }

    void skipBlanks() {
        while (!atEnd() && isBlank(_text[_at]))
            ++_at;
    }

    /// Moves over white space, comments and processing instructions, and before the root over
    /// document types, to the "<" of a tag.
    void skipToTag(bool isBeforeRoot = false) {
        for (;;) {
            skipBlanks();
            if (atEnd())
                refuse(QStringLiteral("the text ends too early"));
            if (_text[_at] != '<')
                refuse(QStringLiteral("text between elements"));
            const char next = _at + 1 < _text.size() ? _text[_at + 1] : '\0';
            if (next != '!' && next != '?')
                return;
            if (isAt("<!--")) {
                _at += 4;
                skipPast("-->", "a comment");
            } else if (next == '?') {
                _at += 2;
                skipPast("?>", "a processing instruction");
            } else if (isBeforeRoot && isAt("<!DOCTYPE")) {
                const size_t found = _text.find_first_of("[>", _at);
                if (found != _text.npos && _text[found] == '[')
                    refuse(QStringLiteral("a document type with declarations of its own"));
                skipPast(">", "a document type");
            } else {
                return;
            }
        }
    }

    Tag readTag() {
        const size_t begin = _at + 1;
        const size_t end = _text.find('>', begin);
        if (end == _text.npos)
            refuse(QStringLiteral("a tag without an end"));
        const bool isEmpty = end > begin && _text[end - 1] == '/';
        const auto inside = _text.substr(begin, end - begin - (isEmpty ? 1 : 0));
        const auto name = inside.substr(
            0, size_t(std::find_if(inside.begin(), inside.end(), isBlank) - inside.begin()));
        for (const auto &[known, element] : elements) {
            // Most are told apart by their first letter.
            if (name.size() == known.size() && name[0] == known[0] && name == known) {
                _at = end + 1;
                return {element, name, isEmpty};
            }
        }
        refuse(QStringLiteral("unknown element <%1>").arg(shown(name)));
    }

    void readCloseTag(const Tag &tag) {
        const size_t begin = _at;
        if (isAtCloseTag()) {
            _at += 2;
            if (isAt(tag.name)) {
                _at += tag.name.size();
                skipBlanks();
                if (!atEnd() && _text[_at] == '>') {
                    ++_at;
                    return;
                }
            }
        }
        _at = begin;
        refuse(QStringLiteral("</%1> was expected").arg(shown(tag.name)));
    }

    PropertyList readValue(const Tag &tag, int depth) {
        switch (tag.element) {
        case Element::Dict:
            return readDictionary(tag, depth + 1);
        case Element::Array:
            return readList(tag, depth + 1);
        case Element::String:
        case Element::Key:
            return readString(tag);
        case Element::Data:
            return readData(tag);
        case Element::Date:
            return readText(tag, [](std::string_view text) { return dateFromXml(text); });
        case Element::Real:
            return readText(tag, realFromXml);
        case Element::Integer:
            return readText(tag, integerFromXml);
        case Element::True:
        case Element::False:
            if (!tag.isEmpty)
                readCloseTag(tag);
            return tag.element == Element::True;
        case Element::Plist:
            break;
        }
        refuse(QStringLiteral("<plist> inside a value"));
    }

    static void checkDepth(int depth) {
        if (depth > PropertyListSerialization::maximumDepth) {
            refuse(QStringLiteral("nested deeper than %1")
                       .arg(PropertyListSerialization::maximumDepth));
        }
    }

    PropertyList readList(const Tag &tag, int depth) {
        checkDepth(depth);
        PropertyList::List list;
        if (tag.isEmpty)
            return list;
        _memory.spend(ParseMemory::head);
        for (;;) {
            skipToTag();
            if (isAtCloseTag())
                break;
            _memory.spend(ParseMemory::growingElement);
            list.append(readValue(readTag(), depth));
        }
        readCloseTag(tag);
        return list;
    }

    PropertyList readDictionary(const Tag &tag, int depth) {
        checkDepth(depth);
        if (tag.isEmpty)
            return PropertyList::Dictionary();
        _memory.spend(ParseMemory::head);
        std::map<QString, PropertyList> entries;
        for (;;) {
            skipToTag();
            if (isAtCloseTag())
                break;
            const Tag keyTag = readTag();
            if (keyTag.element != Element::Key)
                refuse(QStringLiteral("a value without a key"));
            _memory.spend(ParseMemory::entry);
            QString key = readString(keyTag);
            skipToTag();
            if (isAtCloseTag())
                refuse(QStringLiteral("a key without a value"));
            const Tag valueTag = readTag();
            if (valueTag.element == Element::Key)
                refuse(QStringLiteral("a key without a value"));
            // Nearly always sorted. The last of equal keys wins.
            entries.insert_or_assign(entries.end(), std::move(key), readValue(valueTag, depth));
        }
        readCloseTag(tag);
        if (entries.size() == 1 && entries.begin()->first == u"CF$UID") {
            const auto *number = entries.begin()->second.as<qint64>();
            if (number && *number >= 0 && *number <= std::numeric_limits<quint32>::max())
                return PropertyList::Uid{quint32(*number)};
        }
        return PropertyList::Dictionary(std::move(entries));
    }

    /// An element whose text is a number or a date.
    template <typename Convert>
    PropertyList readText(const Tag &tag, Convert convert) {
        if (tag.isEmpty)
            refuse(QStringLiteral("<%1> is empty").arg(shown(tag.name)));
        const auto text = _text.substr(_at, std::min(_text.find('<', _at), _text.size()) - _at);
        const auto value = convert(text);
        if (!value)
            refuse(QStringLiteral("\"%1\" is no <%2>").arg(shown(text), shown(tag.name)));
        _at += text.size();
        readCloseTag(tag);
        return *value;
    }

    PropertyList readData(const Tag &tag) {
        if (tag.isEmpty)
            refuse(QStringLiteral("<data> is empty"));
        const size_t end = std::min(_text.find('<', _at), _text.size());
        const QByteArrayView text(_text.data() + _at, qsizetype(end - _at));
        _memory.spendData(quint64(Base64::decodedBound(text.size())));
        QByteArray data(Base64::decodedBound(text.size()), Qt::Uninitialized);
        const auto size = Base64::decode(data.data(), text);
        if (!size)
            refuse(QStringLiteral("a character above U+007F inside <data>"));
        data.truncate(*size);
        releaseExcess(data);
        _at = end;
        readCloseTag(tag);
        return data;
    }

    QString readString(const Tag &tag) {
        if (tag.isEmpty)
            return QStringLiteral("");
        const size_t end = endOfString();
        const auto text = _text.substr(_at, end - _at);
        // Most strings are short, or have one unit a byte; either way no space is lost.
        constexpr size_t shortSize = 512;
        _memory.spendText(text.size());
        QString string;
        if (text.size() <= shortSize) {
            std::array<char16_t, shortSize> units;
            const char16_t *const unitsEnd = decodeString(units.data(), text);
            string =
                QString(reinterpret_cast<const QChar *>(units.data()), unitsEnd - units.data());
        } else {
            string = QString(qsizetype(text.size()), Qt::Uninitialized);
            auto *const units = reinterpret_cast<char16_t *>(string.data());
            string.truncate(decodeString(units, text) - units);
            releaseExcess(string);
        }
        if (_hasSurrogateReference)
            replaceLoneSurrogates(string);
        readCloseTag(tag);
        return string;
    }

    /// The "<" that ends a string: the first that does not begin a CDATA section.
    size_t endOfString() {
        const size_t begin = _at;
        for (;;) {
            _at = std::min(_text.find('<', _at), _text.size());
            if (!isAt(cdataBegin))
                return std::exchange(_at, begin);
            _at += cdataBegin.size();
            skipPast(cdataEnd, "a CDATA section");
        }
    }

    /// Decodes a string, its references and CDATA sections; moves to its end.
    char16_t *decodeString(char16_t *out, std::string_view text) {
        const size_t end = _at + text.size();
        _hasSurrogateReference = false;
        while (_at < end) {
            if (_text[_at] == '<') {
                _at += cdataBegin.size();
                const size_t cdata = _text.find(cdataEnd, _at);
                out = decodeCharacters(out, cdata);
                _at = cdata + cdataEnd.size();
                continue;
            }
            // Looked for once, not again after each of many references.
            const auto untilCdata = _text.substr(0, std::min(_text.find('<', _at), end));
            while (_at < untilCdata.size()) {
                if (_text[_at] == '&')
                    out = decodeReference(out);
                else
                    out = decodeCharacters(out,
                                           std::min(untilCdata.find('&', _at), untilCdata.size()));
            }
        }
        return out;
    }

    /// Decodes the characters up to the given place.
    char16_t *decodeCharacters(char16_t *out, size_t end) {
        out = decodeUtf8(out, QByteArrayView(_text.data() + _at, qsizetype(end - _at)));
        if (!out)
            refuse(QStringLiteral("bytes that are not UTF-8 in a string that begins"));
        _at = end;
        return out;
    }

    char16_t *decodeReference(char16_t *out) {
        // "&#x", eight digits, ";" is the longest.
        constexpr size_t longest = 12;
        const auto text = _text.substr(_at, longest);
        const auto name = text.substr(0, std::min(text.find(';'), text.size()));
        const auto character = characterOfReference(name);
        if (name.size() == text.size() || !character)
            refuse(QStringLiteral("unknown reference \"%1\"").arg(shown(name)));
        _at += name.size() + 1;
        if (*character > 0xffff) {
            *out++ = QChar::highSurrogate(*character);
            *out++ = QChar::lowSurrogate(*character);
        } else {
            _hasSurrogateReference |= QChar::isSurrogate(*character);
            *out++ = char16_t(*character);
        }
        return out;
    }

    /// The character that a reference stands for, given as "&" and what follows it up to the
    /// semicolon.
    static std::optional<char32_t> characterOfReference(std::string_view name) {
        if (name == "&lt")
            return U'<';
        if (name == "&gt")
            return U'>';
        if (name == "&amp")
            return U'&';
        if (name == "&quot")
            return U'"';
        if (name == "&apos")
            return U'\'';
        const bool isHexadecimal = name.starts_with("&#x");
        if (!isHexadecimal && !name.starts_with("&#"))
            return std::nullopt;
        constexpr size_t mostDigits = 8;
        const auto digits = name.substr(isHexadecimal ? 3 : 2);
        const char *const end = digits.data() + digits.size();
        quint32 character = 0;
        const auto read = std::from_chars(digits.data(), end, character, isHexadecimal ? 16 : 10);
        if (digits.size() > mostDigits || read.ec != std::errc() || read.ptr != end ||
            character > QChar::LastValidCodePoint)
            return std::nullopt;
        return character;
    }

    /// Two references may make one character; one half alone is none.
    static void replaceLoneSurrogates(QString &string) {
        for (qsizetype at = 0; at < string.size(); ++at) {
            if (string[at].isHighSurrogate() && at + 1 < string.size() &&
                string[at + 1].isLowSurrogate())
                ++at;
            else if (string[at].isSurrogate())
                string[at] = QChar::ReplacementCharacter;
        }
    }

    /// Gives memory back after a bound that was far too high, as for data that was mostly white
    /// space.
    template <typename Array>
    static void releaseExcess(Array &array) {
        if (array.size() < array.capacity() - array.capacity() / 4)
            array.squeeze();
    }

    static constexpr std::string_view cdataBegin = "<![CDATA[";
    static constexpr std::string_view cdataEnd = "]]>";

    std::string_view _text;
    ParseMemory &_memory;
    size_t _at = 0;
    bool _hasSurrogateReference = false;
};

bool startsAsMarkup(QByteArrayView bytes) {
    const auto first = std::find_if_not(bytes.begin(), bytes.end(), [](char byte) {
        return byte == ' ' || (byte >= '\t' && byte <= '\r');
    });
    return first != bytes.end() && *first == '<';
}

} // namespace

Result<PropertyList> PropertyListSerialization::parse(QByteArrayView bytes, quint64 perByte,
                                                      Format *form) {
    if (bytes.isEmpty())
        return failure(QStringLiteral("Cannot parse a NULL or zero-length data"));
    // The forms are tried in this order, whatever the bytes look like: the word "bplist00" is a
    // string, and "<c0de>" is data. When all refuse, the error of the form that the bytes seem to
    // be is the useful one.
    const bool hasBinaryMagic = bytes.startsWith("bplist0");
    QString meant;
    using Parse = Result<PropertyList> (*)(QByteArrayView, quint64);
    constexpr std::pair<Format, Parse> forms[] = {
        {Format::Binary, parseBinary}, {Format::Xml, parseXml}, {Format::OpenStep, parseOpenStep}};
    for (const auto &[tried, parseForm] : forms) {
        if (tried == Format::Binary && !hasBinaryMagic)
            continue;
        Result<PropertyList> read = parseForm(bytes, perByte);
        if (read) {
            if (form)
                *form = tried;
            return read;
        }
        if (meant.isEmpty() && (tried != Format::Xml || startsAsMarkup(bytes)))
            meant = read.error().reason;
    }
    return failure(meant);
}

Result<PropertyList> PropertyListSerialization::parseXml(QByteArrayView bytes, quint64 perByte) {
    try {
        ParseMemory memory(bytes.size(), perByte, memoryFloor);
        const QByteArray text = utf8FromXml(bytes, memory);
        return XmlReader(text, memory).read();
    } catch (const Refused &refused) {
        return failure(refused.reason);
    }
}

} // namespace clipmule
