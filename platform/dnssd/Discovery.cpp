// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/Log.h"
#include "platform/dnssd/ServiceRules.h"

#include <QScopeGuard>

#include <optional>
#include <set>

namespace clipmule::dnssd {

/// What a client holds: it hands its task to an object of the responder in use, and again to one
/// of the next.
class AutoObject {
public:
    explicit AutoObject(AutoBackend &backend)
        : _backend(backend) {
        _backend._objects.push_back(this);
    }
    virtual ~AutoObject() { std::erase(_backend._objects, this); }
    AutoObject(const AutoObject &) = delete;
    AutoObject &operator=(const AutoObject &) = delete;

    /// Another responder is in use. The one so far may still serve for a while.
    virtual void move(bool formerServes) = 0;
    /// The responder in use is back after a loss.
    virtual void responderIsBack() {}

protected:
    void begin() { _backend.begin(); }
    [[nodiscard]] Backend &active() const { return _backend.active(); }

private:
    AutoBackend &_backend;
};

namespace {

class AutoPublisher final : public Publisher, public AutoObject {
public:
    using AutoObject::AutoObject;

    void start(const ServiceName &service, quint16 port, const QByteArray &txtRecord) override {
        stop();
        _service = service;
        _port = port;
        _txtRecord = txtRecord;
        _running = true;
        begin();
        startInner();
    }

    void setTxtRecord(const QByteArray &txtRecord) override {
        if (!_running)
            return;
        _txtRecord = txtRecord;
        _inner->setTxtRecord(txtRecord);
        if (_former)
            _former->setTxtRecord(txtRecord);
    }

    void stop() override {
        _running = false;
        _inner.reset();
        _former.reset();
        _overlap.cancel();
        _reported.reset();
        _published.reset();
    }

    void move(bool formerServes) override {
        if (!_running)
            return;
        if (formerServes) {
            _former = std::move(_inner);
            _formerName = _published;
            _former->onPublished = {};
            _former->onError = {};
            _overlap = RunLoop::current().performAfter(AutoBackend::announcementOverlap,
                                                       [this] { endOverlap(); });
        }
        startInner();
    }

private:
    void startInner() {
        _published.reset();
        _inner = active().makePublisher();
        _inner->onPublished = [this](const QString &name) {
            _published = name;
            if (_reported == name)
                return;
            _reported = name;
            callCopyOf(onPublished, name);
        };
        _inner->onError = [this](const QString &reason) { callCopyOf(onError, reason); };
        _inner->start(_service, _port, _txtRecord);
    }

    void endOverlap() {
        _former.reset();
        // The two are one host, and share a name; should they not agree about the host's name,
        // the new one has given way to the other. Now there is no need to.
        if (_published && _formerName && *_published != *_formerName)
            startInner();
    }

    ServiceName _service;
    quint16 _port = 0;
    QByteArray _txtRecord;
    bool _running = false;
    std::unique_ptr<Publisher> _inner;
    std::unique_ptr<Publisher> _former;
    RunLoop::Timer _overlap;
    std::optional<QString> _published; // by the inner one
    std::optional<QString> _formerName;
    std::optional<QString> _reported;
};

class AutoBrowser final : public Browser, public AutoObject {
public:
    using AutoObject::AutoObject;

    void start(const QString &type) override {
        stop();
        _type = type;
        _running = true;
        begin();
        startInner();
    }

    void stop() override {
        _running = false;
        _inner.reset();
        _known.clear();
        _unconfirmed.clear();
        _events.clear();
        _settling.cancel();
        _toldAllForNow = false;
    }

    void move(bool) override {
        if (!_running)
            return;
        doubtAll();
        startInner();
        settleWithin(AutoBackend::patienceWithoutFirstAnswers);
    }

    void responderIsBack() override {
        if (_running && !_unconfirmed.empty())
            settleWithin(AutoBackend::patienceWithoutFirstAnswers);
    }

private:
    void startInner() {
        _inner = active().makeBrowser();
        _inner->wantedName = wantedName;
        _inner->onFound = [this](const ServiceName &service) {
            _unconfirmed.erase(service);
            if (_known.insert(service).second)
                callCopyOf(onFound, service);
        };
        _inner->onRemoved = [this](const ServiceName &service) { removed(service); };
        _inner->onAllForNow = [this] {
            if (_settling.isPending())
                settleWithin(AutoBackend::patienceAfterFirstAnswers);
            if (!std::exchange(_toldAllForNow, true))
                callCopyOf(onAllForNow);
        };
        _inner->onLost = [this] { doubtAll(); };
        _inner->start(_type);
    }

    void doubtAll() {
        _unconfirmed = _known;
        _settling.cancel();
    }

    void removed(const ServiceName &service) {
        _unconfirmed.erase(service);
        if (_known.erase(service) > 0)
            callCopyOf(onRemoved, service);
    }

    void settleWithin(RunLoop::Seconds patience) {
        RunLoop &runLoop = RunLoop::current();
        const RunLoop::Seconds end = runLoop.now() + patience;
        if (_settling.isPending() && _settlingEnd <= end)
            return;
        _settlingEnd = end;
        _settling = runLoop.performAfter(patience, [this] { settle(); });
    }

    void settle() {
        // One at a time: the client may stop or destroy this at each.
        for (const ServiceName &service : _unconfirmed)
            _events.post([this, service] {
                if (_unconfirmed.contains(service))
                    removed(service);
            });
    }

    QString _type;
    bool _running = false;
    std::unique_ptr<Browser> _inner;
    std::set<ServiceName, ByServiceName> _known;
    // Known from before a loss or a switch, not seen again yet.
    std::set<ServiceName, ByServiceName> _unconfirmed;
    EventQueue _events;
    RunLoop::Timer _settling;
    RunLoop::Seconds _settlingEnd{0};
    bool _toldAllForNow = false;
};

class AutoResolver final : public Resolver, public AutoObject {
public:
    using AutoObject::AutoObject;

    void start(const ServiceName &service, RunLoop::Seconds timeout) override {
        stop();
        _service = service;
        _deadline = RunLoop::current().now() + timeout;
        begin();
        startInner();
    }

    void stop() override { _inner.reset(); }

    void move(bool) override {
        if (_inner)
            startInner();
    }

private:
    void startInner() {
        _inner = active().makeResolver();
        _inner->onResolved = [this](const Resolved &resolved) {
            _inner.reset();
            callCopyOf(onResolved, resolved);
        };
        _inner->onFailed = [this](const QString &reason) {
            _inner.reset();
            callCopyOf(onFailed, reason);
        };
        const RunLoop::Seconds left = _deadline - RunLoop::current().now();
        _inner->start(_service, std::max(left, RunLoop::Seconds(0)));
    }

    ServiceName _service;
    RunLoop::Seconds _deadline{0};
    std::unique_ptr<Resolver> _inner;
};

class AutoTxtWatch final : public TxtWatch, public AutoObject {
public:
    using AutoObject::AutoObject;

    void start(const ServiceName &service) override {
        stop();
        _service = service;
        begin();
        startInner();
    }

    void stop() override {
        _inner.reset();
        _last.reset();
    }

    void move(bool) override {
        if (_inner)
            startInner();
    }

private:
    void startInner() {
        _inner = active().makeTxtWatch();
        _inner->onTxtRecord = [this](const QByteArray &txtRecord) {
            if (_last == txtRecord)
                return;
            _last = txtRecord;
            callCopyOf(onTxtRecord, txtRecord);
        };
        _inner->start(_service);
    }

    ServiceName _service;
    std::optional<QByteArray> _last;
    std::unique_ptr<TxtWatch> _inner;
};

} // namespace

AutoBackend::AutoBackend(std::unique_ptr<WatchedBackend> preferred, MakeBackend makeFallback)
    : _preferred(std::move(preferred))
    , _makeFallback(std::move(makeFallback)) {}

AutoBackend::~AutoBackend() = default;

Backend &AutoBackend::active() const {
    return _onFallback ? *_fallback : *_preferred;
}

void AutoBackend::begin() {
    if (std::exchange(_begun, true))
        return;
    _preferred->onAvailability = [this](Availability availability) {
        availabilityChanged(availability);
    };
    // Also for one that says nothing at all.
    _loss = RunLoop::current().performAfter(patienceWithLoss, [this] { useFallback(); });
    _preferred->watch();
}

void AutoBackend::availabilityChanged(Availability availability) {
    const auto tell = qScopeGuard([this] { descriptionChanged(); });
    switch (availability) {
    case Availability::Unknown:
        break;
    case Availability::Absent:
        if (_onFallback)
            break;
        if (!_hasAnswered)
            useFallback();
        else
            _loss = RunLoop::current().performAfter(patienceWithLoss, [this] { useFallback(); });
        break;
    case Availability::Starting:
    case Availability::Running:
        _hasAnswered = true;
        if (_onFallback) {
            // One that starts cannot announce yet.
            if (availability == Availability::Running)
                usePreferred();
            break;
        }
        _loss.cancel();
        for (AutoObject *object : _objects)
            object->responderIsBack();
        break;
    }
}

void AutoBackend::useFallback() {
    _loss.cancel();
    _release.cancel();
    if (!_fallback)
        _fallback = _makeFallback();
    _onFallback = true;
    qCInfo(logDnsSd).noquote() << QStringLiteral("using %1").arg(_fallback->description());
    for (AutoObject *object : _objects)
        object->move(false);
    descriptionChanged();
}

void AutoBackend::descriptionChanged() {
    if (onDescriptionChange)
        onDescriptionChange();
}

void AutoBackend::usePreferred() {
    _onFallback = false;
    qCInfo(logDnsSd).noquote() << QStringLiteral("using %1").arg(_preferred->description());
    for (AutoObject *object : _objects)
        object->move(true);
    _release = RunLoop::current().performAfter(fallbackRelease, [this] { _fallback.reset(); });
}

std::unique_ptr<Publisher> AutoBackend::makePublisher() {
    return std::make_unique<AutoPublisher>(*this);
}

std::unique_ptr<Browser> AutoBackend::makeBrowser() {
    return std::make_unique<AutoBrowser>(*this);
}

std::unique_ptr<Resolver> AutoBackend::makeResolver() {
    return std::make_unique<AutoResolver>(*this);
}

std::unique_ptr<TxtWatch> AutoBackend::makeTxtWatch() {
    return std::make_unique<AutoTxtWatch>(*this);
}

StreamPair AutoBackend::connectTo(const Resolved &resolved) {
    return active().connectTo(resolved);
}

QString AutoBackend::description() const {
    if (!_onFallback)
        return _preferred->description();
    return QStringLiteral("%1 (%2)").arg(_fallback->description(), _preferred->description());
}

} // namespace clipmule::dnssd
