// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

namespace clipmule::dnssd {

/// For all endpoints of a service together: a host that left without a word would otherwise keep
/// a connection attempt for the system's limit of about two minutes.
inline constexpr RunLoop::Seconds connectTimeout{10.0};

/// Streams that connect when they are opened: what every real responder does with an answer.
[[nodiscard]] StreamPair connectToEndpoints(const Resolved &resolved);

} // namespace clipmule::dnssd
