// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Wraps every line that is not empty in an HTML element.
class ZRKClipmuleWrapHTMLFilter final : public ZRKClipmuleTextFilter {
public:
    ZRKClipmuleWrapHTMLFilter();

    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;
};

} // namespace clipmule
