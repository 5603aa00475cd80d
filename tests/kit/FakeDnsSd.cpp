// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeDnsSd.h"

#include "platform/dnssd/EventQueue.h"

#include <algorithm>
#include <optional>
#include <set>

namespace clipmule::dnssd {

/// What the four kinds have in common: a place in the network, and events on a later turn.
class FakeObject {
public:
    explicit FakeObject(FakeBackend &backend)
        : _backend(backend)
        , _network(*backend._network) {
        _network._objects.push_back(this);
    }
    virtual ~FakeObject() { std::erase(_network._objects, this); }
    FakeObject(const FakeObject &) = delete;
    FakeObject &operator=(const FakeObject &) = delete;

    [[nodiscard]] FakeBackend &backend() const { return _backend; }
    /// Neither appeared nor vanished: something else about it changed.
    virtual void serviceChanged(const ServiceName &service, bool appeared, bool vanished) = 0;
    virtual void responderChanged(bool wasAnswering) = 0;

protected:
    FakeBackend &_backend;
    FakeNetwork &_network;
    EventQueue _events;
};

FakeNetwork::FakeNetwork() = default;
FakeNetwork::~FakeNetwork() = default;

void FakeNetwork::changed(const ServiceName &service, bool appeared, bool vanished) {
    for (FakeObject *object : _objects)
        object->serviceChanged(service, appeared, vanished);
}

class FakePublisher final : public Publisher, public FakeObject {
public:
    using FakeObject::FakeObject;
    ~FakePublisher() override { end(); }

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        end();
        QString refusal = reasonToRefuse(service);
        if (refusal.isEmpty())
            refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty()) {
            _events.post([this, refusal] { callCopyOf(onError, refusal); });
            return;
        }
        _backend.watch();
        _asked = service;
        _port = port;
        _txtRecord = txtRecord.isEmpty() ? emptyTxtRecord() : txtRecord;
        _attempt = 1;
        _events.post([this] { announce(); });
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_asked)
            return;
        const QString refusal = reasonToRefuseTxtRecord(txtRecord);
        if (!refusal.isEmpty()) {
            _events.post([this, refusal] { callCopyOf(onError, refusal); });
            return;
        }
        _txtRecord = txtRecord;
        if (FakeNetwork::Record *record = heldRecord()) {
            record->txtRecord = txtRecord;
            _network.changed(*_held, false, false);
        }
    }

    void stop() override { end(); }

    void serviceChanged(const ServiceName &service, bool appeared, bool) override {
        if (!appeared || !_held || *_held != service || heldRecord())
            return;
        // Another host claims the name and wins.
        _held.reset();
        ++_attempt;
        _events.post([this] { announce(); });
    }

    void responderChanged(bool) override {
        if (!_asked)
            return;
        if (!_backend.isPublishing()) {
            withdraw();
        } else if (!_held) {
            _attempt = 1;
            _events.post([this] { announce(); });
        }
    }

    [[nodiscard]] std::optional<FakeBackend::Publication> publication() const {
        if (!_held)
            return {};
        return FakeBackend::Publication{*_held, _port, _txtRecord};
    }

private:
    void end() {
        _events.clear();
        withdraw();
        _asked.reset();
    }

    [[nodiscard]] FakeNetwork::Record *heldRecord() const {
        const auto found = _held ? _network._records.find(*_held) : _network._records.end();
        const bool ours = found != _network._records.end() &&
                          found->second.host == _backend._hostName && found->second.port == _port;
        return ours ? &found->second : nullptr;
    }

    void announce() {
        if (!_asked || _held || !_backend.isPublishing())
            return;
        for (; _attempt <= maximumNameAttempts; ++_attempt) {
            const ServiceName service{nameForAttempt(_asked->name, _attempt), _asked->type,
                                      _asked->domain};
            const auto found = _network._records.find(service);
            if (found == _network._records.end()) {
                const Endpoint endpoint{QHostAddress(QHostAddress::LocalHost), _port};
                _network._records.emplace(
                    service,
                    FakeNetwork::Record{_backend._hostName, _port, {endpoint}, _txtRecord});
                _held = service;
                _network.changed(service, true, false);
                break;
            }
            if (found->second.host == _backend._hostName && found->second.port == _port) {
                ++found->second.holders;
                _held = service;
                break;
            }
        }
        if (_held)
            callCopyOf(onPublished, QString(_held->name));
        else
            callCopyOf(onError, QStringLiteral("every name is taken"));
    }

    void withdraw() {
        FakeNetwork::Record *record = heldRecord();
        const auto service = std::exchange(_held, std::nullopt);
        if (!record || --record->holders > 0)
            return;
        _network._records.erase(*service);
        _network.changed(*service, false, true);
    }

    std::optional<ServiceName> _asked;
    std::optional<ServiceName> _held;
    quint16 _port = 0;
    QByteArray _txtRecord;
    int _attempt = 1;
};

class FakeBrowser final : public Browser, public FakeObject {
public:
    using FakeObject::FakeObject;

    void start(const QString &type) override {
        stop();
        _backend.watch();
        _type = type;
        _events.post([this] { begin(); });
    }

    void stop() override {
        _events.clear();
        _known.clear();
        _type.clear();
    }

    void serviceChanged(const ServiceName &service, bool appeared, bool vanished) override {
        if (_type.isEmpty() || service.type != _type || !_backend.isAnswering())
            return;
        if (appeared)
            _events.post([this, service] { found(service); });
        if (vanished)
            _events.post([this, service] { removed(service); });
    }

    void responderChanged(bool wasAnswering) override {
        if (_type.isEmpty() || wasAnswering == _backend.isAnswering())
            return;
        if (!wasAnswering)
            return _events.post([this] { begin(); });
        _events.post([this] {
            _known.clear();
            callCopyOf(onLost);
        });
    }

    void reportAgain(const ServiceName &service) {
        if (_known.contains(service))
            _events.post([this, service] { callCopyOf(onFound, service); });
    }

    [[nodiscard]] const QString &type() const { return _type; }

private:
    void begin() {
        if (!_backend.isAnswering())
            return;
        for (const auto &[service, record] : _network._records) {
            if (service.type == _type)
                _events.post([this, service = service] { found(service); });
        }
        _events.post([this] { callCopyOf(onAllForNow); });
    }

    void found(const ServiceName &service) {
        if ((!wantedName || service.name == *wantedName) && _known.insert(service).second)
            callCopyOf(onFound, service);
    }

    void removed(const ServiceName &service) {
        if (_known.erase(service) > 0)
            callCopyOf(onRemoved, service);
    }

    QString _type;
    std::set<ServiceName, ByServiceName> _known;
};

class FakeResolver final : public Resolver, public FakeObject {
public:
    using FakeObject::FakeObject;

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        _backend.watch();
        _service = service;
        ++_backend._resolveCounts[service];
        _timeout =
            RunLoop::current().performAfter(timeout, [this] { fail(QStringLiteral("timed out")); });
        _events.post([this] { answer(); });
    }

    void stop() override {
        _events.clear();
        _timeout.cancel();
        _service.reset();
    }

    void serviceChanged(const ServiceName &service, bool, bool) override {
        if (_service && *_service == service)
            _events.post([this] { answer(); });
    }

    void responderChanged(bool) override {
        if (_service)
            _events.post([this] { answer(); });
    }

    [[nodiscard]] const std::optional<ServiceName> &service() const { return _service; }

private:
    void answer() {
        if (!_service || !_backend.isAnswering())
            return;
        const QString refusal = reasonToRefuse(*_service);
        if (!refusal.isEmpty())
            return fail(refusal);
        const auto behaviour = _backend._answers.find(*_service);
        if (behaviour != _backend._answers.end()) {
            if (behaviour->second == FakeBackend::Answer::Failure)
                return fail(QStringLiteral("the responder refused"));
            if (behaviour->second == FakeBackend::Answer::Never)
                return;
        }
        const auto record = _network._records.find(*_service);
        if (record == _network._records.end() || record->second.endpoints.isEmpty())
            return;
        Resolved resolved{record->second.host + QStringLiteral(".local"), record->second.endpoints};
        sortEndpoints(resolved.endpoints);
        stop();
        callCopyOf(onResolved, resolved);
    }

    void fail(const QString &reason) {
        stop();
        callCopyOf(onFailed, reason);
    }

    std::optional<ServiceName> _service;
    RunLoop::Timer _timeout;
};

class FakeTxtWatch final : public TxtWatch, public FakeObject {
public:
    using FakeObject::FakeObject;

    void start(const ServiceName &service) override {
        stop();
        _backend.watch();
        _service = service;
        _events.post([this] { report(); });
    }

    void stop() override {
        _events.clear();
        _service.reset();
        _last.reset();
    }

    void serviceChanged(const ServiceName &service, bool, bool) override {
        if (_service && *_service == service)
            _events.post([this] { report(); });
    }

    void responderChanged(bool) override {
        if (_service)
            _events.post([this] { report(); });
    }

    [[nodiscard]] const std::optional<ServiceName> &service() const { return _service; }

private:
    void report() {
        if (!_service || !_backend.isAnswering())
            return;
        const auto record = _network._records.find(*_service);
        if (record == _network._records.end())
            return;
        const QByteArray txtRecord = record->second.txtRecord;
        if (_last == txtRecord)
            return;
        _last = txtRecord;
        callCopyOf(onTxtRecord, txtRecord);
    }

    std::optional<ServiceName> _service;
    std::optional<QByteArray> _last;
};

FakeBackend::FakeBackend()
    : FakeBackend(std::make_shared<FakeNetwork>(), QStringLiteral("this-host")) {}

FakeBackend::FakeBackend(std::shared_ptr<FakeNetwork> network, const QString &hostName)
    : _network(std::move(network))
    , _hostName(hostName) {}

FakeBackend::~FakeBackend() = default;

void FakeBackend::appear(const ServiceName &service, const QList<Endpoint> &endpoints,
                         const QByteArray &txtRecord) {
    const auto found = _network->_records.find(service);
    const bool isNew =
        found == _network->_records.end() || found->second.host != QStringLiteral("other-host");
    const quint16 port = endpoints.isEmpty() ? quint16(0) : endpoints.first().port;
    _network->_records[service] = {QStringLiteral("other-host"), port, endpoints, txtRecord};
    _network->changed(service, isNew, false);
}

void FakeBackend::vanish(const ServiceName &service) {
    if (_network->_records.erase(service) > 0)
        _network->changed(service, false, true);
}

void FakeBackend::changeTxtRecord(const ServiceName &service, const QByteArray &txtRecord) {
    const auto found = _network->_records.find(service);
    if (found == _network->_records.end())
        return;
    found->second.txtRecord = txtRecord;
    _network->changed(service, false, false);
}

void FakeBackend::reportAgain(const ServiceName &service) {
    for (FakeObject *object : _network->_objects) {
        auto *browser = dynamic_cast<FakeBrowser *>(object);
        if (browser && &browser->backend() == this)
            browser->reportAgain(service);
    }
}

void FakeBackend::setAnswer(const ServiceName &service, Answer answer) {
    _answers[service] = answer;
    _network->changed(service, false, false);
}

bool FakeBackend::isAnswering() const {
    return _availability == Availability::Starting || _availability == Availability::Running;
}

void FakeBackend::setAvailability(Availability availability) {
    if (_availability == availability)
        return;
    const bool wasAnswering = isAnswering();
    _availability = availability;
    for (FakeObject *object : _network->_objects) {
        if (&object->backend() == this)
            object->responderChanged(wasAnswering);
    }
    reportAvailability();
}

void FakeBackend::watch() {
    if (std::exchange(_watched, true))
        return;
    reportAvailability();
}

void FakeBackend::reportAvailability() {
    if (!_watched)
        return;
    // Taken when it is reported: the browsers' onLost are on their way before it.
    _report = RunLoop::current().performAfter(
        RunLoop::Seconds(0), [this] { callCopyOf(onAvailability, Availability(_availability)); });
}

Availability FakeBackend::availability() const {
    return _watched ? _availability : Availability::Unknown;
}

template <typename Kind>
std::vector<const Kind *> FakeBackend::objects() const {
    std::vector<const Kind *> result;
    for (const FakeObject *object : _network->_objects) {
        const auto *kind = dynamic_cast<const Kind *>(object);
        if (kind && &kind->backend() == this)
            result.push_back(kind);
    }
    return result;
}

QList<FakeBackend::Publication> FakeBackend::published() const {
    QList<Publication> result;
    for (const FakePublisher *publisher : objects<FakePublisher>()) {
        if (const auto publication = publisher->publication())
            result.append(*publication);
    }
    return result;
}

QStringList FakeBackend::browsedTypes() const {
    QStringList result;
    for (const FakeBrowser *browser : objects<FakeBrowser>()) {
        if (!browser->type().isEmpty())
            result.append(browser->type());
    }
    return result;
}

QList<ServiceName> FakeBackend::resolving() const {
    QList<ServiceName> result;
    for (const FakeResolver *resolver : objects<FakeResolver>()) {
        if (resolver->service())
            result.append(*resolver->service());
    }
    return result;
}

QList<ServiceName> FakeBackend::watchedTxtRecords() const {
    QList<ServiceName> result;
    for (const FakeTxtWatch *watch : objects<FakeTxtWatch>()) {
        if (watch->service())
            result.append(*watch->service());
    }
    return result;
}

int FakeBackend::resolveCount(const ServiceName &service) const {
    const auto found = _resolveCounts.find(service);
    return found == _resolveCounts.end() ? 0 : found->second;
}

std::unique_ptr<Publisher> FakeBackend::makePublisher() {
    return std::make_unique<FakePublisher>(*this);
}

std::unique_ptr<Browser> FakeBackend::makeBrowser() {
    return std::make_unique<FakeBrowser>(*this);
}

std::unique_ptr<Resolver> FakeBackend::makeResolver() {
    return std::make_unique<FakeResolver>(*this);
}

std::unique_ptr<TxtWatch> FakeBackend::makeTxtWatch() {
    return std::make_unique<FakeTxtWatch>(*this);
}

StreamPair FakeBackend::connectTo(const Resolved &resolved) {
    _connections.append(resolved);
    return connector ? connector(resolved) : StreamPair{};
}

QString FakeBackend::description() const {
    return QStringLiteral("a responder in memory, on %1").arg(_hostName);
}

} // namespace clipmule::dnssd
