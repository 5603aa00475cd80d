// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleTitlecaseFilter.h"

#include "filters/CaseMapping.h"

namespace clipmule {

QString ZRKClipmuleTitlecaseFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Convert to Titlecase"));
}

QString ZRKClipmuleTitlecaseFilter::className() const {
    return QStringLiteral("ZRKClipmuleTitlecaseFilter");
}

std::optional<QString>
ZRKClipmuleTitlecaseFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(CaseMapping::lowerCase(*text)) : std::nullopt;
}

} // namespace clipmule
