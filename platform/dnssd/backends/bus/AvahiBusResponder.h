// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

namespace clipmule::dnssd {

class AvahiBus;

/// avahi-daemon on the system bus. It comes and goes with the daemon and with the bus.
class AvahiBusResponder final : public Responder {
public:
    AvahiBusResponder();
    ~AvahiBusResponder() override;

    void begin() override;
    [[nodiscard]] Availability availability() const override;
    [[nodiscard]] QString description() const override;

    [[nodiscard]] std::unique_ptr<Browse> browse(const QString &type) override;
    [[nodiscard]] std::unique_ptr<Question> resolve(const ServiceName &service,
                                                    AddressQuestion question) override;
    [[nodiscard]] std::unique_ptr<RecordWatch> watchTxtRecord(const ServiceName &service) override;
    [[nodiscard]] std::unique_ptr<EntryGroup> publish(const ServiceName &service, quint16 port,
                                                      const QByteArray &txtRecord) override;

private:
    std::unique_ptr<AvahiBus> _bus;
};

} // namespace clipmule::dnssd
