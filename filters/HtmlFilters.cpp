// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/HtmlFilters.h"

#include "filters/ZRKClipmuleNSStringCategory.h"
#include "platform/bundle/Bundle.h"

#include <QCoreApplication>

#include <array>
#include <charconv>

namespace clipmule {

namespace {

using ReferenceTable = QHash<QStringView, char16_t>;

// One pass instead of one for each entry. A reference begins with the only "&" it has and ends with
// the only ";", and no character that it stands for is part of another reference, so the order of
// the entries makes no difference.
QString withoutNamedReferences(const QString &text, const ReferenceTable &characters) {
    qsizetype longest = 0;
    for (auto entry = characters.keyBegin(); entry != characters.keyEnd(); ++entry)
        longest = std::max(longest, entry->size());
    const QStringView source = text;
    QString decoded;
    decoded.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = source.indexOf(u'&'); at >= 0; at = source.indexOf(u'&', at)) {
        const QStringView rest = source.sliced(at).first(std::min(longest, source.size() - at));
        const qsizetype end = rest.indexOf(u';');
        const auto found =
            end < 0 ? characters.constEnd() : characters.constFind(rest.first(end + 1));
        if (found == characters.constEnd()) {
            ++at;
            continue;
        }
        decoded += source.sliced(copied, at - copied);
        decoded += QChar(*found);
        at += end + 1;
        copied = at;
    }
    decoded += source.sliced(copied);
    return decoded;
}

// A reference ends before the next one begins: "&#65&#66;" is the text "&#65" and a reference to
// 66.
QString withoutNumericReferences(const QString &text) {
    const QStringView source = text;
    const QString mark = QStringLiteral("&#");
    qsizetype start = source.indexOf(mark);
    if (start < 0)
        return text;
    QString decoded;
    decoded.reserve(text.size());
    decoded += source.first(start);
    while (start >= 0) {
        const qsizetype next = source.indexOf(mark, start + 2);
        const QStringView part = source.sliced(start, (next < 0 ? source.size() : next) - start);
        const qsizetype end = part.indexOf(u';');
        const auto number =
            end < 0 ? std::nullopt
                    : ZRKClipmuleNSStringCategory::convertToNumber(part.sliced(2, end - 2));
        if (number) {
            decoded += QChar(char16_t(*number));
            decoded += part.sliced(end + 1);
        } else {
            decoded += part;
        }
        start = next;
    }
    return decoded;
}

// Characters below stay as they are when the table does not name them.
constexpr char16_t firstNumeric = 128;

// In a script that the table does not know, every character of a text becomes such a reference.
void appendNumericReference(QString &text, char16_t unit) {
    std::array<char, 5> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), uint(unit)).ptr;
    text += QStringLiteral("&#");
    text += QLatin1String(digits.data(), end - digits.data());
    text += u';';
}

QStringView trimmedBlanks(QStringView text) {
    while (!text.isEmpty() && ZRKClipmuleNSStringCategory::isWhitespace(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && ZRKClipmuleNSStringCategory::isWhitespace(text.back()))
        text.chop(1);
    return text;
}

} // namespace

HtmlEntityTable loadHtmlEntityTable() {
    HtmlEntityTable table;
    const auto resource = Bundle::mainBundle().propertyListResource(
        QStringLiteral("ZRKClipmuleHTMLEntities"), QStringLiteral("plist"));
    const auto *const entries = resource ? resource->as<PropertyList::Dictionary>() : nullptr;
    if (!entries)
        return table;
    table.reserve(entries->size());
    for (const auto &[key, value] : entries->asKeyValueRange()) {
        bool isNumber = false;
        const uint code = key.toUInt(&isNumber);
        if (isNumber && value.isString())
            table.insert(code, value.string());
    }
    return table;
}

ZRKClipmuleDecodeHTMLEntitiesFilter::ZRKClipmuleDecodeHTMLEntitiesFilter()
    : ZRKClipmuleTextFilter("ZRKClipmuleDecodeHTMLEntitiesFilter",
                            QT_TRANSLATE_NOOP("Clipmule", "Decode HTML Entities")) {}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::filtered(const QString &text) const {
    return filterString(text);
}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(const QString &text) {
    return filterString(text, loadHtmlEntityTable());
}

QString ZRKClipmuleDecodeHTMLEntitiesFilter::filterString(const QString &text,
                                                          const HtmlEntityTable &table) {
    const QString ampersand = QStringLiteral("&amp;");
    ReferenceTable characters;
    for (auto entry = table.begin(); entry != table.end(); ++entry) {
        // Last, so that an escaped reference comes out as its text.
        if (*entry != ampersand)
            characters.insert(*entry, char16_t(entry.key()));
    }
    QString decoded = withoutNumericReferences(withoutNamedReferences(text, characters));
    return decoded.replace(ampersand, QStringLiteral("&"));
}

ZRKClipmuleEncodeHTMLEntitiesFilter::ZRKClipmuleEncodeHTMLEntitiesFilter()
    : ZRKClipmuleTextFilter("ZRKClipmuleEncodeHTMLEntitiesFilter",
                            QT_TRANSLATE_NOOP("Clipmule", "Encode HTML Entities")) {}

QString ZRKClipmuleEncodeHTMLEntitiesFilter::filtered(const QString &text) const {
    return filterString(text, false, false);
}

QString ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(const QString &text, bool numericalOnly,
                                                          bool convertAll) {
    return filterString(text, numericalOnly, convertAll, loadHtmlEntityTable());
}

QString ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(const QString &text, bool numericalOnly,
                                                          bool convertAll,
                                                          const HtmlEntityTable &table) {
    std::array<bool, firstNumeric> isListed{};
    for (char16_t unit = 0; unit < firstNumeric; ++unit)
        isListed[unit] = table.contains(unit);
    QString encoded;
    encoded.reserve(text.size());
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        // Most characters of a text are plain, and this is by far the quickest test.
        if (unit < firstNumeric && !isListed[unit] && !convertAll) {
            encoded += character;
            continue;
        }
        const auto entry = table.constFind(unit);
        const bool listed = entry != table.constEnd();
        if (!listed || numericalOnly)
            appendNumericReference(encoded, unit);
        else
            encoded += *entry;
    }
    return encoded;
}

ZRKClipmuleWrapHTMLFilter::ZRKClipmuleWrapHTMLFilter()
    : ZRKClipmuleTextFilter("ZRKClipmuleWrapHTMLFilter",
                            QT_TRANSLATE_NOOP("Clipmule", "Wrap in HTML Tags")) {
    addTextOption(std::nullopt, QT_TRANSLATE_NOOP("Clipmule", "Enter a Tag"));
}

QString ZRKClipmuleWrapHTMLFilter::filtered(const QString &text) const {
    const QString value = options().last()->text();
    const QStringView tag = trimmedBlanks(value);
    if (tag.isEmpty())
        return text;
    // Attributes belong to the opening tag only.
    const QString opening = u'<' + tag.toString() + u'>';
    const QString closing =
        QStringLiteral("</") +
        tag.first(tag.indexOf(u' ') < 0 ? tag.size() : tag.indexOf(u' ')).toString() + u'>';
    const QStringView source = text;
    QString wrapped;
    for (qsizetype at = 0; at < source.size();) {
        const auto line = ZRKClipmuleNSStringCategory::lineRangeFrom(source, at);
        if (line.contentsEnd > at) {
            wrapped += opening;
            wrapped += source.sliced(at, line.contentsEnd - at);
            wrapped += closing;
        }
        wrapped += source.sliced(line.contentsEnd, line.end - line.contentsEnd);
        at = line.end;
    }
    return wrapped;
}

} // namespace clipmule
