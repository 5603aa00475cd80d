// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

#include <vector>

namespace clipmule::dnssd {

class DiscoveryObject;

/// Discovery by a responder that may come and go, and by another one that is made when the first is
/// not there. Its clients notice nothing of a loss or a switch: found services stay found unless
/// they are really gone, announcements go on, a resolve that is running is asked again.
class Discovery final : public Backend {
public:
    using MakeResponder = std::function<std::unique_ptr<Responder>()>;

    /// A responder that ran before gets this long to come back: a restart takes about a second.
    static constexpr RunLoop::Seconds patienceWithLoss{3.0};
    /// Both announce for this long, so that the network sees no gap: the new one needs a second.
    static constexpr RunLoop::Seconds announcementOverlap{4.0};
    /// How long the fallback is kept after a switch: by then its announcements have ended and their
    /// goodbyes are sent.
    static constexpr RunLoop::Seconds fallbackRelease{6.0};
    /// Services not seen again so long after the first answers of a responder that came, or came
    /// back, are gone.
    static constexpr RunLoop::Seconds patienceAfterFirstAnswers{5.0};
    /// The same when the end of the first answers is not reported.
    static constexpr RunLoop::Seconds patienceWithoutFirstAnswers{9.0};
    /// The time for connecting to all endpoints of a service together: a host that left without a
    /// word would otherwise keep a connection attempt for the system's limit of about two minutes.
    static constexpr RunLoop::Seconds connectTimeout{10.0};

    /// Without a fallback it can only wait for the preferred responder.
    explicit Discovery(std::unique_ptr<Responder> preferred, MakeResponder makeFallback = {});
    ~Discovery() override;

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;

private:
    friend class DiscoveryObject;

    [[nodiscard]] Responder &active() const;
    Responder &begin();
    void changed(const Responder &responder);
    void choose();
    void useFallback();
    void usePreferred();
    void endOverlap();

    std::unique_ptr<Responder> _preferred;
    const MakeResponder _makeFallback;
    std::unique_ptr<Responder> _fallback;
    std::vector<DiscoveryObject *> _objects;
    bool _begun = false;
    bool _onFallback = false;
    bool _hasAnswered = false; // the preferred one, ever
    RunLoop::Timer _loss;
    RunLoop::Timer _overlap;
    RunLoop::Timer _release;
};

/// What a client of Discovery holds, seen from below: it has one task, and hands it to the
/// responder in use, again after a loss, and again to the next one.
class DiscoveryObject {
public:
    explicit DiscoveryObject(Discovery &discovery);
    virtual ~DiscoveryObject();
    Q_DISABLE_COPY_MOVE(DiscoveryObject)

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

} // namespace clipmule::dnssd
