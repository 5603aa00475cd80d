// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <avahi-common/watch.h>

#include <memory>
#include <vector>

namespace clipmule::dnssd {

/// Lets Avahi's core library wait on this thread's event loop for its sockets and its timers.
class AvahiPollAdapter final {
public:
    AvahiPollAdapter();
    ~AvahiPollAdapter();
    Q_DISABLE_COPY_MOVE(AvahiPollAdapter)

    /// The interface that the library wants; it lives as long as this object.
    [[nodiscard]] const AvahiPoll *api() const { return &_api; }

private:
    static AvahiPollAdapter &from(const AvahiPoll *api);
    static AvahiWatch *newWatch(const AvahiPoll *api, int descriptor, AvahiWatchEvent events,
                                AvahiWatchCallback callback, void *userData);
    static void updateWatch(AvahiWatch *watch, AvahiWatchEvent events);
    static AvahiWatchEvent watchEvents(AvahiWatch *watch);
    static void freeWatch(AvahiWatch *watch);
    static AvahiTimeout *newTimeout(const AvahiPoll *api, const timeval *time,
                                    AvahiTimeoutCallback callback, void *userData);
    static void updateTimeout(AvahiTimeout *timeout, const timeval *time);
    static void freeTimeout(AvahiTimeout *timeout);

    AvahiPoll _api{};
    std::vector<std::unique_ptr<AvahiWatch>> _watches;
    std::vector<std::unique_ptr<AvahiTimeout>> _timeouts;
};

} // namespace clipmule::dnssd
