// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/EventQueue.h"
#include "platform/dnssd/backends/core/AvahiPollAdapter.h"

#include <QString>

#include <avahi-core/core.h>
#include <vector>

namespace clipmule::dnssd {

/// The responder of Avahi's core library in this process, kept running.
///
/// The library calls back from inside our calls, and must not be called back from its callbacks
/// with what frees them. So nothing here or in what stands on it does more in such a callback than
/// to post an event for the next turn of the run loop.
class AvahiCore final {
public:
    /// Whoever holds objects of the server.
    class Listener {
    public:
        Listener() = default;
        virtual ~Listener() = default;
        Listener(const Listener &) = delete;
        Listener &operator=(const Listener &) = delete;
        /// The server is about to go: its objects must be freed now. Nothing else may happen.
        virtual void serverEnds() = 0;
        /// There is a server, or whether it runs has changed. No call to a client.
        virtual void serverChanged() = 0;
    };

    static constexpr RunLoop::Seconds retryInterval{5.0};
    /// Another responder of this machine that calls it by another name makes both change their
    /// names again and again, because an address has one name only. After so many changes, not
    /// further apart than the interval, we leave the host's name and addresses to the other.
    static constexpr int maximumHostNameCollisions = 3;
    static constexpr RunLoop::Seconds collisionInterval{60.0};

    AvahiCore() = default;
    ~AvahiCore();
    AvahiCore(const AvahiCore &) = delete;
    AvahiCore &operator=(const AvahiCore &) = delete;

    /// Makes the server on the next turn of the run loop; only the first call does.
    void begin();
    /// Null when there is none.
    [[nodiscard]] AvahiServer *server() const { return _server; }
    /// It has made sure of its host name: services can be published.
    [[nodiscard]] bool isRunning() const { return _running; }
    [[nodiscard]] QString errorText() const;
    [[nodiscard]] QString description() const;

    void addListener(Listener &listener) { _listeners.push_back(&listener); }
    void removeListener(Listener &listener) { std::erase(_listeners, &listener); }

private:
    void makeServer();
    void endServer();
    void stateChanged(AvahiServerState state);
    void hostNameIsTaken();
    void retryLater(const QString &reason);
    void tellListeners();

    AvahiPollAdapter _poll;
    AvahiServer *_server = nullptr;
    bool _begun = false;
    bool _running = false;
    bool _withHostName = true;
    int _collisions = 0;
    RunLoop::Seconds _lastCollision{0};
    QString _failure;
    EventQueue _events;
    RunLoop::Timer _retry;
    std::vector<Listener *> _listeners;
};

} // namespace clipmule::dnssd
