// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilter.h"

namespace clipmule {

/// A filter that rewrites an item's text. What else the item holds is not carried over.
class ZRKClipmuleTextFilter : public ZRKClipmuleFilter {
public:
    /// Valid for an item with text and without an image.
    [[nodiscard]] bool validForClipmuleDataItem(ZRKClipmuleDataItem &item) const override;
    /// Returns a new item. When the transformation raises a PlatformException, which is logged, the
    /// new item is a copy of the argument.
    [[nodiscard]] std::shared_ptr<ZRKClipmuleDataItem>
    filterClipmuleDataItem(const std::shared_ptr<ZRKClipmuleDataItem> &item) const override;

    [[nodiscard]] QString className() const override;

    /// The transformation; a missing text stays missing. The base class changes nothing.
    [[nodiscard]] virtual std::optional<QString>
    filterString(const std::optional<QString> &text) const;
};

} // namespace clipmule
