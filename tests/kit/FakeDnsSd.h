// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/ServiceRules.h"

#include <QStringList>

#include <map>
#include <vector>

namespace clipmule::kit {

using namespace dnssd;

class FakeBrowser;
class FakeOperation;
class FakeResponder;

/// The network that fake responders stand in: what every host on it would hear. They find what the
/// others publish, and take names away from each other unless they say that they are the same host.
class FakeNetwork final {
public:
    struct Record {
        QString host; // who announces it
        quint16 port = 0;
        QList<Endpoint> endpoints;
        QByteArray txtRecord;
        int holders = 1; // announcements of the same service by the same host
    };
    enum class Change { Appeared, Vanished, Other };

    // What hosts without a responder of ours do.

    /// A service comes up, or, when it is there, moves to other endpoints without a word. No
    /// endpoints: it is found but cannot be resolved.
    void appear(const ServiceName &service, const QList<Endpoint> &endpoints,
                const QByteArray &txtRecord);
    /// A service says goodbye.
    void vanish(const ServiceName &service);
    void changeTxtRecord(const ServiceName &service, const QByteArray &txtRecord);

    // The responders use these.

    /// Tells every operation of every responder, on a later turn.
    void changed(const ServiceName &service, Change change);
    /// The record of a service; null when nobody announces it.
    [[nodiscard]] Record *record(const ServiceName &service);

    std::map<ServiceName, Record, ByServiceName> records;
    std::vector<FakeResponder *> responders;
};

/// A responder in memory, which a test scripts. Everything it reports comes from the next turn of
/// RunLoop::current(): advance a manual run loop by 0 to see it.
class FakeResponder final : public Responder {
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

    /// Responders with the same host name share their names, as two of one machine do. Running.
    FakeResponder(std::shared_ptr<FakeNetwork> network, const QString &hostName);
    ~FakeResponder() override;

    /// Also changes what becomes of the resolves that are running.
    void setAnswer(const ServiceName &service, Answer answer);
    /// Plays that the responder's process ends, starts, or runs.
    void setAvailability(Availability availability);
    /// What is asked for from now on is refused, for this reason; an empty one ends it.
    void refuse(const QString &reason) { _refusal = reason; }
    /// Browsers hear nothing of the end of what is known at the start.
    void setTellsAllForNow(bool tells) { _tellsAllForNow = tells; }
    /// What is under way fails.
    void failAll(const QString &reason);

    // What the program does with it.

    [[nodiscard]] QList<Publication> published() const;
    [[nodiscard]] QStringList browsedTypes() const;
    [[nodiscard]] QList<ServiceName> resolving() const;
    [[nodiscard]] QList<ServiceName> watchedTxtRecords() const;
    /// How often a resolve of that service was begun.
    [[nodiscard]] int resolveCount(const ServiceName &service) const;
    /// How often anything was asked for.
    [[nodiscard]] int operationCount() const { return _operationCount; }
    [[nodiscard]] bool isBegun() const { return _begun; }

    void begin() override;
    [[nodiscard]] Availability availability() const override;
    [[nodiscard]] QString description() const override;
    [[nodiscard]] std::unique_ptr<Browse> browse(const QString &type) override;
    [[nodiscard]] std::unique_ptr<Question> resolve(const ServiceName &service,
                                                    AddressQuestion question) override;
    [[nodiscard]] std::unique_ptr<RecordWatch> watchTxtRecord(const ServiceName &service) override;
    [[nodiscard]] std::unique_ptr<EntryGroup> publish(const ServiceName &service, quint16 port,
                                                      const QByteArray &txtRecord) override;

private:
    friend class FakeNetwork;
    friend class FakeBrowse;
    friend class FakeOperation;
    friend class FakeQuestion;

    template <typename Kind, typename... Arguments>
    std::unique_ptr<Kind> make(const Arguments &...arguments);
    template <typename Kind>
    [[nodiscard]] std::vector<const Kind *> operations() const;

    std::shared_ptr<FakeNetwork> _network;
    QString _hostName;
    Availability _availability = Availability::Running;
    bool _begun = false;
    bool _tellsAllForNow = true;
    QString _refusal;
    int _operationCount = 0;
    std::map<ServiceName, Answer, ByServiceName> _answers;
    std::map<ServiceName, int, ByServiceName> _resolveCounts;
    std::vector<FakeOperation *> _operations;
    RunLoop::Timer _report;
};

/// Discovery by a fake responder, and streams that are the test's own.
class FakeDnsSd final : public Backend {
public:
    using Answer = FakeResponder::Answer;
    using Publication = FakeResponder::Publication;

    /// A host alone on a network of its own, its responder running.
    FakeDnsSd();
    FakeDnsSd(const std::shared_ptr<FakeNetwork> &network, const QString &hostName);
    ~FakeDnsSd() override;

    [[nodiscard]] FakeResponder &responder() { return *_responder; }

    // These are passed on to the network.
    void appear(const ServiceName &service, const QList<Endpoint> &endpoints,
                const QByteArray &txtRecord = QByteArray(1, '\0')) {
        _network->appear(service, endpoints, txtRecord);
    }
    void vanish(const ServiceName &service) { _network->vanish(service); }
    void changeTxtRecord(const ServiceName &service, const QByteArray &txtRecord) {
        _network->changeTxtRecord(service, txtRecord);
    }
    /// The browsers report a service once more, as they promise not to.
    void reportAgain(const ServiceName &service);
    /// Makes the streams for connectTo(); none without it.
    std::function<StreamPair(const Resolved &)> connector;

    // These are passed on to the responder.
    void setAnswer(const ServiceName &service, Answer answer) {
        _responder->setAnswer(service, answer);
    }
    void setAvailability(Availability availability) { _responder->setAvailability(availability); }
    [[nodiscard]] QList<Publication> published() const { return _responder->published(); }
    [[nodiscard]] QStringList browsedTypes() const { return _responder->browsedTypes(); }
    [[nodiscard]] QList<ServiceName> resolving() const { return _responder->resolving(); }
    [[nodiscard]] QList<ServiceName> watchedTxtRecords() const {
        return _responder->watchedTxtRecords();
    }
    [[nodiscard]] int resolveCount(const ServiceName &service) const {
        return _responder->resolveCount(service);
    }
    [[nodiscard]] bool isWatched() const { return _responder->isBegun(); }

    /// What connectTo() was asked for.
    [[nodiscard]] const QList<Resolved> &connections() const { return _connections; }
    void forgetConnections() { _connections.clear(); }

    [[nodiscard]] std::unique_ptr<Publisher> makePublisher() override;
    [[nodiscard]] std::unique_ptr<Browser> makeBrowser() override;
    [[nodiscard]] std::unique_ptr<Resolver> makeResolver() override;
    [[nodiscard]] std::unique_ptr<TxtWatch> makeTxtWatch() override;
    [[nodiscard]] StreamPair connectTo(const Resolved &resolved) override;
    [[nodiscard]] QString description() const override;

private:
    friend class FakeBrowser;

    FakeDnsSd(std::shared_ptr<FakeNetwork> network, std::unique_ptr<FakeResponder> responder);

    std::shared_ptr<FakeNetwork> _network;
    FakeResponder *_responder;
    Discovery _discovery;
    std::vector<FakeBrowser *> _browsers;
    QList<Resolved> _connections;
};

} // namespace clipmule::kit
