// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Date.h"

#include <QString>

namespace clipmule {

/// Texts from the network as people get to see them.
namespace ShownText {

/// A name on one line, whatever it holds and however long it is: phones name themselves.
[[nodiscard]] QString onOneLine(const QString &text);

/// "today at 13:05", "yesterday at 9:00", or a date, in the user's language and zone.
[[nodiscard]] QString dateAndTime(Date date, Date now);

} // namespace ShownText

} // namespace clipmule
