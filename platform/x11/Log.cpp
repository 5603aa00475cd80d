// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/x11/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logX11, "clipmule.x11")

} // namespace clipmule
