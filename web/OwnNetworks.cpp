// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/OwnNetworks.h"

#include <QNetworkInterface>
#include <QUdpSocket>

#include <algorithm>
#include <array>

#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace clipmule {

namespace {

// Where the system would send a packet to the internet from. None is sent: it is an address of
// documentation, and a datagram socket that connects only looks up the way.
QHostAddress addressOfDefaultRoute() {
    QUdpSocket socket;
    socket.connectToHost(QHostAddress(QStringLiteral("192.0.2.1")), 9, QIODevice::ReadOnly);
    return socket.waitForConnected(0) ? socket.localAddress() : QHostAddress();
}

} // namespace

bool OwnNetwork::holds(const QHostAddress &peer) const {
    QHostAddress plain = peer;
    bool isIPv4 = false;
    // A peer over IPv4 on a socket for both.
    if (const quint32 mapped = peer.toIPv4Address(&isIPv4); isIPv4)
        plain = QHostAddress(mapped);
    plain.setScopeId({});
    return plain.protocol() == address.protocol() && plain.isInSubnet(address, prefixLength);
}

bool OwnNetwork::isPrivate() const {
    static const std::array ranges{
        QHostAddress::parseSubnet(QStringLiteral("10.0.0.0/8")),
        QHostAddress::parseSubnet(QStringLiteral("172.16.0.0/12")),
        QHostAddress::parseSubnet(QStringLiteral("192.168.0.0/16")),
        QHostAddress::parseSubnet(QStringLiteral("169.254.0.0/16")),
        QHostAddress::parseSubnet(QStringLiteral("fc00::/7")),
    };
    return std::any_of(ranges.begin(), ranges.end(),
                       [this](const auto &range) { return address.isInSubnet(range); });
}

namespace OwnNetworks {

QList<OwnNetwork> all() {
    QList<OwnNetwork> networks;
    for (const QNetworkInterface &interface : QNetworkInterface::allInterfaces()) {
        if (!interface.flags().testFlag(QNetworkInterface::IsUp))
            continue;
        for (const QNetworkAddressEntry &entry : interface.addressEntries()) {
            QHostAddress address = entry.ip();
            address.setScopeId({});
            networks.append({address, entry.prefixLength()});
        }
    }
    return networks;
}

QList<OwnNetwork> toServe() {
    QList<OwnNetwork> networks = all();
    networks.removeIf([](const OwnNetwork &network) { return !network.isPrivate(); });
    const QHostAddress first = addressOfDefaultRoute();
    std::stable_sort(networks.begin(), networks.end(),
                     [&first](const OwnNetwork &left, const OwnNetwork &right) {
                         return left.address == first && right.address != first;
                     });
    return networks;
}

} // namespace OwnNetworks

AddressWatch::AddressWatch()
    : _socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (::bind(_socket.descriptor(), reinterpret_cast<const sockaddr *>(&address),
               sizeof address) != 0)
        return;
    _notifier = std::make_unique<SocketNotifier>(_socket.descriptor(), QSocketNotifier::Read,
                                                 [this] { readNews(); });
}

// What changed is looked up afterwards; it is enough that something did.
void AddressWatch::readNews() {
    std::array<char, 8192> news;
    while (::recv(_socket.descriptor(), news.data(), news.size(), 0) > 0) {
    }
    if (!_settling.isPending())
        _settling = RunLoop::current().performAfter(settlingTime, [this] {
            if (onChange)
                onChange();
        });
}

} // namespace clipmule
