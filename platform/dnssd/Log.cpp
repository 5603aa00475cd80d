// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Log.h"

namespace clipmule {

// Debug lines, which include all that the embedded library says, only on request.
Q_LOGGING_CATEGORY(logDnsSd, "clipmule.dnssd", QtInfoMsg)

} // namespace clipmule
