// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

namespace clipmule::dnssd {

/// The services of the network and those of this session side by side. Which of the two a service
/// belongs to is a matter of its name alone (LocalNames.h): one of the session has its prefix, and
/// what claims it on the network is not seen. What has the prefix is published, looked for and
/// connected to in the session alone, and all else on the network alone.
class LocalAndNetwork final : public Backend {
public:
    /// Names are without the prefix in the backend of the session.
    LocalAndNetwork(std::unique_ptr<Backend> local, std::unique_ptr<Backend> network);

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    /// The network's alone: what is wrong with the session's folder is in the log.
    [[nodiscard]] QString description() const override;

    /// The backend that a service belongs to.
    [[nodiscard]] Backend &sideOf(const ServiceName &service) const;

private:
    std::unique_ptr<Backend> _local;
    std::unique_ptr<Backend> _network;
};

} // namespace clipmule::dnssd
