// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleEncodeHTMLEntitiesFilter.h"

#include <array>
#include <charconv>

namespace clipmule {

namespace {

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

} // namespace

QString ZRKClipmuleEncodeHTMLEntitiesFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Encode HTML Entities"));
}

QString ZRKClipmuleEncodeHTMLEntitiesFilter::className() const {
    return QStringLiteral("ZRKClipmuleEncodeHTMLEntitiesFilter");
}

std::optional<QString>
ZRKClipmuleEncodeHTMLEntitiesFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(filterString(*text, false, false)) : std::nullopt;
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

} // namespace clipmule
