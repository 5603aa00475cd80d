// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/HtmlFilters.h"
#include "filters/ZRKClipmuleNSStringCategory.h"

namespace clipmule::kit {

/// The encoder and the decoder of HTML entities as they are defined: one replacement after another
/// in the whole text, which takes time quadratic in its length.
namespace PlainPasses {

inline QString encode(const QString &text, const HtmlEntityTable &table) {
    QString result = text;
    for (qsizetype index = result.size() - 1; index >= 0; --index) {
        const char16_t unit = result[index].unicode();
        if (table.contains(unit))
            result.replace(index, 1, table.value(unit));
        else if (unit >= 128)
            result.replace(index, 1, QStringLiteral("&#%1;").arg(uint(unit)));
    }
    return result;
}

inline QString decode(const QString &text, const HtmlEntityTable &table) {
    QString result = text;
    for (auto entry = table.begin(); entry != table.end(); ++entry) {
        if (*entry != u"&amp;")
            result.replace(*entry, QString(QChar(char16_t(entry.key()))));
    }
    for (qsizetype limit = result.size(); limit > 0;) {
        const qsizetype start = QStringView(result).first(limit).lastIndexOf(QStringLiteral("&#"));
        if (start < 0)
            break;
        const qsizetype end = QStringView(result).first(limit).indexOf(u';', start);
        if (end >= 0) {
            const auto number = ZRKClipmuleNSStringCategory::convertToNumber(
                result.sliced(start + 2, end - start - 2));
            if (number)
                result.replace(start, end + 1 - start, QChar(char16_t(*number)));
        }
        limit = start;
    }
    return result.replace(QStringLiteral("&amp;"), QStringLiteral("&"));
}

} // namespace PlainPasses

} // namespace clipmule::kit
