// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Replaces every occurrence of a text by another, without regard to letter case.
class ZRKClipmuleFindReplaceFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleFindReplaceFilter();

    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;
};

} // namespace clipmule
