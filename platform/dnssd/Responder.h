// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

namespace clipmule::dnssd {

/// Whether a responder serves.
enum class Availability {
    Unknown,  ///< not asked yet, or not answered yet
    Absent,   ///< not there, or it does not answer
    Starting, ///< it answers, but does not publish yet: it is making sure of its host name
    Running,
};

[[nodiscard]] constexpr bool isAnswering(Availability availability) {
    return availability == Availability::Starting || availability == Availability::Running;
}

/// The transport that a question goes over, and the kind of address that it asks for.
struct AddressQuestion {
    bool overIpv6;
    bool forIpv6;
};

/// Who speaks multicast DNS for us: what the rest of this folder stands on, and all that a backend
/// implements. It remembers nothing: when it is lost, so is whatever it was asked for.
///
/// Its operations run until they are destroyed, and are destroyed before it. None calls back from
/// inside the call that made it; each callback may destroy its sender.
class Responder {
public:
    class Operation {
    public:
        Operation() = default;
        virtual ~Operation() = default;
        Q_DISABLE_COPY_MOVE(Operation)
        /// Refused or given up: nothing more comes.
        std::function<void(const QString &reason)> onFailed;
    };

    /// The instances of one type: each is seen once on every network interface and protocol.
    class Browse : public Operation {
    public:
        std::function<void(const QString &name, int interface, int protocol)> onSeen;
        std::function<void(const QString &name, int interface, int protocol)> onGone;
        /// What is known at the start has been reported.
        std::function<void()> onAllForNow;
    };

    /// Where a service is. Goes on asking; usually answers once.
    class Question : public Operation {
    public:
        std::function<void(const QString &hostName, const Endpoint &endpoint, bool overLoopback)>
            onAnswer;
    };

    /// A service's TXT record as raw bytes, whenever it is seen: the latest counts.
    class RecordWatch : public Operation {
    public:
        std::function<void(const QByteArray &txtRecord)> onRecord;
    };

    /// The announcement of one service. Says goodbye when it is destroyed.
    class EntryGroup : public Operation {
    public:
        /// Sets the TXT record, also before the group is established.
        virtual void setTxtRecord(const QByteArray &txtRecord) = 0;
        std::function<void()> onEstablished;
        /// The name is taken, perhaps later on: nothing is announced any more.
        std::function<void()> onCollision;
    };

    Responder() = default;
    virtual ~Responder() = default;
    Q_DISABLE_COPY_MOVE(Responder)

    /// Starts it, or begins to look for it; only the first call does.
    virtual void begin() = 0;
    [[nodiscard]] virtual Availability availability() const = 0;
    /// Each change, never from inside a call of ours. One that answers no more has forgotten its
    /// operations; they are to be destroyed before the callback returns.
    std::function<void()> onAvailability;
    /// One line for people: who it is, and since when not.
    [[nodiscard]] virtual QString description() const = 0;

    // To be called only while it answers.

    [[nodiscard]] virtual std::unique_ptr<Browse> browse(const QString &type) = 0;
    [[nodiscard]] virtual std::unique_ptr<Question> resolve(const ServiceName &service,
                                                            AddressQuestion question) = 0;
    [[nodiscard]] virtual std::unique_ptr<RecordWatch>
    watchTxtRecord(const ServiceName &service) = 0;
    /// To be called only while it runs.
    [[nodiscard]] virtual std::unique_ptr<EntryGroup>
    publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord) = 0;
};

/// avahi-daemon on the system bus.
[[nodiscard]] std::unique_ptr<Responder> makeAvahiBusResponder();
/// Avahi's core library in this process, kept running, for machines on which avahi-daemon does not
/// run. It works beside a daemon too. What arrives from the network is parsed here, so it is only
/// the second choice.
[[nodiscard]] std::unique_ptr<Responder> makeAvahiCoreResponder();

} // namespace clipmule::dnssd
