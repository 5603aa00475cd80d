// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logNet, "clipmule.net", QtInfoMsg)

} // namespace clipmule
