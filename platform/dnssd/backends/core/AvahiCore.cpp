// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/core/AvahiCore.h"

#include "platform/dnssd/Log.h"
#include "platform/foundation/Log.h"

#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-core/log.h>

#include <cstring>
#include <memory>
#include <utility>

namespace clipmule::dnssd {

namespace {

/// The library's own lines are shorter.
constexpr qsizetype longestLine = 512;

void logFromLibrary(AvahiLogLevel level, const char *text) {
    // That avahi-daemon may start beside us is what we expect; the library calls it unreliable.
    // It quotes names and addresses from the network.
    const QString line = onOneLine(QString::fromUtf8(text), longestLine);
    if (level <= AVAHI_LOG_WARN && !std::strstr(text, "another IPv"))
        qCInfo(logDnsSd).noquote() << line;
    else
        qCDebug(logDnsSd).noquote() << line;
}

} // namespace

AvahiCore::~AvahiCore() {
    endServer();
}

void AvahiCore::begin() {
    if (std::exchange(_begun, true))
        return;
    _retry = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { makeServer(); });
}

QString AvahiCore::errorText() const {
    return QString::fromUtf8(avahi_strerror(avahi_server_errno(_server)));
}

QString AvahiCore::description() const {
    if (!_server && !_failure.isEmpty())
        return QStringLiteral("the built-in responder, which cannot start: %1").arg(_failure);
    if (_server && !_withHostName)
        return QStringLiteral("the built-in responder, without a host name of its own");
    return QStringLiteral("the built-in responder");
}

void AvahiCore::makeServer() {
    avahi_set_log_function(logFromLibrary);
    AvahiServerConfig config;
    avahi_server_config_init(&config);
    // No host name of our choice: avahi-daemon takes the same from the system, and two names for
    // one address exclude each other.
    config.publish_addresses = _withHostName ? 1 : 0;
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.publish_domain = 0;
    config.enable_wide_area = 0;
    int error = 0;
    _server = avahi_server_new(
        _poll.api(), &config,
        [](AvahiServer *, AvahiServerState state, void *self) {
            auto *core = static_cast<AvahiCore *>(self);
            core->_events.post([core, state] { core->stateChanged(state); });
        },
        this, &error);
    avahi_server_config_free(&config);
    if (!_server) {
        _events.clear();
        retryLater(QString::fromUtf8(avahi_strerror(error)));
        return;
    }
    _failure.clear();
    // Browsing and resolving need not wait for the host name.
    tellListeners();
}

void AvahiCore::endServer() {
    _events.clear();
    _running = false;
    if (!_server)
        return;
    for (Listener *listener : _listeners)
        listener->serverEnds();
    avahi_server_free(std::exchange(_server, nullptr));
}

void AvahiCore::stateChanged(AvahiServerState state) {
    switch (state) {
    case AVAHI_SERVER_RUNNING:
        _running = true;
        tellListeners();
        break;
    case AVAHI_SERVER_INVALID:
    case AVAHI_SERVER_REGISTERING:
        _running = false;
        tellListeners();
        break;
    case AVAHI_SERVER_COLLISION:
        _running = false;
        tellListeners();
        hostNameIsTaken();
        break;
    case AVAHI_SERVER_FAILURE: {
        const QString reason = errorText();
        endServer();
        retryLater(reason);
        break;
    }
    }
}

void AvahiCore::hostNameIsTaken() {
    const RunLoop::Seconds now = RunLoop::current().now();
    if (now - _lastCollision > collisionInterval)
        _collisions = 0;
    _lastCollision = now;
    if (++_collisions >= maximumHostNameCollisions) {
        qCInfo(logDnsSd, "the built-in responder leaves the host name to another one");
        endServer();
        _withHostName = false;
        makeServer();
        return;
    }
    const std::unique_ptr<char, decltype(&avahi_free)> name(
        avahi_alternative_host_name(avahi_server_get_host_name(_server)), avahi_free);
    if (avahi_server_set_host_name(_server, name.get()) < 0) {
        const QString reason = errorText();
        endServer();
        retryLater(reason);
    }
}

void AvahiCore::retryLater(const QString &reason) {
    if (_failure.isEmpty())
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("the built-in responder cannot start: %1").arg(reason);
    _failure = reason;
    _retry = RunLoop::current().performAfter(retryInterval, [this] { makeServer(); });
}

void AvahiCore::tellListeners() {
    for (Listener *listener : _listeners)
        listener->serverChanged();
}

} // namespace clipmule::dnssd
