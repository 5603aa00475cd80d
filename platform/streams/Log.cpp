// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logStreams, "clipmule.streams", QtInfoMsg)

} // namespace clipmule
