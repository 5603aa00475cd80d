// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/NetworkFacts.h"

namespace clipmule {

/// Why no phone is found, as far as it can be told, and what to try.
struct NetworkAdvice {
    enum class Kind {
        NoInterface,    ///< this computer is in no network
        MulticastFails, ///< its questions do not get out
        NoAnswer,       ///< nobody hears them, or answers are held back
        NoAvahi,        ///< the daemon is missing; phones are looked for without it
        NothingWrong,   ///< the phone is to be looked at
    };
    Kind kind = Kind::NothingWrong;
    /// The reason and the remedy in the user's language, one sentence each.
    QString reason;
    QString whatToTry;
};

/// Advice on the first thing that keeps phones from being found.
[[nodiscard]] NetworkAdvice adviceFor(const dnssd::NetworkFacts &facts);

} // namespace clipmule
