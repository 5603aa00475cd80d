// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Discovery.h"

namespace clipmule::dnssd {

/// What a client of Discovery holds, seen from below: it has one task, and hands it to the
/// responder in use, again after a loss, and again to the next one.
class DiscoveryObject {
public:
    explicit DiscoveryObject(Discovery &discovery);
    virtual ~DiscoveryObject();
    DiscoveryObject(const DiscoveryObject &) = delete;
    DiscoveryObject &operator=(const DiscoveryObject &) = delete;

    // These must not call the client.

    /// Asks for what is not under way yet, if there is somebody to ask.
    virtual void ask() = 0;
    /// Forgets what the responder in use did for this: it is gone.
    virtual void forget() = 0;
    /// Another responder is in use. The one so far may still serve for a while.
    virtual void move();
    /// The responder used before serves no longer.
    virtual void endOverlap() {}

protected:
    /// The responder in use, looked for from now on; null unless it answers.
    [[nodiscard]] Responder *responder();
    /// Asks again in a while, after a refusal: the responder may have reached its limit of objects.
    void askLater();
    void stopWaiting() { _retry.cancel(); }

private:
    static constexpr RunLoop::Seconds refusalRetryInterval{10.0};

    Discovery &_discovery;
    RunLoop::Timer _retry;
};

// Make the four kinds of objects, whose classes nobody else needs to know.
[[nodiscard]] std::unique_ptr<Publisher> makeDiscoveryPublisher(Discovery &discovery);
[[nodiscard]] std::unique_ptr<Browser> makeDiscoveryBrowser(Discovery &discovery);
[[nodiscard]] std::unique_ptr<Resolver> makeDiscoveryResolver(Discovery &discovery);
[[nodiscard]] std::unique_ptr<TxtWatch> makeDiscoveryTxtWatch(Discovery &discovery);

} // namespace clipmule::dnssd
