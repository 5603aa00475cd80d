// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/ServiceRules.h"
#include "platform/foundation/HostAndPort.h"

#include <map>
#include <vector>

namespace clipmule::dnssd {

class FixedBrowser;

/// Finds services at addresses that a person has entered, in networks that discovery does not get
/// through; everything else is as with the backend below it, which must outlive this.
///
/// A service with a fixed address is there as long as it has one, whatever the network says, and is
/// resolved to that address only. A changed address is reported as the service's end and a new
/// beginning, so that whoever is connected connects anew.
class FixedAddresses final : public Backend {
public:
    /// Addresses of a host, or why there are none. Answers on a later turn, perhaps never.
    using LookUpAnswer =
        std::function<void(const QList<QHostAddress> &addresses, const QString &error)>;
    using LookUp = std::function<void(const QString &host, LookUpAnswer answer)>;

    /// Asks the system's resolver on a thread of Qt's.
    [[nodiscard]] static LookUp systemLookUp();

    explicit FixedAddresses(Backend &below, LookUp lookUp = systemLookUp());
    ~FixedAddresses() override;

    /// Makes these the services with a fixed address, all others found by the backend below.
    /// Browsers tell the difference on a later turn.
    void setAddresses(std::map<ServiceName, HostAndPort, ByServiceName> addresses);
    [[nodiscard]] bool hasAddress(const ServiceName &service) const;

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;

private:
    friend class FixedBrowser;
    friend class FixedResolver;

    Backend &_below;
    LookUp _lookUp;
    std::map<ServiceName, HostAndPort, ByServiceName> _addresses;
    std::vector<FixedBrowser *> _browsers;
};

} // namespace clipmule::dnssd
