// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryObject.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Log.h"
#include "platform/dnssd/SeenInstances.h"

namespace clipmule::dnssd {

namespace {

class DiscoveryBrowser final : public Browser, public DiscoveryObject {
public:
    using DiscoveryObject::DiscoveryObject;

    void start(const QString &type) override {
        stop();
        _type = type;
        _seen.setWanted(wantedName);
        _running = true;
        ask();
    }

    void stop() override {
        _running = false;
        forget();
        _reported.clear();
        _toldAllForNow = false;
    }

    void ask() override {
        Responder *const responder = _running && !_browse ? this->responder() : nullptr;
        if (!responder)
            return;
        _browse = responder->browse(_type);
        _browse->onSeen = [this](const QString &name, int interface, int protocol) {
            if (_seen.add(name, interface, protocol) && _reported.insert(name).second)
                callCopyOf(onFound, named(name));
        };
        _browse->onGone = [this](const QString &name, int interface, int protocol) {
            if (_seen.remove(name, interface, protocol))
                remove(name);
        };
        _browse->onAllForNow = [this] { allForNow(); };
        _browse->onFailed = [this](const QString &reason) { refused(reason); };
        if (!_reported.empty())
            settleIn(Discovery::patienceWithoutFirstAnswers);
    }

    void forget() override {
        stopWaiting();
        _browse.reset();
        _seen.clear();
        _settling.cancel();
    }

private:
    [[nodiscard]] ServiceName named(const QString &name) const {
        return {name, _type, QStringLiteral("local")};
    }

    void remove(const QString &name) {
        if (_reported.erase(name) > 0)
            callCopyOf(onRemoved, named(name));
    }

    void allForNow() {
        if (_settling.isPending())
            settleIn(Discovery::patienceAfterFirstAnswers);
        if (!std::exchange(_toldAllForNow, true))
            callCopyOf(onAllForNow);
    }

    void refused(const QString &reason) {
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("cannot look for %1: %2").arg(_type, reason);
        forget();
        askLater();
    }

    void settleIn(RunLoop::Seconds patience) {
        _settling = RunLoop::current().performAfter(patience, [this] { settle(); });
    }

    /// What was reported before a loss or a switch, and has not been seen again, is gone.
    void settle() {
        // One name at a time: the client may stop or destroy this at each.
        for (const QString &name : _reported) {
            if (!_seen.contains(name))
                _events.post([this, name] { remove(name); });
        }
    }

    QString _type;
    bool _running = false;
    std::unique_ptr<Responder::Browse> _browse;
    SeenInstances _seen;
    std::set<QString> _reported;
    EventQueue _events;
    RunLoop::Timer _settling;
    bool _toldAllForNow = false;
};

} // namespace

std::unique_ptr<Browser> makeDiscoveryBrowser(Discovery &discovery) {
    return std::make_unique<DiscoveryBrowser>(discovery);
}

} // namespace clipmule::dnssd
