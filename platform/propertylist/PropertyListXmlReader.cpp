// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListXmlReader.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace clipmule {

namespace {

QString shown(std::string_view text) {
    return cutForLog(QString::fromUtf8(text.data(), qsizetype(std::min<size_t>(text.size(), 256))));
}

constexpr std::string_view documentType = "<!DOCTYPE";

/// The size of a buffer that there must be room in, and in which so much more may come: seldom
/// copied, and never larger than a multiple of what is there.
qsizetype grown(qsizetype size, qsizetype room, qsizetype more) {
    constexpr qsizetype factor = 8;
    return std::max(room, std::min(factor * size, room + more));
}

void checkDepth(size_t depth) {
    constexpr int most = PropertyListSerialization::maximumDepth;
    if (depth > size_t(most))
        refuse(QStringLiteral("nested deeper than %1").arg(most));
}

} // namespace

qsizetype XmlReader::read(QByteArrayView text, qsizetype rest) {
    _text = {text.data(), size_t(text.size())};
    _at = 0;
    _done = 0;
    _rest = rest;
    _isLast = rest == 0;
    ParseMemory memory = _memory;
    try {
        while (!_isAtEnd) {
            step();
            _done = _at;
            memory = _memory;
        }
        _done = _text.size();
    } catch (const Incomplete &) {
        _memory = memory;
    } catch (Refused &refused) {
        refused.reason += QStringLiteral(" in line %1").arg(_refusedLine.value_or(lineAt(_at)));
        throw;
    }
    _linesBefore += lineFeeds(_text.substr(0, _done));
    return qsizetype(_done);
}

void XmlReader::step() {
    if (_long)
        return readLong();
    if (_ended) {
        readCloseTag(_ended->first);
        auto [tag, value] = *std::exchange(_ended, std::nullopt);
        return value.isString() ? deliverString(tag, value.string()) : deliver(std::move(value));
    }
    if (!_levels.empty())
        return readInside();
    skipToTag(!_hasPlist);
    if (_hasRoot) {
        if (!isAtCloseTag())
            refuse(QStringLiteral("a second value inside <plist>"));
        readCloseTag({.name = "plist"});
        _isAtEnd = true;
        return;
    }
    if (_hasPlist && isAtCloseTag())
        refuse(QStringLiteral("no value inside <plist>"));
    const Tag tag = readTag();
    if (_hasPlist || tag.element != Element::Plist)
        return readValue(tag);
    if (tag.isEmpty)
        refuse(QStringLiteral("no value inside <plist>"));
    _hasPlist = true;
}

void XmlReader::readInside() {
    Level &level = _levels.back();
    skipToTag();
    if (level.tag.element == Element::Array) {
        if (isAtCloseTag())
            return endLevel();
        _memory.spend(ParseMemory::growingElement);
        return readValue(readTag());
    }
    if (isAtCloseTag()) {
        if (level.hasKey)
            refuse(QStringLiteral("a key without a value"));
        return endLevel();
    }
    const Tag tag = readTag();
    if (level.hasKey) {
        if (tag.element == Element::Key)
            refuse(QStringLiteral("a key without a value"));
        return readValue(tag);
    }
    if (tag.element != Element::Key)
        refuse(QStringLiteral("a value without a key"));
    _memory.spend(ParseMemory::entry);
    readString(tag);
}

/// Moves over white space, comments and processing instructions, and before the root over document
/// types, to the "<" of a tag.
void XmlReader::skipToTag(bool isBeforeRoot) {
    for (;;) {
        skipBlanks();
        if (atEnd()) {
            needMore();
            refuse(QStringLiteral("the text ends too early"));
        }
        if (_text[_at] != '<')
            refuse(QStringLiteral("text between elements"));
        if (_at + 1 == _text.size())
            needMore();
        const char next = _at + 1 < _text.size() ? _text[_at + 1] : '\0';
        if (next != '!' && next != '?')
            return;
        if (isAt("<!--")) {
            _at += 4;
            skipPast("-->", "a comment");
        } else if (next == '?') {
            _at += 2;
            skipPast("?>", "a processing instruction");
        } else if (_text.size() - _at < documentType.size() && !_isLast) {
            throw Incomplete();
        } else if (isBeforeRoot && isAt(documentType)) {
            const size_t found = _text.find_first_of("[>", _at);
            if (found != _text.npos && _text[found] == '[')
                refuse(QStringLiteral("a document type with declarations of its own"));
            skipPast(">", "a document type");
        } else {
            return;
        }
    }
}

/// Moves behind the next occurrence of a text.
void XmlReader::skipPast(std::string_view text, const char *what) {
    const size_t found = _text.find(text, _at);
    if (found == _text.npos) {
        needMore();
        refuse(QStringLiteral("%1 without an end").arg(QLatin1String(what)));
    }
    _at = found + text.size();
}

void XmlReader::skipBlanks() {
    while (!atEnd() && isBlank(_text[_at]))
        ++_at;
}

XmlReader::Tag XmlReader::readTag() {
    const size_t begin = _at + 1;
    const size_t end = _text.find('>', begin);
    if (end == _text.npos) {
        needMore();
        refuse(QStringLiteral("a tag without an end"));
    }
    const bool isEmpty = end > begin && _text[end - 1] == '/';
    const auto inside = _text.substr(begin, end - begin - (isEmpty ? 1 : 0));
    const auto name = inside.substr(
        0, size_t(std::find_if(inside.begin(), inside.end(), isBlank) - inside.begin()));
    for (const auto &[known, element] : elements) {
        // Most are told apart by their first letter.
        if (name.size() == known.size() && name[0] == known[0] && name == known) {
            _at = end + 1;
            return {element, known, isEmpty};
        }
    }
    refuse(QStringLiteral("unknown element <%1>").arg(shown(name)));
}

void XmlReader::readCloseTag(const Tag &tag) {
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
    // Whatever else it is, it has an end.
    if (_text.find('>', begin) == _text.npos)
        needMore();
    refuse(QStringLiteral("</%1> was expected").arg(shown(tag.name)));
}

void XmlReader::readValue(const Tag &tag) {
    switch (tag.element) {
    case Element::Dict:
    case Element::Array:
        checkDepth(_levels.size() + 1);
        if (tag.isEmpty) {
            if (tag.element == Element::Dict)
                return deliver(PropertyList::Dictionary());
            return deliver(PropertyList::List());
        }
        _memory.spend(ParseMemory::head);
        _levels.push_back({.tag = tag});
        return;
    case Element::String:
    case Element::Key:
        return readString(tag);
    case Element::Data:
        if (tag.isEmpty)
            refuse(QStringLiteral("<data> is empty"));
        return beginLong(tag);
    case Element::Date:
        return deliver(readText(tag, [](std::string_view text) { return dateFromXml(text); }));
    case Element::Real:
        return deliver(readText(tag, realFromXml));
    case Element::Integer:
        return deliver(readText(tag, integerFromXml));
    case Element::True:
    case Element::False:
        if (!tag.isEmpty)
            readCloseTag(tag);
        return deliver(tag.element == Element::True);
    case Element::Plist:
        refuse(QStringLiteral("<plist> inside a value"));
    }
}

void XmlReader::deliver(PropertyList value) {
    if (_levels.empty()) {
        _root = std::move(value);
        _hasRoot = true;
        _isAtEnd = !_hasPlist;
        return;
    }
    Level &level = _levels.back();
    if (level.tag.element == Element::Array) {
        level.list.append(std::move(value));
        return;
    }
    // Nearly always sorted. The last of equal keys wins.
    level.entries.insert_or_assign(level.entries.end(), std::move(level.key), std::move(value));
    level.hasKey = false;
}

void XmlReader::deliverString(const Tag &tag, QString string) {
    if (tag.element == Element::Key && !_levels.empty() &&
        _levels.back().tag.element == Element::Dict) {
        _levels.back().key = std::move(string);
        _levels.back().hasKey = true;
    } else {
        deliver(std::move(string));
    }
}

void XmlReader::endLevel() {
    readCloseTag(_levels.back().tag);
    Level level = std::move(_levels.back());
    _levels.pop_back();
    if (level.tag.element == Element::Array)
        return deliver(std::move(level.list));
    if (level.entries.size() == 1 && level.entries.begin()->first == u"CF$UID") {
        const auto *number = level.entries.begin()->second.as<qint64>();
        if (number && *number >= 0 && *number <= std::numeric_limits<quint32>::max())
            return deliver(PropertyList::Uid{quint32(*number)});
    }
    deliver(PropertyList::Dictionary(std::move(level.entries)));
}

/// An element whose text is a number or a date.
template <typename Convert>
PropertyList XmlReader::readText(const Tag &tag, Convert convert) {
    if (tag.isEmpty)
        refuse(QStringLiteral("<%1> is empty").arg(shown(tag.name)));
    const size_t end = std::min(_text.find('<', _at), _text.size());
    if (end == _text.size())
        needMore();
    const auto text = _text.substr(_at, end - _at);
    const auto value = convert(text);
    if (!value)
        refuse(QStringLiteral("\"%1\" is no <%2>").arg(shown(text), shown(tag.name)));
    _at = end;
    readCloseTag(tag);
    return *value;
}

void XmlReader::readString(const Tag &tag) {
    if (tag.isEmpty)
        return deliverString(tag, QStringLiteral(""));
    const auto end = endOfString();
    if (!end)
        return beginLong(tag);
    const auto text = _text.substr(_at, *end - _at);
    _memory.spendText(text.size());
    // The items of a message have the same few keys.
    KnownKey &known = _knownKeys[text.size() % _knownKeys.size()];
    const bool isShortKey = tag.element == Element::Key && text.size() <= known.text.size();
    if (isShortKey && text == std::string_view(known.text.data(), known.size)) {
        _at = *end;
        readCloseTag(tag);
        return deliverString(tag, known.string);
    }
    constexpr size_t shortSize = 512;
    QString string;
    if (text.size() <= shortSize) {
        std::array<char16_t, shortSize> units;
        const char16_t *const unitsEnd = decodeString(units.data(), text);
        string = QString(reinterpret_cast<const QChar *>(units.data()), unitsEnd - units.data());
    } else {
        string = QString(utf16Bound({text.data(), qsizetype(text.size())}), Qt::Uninitialized);
        auto *const units = reinterpret_cast<char16_t *>(string.data());
        string.truncate(decodeString(units, text) - units);
        releaseExcess(string);
    }
    if (_hasSurrogateReference)
        replaceLoneSurrogates(string);
    if (isShortKey) {
        std::copy(text.begin(), text.end(), known.text.begin());
        known.size = text.size();
        known.string = string;
    }
    readCloseTag(tag);
    deliverString(tag, std::move(string));
}

/// The "<" that ends a string: the first that does not begin a CDATA section. Nothing when it has
/// not come yet.
std::optional<size_t> XmlReader::endOfString() {
    const size_t begin = _at;
    for (;;) {
        _at = std::min(_text.find('<', _at), _text.size());
        if (mayBeginSection(_at))
            break;
        if (!isAt(cdataBegin))
            return std::exchange(_at, begin);
        _at += cdataBegin.size();
        if (!_isLast && _text.find(cdataEnd, _at) == _text.npos)
            break;
        skipPast(cdataEnd, "a CDATA section");
    }
    _at = begin;
    return std::nullopt;
}

/// Decodes a string, its references and CDATA sections; moves to its end.
char16_t *XmlReader::decodeString(char16_t *out, std::string_view text) {
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
                out = decodeCharacters(out, std::min(untilCdata.find('&', _at), untilCdata.size()));
        }
    }
    return out;
}

/// Decodes the characters up to the given place.
char16_t *XmlReader::decodeCharacters(char16_t *out, size_t end) {
    out = decodeUtf8(out, QByteArrayView(_text.data() + _at, qsizetype(end - _at)));
    if (!out)
        refuse(notUtf8());
    _at = end;
    return out;
}

char16_t *XmlReader::decodeReference(char16_t *out) {
    const auto text = _text.substr(_at, longestReference);
    const auto name = text.substr(0, std::min(text.find(';'), text.size()));
    if (name.size() == text.size() && text.size() < longestReference)
        needMore();
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

void XmlReader::beginLong(const Tag &tag) {
    _long.emplace(tag, _at);
}

void XmlReader::readLong() {
    const size_t from = _at;
    const bool isEnded = _long->tag.element == Element::Data ? readLongData() : readLongString();
    _long->size += _at - from;
    if (isEnded)
        return endLong();
    if (!_memory.hasForData(_long->memory()))
        giveUp({}, 0);
    for (Begin *begin : {&_long->contents, &_long->section, &_long->run}) {
        if (begin->at)
            *begin = {std::nullopt, lineOf(*begin)};
    }
    _done = _at;
    throw Incomplete();
}

// Refused in the order of a string or data that is there as a whole: for its size first.
void XmlReader::endLong() {
    Long ended = *std::exchange(_long, std::nullopt);
    const bool isData = ended.tag.element == Element::Data;
    if (!_memory.hasForData(ended.memory()))
        _refusedLine = lineOf(ended.contents);
    else if (ended.refused)
        _refusedLine = ended.refusedLine;
    _memory.spendData(ended.memory());
    if (ended.refused)
        throw Refused(*ended.refused);
    if (isData) {
        ended.data.truncate(ended.decoded);
        releaseExcess(ended.data);
        _ended.emplace(ended.tag, std::move(ended.data));
    } else {
        ended.string.truncate(ended.decoded);
        releaseExcess(ended.string);
        if (ended.hasSurrogateReference)
            replaceLoneSurrogates(ended.string);
        _ended.emplace(ended.tag, std::move(ended.string));
    }
}

bool XmlReader::readLongData() {
    const size_t end = std::min(_text.find('<', _at), _text.size());
    const QByteArrayView text(_text.data() + _at, qsizetype(end - _at));
    if (!_long->isGivenUp) {
        const qsizetype room = _long->decoded + Base64::Decoder::bound(text.size());
        // Of its size when all of it is there.
        if (_long->data.isEmpty())
            _long->data = QByteArray(room, Qt::Uninitialized);
        else if (_long->data.size() < room)
            resizeExactly(_long->data,
                          grown(_long->data.size(), room, Base64::decodedBound(_rest)));
        const auto size = _long->decoder.decode(_long->data.data() + _long->decoded, text);
        if (size)
            _long->decoded += *size;
        else
            giveUp({QStringLiteral("a character above U+007F inside <data>")},
                   lineOf(_long->contents));
    }
    _at = end;
    return end < _text.size() || _isLast;
}

bool XmlReader::readLongString() {
    for (;;) {
        if (_long->isInCdata && !readLongSection())
            return false;
        const size_t end = std::min(_text.find('<', _at), _text.size());
        if (!readLongPlain(end) || mayBeginSection(end))
            return false;
        if (!isAt(cdataBegin))
            return true;
        _at += cdataBegin.size();
        _long->isInCdata = true;
        _long->section = {_at, {}};
        _long->run = {};
    }
}

bool XmlReader::readLongSection() {
    const size_t found = _text.find(cdataEnd, _at);
    if (found == _text.npos) {
        if (_isLast) {
            _refusedLine = lineOf(_long->section);
            refuse(QStringLiteral("a CDATA section without an end"));
        }
        // What may be the beginning of its end is left.
        const size_t end = _text.size() - std::min(_text.size() - _at, cdataEnd.size() - 1);
        (void)readLongRun(end, true);
        return false;
    }
    (void)readLongRun(found, false);
    _at = found + cdataEnd.size();
    _long->isInCdata = false;
    _long->section = {};
    _long->run = {};
    return true;
}

bool XmlReader::readLongPlain(size_t end) {
    const bool goesOn = end == _text.size() && !_isLast;
    const auto plain = _text.substr(0, end);
    while (_at < end) {
        if (_long->isGivenUp) {
            _at = end;
        } else if (_text[_at] == '&') {
            if (!readLongReference())
                return false;
        } else {
            const size_t runEnd = std::min(plain.find('&', _at), end);
            if (!readLongRun(runEnd, goesOn && runEnd == end))
                return false;
        }
    }
    return true;
}

bool XmlReader::readLongReference() {
    _long->run = {};
    const auto text = _text.substr(_at, longestReference);
    if (!_isLast && text.size() < longestReference && text.find(';') == text.npos)
        return false;
    try {
        _hasSurrogateReference = false;
        char16_t *const out = roomForLong(2);
        _long->decoded += decodeReference(out) - out;
        _long->hasSurrogateReference |= _hasSurrogateReference;
    } catch (const Refused &refused) {
        giveUp(refused, lineAt(_at));
    }
    return true;
}

/// Characters up to the given place; false when the last of them is not there as a whole.
bool XmlReader::readLongRun(size_t end, bool goesOn) {
    const auto run = _text.substr(_at, end - _at);
    const size_t missing =
        goesOn ? size_t(incompleteUtf8Tail({run.data(), qsizetype(run.size())})) : 0;
    if (_long->isGivenUp || run.size() == missing) {
        if (_long->isGivenUp)
            _at = end;
        return missing == 0;
    }
    if (!_long->run.at && !_long->run.line)
        _long->run.at = _at;
    char16_t *const out = roomForLong(run.size());
    if (char16_t *const outEnd =
            decodeUtf8(out, QByteArrayView(run.data(), qsizetype(run.size() - missing)))) {
        _long->decoded += outEnd - out;
        _at = end - missing;
        return missing == 0;
    }
    giveUp({notUtf8()}, lineOf(_long->run));
    _at = end;
    return true;
}

/// Where the next units of a long string go.
char16_t *XmlReader::roomForLong(size_t units) {
    const qsizetype room = _long->decoded + qsizetype(units);
    if (_long->string.size() < room)
        resizeExactly(_long->string, grown(_long->string.size(), room, _rest));
    return reinterpret_cast<char16_t *>(_long->string.data()) + _long->decoded;
}

/// Only the end is looked for from here on: what is wrong with all of it goes before.
void XmlReader::giveUp(const Refused &refused, qsizetype line) {
    if (std::exchange(_long->isGivenUp, true))
        return;
    _long->string = QString();
    _long->data = QByteArray();
    _long->decoded = 0;
    _long->refusedLine = line;
    if (!refused.reason.isEmpty())
        _long->refused = refused;
}

qsizetype XmlReader::lineAt(size_t place) const {
    return _linesBefore + lineFeeds(_text.substr(0, place)) + 1;
}

} // namespace clipmule
