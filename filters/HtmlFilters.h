// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/HtmlEntityTable.h"
#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Turns named and numeric character references into characters.
class ZRKClipmuleDecodeHTMLEntitiesFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;

    [[nodiscard]] static QString filterString(const QString &text);
    /// The same with a table that was read before.
    [[nodiscard]] static QString filterString(const QString &text, const HtmlEntityTable &table);
};

} // namespace clipmule
