// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "filters/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logFilters, "clipmule.filters")

} // namespace clipmule
