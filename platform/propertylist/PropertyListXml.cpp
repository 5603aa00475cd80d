// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListXml.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/Base64.h"
#include "platform/propertylist/ParseMemory.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <map>
#include <string_view>

namespace clipmule {

namespace {

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

QString shown(std::string_view text) {
    return cutForLog(QString::fromUtf8(text.data(), qsizetype(std::min<size_t>(text.size(), 256))));
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

constexpr std::string_view prologue = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                      "<plist version=\"1.0\">\n";
constexpr std::string_view epilogue = "</plist>\n";

/// Lines of data shrink by a tab's eight columns a level, down to the eighth.
constexpr Base64::Lines linesAt(int indentation) {
    const int tabs = std::min(indentation, 8);
    return {76 - 8 * tabs, tabs};
}

[[noreturn]] void refuseSize(qsizetype limit) {
    throw PlatformException(
        QStringLiteral("InvalidArgument"),
        QStringLiteral("as XML the property list takes more than %1 bytes").arg(limit));
}

void checkDepth(int indentation) {
    if (indentation >= PropertyListSerialization::maximumDepth) {
        throw PlatformException(QStringLiteral("InvalidArgument"),
                                QStringLiteral("the property list is nested deeper than %1")
                                    .arg(PropertyListSerialization::maximumDepth));
    }
}

// The two things that a document can be given to.

class Measure {
public:
    Measure(qsizetype size, qsizetype limit)
        : _size(0)
        , _limit(limit) {
        add(size);
    }

    [[nodiscard]] qsizetype size() const { return _size; }

    [[nodiscard]] static bool hasRoom() { return true; }
    void raw(std::string_view text) { add(qsizetype(text.size())); }
    void tabs(int count) { add(count); }
    qsizetype escaped(QStringView text) {
        add(escapedUtf8Size(text));
        return text.size();
    }
    qsizetype encoded(QByteArrayView data, Base64::Lines lines) {
        add(Base64::encodedSize(data.size(), lines));
        return data.size();
    }

private:
    void add(qsizetype size) {
        _size += size;
        if (_size > _limit)
            refuseSize(_limit);
    }

    qsizetype _size;
    qsizetype _limit;
};

class Output {
public:
    Output(char *at, qsizetype room)
        : _at(at)
        , _end(at + room) {}

    [[nodiscard]] char *at() const { return _at; }

    [[nodiscard]] bool hasRoom() const { return _end - _at >= XmlWriter::leastRoom; }
    void raw(std::string_view text) {
        std::memcpy(_at, text.data(), text.size());
        _at += text.size();
    }
    void tabs(int count) { _at = std::fill_n(_at, count, '\t'); }
    /// As many units as are sure to fit, both halves of a pair or none; returns their number.
    qsizetype escaped(QStringView text) {
        constexpr qsizetype mostBytes = 5; // "&amp;"
        qsizetype count = std::min(text.size(), (_end - _at) / mostBytes);
        if (count < text.size() && text[count].isLowSurrogate() &&
            text[count - 1].isHighSurrogate())
            --count;
        _at = escapeAsUtf8(_at, text.first(count));
        return count;
    }
    /// As many lines as fit; returns the number of bytes in them.
    qsizetype encoded(QByteArrayView data, Base64::Lines lines) {
        const qsizetype fitting = (_end - _at) / (lines.tabs + lines.length + 1);
        const qsizetype count = std::min(data.size(), fitting * (lines.length / 4 * 3));
        _at = Base64::encode(_at, data.first(count), lines);
        return count;
    }

private:
    char *_at;
    char *_end;
};

// Shorter texts and data are written at once, with what stands around them.
constexpr qsizetype shortSize = 256;

template <typename Integer>
std::string_view digitsOf(Integer integer, std::array<char, 24> &digits) {
    const auto end = std::to_chars(digits.begin(), digits.end(), integer).ptr;
    return {digits.begin(), size_t(end - digits.begin())};
}

std::string_view viewOf(const QByteArray &text) {
    return {text.constData(), size_t(text.size())};
}

template <typename Destination>
void writeElement(std::string_view before, std::string_view text, std::string_view after,
                  Destination &to) {
    to.raw(before);
    to.raw(text);
    to.raw(after);
}

} // namespace

XmlWriter::XmlWriter(PropertyList value)
    : _root(std::make_shared<const PropertyList>(std::move(value))) {}

char *XmlWriter::write(char *out, qsizetype room) {
    Output output(out, room);
    writeTo(output);
    _written += output.at() - out;
    return output.at();
}

qsizetype XmlWriter::size(qsizetype limit) const {
    Measure measure(_written, limit);
    XmlWriter(*this).writeTo(measure);
    return measure.size();
}

template <typename Destination>
void XmlWriter::writeTo(Destination &to) {
    while (!_ended && to.hasRoom()) {
        if (!_text.isEmpty() || !_data.isEmpty()) {
            writeRestOfLong(to);
        } else if (_value) {
            writeValue(*std::exchange(_value, nullptr), to);
        } else if (!std::exchange(_begun, true)) {
            to.raw(prologue);
            _value = _root.get();
        } else if (_levels.empty()) {
            to.raw(epilogue);
            _ended = true;
        } else {
            writeNext(to);
        }
    }
}

template <typename Destination>
void XmlWriter::writeNext(Destination &to) {
    Level &level = _levels.back();
    if (level.list) {
        if (level.next < level.list->size())
            return writeValue((*level.list)[level.next++], to);
        _levels.pop_back();
        to.tabs(indentation());
        return to.raw("</array>\n");
    }
    if (level.entry == level.end) {
        _levels.pop_back();
        to.tabs(indentation());
        return to.raw("</dict>\n");
    }
    if (!std::exchange(level.isKeyWritten, true)) {
        to.tabs(indentation());
        to.raw("<key>");
        writeText(level.entry.key(), "</key>\n", to);
        if (!_text.isEmpty())
            return;
    }
    level.isKeyWritten = false;
    const PropertyList &value = level.entry.value();
    ++level.entry;
    writeValue(value, to);
}

template <typename Destination>
void XmlWriter::writeValue(const PropertyList &value, Destination &to) {
    using Kind = PropertyList::Kind;
    std::array<char, 24> digits;
    to.tabs(indentation());
    switch (value.kind()) {
    case Kind::String:
        to.raw("<string>");
        return writeText(value.string(), "</string>\n", to);
    case Kind::Boolean:
        return to.raw(value.boolean() ? "<true/>\n" : "<false/>\n");
    case Kind::Integer:
        return writeElement("<integer>", digitsOf(*value.as<qint64>(), digits), "</integer>\n", to);
    case Kind::UnsignedInteger:
        return writeElement("<integer>", digitsOf(*value.as<quint64>(), digits), "</integer>\n",
                            to);
    case Kind::Real:
        return writeElement("<real>", viewOf(xmlFromReal(value.real())), "</real>\n", to);
    case Kind::Date:
        return writeElement("<date>", viewOf(xmlFromDate(value.date())), "</date>\n", to);
    case Kind::Data:
        to.raw("<data>\n");
        _closing = "</data>\n";
        _data = value.data();
        if (_data.size() <= shortSize)
            writeRestOfLong(to);
        return;
    case Kind::List:
        checkDepth(indentation());
        if (value.list().isEmpty())
            return to.raw("<array/>\n");
        to.raw("<array>\n");
        _levels.push_back({&value.list(), 0, {}, {}});
        return;
    case Kind::Dictionary:
        checkDepth(indentation());
        if (value.dictionary().isEmpty())
            return to.raw("<dict/>\n");
        to.raw("<dict>\n");
        _levels.push_back({nullptr, 0, value.dictionary().begin(), value.dictionary().end()});
        return;
    case Kind::Uid:
        checkDepth(indentation());
        to.raw("<dict>\n");
        to.tabs(indentation() + 1);
        to.raw("<key>CF$UID</key>\n");
        to.tabs(indentation() + 1);
        writeElement("<integer>", digitsOf(value.uid().value, digits), "</integer>\n", to);
        to.tabs(indentation());
        return to.raw("</dict>\n");
    }
}

template <typename Destination>
void XmlWriter::writeText(QStringView text, std::string_view closing, Destination &to) {
    if (text.size() <= shortSize) {
        to.escaped(text);
        return to.raw(closing);
    }
    _text = text;
    _closing = closing;
}

template <typename Destination>
void XmlWriter::writeRestOfLong(Destination &to) {
    if (!_text.isEmpty()) {
        _text = _text.sliced(to.escaped(_text));
    } else {
        _data = _data.sliced(to.encoded(_data, linesAt(indentation())));
        if (_data.isEmpty())
            to.tabs(indentation());
    }
    if (_text.isEmpty() && _data.isEmpty())
        to.raw(_closing);
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

QByteArray PropertyListSerialization::xml(const PropertyList &value, qsizetype limit) {
    // What takes more is measured first, so that it is written into a buffer of its size.
    constexpr qsizetype roomToStart = 32 << 10;
    constexpr qsizetype mostUnmeasured = 1 << 20;
    XmlWriter writer(value);
    QByteArray bytes;
    qsizetype size = 0;
    for (const qsizetype room : {roomToStart, mostUnmeasured, qsizetype(0)}) {
        bytes.resize(room > 0 ? room : writer.size(limit) + XmlWriter::leastRoom);
        size = writer.write(bytes.data() + size, bytes.size() - size) - bytes.constData();
        if (size > limit)
            refuseSize(limit);
        if (writer.isAtEnd())
            break;
    }
    bytes.truncate(size);
    if (size < bytes.capacity() / 2)
        bytes.squeeze();
    return bytes;
}

} // namespace clipmule
