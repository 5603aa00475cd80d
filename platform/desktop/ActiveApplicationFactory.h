// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/desktop/ActiveApplication.h"

#include <memory>

namespace clipmule {

class X11Connection;

/// The active application of the display behind a connection (platform/x11/X11Display.h); one that
/// never knows where there is none. The table says which programs are file and photo managers
/// and in which windows other keys paste (ApplicationTable.h); without it, desktop files alone
/// tell. What the user's own table says goes before it; there may be none. Never null.
[[nodiscard]] std::unique_ptr<ActiveApplication>
makeActiveApplication(const std::shared_ptr<X11Connection> &connection, const QString &tablePath,
                      const QString &userTablePath = {});

} // namespace clipmule
