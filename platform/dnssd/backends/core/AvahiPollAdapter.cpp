// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/core/AvahiPollAdapter.h"

#include "platform/foundation/RunLoop.h"

#include <QSocketNotifier>

#include <algorithm>
#include <poll.h>

// The library leaves these two names to whoever runs its loop.

struct AvahiWatch {
    using Notifier = std::unique_ptr<QSocketNotifier, void (*)(QSocketNotifier *)>;

    AvahiWatch(clipmule::dnssd::AvahiPollAdapter &owner, int fileDescriptor)
        : adapter(owner)
        , descriptor(fileDescriptor)
        , reading(makeNotifier(QSocketNotifier::Read))
        , writing(makeNotifier(QSocketNotifier::Write)) {}

    [[nodiscard]] Notifier makeNotifier(QSocketNotifier::Type type) {
        // A watch may be freed from its own callback, inside the notifier's signal.
        const auto discard = [](QSocketNotifier *notifier) {
            notifier->setEnabled(false);
            notifier->disconnect();
            notifier->deleteLater();
        };
        auto notifier = std::make_unique<QSocketNotifier>(descriptor, type);
        notifier->setEnabled(false);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                         [this] { dispatch(); });
        return {notifier.release(), discard};
    }

    void want(AvahiWatchEvent events) {
        wanted = events;
        reading->setEnabled((events & AVAHI_WATCH_IN) != 0);
        writing->setEnabled((events & AVAHI_WATCH_OUT) != 0);
    }

    void dispatch() {
        // A notifier tells "something to read" for an error as well; the library wants to know.
        pollfd state{descriptor, short(wanted), 0};
        if (poll(&state, 1, 0) <= 0 || state.revents == 0)
            return;
        const std::weak_ptr<bool> stillThere = alive;
        happened = AvahiWatchEvent(state.revents);
        callback(this, descriptor, happened, userData);
        if (!stillThere.expired())
            happened = AvahiWatchEvent(0);
    }

    clipmule::dnssd::AvahiPollAdapter &adapter;
    const int descriptor;
    AvahiWatchEvent wanted = AvahiWatchEvent(0);
    AvahiWatchEvent happened = AvahiWatchEvent(0);
    AvahiWatchCallback callback = nullptr;
    void *userData = nullptr;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
    Notifier reading;
    Notifier writing;
};

struct AvahiTimeout {
    explicit AvahiTimeout(clipmule::dnssd::AvahiPollAdapter &owner)
        : adapter(owner) {}

    void schedule(const timeval *time) {
        timer.cancel();
        if (!time)
            return;
        clipmule::RunLoop &runLoop = clipmule::RunLoop::current();
        const double due = double(time->tv_sec) + double(time->tv_usec) / 1e6;
        const double now =
            runLoop.wallClock().secondsSinceReference + clipmule::Date::unixTimeOfReference;
        timer = runLoop.performAfter(clipmule::RunLoop::Seconds(std::max(due - now, 0.0)),
                                     [this] { callback(this, userData); });
    }

    clipmule::dnssd::AvahiPollAdapter &adapter;
    AvahiTimeoutCallback callback = nullptr;
    void *userData = nullptr;
    clipmule::RunLoop::Timer timer;
};

namespace clipmule::dnssd {

AvahiPollAdapter::AvahiPollAdapter() {
    _api.userdata = this;
    _api.watch_new = newWatch;
    _api.watch_update = updateWatch;
    _api.watch_get_events = watchEvents;
    _api.watch_free = freeWatch;
    _api.timeout_new = newTimeout;
    _api.timeout_update = updateTimeout;
    _api.timeout_free = freeTimeout;
}

AvahiPollAdapter::~AvahiPollAdapter() = default;

AvahiPollAdapter &AvahiPollAdapter::from(const AvahiPoll *api) {
    return *static_cast<AvahiPollAdapter *>(api->userdata);
}

AvahiWatch *AvahiPollAdapter::newWatch(const AvahiPoll *api, int descriptor, AvahiWatchEvent events,
                                       AvahiWatchCallback callback, void *userData) {
    AvahiPollAdapter &adapter = from(api);
    auto watch = std::make_unique<AvahiWatch>(adapter, descriptor);
    watch->callback = callback;
    watch->userData = userData;
    watch->want(events);
    return adapter._watches.emplace_back(std::move(watch)).get();
}

void AvahiPollAdapter::updateWatch(AvahiWatch *watch, AvahiWatchEvent events) {
    watch->want(events);
}

AvahiWatchEvent AvahiPollAdapter::watchEvents(AvahiWatch *watch) {
    return watch->happened;
}

void AvahiPollAdapter::freeWatch(AvahiWatch *watch) {
    std::erase_if(watch->adapter._watches, [watch](const auto &own) { return own.get() == watch; });
}

AvahiTimeout *AvahiPollAdapter::newTimeout(const AvahiPoll *api, const timeval *time,
                                           AvahiTimeoutCallback callback, void *userData) {
    AvahiPollAdapter &adapter = from(api);
    auto timeout = std::make_unique<AvahiTimeout>(adapter);
    timeout->callback = callback;
    timeout->userData = userData;
    timeout->schedule(time);
    return adapter._timeouts.emplace_back(std::move(timeout)).get();
}

void AvahiPollAdapter::updateTimeout(AvahiTimeout *timeout, const timeval *time) {
    timeout->schedule(time);
}

void AvahiPollAdapter::freeTimeout(AvahiTimeout *timeout) {
    std::erase_if(timeout->adapter._timeouts,
                  [timeout](const auto &own) { return own.get() == timeout; });
}

} // namespace clipmule::dnssd
