// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/ZRKClipmuleUppercaseFilter.h"

#include "filters/CaseMapping.h"

namespace clipmule {

QString ZRKClipmuleUppercaseFilter::title() const {
    return localised(QT_TRANSLATE_NOOP("Clipmule", "Convert to Uppercase"));
}

QString ZRKClipmuleUppercaseFilter::className() const {
    return QStringLiteral("ZRKClipmuleUppercaseFilter");
}

std::optional<QString>
ZRKClipmuleUppercaseFilter::filterString(const std::optional<QString> &text) const {
    return text ? std::optional(CaseMapping::upperCase(*text)) : std::nullopt;
}

} // namespace clipmule
