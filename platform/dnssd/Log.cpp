// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Log.h"

namespace clipmule {

Q_LOGGING_CATEGORY(logDnsSd, "clipmule.dnssd")

} // namespace clipmule
