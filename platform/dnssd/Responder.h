// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

namespace clipmule::dnssd {

/// Whether a responder outside this process serves.
enum class Availability {
    Unknown,  ///< not asked yet, or not answered yet
    Absent,   ///< not there, or it does not answer
    Starting, ///< there and answering, but not yet publishing: it is making sure of its host name
    Running,
};

/// A backend whose responder may come and go, as the switch between two backends needs to see it.
///
/// What it made survives the loss: publishers publish again, browsers report onLost and then find
/// everything anew, resolvers and TXT watches ask again.
class WatchedBackend : public Backend {
public:
    /// Begins to look for the responder; the first start() of anything made does so too. The
    /// answer comes from the run loop.
    virtual void watch() = 0;
    [[nodiscard]] virtual Availability availability() const = 0;
    /// Each change, from the run loop; for a loss, after the browsers' onLost.
    std::function<void(Availability)> onAvailability;
};

} // namespace clipmule::dnssd
