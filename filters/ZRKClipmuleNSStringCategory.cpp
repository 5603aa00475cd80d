// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleNSStringCategory.h"

#include <limits>

namespace clipmule::ZRKClipmuleNSStringCategory {

namespace {

// Whether a character ends a line; fewer characters do than count as newlines.
bool isTerminator(QChar character) {
    switch (character.unicode()) {
    case u'\n':
    case u'\r':
    case 0x85:
    case 0x2028:
    case 0x2029:
        return true;
    default:
        return false;
    }
}

// The value of a digit, whatever the base; 255 for none.
int digitValue(QChar character) {
    const char16_t unit = character.unicode();
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10;
    return 255;
}

std::optional<quint64> readDigits(QStringView digits, quint64 base) {
    if (digits.isEmpty())
        return std::nullopt;
    constexpr quint64 largest = std::numeric_limits<quint64>::max();
    quint64 number = 0;
    for (const QChar character : digits) {
        const auto digit = quint64(digitValue(character));
        if (digit >= base)
            return std::nullopt;
        number = number > (largest - digit) / base ? largest : number * base + digit;
    }
    return number;
}

// The text after the prefix, which is the letter in either case, with or without a zero before it.
std::optional<QStringView> afterPrefix(QStringView text, QChar letter) {
    if (text.startsWith(u'0'))
        text = text.sliced(1);
    if (text.isEmpty() || text[0].toLower() != letter)
        return std::nullopt;
    return text.sliced(1);
}

} // namespace

bool isNewline(QChar character) {
    return isTerminator(character) || character == u'\v' || character == u'\f';
}

bool isWhitespace(QChar character) {
    if (character.unicode() < 0x80)
        return character == u' ' || character == u'\t';
    return character.category() == QChar::Separator_Space;
}

bool isWhitespaceOrNewline(QChar character) {
    return isWhitespace(character) || isNewline(character);
}

quint64 wordCount(const QString &text) {
    quint64 count = 0;
    bool inWord = false;
    for (const QChar character : text) {
        const bool blank = isWhitespaceOrNewline(character);
        if (!blank && !inWord)
            ++count;
        inWord = !blank;
    }
    return count;
}

quint64 lineCount(const QString &text) {
    return 1 + quint64(std::count_if(text.begin(), text.end(), isNewline));
}

std::pair<qsizetype, qsizetype> fullRange(const QString &text) {
    return {0, text.size()};
}

LineRange lineRangeFrom(QStringView text, qsizetype start) {
    qsizetype at = start;
    while (at < text.size() && !isTerminator(text[at]))
        ++at;
    if (at == text.size())
        return {at, at};
    const bool pair = text[at] == u'\r' && at + 1 < text.size() && text[at + 1] == u'\n';
    return {at, at + (pair ? 2 : 1)};
}

QStringList splitIntoLinesWithLineEndings(const QString &text, QStringList *endings) {
    QStringList lines;
    QStringList terminators;
    for (qsizetype at = 0; at < text.size();) {
        const LineRange line = lineRangeFrom(text, at);
        lines.append(text.sliced(at, line.contentsEnd - at));
        terminators.append(text.sliced(line.contentsEnd, line.end - line.contentsEnd));
        at = line.end;
    }
    if (!terminators.isEmpty() && !terminators.constLast().isEmpty()) {
        lines.append(QString());
        terminators.append(QString());
    }
    if (endings)
        *endings = std::move(terminators);
    return lines;
}

QStringList splitIntoCharacterSetBlocks(const QString &text, const CharacterSet &set,
                                        QStringList *separators) {
    QStringList blocks;
    QStringList found;
    for (auto start = text.begin(); start != text.end();) {
        const auto match = std::find_if(start, text.end(), set);
        blocks.append(QString(start, match - start));
        found.append(match == text.end() ? QString() : QString(*match));
        start = match == text.end() ? match : match + 1;
    }
    if (separators)
        *separators = std::move(found);
    return blocks;
}

std::optional<quint64> convertToNumber(QStringView text) {
    if (const auto decimal = readDigits(text, 10))
        return decimal;
    if (const auto digits = afterPrefix(text, u'x'))
        return readDigits(*digits, 16);
    if (const auto digits = afterPrefix(text, u'o'))
        return readDigits(*digits, 8);
    return std::nullopt;
}

} // namespace clipmule::ZRKClipmuleNSStringCategory
