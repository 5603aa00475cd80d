// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/RunLoop.h"
#include "platform/streams/SocketNotifier.h"

#include <QHostAddress>
#include <QList>

#include <functional>
#include <memory>

namespace clipmule {

/// An address of this computer and the network that it is directly connected to by it.
struct OwnNetwork {
    QHostAddress address;
    int prefixLength = 0;

    /// Whether the peer is a device of the same network, which reached us without a router.
    [[nodiscard]] bool holds(const QHostAddress &peer) const;
    /// Whether its addresses are of those that are no part of the internet: private ones, those
    /// that devices choose for themselves, and unique local ones of IPv6. Not link-local ones of
    /// IPv6, which a link in a browser cannot have.
    [[nodiscard]] bool isPrivate() const;
    friend bool operator==(const OwnNetwork &, const OwnNetwork &) = default;
};

/// The networks that a page may be served to.
namespace OwnNetworks {

/// All of this computer whose interface is up, loopback among them.
[[nodiscard]] QList<OwnNetwork> all();
/// Those of private addresses, the one that leads to the other devices first. Without loopback.
[[nodiscard]] QList<OwnNetwork> toServe();

} // namespace OwnNetworks

/// Tells when an address of this computer comes or goes.
class AddressWatch final {
public:
    /// After the first change others follow for a while: one is told for all.
    static constexpr RunLoop::Seconds settlingTime{1.0};

    AddressWatch();
    ~AddressWatch() = default;
    Q_DISABLE_COPY_MOVE(AddressWatch)

    std::function<void()> onChange;

private:
    void readNews();

    FileHandle _socket;
    // The notifier stands after the socket it watches, so that it is destroyed first.
    std::unique_ptr<SocketNotifier> _notifier;
    RunLoop::Timer _settling;
};

} // namespace clipmule
