// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/propertylist/Base64.h"
#include "platform/propertylist/ParseMemory.h"

#include <array>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace clipmule {

/// Reads an XML property list in UTF-8, whose text may come in any pieces. A scanner for its eleven
/// elements, not for XML: no entities but the five, no character of a string is changed, and what
/// XML forbids in a text is taken as it is.
///
/// Long strings and data are decoded as they come, so that their text need not be kept. Value and
/// refusals do not depend on how the text is cut.
class XmlReader {
public:
    /// Spends the memory, which the caller keeps.
    explicit XmlReader(ParseMemory &memory)
        : _memory(memory) {}

    /// Reads on in the text behind what was read before; `rest` are the bytes that follow later, if
    /// the sender keeps its word. Returns how many are done with: the next text begins behind them.
    /// Throws Refused, with the line, and then is not to be used any more.
    qsizetype read(QByteArrayView text, qsizetype rest);
    /// The value, once the last text was read.
    [[nodiscard]] PropertyList takeValue() { return std::move(_root); }

private:
    enum class Element { Plist, Dict, Array, String, Key, Data, Date, Real, Integer, True, False };
    static constexpr std::array<std::pair<std::string_view, Element>, 11> elements{{
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

    struct Tag {
        Element element = Element::Plist;
        std::string_view name;
        bool isEmpty = false;
    };
    /// A container whose end has not come yet.
    struct Level {
        Tag tag;
        PropertyList::List list;
        std::map<QString, PropertyList> entries;
        QString key;
        bool hasKey = false;
    };
    /// Where something begins, for a refusal of it: in the text at hand, else in this line.
    struct Begin {
        std::optional<size_t> at;
        std::optional<qsizetype> line;
    };
    /// Data, or a string that goes on behind the text at hand.
    struct Long {
        Long(const Tag &element, size_t begin)
            : tag(element)
            , contents{begin, {}} {}

        Tag tag;
        Begin contents;
        /// Bytes of its text so far.
        quint64 size = 0;
        // What was decoded, in a buffer that is larger.
        QString string;
        QByteArray data;
        qsizetype decoded = 0;
        Base64::Decoder decoder;
        bool isInCdata = false;
        // The CDATA section and the run of characters that are being read.
        Begin section;
        Begin run;
        /// A reference made half of a pair, perhaps.
        bool hasSurrogateReference = false;
        /// Decoded no more, and its end only looked for: the first refusal and its line, or more
        /// than there is memory for.
        bool isGivenUp = false;
        std::optional<Refused> refused;
        qsizetype refusedLine = 0;

        [[nodiscard]] quint64 memory() const {
            return tag.element == Element::Data ? quint64(Base64::decodedBound(qsizetype(size)))
                                                : size * sizeof(char16_t);
        }
    };
    /// A key that was read before, and its text.
    struct KnownKey {
        std::array<char, 24> text{};
        size_t size = 0;
        QString string = QStringLiteral("");
    };
    /// What is there is too little to go on; thrown to whoever reads on with more.
    struct Incomplete {};

    // Each step either is done, or throws and is taken back.
    void step();
    void readInside();
    void skipToTag(bool isBeforeRoot = false);
    void skipPast(std::string_view text, const char *what);
    void skipBlanks();
    [[nodiscard]] Tag readTag();
    void readCloseTag(const Tag &tag);
    void readValue(const Tag &tag);
    void readString(const Tag &tag);
    template <typename Convert>
    [[nodiscard]] PropertyList readText(const Tag &tag, Convert convert);
    void deliver(PropertyList value);
    void deliverString(const Tag &tag, QString string);
    void endLevel();

    // Strings that are there as a whole.
    [[nodiscard]] std::optional<size_t> endOfString();
    char16_t *decodeString(char16_t *out, std::string_view text);
    char16_t *decodeCharacters(char16_t *out, size_t end);
    char16_t *decodeReference(char16_t *out);

    // Data, and strings that are not. Each moves as far as it can; false when the rest is still to
    // come.
    void beginLong(const Tag &tag);
    void readLong();
    void endLong();
    [[nodiscard]] bool readLongData();
    [[nodiscard]] bool readLongString();
    [[nodiscard]] bool readLongSection();
    [[nodiscard]] bool readLongPlain(size_t end);
    [[nodiscard]] bool readLongReference();
    [[nodiscard]] bool readLongRun(size_t end, bool goesOn);
    char16_t *roomForLong(size_t units);
    void giveUp(const Refused &refused, qsizetype line);

    [[nodiscard]] bool atEnd() const { return _at == _text.size(); }
    [[nodiscard]] bool isAt(std::string_view text) const {
        return _text.substr(_at, text.size()) == text;
    }
    [[nodiscard]] bool isAtCloseTag() const { return isAt("</"); }
    [[nodiscard]] qsizetype lineAt(size_t place) const;
    [[nodiscard]] qsizetype lineOf(const Begin &begin) const {
        return begin.at ? lineAt(*begin.at) : begin.line.value_or(0);
    }
    void needMore() const {
        if (!_isLast)
            throw Incomplete();
    }
    /// Whether a CDATA section may begin there once more of the text has come.
    [[nodiscard]] bool mayBeginSection(size_t place) const {
        return !_isLast && _text.size() - place < cdataBegin.size() &&
               cdataBegin.starts_with(_text.substr(place));
    }

    static constexpr std::string_view cdataBegin = "<![CDATA[";
    static constexpr std::string_view cdataEnd = "]]>";
    // "&#x", eight digits, ";".
    static constexpr size_t longestReference = 12;
    static QString notUtf8() {
        return QStringLiteral("bytes that are not UTF-8 in a string that begins");
    }
    /// Gives memory back after a bound that was far too high, as for data that was mostly white
    /// space.
    template <typename Array>
    static void releaseExcess(Array &array) {
        if (array.size() < array.capacity() - array.capacity() / 4)
            array.squeeze();
    }

    /// Without the room to grow that the array would add.
    template <typename Array>
    static void resizeExactly(Array &array, qsizetype size) {
        array.reserve(size);
        array.resize(size);
    }

    ParseMemory &_memory;
    // The text at hand.
    std::string_view _text;
    size_t _at = 0;
    qsizetype _rest = 0;
    bool _isLast = false;
    /// Lines before the text at hand.
    qsizetype _linesBefore = 0;
    /// Up to here, and with this memory left, nothing is taken back.
    size_t _done = 0;
    std::optional<qsizetype> _refusedLine;

    std::vector<Level> _levels;
    std::optional<Long> _long;
    // A long string or data whose contents have ended, and whose tag is still to come.
    std::optional<std::pair<Tag, PropertyList>> _ended;
    std::array<KnownKey, 16> _knownKeys;
    PropertyList _root;
    bool _hasPlist = false;
    bool _hasRoot = false;
    bool _isAtEnd = false;
    bool _hasSurrogateReference = false;
};

} // namespace clipmule
