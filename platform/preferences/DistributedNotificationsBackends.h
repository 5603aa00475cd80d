// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/preferences/DistributedNotifications.h"

namespace clipmule {

/// The user info of a notification, as bytes; what is larger is neither posted nor taken. Holds
/// every value that FilePreferencesDatabase takes, and the names around it.
inline constexpr qsizetype largestUserInfo = 8 * 1024 * 1024 + 64 * 1024;

/// Over the session bus: one signal a notification, which carries its name, its object and the
/// user info as one binary property list. Whoever is on the session bus is this user.
///
/// Without a bus notifications stay in this process, which is said once in the log where somebody
/// observes any; a bus that comes later is used. Connects at the first use. Names are printable
/// ASCII without spaces and quotes, at most 255 characters.
[[nodiscard]] std::unique_ptr<DistributedNotifications> makeDBusDistributedNotifications();

} // namespace clipmule
