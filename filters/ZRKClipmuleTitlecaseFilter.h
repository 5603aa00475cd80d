// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleTextFilter.h"

namespace clipmule {

/// Converts to lower case and capitalises nothing, whatever the title says: the result is the same
/// as that of earlier versions.
class ZRKClipmuleTitlecaseFilter final : public ZRKClipmuleTextFilter {
public:
    [[nodiscard]] QString title() const override;
    [[nodiscard]] QString className() const override;
    [[nodiscard]] std::optional<QString>
    filterString(const std::optional<QString> &text) const override;
};

} // namespace clipmule
