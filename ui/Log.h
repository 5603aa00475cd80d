// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QLoggingCategory>

namespace clipmule {

Q_DECLARE_LOGGING_CATEGORY(logUi)

} // namespace clipmule
