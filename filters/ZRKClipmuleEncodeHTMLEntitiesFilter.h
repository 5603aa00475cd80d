// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/HtmlEntityTable.h"
#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Turns special and non-ASCII characters into character references.
class ZRKClipmuleEncodeHTMLEntitiesFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;

    /// If numericalOnly, every reference is a number; if convertAll, every character becomes a
    /// reference.
    [[nodiscard]] static QString filterString(const QString &text, bool numericalOnly,
                                              bool convertAll);
    /// The same with a table that was read before.
    [[nodiscard]] static QString filterString(const QString &text, bool numericalOnly,
                                              bool convertAll, const HtmlEntityTable &table);
};

} // namespace clipmule
