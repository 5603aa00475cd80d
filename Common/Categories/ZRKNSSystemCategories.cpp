// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSSystemCategories.h"

#include <algorithm>
#include <memory>

#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>

namespace clipmule::ZRKNSHostCategory {

namespace {

// How well an interface suits as the main one; 0 is best.
int rank(const LinkInterface &interface) {
    if (interface.name.startsWith(u"en") || interface.name.startsWith(u"eth"))
        return 0;
    return interface.name.startsWith(u"wl") ? 1 : 2;
}

bool isUsable(const LinkInterface &interface) {
    return interface.isEthernet && !interface.isLoopback && interface.hardwareAddress.size() == 6 &&
           interface.hardwareAddress != QByteArray(6, '\0');
}

std::optional<QList<LinkInterface>> listInterfaces() {
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0)
        return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> addresses(first, freeifaddrs);
    QList<LinkInterface> interfaces;
    for (const ifaddrs *entry = first; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_PACKET)
            continue;
        const auto *link = reinterpret_cast<const sockaddr_ll *>(entry->ifa_addr);
        const auto length = std::min(size_t(link->sll_halen), sizeof link->sll_addr);
        interfaces.append(
            {QString::fromUtf8(entry->ifa_name), link->sll_hatype == ARPHRD_ETHER,
             (entry->ifa_flags & IFF_LOOPBACK) != 0,
             QByteArray(reinterpret_cast<const char *>(link->sll_addr), qsizetype(length))});
    }
    return interfaces;
}

} // namespace

QString addressOfMainInterface(const QList<LinkInterface> &interfaces) {
    const LinkInterface *best = nullptr;
    for (const LinkInterface &interface : interfaces) {
        if (isUsable(interface) && (!best || rank(interface) < rank(*best)))
            best = &interface;
    }
    return best ? QString::fromLatin1(best->hardwareAddress.toHex(':')) : QString();
}

std::optional<QString> currentHostMAC() {
    static std::optional<QString> known;
    if (!known) {
        if (const auto interfaces = listInterfaces())
            known = addressOfMainInterface(*interfaces);
    }
    return known;
}

} // namespace clipmule::ZRKNSHostCategory

namespace clipmule::ZRKNSRunLoopCategory {

void ping() {
    RunLoop::current().runOnce();
}

void wait(RunLoop::Seconds duration) {
    if (duration.count() > 0)
        RunLoop::current().runFor(duration);
}

} // namespace clipmule::ZRKNSRunLoopCategory
