// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>

#include <memory>

namespace clipmule {

/// The programs that run in this session, by the identifier (desktop-file id) under which each can
/// be spoken to.
class SessionPrograms {
public:
    SessionPrograms() = default;
    virtual ~SessionPrograms() = default;
    SessionPrograms(const SessionPrograms &) = delete;
    SessionPrograms &operator=(const SessionPrograms &) = delete;

    [[nodiscard]] virtual QStringList launchedApplications() const = 0;
    /// Asks a program to quit. Whether it does is neither waited for nor reported.
    virtual void quit(const QString &identifier) = 0;
};

/// Over the session bus: programs are the owners of well-known names and are asked through the
/// "quit" action of org.freedesktop.Application. Without a bus there are none.
[[nodiscard]] std::unique_ptr<SessionPrograms> makeSessionPrograms();

} // namespace clipmule
