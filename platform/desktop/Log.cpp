// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logDesktop, "clipmule.desktop")

} // namespace clipmule
