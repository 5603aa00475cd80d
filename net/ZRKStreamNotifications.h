// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

// Posted on the platform's default notification centre with the stream handler as the object.

/// Posted each time a pass over the received bytes finds the header of an object frame.
inline const QString ZRKStreamDidReceiveData = QStringLiteral("ZRKStreamDidReceiveData");
/// Posted after every write that carries part of an object frame.
inline const QString ZRKStreamDidSendData = QStringLiteral("ZRKStreamDidSendData");

} // namespace clipmule
