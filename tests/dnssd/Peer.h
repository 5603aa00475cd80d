// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

#include <QProcess>

namespace clipmule::kit {

using namespace dnssd;

/// The test program once more, on host "b" and under orders: it publishes and listens there.
class Peer {
public:
    explicit Peer(const QString &backendKind);
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    void publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord);
    void setTxtRecord(const QByteArray &txtRecord);
    void withdraw();
    /// On a port of the system's choice; the family is "ipv4" or "ipv6" and takes no other.
    void listen(const QString &family);
    /// "published NAME", "failed REASON", "listening PORT", "accepted".
    [[nodiscard]] QByteArray lastLine();

private:
    void order(const QByteArrayList &words);

    QProcess _process;
    QByteArray _lastLine;
};

/// The other end: takes orders from standard input until it ends.
int runPeer(const std::function<std::unique_ptr<Backend>()> &makeBackend);

} // namespace clipmule::kit
