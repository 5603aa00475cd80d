// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Responder.h"
#include "platform/dnssd/ServiceRules.h"

#include <QStringList>

#include <map>
#include <vector>

namespace clipmule::dnssd {

class FakeObject;

/// The network that fake backends stand in: what every host on it would hear. Backends of one
/// network find what the others publish, and take names away from each other unless they say that
/// they are the same host.
class FakeNetwork final {
public:
    FakeNetwork();
    ~FakeNetwork();
    FakeNetwork(const FakeNetwork &) = delete;
    FakeNetwork &operator=(const FakeNetwork &) = delete;

private:
    friend class FakeBackend;
    friend class FakeObject;
    friend class FakePublisher;
    friend class FakeBrowser;
    friend class FakeResolver;
    friend class FakeTxtWatch;

    struct Record {
        QString host; // who announces it
        quint16 port = 0;
        QList<Endpoint> endpoints;
        QByteArray txtRecord;
        int holders = 1; // announcements of the same service by the same host
    };
    /// Tells every object of every backend, on a later turn.
    void changed(const ServiceName &service, bool appeared, bool vanished);

    std::map<ServiceName, Record, ByServiceName> _records;
    std::vector<FakeObject *> _objects;
};

/// A whole responder in memory, which a test scripts. Everything it reports comes from the next
/// turn of RunLoop::current(): advance a manual run loop by 0 to see it.
class FakeBackend final : public WatchedBackend {
public:
    enum class Answer {
        Normal, ///< with the endpoints, when the service is there
        Never,  ///< until the time-out
        Failure ///< an error at once
    };
    struct Publication {
        ServiceName service; ///< with the name it was given in the end
        quint16 port = 0;
        QByteArray txtRecord;
    };

    /// A host alone on a network of its own, its responder running.
    FakeBackend();
    /// Backends with the same host name share their names, as two responders of one machine do.
    FakeBackend(std::shared_ptr<FakeNetwork> network, const QString &hostName);
    ~FakeBackend() override;

    // What other hosts do.

    /// A service comes up, or, when it is there, moves to other endpoints without a word. No
    /// endpoints: it is found but cannot be resolved.
    void appear(const ServiceName &service, const QList<Endpoint> &endpoints,
                const QByteArray &txtRecord = QByteArray(1, '\0'));
    /// A service says goodbye.
    void vanish(const ServiceName &service);
    void changeTxtRecord(const ServiceName &service, const QByteArray &txtRecord);
    /// The browsers hear of a service once more that they have reported already.
    void reportAgain(const ServiceName &service);

    // How this host's responder behaves.

    /// Also changes what becomes of the resolves that are running.
    void setAnswer(const ServiceName &service, Answer answer);
    /// As the responder's process ends, starts, and runs.
    void setAvailability(Availability availability);
    /// Makes the streams for connectTo(); none without it.
    std::function<StreamPair(const Resolved &)> connector;

    // What the program does with it.

    [[nodiscard]] QList<Publication> published() const;
    [[nodiscard]] QStringList browsedTypes() const;
    [[nodiscard]] QList<ServiceName> resolving() const;
    [[nodiscard]] QList<ServiceName> watchedTxtRecords() const;
    /// How often a resolve of that service was begun.
    [[nodiscard]] int resolveCount(const ServiceName &service) const;
    /// What connectTo() was asked for.
    [[nodiscard]] const QList<Resolved> &connections() const { return _connections; }
    [[nodiscard]] bool isWatched() const { return _watched; }

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;
    void watch() override;
    [[nodiscard]] Availability availability() const override;

private:
    friend class FakeObject;
    friend class FakePublisher;
    friend class FakeBrowser;
    friend class FakeResolver;
    friend class FakeTxtWatch;

    [[nodiscard]] bool isAnswering() const;
    [[nodiscard]] bool isPublishing() const { return _availability == Availability::Running; }
    template <typename Kind>
    [[nodiscard]] std::vector<const Kind *> objects() const;
    void reportAvailability();

    std::shared_ptr<FakeNetwork> _network;
    QString _hostName;
    Availability _availability = Availability::Running;
    bool _watched = false;
    std::map<ServiceName, Answer, ByServiceName> _answers;
    std::map<ServiceName, int, ByServiceName> _resolveCounts;
    QList<Resolved> _connections;
    RunLoop::Timer _report;
};

} // namespace clipmule::dnssd
