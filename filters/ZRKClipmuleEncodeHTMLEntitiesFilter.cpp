// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleEncodeHTMLEntitiesFilter.h"

#include "filters/HtmlEntityTable.h"

namespace clipmule {

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
    const HtmlEntityTable table = loadHtmlEntityTable();
    QString encoded;
    encoded.reserve(text.size());
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        const auto entry = table.constFind(unit);
        const bool listed = entry != table.constEnd();
        if (!listed && !convertAll && unit < 128)
            encoded += character;
        else if (!listed || numericalOnly)
            encoded += QStringLiteral("&#%1;").arg(uint(unit));
        else
            encoded += *entry;
    }
    return encoded;
}

} // namespace clipmule
