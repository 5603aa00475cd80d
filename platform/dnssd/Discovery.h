// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

#include <vector>

namespace clipmule::dnssd {

class AutoObject;

/// The switch between a responder that may come and go, which is preferred, and one that is made
/// when the first is not there. Its clients notice nothing of a switch: found services stay found
/// unless they are really gone, announcements go on, a resolve that is running is asked again.
class AutoBackend final : public Backend {
public:
    using MakeBackend = std::function<std::unique_ptr<Backend>()>;

    /// A responder that ran before gets this long to come back: a restart takes about a second.
    static constexpr RunLoop::Seconds patienceWithLoss{3.0};
    /// Both announce for this long, so that the network sees no gap: the new one needs a second.
    static constexpr RunLoop::Seconds announcementOverlap{4.0};
    /// After the announcements of the fallback have ended and their goodbyes are sent.
    static constexpr RunLoop::Seconds fallbackRelease{6.0};
    /// Services not seen again so long after the first answers of another responder are gone.
    static constexpr RunLoop::Seconds patienceAfterFirstAnswers{5.0};
    /// The same when the end of the first answers is not reported.
    static constexpr RunLoop::Seconds patienceWithoutFirstAnswers{9.0};

    AutoBackend(std::unique_ptr<WatchedBackend> preferred, MakeBackend makeFallback);
    ~AutoBackend() override;

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;

private:
    friend class AutoObject;

    void begin();
    [[nodiscard]] Backend &active() const;
    void availabilityChanged(Availability availability);
    void useFallback();
    void usePreferred();
    void descriptionChanged();

    std::unique_ptr<WatchedBackend> _preferred;
    const MakeBackend _makeFallback;
    std::unique_ptr<Backend> _fallback;
    std::vector<AutoObject *> _objects;
    bool _begun = false;
    bool _onFallback = false;
    bool _hasAnswered = false; // the preferred one, ever
    RunLoop::Timer _loss;
    RunLoop::Timer _release;
};

} // namespace clipmule::dnssd
