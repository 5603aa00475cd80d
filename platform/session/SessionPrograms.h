// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>

#include <memory>

namespace clipmule {

/// The preferences program's name on the session bus.
inline QString preferencesProgram() {
    return QStringLiteral("com.zendrik.ClipmuleSync.Preferences");
}

/// The programs that run in this session, by the identifier (desktop-file id) under which each can
/// be spoken to.
class SessionPrograms {
public:
    SessionPrograms() = default;
    virtual ~SessionPrograms() = default;
    SessionPrograms(const SessionPrograms &) = delete;
    SessionPrograms &operator=(const SessionPrograms &) = delete;

    [[nodiscard]] virtual QStringList launchedApplications() const = 0;
    /// Starts a program, or brings the running one to the front. Where the bus knows no such
    /// program, the executable (a path, or empty) is started. Errors are not reported.
    virtual void activate(const QString &identifier, const QString &executable) = 0;
    /// Asks a program to quit. Whether it does is neither waited for nor reported.
    virtual void quit(const QString &identifier) = 0;
};

/// Over the session bus: programs are the owners of well-known names and are asked through
/// org.freedesktop.Application, to quit by its action "quit". Without a bus there are none.
[[nodiscard]] std::unique_ptr<SessionPrograms> makeSessionPrograms();

} // namespace clipmule
