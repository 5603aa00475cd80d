// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"

namespace clipmule::dnssd {

class AvahiBus;

/// Discovery by avahi-daemon, spoken to over the system bus. What arrives from the network is
/// parsed in the daemon, which runs confined; its cache answers a late browser at once.
class AvahiBusBackend final : public WatchedBackend {
public:
    /// An empty address stands for the system bus.
    explicit AvahiBusBackend(const QString &busAddress = {});
    ~AvahiBusBackend() override;

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;
    void watch() override;
    [[nodiscard]] Availability availability() const override;

private:
    std::unique_ptr<AvahiBus> _bus;
};

} // namespace clipmule::dnssd
