// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/DistributedNotifications.h"

#include "platform/foundation/RunLoop.h"

namespace clipmule {

void DistributedNotifications::whenDelivered(std::function<void(bool delivered)> callback) {
    RunLoop::current().performSoon([callback = std::move(callback)] { callback(true); });
}

} // namespace clipmule
