// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryObject.h"
#include "platform/dnssd/EndpointGatherer.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/ServiceRules.h"

namespace clipmule::dnssd {

namespace {

class DiscoveryResolver final : public Resolver, public DiscoveryObject {
public:
    explicit DiscoveryResolver(Discovery &discovery)
        : DiscoveryObject(discovery) {
        _gatherer.onComplete = [this](const Resolved &resolved) {
            stop();
            callCopyOf(onResolved, resolved);
        };
        _gatherer.onFailed = [this](const QString &reason) { fail(reason); };
    }

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty())
            return _events.post([this, refusal] { callCopyOf(onFailed, refusal); });
        _service = service;
        _running = true;
        // A responder's own limit is shorter, and it goes on asking after it.
        _timeout =
            RunLoop::current().performAfter(timeout, [this] { fail(QStringLiteral("timed out")); });
        ask();
    }

    void stop() override {
        _running = false;
        _events.clear();
        _timeout.cancel();
        forget();
    }

    void ask() override {
        Responder *const responder = _running && _questions.empty() ? this->responder() : nullptr;
        if (!responder)
            return;
        for (const AddressQuestion &question : addressQuestions) {
            auto asked = responder->resolve(_service, question);
            asked->onAnswer = [this, question](const QString &hostName, const Endpoint &endpoint,
                                               bool overLoopback) {
                _gatherer.add(question, hostName, endpoint, overLoopback);
            };
            asked->onFailed = [this, question](const QString &reason) {
                _gatherer.refused(question, reason);
            };
            _questions.push_back(std::move(asked));
        }
    }

    void forget() override {
        _questions.clear();
        _gatherer.clear();
    }

private:
    void fail(const QString &reason) {
        stop();
        callCopyOf(onFailed, reason);
    }

    ServiceName _service;
    bool _running = false;
    // Never kept for longer than it takes: all that ask for the same record share one question,
    // whose pauses grow to an hour, and a later one would wait for it.
    std::vector<std::unique_ptr<Responder::Question>> _questions;
    EndpointGatherer _gatherer;
    EventQueue _events;
    RunLoop::Timer _timeout;
};

} // namespace

std::unique_ptr<Resolver> makeDiscoveryResolver(Discovery &discovery) {
    return std::make_unique<DiscoveryResolver>(discovery);
}

} // namespace clipmule::dnssd
