// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLoggingCategory>

namespace clipmule {

// One category a folder. The upper-case lines are the system's own and stand letter for letter.
Q_DECLARE_LOGGING_CATEGORY(logFoundation)

/// Sends log lines to the journal when stderr is the journal's, else to stderr, one line each:
/// "category: text". Every program of this project calls it first.
void installLogFormat();

/// A text for a log line: at most 64 UTF-16 units, the rest shown as an ellipsis and its length,
/// line breaks and control characters escaped.
[[nodiscard]] QString cutForLog(QStringView text);

} // namespace clipmule
