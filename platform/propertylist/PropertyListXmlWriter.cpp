// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListXmlWriter.h"

#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace clipmule {

namespace {

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
