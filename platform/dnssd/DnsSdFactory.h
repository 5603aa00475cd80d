// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

/// The responders by name. Making one reaches nothing; the first start() of something it made does.
namespace clipmule::dnssd {

/// What programs use: avahi-daemon, and a responder of our own while there is none.
[[nodiscard]] std::unique_ptr<Backend> makeAutoBackend();
/// avahi-daemon only, over D-Bus; an empty address stands for the system bus.
[[nodiscard]] std::unique_ptr<WatchedBackend> makeAvahiBusBackend(const QString &busAddress = {});
/// The responder in this process only.
[[nodiscard]] std::unique_ptr<Backend> makeAvahiCoreBackend();

} // namespace clipmule::dnssd
