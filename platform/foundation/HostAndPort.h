// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

namespace clipmule {

/// Where a person says that a phone is reached: a host name, an IPv4 address or an IPv6 address,
/// the last with or without the scope that a link-local one needs.
struct HostAndPort {
    /// The host without brackets; an IPv6 address with a scope is like "fe80::1%eth0".
    QString host;
    quint16 port = 0;

    /// The text as a person writes it: "HOST:PORT", "[IPV6]:PORT".
    [[nodiscard]] QString text() const;
    friend bool operator==(const HostAndPort &, const HostAndPort &) = default;
};

/// A host name of the DNS has 253 characters, a scope 15 and what surrounds them 9.
inline constexpr qsizetype longestHostAndPort = 277;
/// A scope is the name of a network interface.
inline constexpr qsizetype longestScope = 15;

/// Reads "HOST:PORT" or "[IPV6]:PORT"; spaces around it do not count. The port is a number from 1
/// to 65535. Nothing is looked up. A failure is one sentence in the user's language without its
/// full stop.
[[nodiscard]] Result<HostAndPort> parseHostAndPort(const QString &text);

} // namespace clipmule
