// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"
#include "platform/foundation/Result.h"

namespace clipmule::dnssd {

/// What a program tells of its service to those of the same session who connect to the service's
/// file: one packet at once, and one with each change of the TXT record.
struct Announcement {
    /// In the domain "local".
    ServiceName service;
    quint16 port = 0;
    QByteArray txtRecord;
    friend bool operator==(const Announcement &, const Announcement &) = default;
};

/// Four bytes of version, two of the port, most significant first, the name and the type, each
/// behind a byte with its length, and the TXT record.
[[nodiscard]] QByteArray packetOf(const Announcement &announcement);
/// Everything that it says can be published as it stands.
[[nodiscard]] Result<Announcement> announcementIn(const QByteArray &packet);
/// No packet is longer than this.
inline constexpr qsizetype longestPacket = 4 + 2 + 1 + 255 + 1 + 255 + 1300;

/// The service's file in the folder. It tells nothing of the name: two services have the same one
/// only if they have the same name and type.
[[nodiscard]] QByteArray fileOf(const QString &name, const QString &type);
/// What the names of all such files begin with.
inline const QByteArray fileBeginning = QByteArrayLiteral("service-");

} // namespace clipmule::dnssd
