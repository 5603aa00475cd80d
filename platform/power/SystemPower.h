// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <functional>
#include <memory>

namespace clipmule {

/// Power messages of the system, by their platform numbers.
enum class PowerMessage : quint32 {
    CanSystemSleep = 0xE0000270,
    SystemWillPowerOff = 0xE0000250,
    SystemWillSleep = 0xE0000280,
    SystemHasPoweredOn = 0xE0000300,
    SystemWillRestart = 0xE0000310,
};

/// Delivers the system's power messages between registering and deregistering, and holds sleep and
/// shutdown back until each message is acknowledged.
class SystemPower {
public:
    /// The message (its number: there are more than the named ones) and the token to acknowledge.
    using Callback = std::function<void(quint32 message, quint64 argument)>;

    SystemPower() = default;
    virtual ~SystemPower() = default;
    Q_DISABLE_COPY_MOVE(SystemPower)

    /// Starts delivery; true when the registration began. A system that cannot tell stays silent.
    virtual bool registerForSystemPower(Callback callback) = 0;
    virtual void deregisterForSystemPower() = 0;
    /// Lets the system go on with what the message announced.
    virtual void allowPowerChange(quint64 argument) = 0;
};

/// The login manager (logind) of the system bus. While registered it holds a delay lock on sleep
/// and shutdown; acknowledging a message lets the lock go, and it is taken again after waking.
/// Sleep is never refused, only put off until the acknowledgement or the manager's own limit of a
/// few seconds.
///
/// Without a system bus or a login manager it stays silent and is ready for when they come.
[[nodiscard]] std::unique_ptr<SystemPower> makeSystemPower();

} // namespace clipmule
