// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/DiscoveryAnswers.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/Log.h"

namespace clipmule::dnssd {

// What a client of Discovery holds: each has one task, and knows how to take it up again.

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

class DiscoveryPublisher final : public Publisher, public DiscoveryObject {
public:
    using DiscoveryObject::DiscoveryObject;

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        stop();
        const QString refusal = reasonToRefuse(service, txtRecord);
        if (!refusal.isEmpty())
            return report(refusal);
        _service = service;
        _port = port;
        _txtRecord = txtRecord;
        _running = true;
        ask();
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_running)
            return;
        const QString refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty())
            return report(refusal);
        _txtRecord = txtRecord;
        if (_group)
            _group->setTxtRecord(txtRecord);
        if (_former)
            _former->setTxtRecord(txtRecord);
    }

    void stop() override {
        _running = false;
        _events.clear();
        forget();
        _former.reset();
        _reported.reset();
        _hasComplained = false;
    }

    void ask() override {
        Responder *const responder = _running ? this->responder() : nullptr;
        if (!responder)
            return;
        if (responder->availability() != Availability::Running)
            return forget(); // it looks for another host name, and the records name the host
        if (!_group)
            announce(*responder);
    }

    void forget() override {
        stopWaiting();
        _group.reset();
        _attempt = 1;
    }

    void move() override {
        if (_group) {
            _former = std::move(_group);
            _former->onEstablished = {};
            _former->onCollision = {};
            _former->onFailed = {};
            _formerAttempt = _attempt;
        }
        DiscoveryObject::move();
    }

    void endOverlap() override {
        // The two responders are one host and share a name. If they disagreed about the host's
        // name, the new one has given way to the other. It need not any more.
        const bool gaveWay = _former && _attempt > _formerAttempt;
        _former.reset();
        if (gaveWay)
            DiscoveryObject::move();
    }

private:
    void report(const QString &reason) {
        _events.post([this, reason] { callCopyOf(onError, reason); });
    }

    [[nodiscard]] QString name() const { return nameForAttempt(_service.name, _attempt); }

    void announce(Responder &responder) {
        _group = responder.publish({name(), _service.type, _service.domain}, _port, _txtRecord);
        _group->onEstablished = [this] { established(); };
        _group->onCollision = [this] { changeName(); };
        _group->onFailed = [this](const QString &reason) { refused(reason); };
    }

    void established() {
        const QString name = this->name();
        _hasComplained = false;
        if (std::exchange(_reported, name) != name)
            callCopyOf(onPublished, name);
    }

    void changeName() {
        _group.reset();
        if (_attempt == maximumNameAttempts)
            return report(QStringLiteral("every name is taken"));
        ++_attempt;
        ask();
    }

    /// Logs the refusal once and tries again until it succeeds: the responder may have had too much
    /// to do.
    void refused(const QString &reason) {
        if (!std::exchange(_hasComplained, true))
            report(reason);
        forget();
        askLater();
    }

    ServiceName _service;
    quint16 _port = 0;
    QByteArray _txtRecord;
    bool _running = false;
    bool _hasComplained = false;
    int _attempt = 1;
    std::unique_ptr<Responder::EntryGroup> _group;
    std::unique_ptr<Responder::EntryGroup> _former;
    int _formerAttempt = 1;
    std::optional<QString> _reported;
    EventQueue _events;
};

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

class DiscoveryTxtWatch final : public TxtWatch, public DiscoveryObject {
public:
    using DiscoveryObject::DiscoveryObject;

    void start(const ServiceName &service) override {
        stop();
        const QString refusal = reasonToRefuse(service);
        if (!refusal.isEmpty())
            return complain(refusal);
        _service = service;
        _running = true;
        ask();
    }

    void stop() override {
        _running = false;
        forget();
        _last.reset();
    }

    void ask() override {
        Responder *const responder = _running && !_watch ? this->responder() : nullptr;
        if (!responder)
            return;
        _watch = responder->watchTxtRecord(_service);
        _watch->onRecord = [this](const QByteArray &txtRecord) {
            if (std::exchange(_last, txtRecord) != txtRecord)
                callCopyOf(onTxtRecord, txtRecord);
        };
        _watch->onFailed = [this](const QString &reason) {
            complain(reason);
            forget();
            askLater();
        };
    }

    void forget() override {
        stopWaiting();
        _watch.reset();
    }

private:
    static void complain(const QString &reason) {
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("cannot watch a TXT record: %1").arg(reason);
    }

    ServiceName _service;
    bool _running = false;
    std::unique_ptr<Responder::RecordWatch> _watch;
    std::optional<QByteArray> _last;
};

} // namespace

std::unique_ptr<Browser> Discovery::makeBrowser() {
    return std::make_unique<DiscoveryBrowser>(*this);
}

std::unique_ptr<Publisher> Discovery::makePublisher() {
    return std::make_unique<DiscoveryPublisher>(*this);
}

std::unique_ptr<Resolver> Discovery::makeResolver() {
    return std::make_unique<DiscoveryResolver>(*this);
}

std::unique_ptr<TxtWatch> Discovery::makeTxtWatch() {
    return std::make_unique<DiscoveryTxtWatch>(*this);
}

} // namespace clipmule::dnssd
