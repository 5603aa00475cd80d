// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeDnsSd.h"

#include "platform/dnssd/EventQueue.h"

namespace clipmule::kit {

using Change = FakeNetwork::Change;

/// What the four kinds have in common: a place in the responder, and events on a later turn.
class FakeOperation {
public:
    explicit FakeOperation(FakeResponder &responder)
        : _responder(responder)
        , _network(*responder._network)
        , _hostName(responder._hostName) {
        _responder._operations.push_back(this);
    }
    virtual ~FakeOperation() { std::erase(_responder._operations, this); }
    FakeOperation(const FakeOperation &) = delete;
    FakeOperation &operator=(const FakeOperation &) = delete;

    /// Called as soon as the operation is made.
    virtual void begin() = 0;
    virtual void serviceChanged(const ServiceName &service, Change change) = 0;
    virtual void fail(const QString &reason) = 0;

protected:
    FakeResponder &_responder;
    FakeNetwork &_network;
    const QString _hostName;
    EventQueue _events;
};

namespace {

// The only interface of the network.
constexpr int interface = 1;
constexpr int protocol = 0;

template <typename Kind>
class FakeKind : public Kind, public FakeOperation {
public:
    using FakeOperation::FakeOperation;
    void fail(const QString &reason) override {
        _events.clear();
        _events.post([this, reason] { callCopyOf(this->onFailed, reason); });
    }
};

} // namespace

class FakeBrowse final : public FakeKind<Responder::Browse> {
public:
    FakeBrowse(FakeResponder &responder, const QString &browsedType)
        : FakeKind(responder)
        , type(browsedType) {}

    void begin() override {
        _events.post([this] {
            for (const auto &[service, record] : _network.records)
                serviceChanged(service, Change::Appeared);
            if (_responder._tellsAllForNow)
                _events.post([this] { callCopyOf(onAllForNow); });
        });
    }

    void serviceChanged(const ServiceName &service, Change change) override {
        if (service.type != type || change == Change::Other)
            return;
        _events.post([this, name = service.name, change] {
            callCopyOf(change == Change::Appeared ? onSeen : onGone, name, interface, protocol);
        });
    }

    const QString type;
};

class FakeQuestion final : public FakeKind<Responder::Question> {
public:
    FakeQuestion(FakeResponder &responder, const ServiceName &resolved, AddressQuestion question)
        : FakeKind(responder)
        , service(resolved)
        , kind(question) {
        if (isFirst())
            ++responder._resolveCounts[service];
    }

    /// Whether this is the first of the four questions that make one resolve.
    [[nodiscard]] bool isFirst() const { return !kind.overIpv6 && !kind.forIpv6; }

    void begin() override {
        _events.post([this] { answer(); });
    }

    void serviceChanged(const ServiceName &changed, Change) override {
        if (changed == service)
            begin();
    }

    const ServiceName service;
    const AddressQuestion kind;

private:
    /// The network has IPv4 only, over which one also learns of IPv6 addresses.
    void answer() {
        const auto behaviour = _responder._answers.find(service);
        if (behaviour != _responder._answers.end()) {
            if (behaviour->second == FakeResponder::Answer::Failure)
                return callCopyOf(onFailed, QStringLiteral("the responder refused"));
            if (behaviour->second == FakeResponder::Answer::Never)
                return;
        }
        const FakeNetwork::Record *record = _network.record(service);
        if (!record || record->endpoints.isEmpty())
            return;
        bool answered = false;
        const std::weak_ptr<bool> alive = _alive;
        const QString hostName = record->host + QStringLiteral(".local");
        const QList<Endpoint> endpoints = record->endpoints;
        for (const Endpoint &endpoint : endpoints) {
            const bool isIpv6 = endpoint.address.protocol() == QAbstractSocket::IPv6Protocol;
            if (!kind.overIpv6 && kind.forIpv6 == isIpv6) {
                answered = true;
                callCopyOf(onAnswer, hostName, endpoint, true);
                if (alive.expired())
                    return;
            }
        }
        if (!answered)
            callCopyOf(onFailed, QStringLiteral("no address of this kind"));
    }

    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
};

namespace {

class FakeRecordWatch final : public FakeKind<Responder::RecordWatch> {
public:
    FakeRecordWatch(FakeResponder &responder, const ServiceName &watched)
        : FakeKind(responder)
        , service(watched) {}

    void begin() override {
        _events.post([this] {
            if (const FakeNetwork::Record *record = _network.record(service))
                callCopyOf(onRecord, QByteArray(record->txtRecord));
        });
    }

    void serviceChanged(const ServiceName &changed, Change) override {
        if (changed == service)
            begin();
    }

    const ServiceName service;
};

class FakeEntryGroup final : public FakeKind<Responder::EntryGroup> {
public:
    FakeEntryGroup(FakeResponder &responder, const ServiceName &service, quint16 port,
                   const QByteArray &txtRecord)
        : FakeKind(responder)
        , publication{service, port, txtRecord.isEmpty() ? emptyTxtRecord() : txtRecord} {}
    ~FakeEntryGroup() override { withdraw(); }

    void begin() override {
        _events.post([this] { announce(); });
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        publication.txtRecord = txtRecord;
        if (FakeNetwork::Record *record = ownRecord()) {
            record->txtRecord = txtRecord;
            _network.changed(publication.service, Change::Other);
        }
    }

    void serviceChanged(const ServiceName &service, Change change) override {
        // Another host claims the name and wins.
        if (isHeld && change == Change::Appeared && service == publication.service && !ownRecord())
            collide();
    }

    void fail(const QString &reason) override {
        withdraw();
        FakeKind::fail(reason);
    }

    FakeResponder::Publication publication;
    bool isHeld = false;

private:
    /// The one that this host announces under the name.
    [[nodiscard]] FakeNetwork::Record *ownRecord() const {
        FakeNetwork::Record *record = _network.record(publication.service);
        const bool isOurs = record && record->host == _hostName && record->port == publication.port;
        return isOurs ? record : nullptr;
    }

    void announce() {
        if (FakeNetwork::Record *record = ownRecord()) {
            ++record->holders;
        } else if (_network.record(publication.service)) {
            return callCopyOf(onCollision);
        } else {
            const Endpoint endpoint{QHostAddress(QHostAddress::LocalHost), publication.port};
            _network.records.emplace(
                publication.service,
                FakeNetwork::Record{
                    _hostName, publication.port, {endpoint}, publication.txtRecord});
            _network.changed(publication.service, Change::Appeared);
        }
        isHeld = true;
        callCopyOf(onEstablished);
    }

    void collide() {
        isHeld = false;
        _events.post([this] { callCopyOf(onCollision); });
    }

    void withdraw() {
        FakeNetwork::Record *record = isHeld ? ownRecord() : nullptr;
        isHeld = false;
        if (!record || --record->holders > 0)
            return;
        _network.records.erase(publication.service);
        _network.changed(publication.service, Change::Vanished);
    }
};

const auto otherHost = QStringLiteral("other-host");

} // namespace

void FakeNetwork::appear(const ServiceName &service, const QList<Endpoint> &endpoints,
                         const QByteArray &txtRecord) {
    const Record *known = record(service);
    const bool isNew = !known || known->host != otherHost;
    const quint16 port = endpoints.isEmpty() ? quint16(0) : endpoints.first().port;
    records[service] = {otherHost, port, endpoints, txtRecord};
    changed(service, isNew ? Change::Appeared : Change::Other);
}

void FakeNetwork::vanish(const ServiceName &service) {
    if (records.erase(service) > 0)
        changed(service, Change::Vanished);
}

void FakeNetwork::changeTxtRecord(const ServiceName &service, const QByteArray &txtRecord) {
    if (Record *known = record(service)) {
        known->txtRecord = txtRecord;
        changed(service, Change::Other);
    }
}

void FakeNetwork::changed(const ServiceName &service, Change change) {
    for (const FakeResponder *responder : responders) {
        for (FakeOperation *operation : responder->_operations)
            operation->serviceChanged(service, change);
    }
}

FakeNetwork::Record *FakeNetwork::record(const ServiceName &service) {
    const auto found = records.find(service);
    return found == records.end() ? nullptr : &found->second;
}

FakeResponder::FakeResponder(std::shared_ptr<FakeNetwork> network, const QString &hostName)
    : _network(std::move(network))
    , _hostName(hostName) {
    _network->responders.push_back(this);
}

FakeResponder::~FakeResponder() {
    std::erase(_network->responders, this);
}

void FakeResponder::setAnswer(const ServiceName &service, Answer answer) {
    _answers[service] = answer;
    _network->changed(service, Change::Other);
}

void FakeResponder::setAvailability(Availability availability) {
    if (std::exchange(_availability, availability) != availability && _begun)
        callCopyOf(onAvailability);
}

void FakeResponder::failAll(const QString &reason) {
    for (FakeOperation *operation : _operations)
        operation->fail(reason);
}

void FakeResponder::begin() {
    if (!std::exchange(_begun, true))
        _report = RunLoop::current().performAfter(RunLoop::Seconds(0),
                                                  [this] { callCopyOf(onAvailability); });
}

Availability FakeResponder::availability() const {
    return _begun ? _availability : Availability::Unknown;
}

QString FakeResponder::description() const {
    return QStringLiteral("a responder in memory, on %1").arg(_hostName);
}

template <typename Kind, typename... Arguments>
std::unique_ptr<Kind> FakeResponder::make(const Arguments &...arguments) {
    ++_operationCount;
    auto operation = std::make_unique<Kind>(*this, arguments...);
    if (_refusal.isEmpty())
        operation->begin();
    else
        operation->fail(_refusal);
    return operation;
}

std::unique_ptr<Responder::Browse> FakeResponder::browse(const QString &type) {
    return make<FakeBrowse>(type);
}

std::unique_ptr<Responder::Question> FakeResponder::resolve(const ServiceName &service,
                                                            AddressQuestion question) {
    return make<FakeQuestion>(service, question);
}

std::unique_ptr<Responder::RecordWatch> FakeResponder::watchTxtRecord(const ServiceName &service) {
    return make<FakeRecordWatch>(service);
}

std::unique_ptr<Responder::EntryGroup>
FakeResponder::publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord) {
    return make<FakeEntryGroup>(service, port, txtRecord);
}

template <typename Kind>
std::vector<const Kind *> FakeResponder::operations() const {
    std::vector<const Kind *> result;
    for (const FakeOperation *operation : _operations) {
        if (const auto *kind = dynamic_cast<const Kind *>(operation))
            result.push_back(kind);
    }
    return result;
}

QList<FakeResponder::Publication> FakeResponder::published() const {
    QList<Publication> result;
    for (const FakeEntryGroup *group : operations<FakeEntryGroup>()) {
        if (group->isHeld)
            result.append(group->publication);
    }
    return result;
}

QStringList FakeResponder::browsedTypes() const {
    QStringList result;
    for (const FakeBrowse *browse : operations<FakeBrowse>())
        result.append(browse->type);
    return result;
}

QList<ServiceName> FakeResponder::resolving() const {
    QList<ServiceName> result;
    for (const FakeQuestion *question : operations<FakeQuestion>()) {
        if (question->isFirst())
            result.append(question->service);
    }
    return result;
}

QList<ServiceName> FakeResponder::watchedTxtRecords() const {
    QList<ServiceName> result;
    for (const FakeRecordWatch *watch : operations<FakeRecordWatch>())
        result.append(watch->service);
    return result;
}

int FakeResponder::resolveCount(const ServiceName &service) const {
    const auto found = _resolveCounts.find(service);
    return found == _resolveCounts.end() ? 0 : found->second;
}

/// Lets a test report what the one below has reported already.
class FakeBrowser final : public Browser {
public:
    explicit FakeBrowser(FakeDnsSd &backend)
        : _backend(backend)
        , _below(backend._discovery.makeBrowser()) {
        _backend._browsers.push_back(this);
        _below->onFound = [this](const ServiceName &service) { callCopyOf(onFound, service); };
        _below->onRemoved = [this](const ServiceName &service) { callCopyOf(onRemoved, service); };
        _below->onAllForNow = [this] { callCopyOf(onAllForNow); };
    }
    ~FakeBrowser() override { std::erase(_backend._browsers, this); }

    void start(const QString &type) override {
        _below->wantedName = wantedName;
        _below->start(type);
    }
    void stop() override {
        _events.clear();
        _below->stop();
    }
    void reportAgain(const ServiceName &service) {
        _events.post([this, service] { callCopyOf(onFound, service); });
    }

private:
    FakeDnsSd &_backend;
    std::unique_ptr<Browser> _below;
    EventQueue _events;
};

FakeDnsSd::FakeDnsSd()
    : FakeDnsSd(std::make_shared<FakeNetwork>(), QStringLiteral("this-host")) {}

FakeDnsSd::FakeDnsSd(const std::shared_ptr<FakeNetwork> &network, const QString &hostName)
    : FakeDnsSd(network, std::make_unique<FakeResponder>(network, hostName)) {}

FakeDnsSd::FakeDnsSd(std::shared_ptr<FakeNetwork> network, std::unique_ptr<FakeResponder> responder)
    : _network(std::move(network))
    , _responder(responder.get())
    , _discovery(std::move(responder)) {
    _discovery.onDescriptionChange = [this] { callCopyOf(onDescriptionChange); };
}

FakeDnsSd::~FakeDnsSd() = default;

void FakeDnsSd::reportAgain(const ServiceName &service) {
    for (FakeBrowser *browser : _browsers)
        browser->reportAgain(service);
}

std::unique_ptr<Publisher> FakeDnsSd::makePublisher() {
    return _discovery.makePublisher();
}

std::unique_ptr<Browser> FakeDnsSd::makeBrowser() {
    return std::make_unique<FakeBrowser>(*this);
}

std::unique_ptr<Resolver> FakeDnsSd::makeResolver() {
    return _discovery.makeResolver();
}

std::unique_ptr<TxtWatch> FakeDnsSd::makeTxtWatch() {
    return _discovery.makeTxtWatch();
}

StreamPair FakeDnsSd::connectTo(const Resolved &resolved) {
    _connections.append(resolved);
    return connector ? connector(resolved) : StreamPair{};
}

QString FakeDnsSd::description() const {
    return _discovery.description();
}

} // namespace clipmule::kit
