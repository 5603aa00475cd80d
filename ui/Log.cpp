// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logUi, "clipmule.ui")

} // namespace clipmule
