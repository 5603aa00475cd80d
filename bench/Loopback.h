// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QByteArray>

namespace clipmule::bench {

/// A TCP connection over the loopback interface: the near end as the program connects, the far end
/// as it accepts, with the options it sets. Both block. Ends the program when it cannot be made.
struct LoopbackConnection {
    FileHandle near;
    FileHandle far;
};
[[nodiscard]] LoopbackConnection connectOverLoopback();

/// All of it, waiting for room. False when the connection has ended.
[[nodiscard]] bool sendAll(int descriptor, const char *bytes, qsizetype count);
/// All of it, waiting for the rest. False when the connection has ended.
[[nodiscard]] bool receiveAll(int descriptor, char *bytes, qsizetype count);

} // namespace clipmule::bench
