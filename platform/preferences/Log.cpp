// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logPreferences, "clipmule.preferences")

} // namespace clipmule
