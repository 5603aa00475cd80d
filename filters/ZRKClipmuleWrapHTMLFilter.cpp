// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleWrapHTMLFilter.h"

#include "filters/ZRKClipmuleNSStringCategory.h"

namespace clipmule {

namespace {

QStringView trimmedBlanks(QStringView text) {
    while (!text.isEmpty() && ZRKClipmuleNSStringCategory::isWhitespace(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && ZRKClipmuleNSStringCategory::isWhitespace(text.back()))
        text.chop(1);
    return text;
}

} // namespace

ZRKClipmuleWrapHTMLFilter::ZRKClipmuleWrapHTMLFilter() {
    addTextOption(std::nullopt, QT_TRANSLATE_NOOP("Clipmule", "Enter a Tag"));
}

QString ZRKClipmuleWrapHTMLFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Wrap in HTML Tags"));
}

QString ZRKClipmuleWrapHTMLFilter::className() const {
    return QStringLiteral("ZRKClipmuleWrapHTMLFilter");
}

std::optional<QString>
ZRKClipmuleWrapHTMLFilter::filterString(const std::optional<QString> &text) const {
    const QString value = options().last()->text();
    const QStringView tag = trimmedBlanks(value);
    if (!text || tag.isEmpty())
        return text;
    // Attributes belong to the opening tag only.
    const QString opening = u'<' + tag.toString() + u'>';
    const QString closing =
        QStringLiteral("</") +
        tag.first(tag.indexOf(u' ') < 0 ? tag.size() : tag.indexOf(u' ')).toString() + u'>';
    const QStringView source = *text;
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
