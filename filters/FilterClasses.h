// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "filters/ZRKClipmuleFilter.h"

namespace clipmule {

/// A new filter of the class of that name; null when there is no such class.
[[nodiscard]] std::shared_ptr<ZRKClipmuleFilter> makeFilterOfClass(const QString &className);

} // namespace clipmule
