// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace clipmule {

/// What the platform knows of this host.
namespace ZRKNSHostCategory {

/// The hardware address of this computer's main network interface: six lower-case hexadecimal
/// bytes with colons between them. Empty when there is no such interface. The answer is kept for
/// the life of the process; nothing, and nothing kept, when the interfaces cannot be listed.
[[nodiscard]] std::optional<QString> currentHostMAC();

/// One entry of the system's list of interfaces, at the link level.
struct LinkInterface {
    QString name;
    /// Speaks Ethernet frames, which wireless interfaces do too.
    bool isEthernet = false;
    bool isLoopback = false;
    QByteArray hardwareAddress;
};

/// The address that currentHostMAC() answers. Names differ from machine to machine, so the main
/// interface is the first in the system's order that is wired by its name ("en…", "eth…"), else
/// the first wireless one ("wl…"), else the first other one that speaks Ethernet: bridges and
/// virtual interfaces come and go, and their addresses with them.
[[nodiscard]] QString addressOfMainInterface(const QList<LinkInterface> &interfaces);

} // namespace ZRKNSHostCategory

/// Runs the current run loop from inside a piece of work. Whatever is due may happen meanwhile,
/// the destruction of the caller's objects included.
namespace ZRKNSRunLoopCategory {

/// One pass over what is due, without waiting.
void ping();

/// Runs until the given time from now has passed; not at all when it is not above zero.
void wait(RunLoop::Seconds duration);

} // namespace ZRKNSRunLoopCategory

} // namespace clipmule
