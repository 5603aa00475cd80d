// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilter.h"

namespace clipmule {

/// Filters and their options as somebody types them.
namespace FilterByName {

/// The filter of that title, in any case, or of that class name; null when there is none.
[[nodiscard]] std::shared_ptr<ZRKClipmuleFilter> find(const ZRKClipmuleFilter::List &filters,
                                                      const QString &name);

/// Sets an option from "name=value"; the name of an option without one is empty. Returns an error
/// text, or nothing; after an error no option has changed.
[[nodiscard]] QString set(ZRKClipmuleFilter &filter, const QString &setting);

} // namespace FilterByName

} // namespace clipmule
