// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleFindReplaceFilter.h"

#include "filters/CaseMapping.h"

namespace clipmule {

namespace {

const QString findOption = QStringLiteral("find");
const QString replaceOption = QStringLiteral("replace");

} // namespace

ZRKClipmuleFindReplaceFilter::ZRKClipmuleFindReplaceFilter() {
    addTextOption(findOption, QT_TRANSLATE_NOOP("Clipmule", "Find"));
    addTextOption(replaceOption, QT_TRANSLATE_NOOP("Clipmule", "Replace"));
}

QString ZRKClipmuleFindReplaceFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Find and Replace"));
}

QString ZRKClipmuleFindReplaceFilter::className() const {
    return QStringLiteral("ZRKClipmuleFindReplaceFilter");
}

std::optional<QString>
ZRKClipmuleFindReplaceFilter::filterString(const std::optional<QString> &text) const {
    const QString wanted = textOfOption(findOption);
    if (!text || wanted.isEmpty())
        return text;
    return CaseMapping::replaceIgnoringCase(*text, wanted, textOfOption(replaceOption));
}

} // namespace clipmule
