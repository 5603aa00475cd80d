// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QStringList>

#include <functional>
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
    Q_DISABLE_COPY_MOVE(SessionPrograms)

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

/// How the desktop and other programs reach a program that has a window:
/// org.freedesktop.Application on the session bus.
class ApplicationInterface {
public:
    ApplicationInterface() = default;
    virtual ~ApplicationInterface() = default;
    Q_DISABLE_COPY_MOVE(ApplicationInterface)

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

/// Holds a well-known name on the session bus, so that one session runs one instance of a program.
class SingleInstance {
public:
    enum class Outcome {
        /// The name is ours until this object is destroyed.
        First,
        /// Another instance holds it.
        AlreadyRunning,
        /// There is no bus to ask; nothing is known about others.
        Unknown,
    };
    /// What this instance can do.
    enum class Standing {
        /// Everything: it takes the name from a makeshift one, which then leaves.
        Whole,
        /// Less than it should, as without a display: a whole one may have the name.
        Makeshift,
    };
    /// How long a makeshift instance that was told to leave may take; one that takes longer hangs.
    static constexpr RunLoop::Seconds patienceWithPredecessor{5};

    SingleInstance() = default;
    virtual ~SingleInstance() = default;
    Q_DISABLE_COPY_MOVE(SingleInstance)

    /// Asks for the name; the answer comes once, from the run loop. Where the name was taken from
    /// another instance, not before that one has left the bus: the two never work side by side.
    virtual void claim(const QString &name, std::function<void(Outcome)> answer,
                       Standing standing = Standing::Whole) = 0;
    /// A whole instance has taken the name, and waits for this one to end.
    std::function<void()> onReplaced;
};

[[nodiscard]] std::unique_ptr<SingleInstance> makeSingleInstance();

} // namespace clipmule
