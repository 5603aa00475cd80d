// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

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
    SingleInstance(const SingleInstance &) = delete;
    SingleInstance &operator=(const SingleInstance &) = delete;

    /// Asks for the name; the answer comes once, from the run loop. Where the name was taken from
    /// another instance, not before that one has left the bus: the two never work side by side.
    virtual void claim(const QString &name, std::function<void(Outcome)> answer,
                       Standing standing = Standing::Whole) = 0;
    /// A whole instance has taken the name, and waits for this one to end.
    std::function<void()> onReplaced;
};

[[nodiscard]] std::unique_ptr<SingleInstance> makeSingleInstance();

} // namespace clipmule
