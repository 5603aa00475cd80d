// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <memory>

namespace clipmule {

/// Messages that the desktop shows in its own way.
class DesktopNotifications {
public:
    DesktopNotifications() = default;
    virtual ~DesktopNotifications() = default;
    DesktopNotifications(const DesktopNotifications &) = delete;
    DesktopNotifications &operator=(const DesktopNotifications &) = delete;

    /// Shows a text for a few seconds, instead of the one before. Errors are not reported.
    virtual void notify(const QString &title, const QString &text) = 0;
};

/// Shows messages through org.freedesktop.Notifications on the session bus.
[[nodiscard]] std::unique_ptr<DesktopNotifications> makeDesktopNotifications();

} // namespace clipmule
