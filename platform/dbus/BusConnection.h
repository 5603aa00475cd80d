// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QDBusConnection>
#include <QObject>

#include <optional>

namespace clipmule {

/// A connection of its own to a message bus, for the backends that speak over one. When there is no
/// bus, or it goes away, it tries again at an interval.
///
/// Calls over it are made asynchronously (QDBusConnection::asyncCall); a call that waits for its
/// reply would hold up the whole program.
class BusConnection final : public QObject {
    Q_OBJECT

public:
    enum class Bus { Session, System };

    /// The time between two attempts, long enough to cost nothing on a computer without a bus.
    static constexpr RunLoop::Seconds retryInterval{30};

    explicit BusConnection(Bus bus, RunLoop::Seconds interval = retryInterval);
    ~BusConnection() override;

    /// Connects. False when there is no bus now; asked again, it does not try before its time.
    /// Does nothing when it is open already.
    bool open();
    /// Drops the connection and stops trying. Emits nothing.
    void close();
    [[nodiscard]] bool isOpen() const;
    /// To be called only while it is open. Copies of the connection do not survive the bus.
    [[nodiscard]] const QDBusConnection &connection() const { return *_connection; }

Q_SIGNALS:
    /// Emitted when the bus came, or came back, some time after open(): subscriptions and names are
    /// to be made anew.
    void opened();
    /// Emitted when the bus went away, and with it every subscription and name.
    void lost();

private Q_SLOTS:
    void busWentAway();

private:
    bool connectToBus();
    void dropConnection();
    void retryLater();

    const Bus _bus;
    const RunLoop::Seconds _interval;
    std::optional<QDBusConnection> _connection;
    RunLoop::Timer _retry;
};

} // namespace clipmule
