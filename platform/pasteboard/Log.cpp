// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logPasteboard, "clipmule.pasteboard")

} // namespace clipmule
