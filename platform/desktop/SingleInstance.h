// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace clipmule {

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

    SingleInstance() = default;
    virtual ~SingleInstance() = default;
    SingleInstance(const SingleInstance &) = delete;
    SingleInstance &operator=(const SingleInstance &) = delete;

    /// Asks for the name; the answer comes once, from the run loop.
    virtual void claim(const QString &name, std::function<void(Outcome)> answer) = 0;
};

[[nodiscard]] std::unique_ptr<SingleInstance> makeSingleInstance();

} // namespace clipmule
