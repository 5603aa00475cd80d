// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"

namespace clipmule::kit {

/// Serves events until everything was heard that either side had sent, or the compositor has gone.
/// False when it does not answer.
[[nodiscard]] inline bool served(WaylandConnection &connection) {
    struct Nobody final : WaylandObserver {
    } nobody;
    bool isServed = false;
    connection.whenServed(&nobody, [&] { isServed = true; });
    const bool isDone = await([&] { return isServed || connection.isLost(); });
    connection.removeObserver(&nobody);
    return isDone;
}

} // namespace clipmule::kit
