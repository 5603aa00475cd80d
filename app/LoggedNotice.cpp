// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/LoggedNotice.h"

#include "app/Log.h"

namespace clipmule {

void LoggedNotice::displayMessage(const QString &text) {
    qCInfo(logApp).noquote() << text;
}

} // namespace clipmule
