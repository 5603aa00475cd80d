// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleQuoteLinesFilter.h"

#include "filters/ZRKClipmuleNSStringCategory.h"

namespace clipmule {

namespace {

const QString startOption = QStringLiteral("start");
const QString endOption = QStringLiteral("end");

} // namespace

ZRKClipmuleQuoteLinesFilter::ZRKClipmuleQuoteLinesFilter() {
    addTextOption(startOption, QT_TRANSLATE_NOOP("Clipmule", "Start Quote"));
    addTextOption(endOption, QT_TRANSLATE_NOOP("Clipmule", "End Quote"));
}

QString ZRKClipmuleQuoteLinesFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Quote Lines"));
}

QString ZRKClipmuleQuoteLinesFilter::className() const {
    return QStringLiteral("ZRKClipmuleQuoteLinesFilter");
}

std::optional<QString>
ZRKClipmuleQuoteLinesFilter::filterString(const std::optional<QString> &text) const {
    if (!text)
        return std::nullopt;
    const QString start = textOfOption(startOption);
    const QString end = textOfOption(endOption);
    QStringList endings;
    const QStringList lines =
        ZRKClipmuleNSStringCategory::splitIntoLinesWithLineEndings(*text, &endings);
    QString quoted;
    quoted.reserve(text->size() + lines.size() * (start.size() + end.size()));
    for (qsizetype index = 0; index < lines.size(); ++index)
        quoted += start + lines[index] + end + endings[index];
    return quoted;
}

} // namespace clipmule
