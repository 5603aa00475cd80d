// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logKeyboard, "clipmule.keyboard")

} // namespace clipmule
