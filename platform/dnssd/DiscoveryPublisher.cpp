// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryObject.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/ServiceRules.h"

namespace clipmule::dnssd {

namespace {

class DiscoveryPublisher final : public Publisher, public DiscoveryObject {
public:
    using DiscoveryObject::DiscoveryObject;

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        stop();
        QString refusal = reasonToRefuse(service);
        if (refusal.isEmpty())
            refusal = reasonToRefuseTxtRecord(txtRecord);
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

} // namespace

std::unique_ptr<Publisher> makeDiscoveryPublisher(Discovery &discovery) {
    return std::make_unique<DiscoveryPublisher>(discovery);
}

} // namespace clipmule::dnssd
