// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

namespace clipmule::kit {

/// Serves events as they come until the condition holds. False when it does not within half a
/// minute, which only a failing test waits for.
template <typename Condition>
[[nodiscard]] bool await(const Condition &condition) {
    const QDeadlineTimer limit(30000);
    QTimer wake;
    wake.start(100);
    while (!condition()) {
        if (limit.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace clipmule::kit
