// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

namespace clipmule::dnssd {

class AvahiCore;

/// Discovery by Avahi's core library in this process, for machines on which avahi-daemon does not
/// run. It works beside a daemon too. What arrives from the network is parsed here, so it is only
/// the second choice.
class AvahiCoreBackend final : public Backend {
public:
    AvahiCoreBackend();
    ~AvahiCoreBackend() override;

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;

private:
    std::unique_ptr<AvahiCore> _core;
};

} // namespace clipmule::dnssd
