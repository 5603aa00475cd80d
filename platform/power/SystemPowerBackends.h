// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/power/SystemPower.h"

#include <memory>

namespace clipmule {

/// The login manager (logind) of the system bus. While registered it holds a delay lock on sleep
/// and shutdown; acknowledging a message lets the lock go, and it is taken again after waking.
/// Sleep is never refused, only put off until the acknowledgement or the manager's own limit of a
/// few seconds.
///
/// Without a system bus or a login manager it stays silent and is ready for when they come.
[[nodiscard]] std::unique_ptr<SystemPower> makeLogindPower();

/// Never says anything.
[[nodiscard]] std::unique_ptr<SystemPower> makeNullPower();

} // namespace clipmule
