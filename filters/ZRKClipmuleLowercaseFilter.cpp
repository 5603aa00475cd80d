// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleLowercaseFilter.h"

#include "filters/CaseMapping.h"

namespace clipmule {

QString ZRKClipmuleLowercaseFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Convert to Lowercase"));
}

QString ZRKClipmuleLowercaseFilter::className() const {
    return QStringLiteral("ZRKClipmuleLowercaseFilter");
}

std::optional<QString>
ZRKClipmuleLowercaseFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(CaseMapping::lowerCase(*text)) : std::nullopt;
}

} // namespace clipmule
