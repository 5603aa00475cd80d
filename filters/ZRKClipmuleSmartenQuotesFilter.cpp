// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleSmartenQuotesFilter.h"

#include "filters/ZRKClipmuleNSStringCategory.h"

namespace clipmule {

QString ZRKClipmuleSmartenQuotesFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Smarten Quotes"));
}

QString ZRKClipmuleSmartenQuotesFilter::className() const {
    return QStringLiteral("ZRKClipmuleSmartenQuotesFilter");
}

std::optional<QString>
ZRKClipmuleSmartenQuotesFilter::filterString(const std::optional<QString> &text) const {
    if (!text)
        return std::nullopt;
    QString smart = *text;
    bool afterSpace = true;
    for (QChar &character : smart) {
        const QChar read = character;
        if (read == u'"')
            character = afterSpace ? u'\u201C' : u'\u201D';
        else if (read == u'\'')
            character = afterSpace ? u'\u2018' : u'\u2019';
        afterSpace = ZRKClipmuleNSStringCategory::isWhitespaceOrNewline(read);
    }
    return smart;
}

} // namespace clipmule
