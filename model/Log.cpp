// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logModel, "clipmule.model")

} // namespace clipmule
