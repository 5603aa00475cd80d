// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Puts a text before and another after every line.
class ZRKClipmuleQuoteLinesFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleQuoteLinesFilter();

    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;
};

} // namespace clipmule
