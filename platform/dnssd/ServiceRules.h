// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

/// What DNS-SD allows in names and TXT records, and how a name gives way to another: the same for
/// every responder.
namespace clipmule::dnssd {

/// A DNS label holds no more bytes than that (RFC 6763, section 4.1.1).
constexpr qsizetype maximumNameBytes = 63;
/// Longer records do not fit a network packet: they are accepted by the responder and never
/// arrive anywhere (1206 bytes did, 1407 did not).
constexpr qsizetype maximumTxtRecordBytes = 1300;
/// A name is changed so many times before its publication is given up: there are not that many
/// desktops of one name in a home; there may be a host that claims every name.
constexpr int maximumNameAttempts = 50;

/// A host has a few addresses; more are not worth the time of trying them.
constexpr qsizetype maximumEndpoints = 16;

/// The order of names in containers.
struct ByServiceName {
    [[nodiscard]] bool operator()(const ServiceName &left, const ServiceName &right) const;
};

/// The record without entries: one zero byte.
[[nodiscard]] QByteArray emptyTxtRecord();

/// Why a service of that name cannot be published or looked up; empty when it can.
[[nodiscard]] QString reasonToRefuse(const ServiceName &service);
/// Why a record cannot be published; empty when it can. An empty array is the empty record.
[[nodiscard]] QString reasonToRefuseTxtRecord(const QByteArray &txtRecord);
/// Why the two cannot be published together; empty when they can.
[[nodiscard]] QString reasonToRefuse(const ServiceName &service, const QByteArray &txtRecord);

/// The entries of a well-formed record, without the empty ones.
[[nodiscard]] QList<QByteArray> txtRecordEntries(const QByteArray &txtRecord);

/// The name for the given attempt to publish: the name itself for 1, "Name (2)" for 2. The base is
/// cut at a character where the whole would exceed 63 bytes.
[[nodiscard]] QString nameForAttempt(const QString &name, int attempt);

/// "Name._type._tcp.local" in the escaped form of DNS names: every byte of the instance name that
/// is no ASCII letter, digit, "-" or "_" is "\DDD", dots and backslashes have a backslash.
[[nodiscard]] QString escapedFullName(const ServiceName &service);

/// Why nothing may connect to an address that came from outside; empty when it may. Refused is what
/// belongs to no single computer: no address, 0.0.0.0 and its network (which this computer takes
/// for itself), groups and broadcasts.
[[nodiscard]] QString reasonToAvoid(const QHostAddress &address);
/// The same of an address that was announced on a network: one of the loopback network counts only
/// when the announcement came over the loopback interface, from a program of this computer. Another
/// host that announces it would have us send to a port of our own.
[[nodiscard]] QString reasonToAvoidAnnounced(const QHostAddress &address, bool overLoopback);

/// Whether the system's number of an interface is that of a loopback interface.
[[nodiscard]] bool isLoopbackInterface(int index);

/// Puts IPv4 endpoints first; the order is otherwise kept.
void sortEndpoints(QList<Endpoint> &endpoints);

} // namespace clipmule::dnssd
