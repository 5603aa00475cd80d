// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Responder.h"
#include "platform/dnssd/backends/core/AvahiPollAdapter.h"

#include <avahi-core/core.h>

namespace clipmule::dnssd {

/// Avahi's core library in this process, kept running, for machines on which avahi-daemon does not
/// run. It works beside a daemon too. What arrives from the network is parsed here, so it is only
/// the second choice.
///
/// The library calls back from inside our calls, and must not be called back from its callbacks
/// with what frees them. So nothing here does more in such a callback than to post an event for the
/// next turn of the run loop.
class AvahiCoreResponder final : public Responder {
public:
    static constexpr RunLoop::Seconds retryInterval{5.0};
    /// Another responder of this machine that calls it by another name makes both change their
    /// names again and again, because an address has one name only. After so many changes, not
    /// further apart than the interval, we leave the host's name and addresses to the other.
    static constexpr int maximumHostNameCollisions = 3;
    static constexpr RunLoop::Seconds collisionInterval{60.0};

    AvahiCoreResponder() = default;
    ~AvahiCoreResponder() override;

    void begin() override;
    [[nodiscard]] Availability availability() const override { return _availability; }
    [[nodiscard]] QString description() const override;

    [[nodiscard]] std::unique_ptr<Browse> browse(const QString &type) override;
    [[nodiscard]] std::unique_ptr<Question> resolve(const ServiceName &service,
                                                    AddressQuestion question) override;
    [[nodiscard]] std::unique_ptr<RecordWatch> watchTxtRecord(const ServiceName &service) override;
    [[nodiscard]] std::unique_ptr<EntryGroup> publish(const ServiceName &service, quint16 port,
                                                      const QByteArray &txtRecord) override;

private:
    void makeServer();
    void endServer();
    void stateChanged(AvahiServerState state);
    void hostNameIsTaken();
    void retryLater(const QString &reason);
    void setAvailability(Availability availability);

    AvahiPollAdapter _poll;
    AvahiServer *_server = nullptr;
    bool _begun = false;
    Availability _availability = Availability::Unknown;
    bool _withHostName = true;
    int _collisions = 0;
    RunLoop::Seconds _lastCollision{0};
    QString _failure;
    EventQueue _events;
    RunLoop::Timer _retry;
};

} // namespace clipmule::dnssd
