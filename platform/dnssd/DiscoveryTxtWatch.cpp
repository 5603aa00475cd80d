// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryObject.h"
#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Log.h"
#include "platform/dnssd/ServiceRules.h"

namespace clipmule::dnssd {

namespace {

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

std::unique_ptr<TxtWatch> makeDiscoveryTxtWatch(Discovery &discovery) {
    return std::make_unique<DiscoveryTxtWatch>(discovery);
}

} // namespace clipmule::dnssd
