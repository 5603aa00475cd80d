// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilter.h"
#include "platform/foundation/Result.h"

namespace clipmule {

/// A new filter of the class of that name, the two base classes included; null when there is no
/// such class.
[[nodiscard]] std::shared_ptr<ZRKClipmuleFilter> makeFilterOfClass(const QString &className);

/// Filters and their options as somebody types them.
namespace FilterByName {

/// The filter of that title, in any case, or of that class name; null when there is none.
[[nodiscard]] std::shared_ptr<ZRKClipmuleFilter> find(const ZRKClipmuleFilter::List &filters,
                                                      const QString &name);

/// Sets an option from "name=value"; the name of an option without one is empty. After a failure no
/// option has changed.
[[nodiscard]] Result<void> set(ZRKClipmuleFilter &filter, const QString &setting);

} // namespace FilterByName

} // namespace clipmule
