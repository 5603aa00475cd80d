// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleStraightenQuotesFilter.h"

namespace clipmule {

QString ZRKClipmuleStraightenQuotesFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Straighten Quotes"));
}

QString ZRKClipmuleStraightenQuotesFilter::className() const {
    return QStringLiteral("ZRKClipmuleStraightenQuotesFilter");
}

std::optional<QString>
ZRKClipmuleStraightenQuotesFilter::filterString(const std::optional<QString> &text) const {
    if (!text)
        return std::nullopt;
    QString straight = *text;
    // One character for another, none of which is looked for later: one pass does for four.
    for (QChar &character : straight) {
        switch (character.unicode()) {
        case u'\u2018':
        case u'\u2019':
            character = u'\'';
            break;
        case u'\u201C':
        case u'\u201D':
            character = u'"';
            break;
        default:
            break;
        }
    }
    return straight;
}

} // namespace clipmule
