// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Converts to lower case: the words are not capitalised, whatever the title says. Clips that were
/// filtered this way look so, and go on to.
class ZRKClipmuleTitlecaseFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;
};

} // namespace clipmule
