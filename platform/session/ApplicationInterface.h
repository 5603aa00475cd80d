// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace clipmule {

/// How the desktop and other programs reach a program that has a window:
/// org.freedesktop.Application on the session bus.
class ApplicationInterface {
public:
    ApplicationInterface() = default;
    virtual ~ApplicationInterface() = default;
    ApplicationInterface(const ApplicationInterface &) = delete;
    ApplicationInterface &operator=(const ApplicationInterface &) = delete;

    /// Answers under the identifier's path from now on. To be called before the name is claimed, so
    /// that programs which call the name get an answer. False without a session bus.
    virtual bool start(const QString &identifier) = 0;

    /// The program is to show itself. The token lets a window come to the front; empty where there
    /// is none.
    std::function<void(const QString &activationToken)> onActivate;
    /// The program is to do what the desktop entry names as an action.
    std::function<void(const QString &action)> onAction;
};

[[nodiscard]] std::unique_ptr<ApplicationInterface> makeApplicationInterface();

/// Asks a program to show itself, and starts it where the bus knows how. Calls back once, from the
/// run loop, with whether it was reached. What the desktop passed to this program as permission to
/// come to the front is passed on.
void activateApplication(const QString &identifier, std::function<void(bool reached)> answer);

} // namespace clipmule
