// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logSupport, "clipmule.support")

} // namespace clipmule
