// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/core/AvahiPollAdapter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <sys/socket.h>
#include <unistd.h>

using namespace clipmule;
using namespace clipmule::dnssd;

namespace {

/// What the library would hand in as user data.
struct Seen {
    const AvahiPoll *api = nullptr;
    bool freesInCallback = false;
    int calls = 0;
    AvahiWatchEvent events = AvahiWatchEvent(0);
    AvahiWatchEvent eventsAskedInCallback = AvahiWatchEvent(0);
};

void onWatch(AvahiWatch *watch, int descriptor, AvahiWatchEvent events, void *userData) {
    auto *seen = static_cast<Seen *>(userData);
    ++seen->calls;
    seen->events = events;
    seen->eventsAskedInCallback = seen->api->watch_get_events(watch);
    char byte = 0;
    if ((events & AVAHI_WATCH_IN) != 0)
        (void)!read(descriptor, &byte, 1);
    if (seen->freesInCallback)
        seen->api->watch_free(watch);
}

void onTimeout(AvahiTimeout *timeout, void *userData) {
    auto *seen = static_cast<Seen *>(userData);
    ++seen->calls;
    if (seen->freesInCallback)
        seen->api->timeout_free(timeout);
}

} // namespace

class AvahiPollTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM, 0, _ends), 0); }

    void end() override {
        for (int &end : _ends) {
            if (end >= 0)
                ::close(end);
            end = -1;
        }
    }

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    int _ends[2] = {-1, -1};

    /// That long from now, on the wall clock of the run loop.
    [[nodiscard]] timeval in(double seconds) const {
        const double time =
            _loop.wallClock().secondsSinceReference + Date::unixTimeOfReference + seconds;
        return {time_t(time), suseconds_t((time - double(time_t(time))) * 1e6)};
    }

private Q_SLOTS:
    void aWatchTellsWhatHappenedAndOnlyWhatIsWanted() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api()};
        AvahiWatch *watch =
            adapter.api()->watch_new(adapter.api(), _ends[0], AVAHI_WATCH_IN, onWatch, &seen);
        QCoreApplication::processEvents();
        QCOMPARE(seen.calls, 0);
        QCOMPARE(write(_ends[1], "ab", 2), ssize_t(2));
        QTRY_COMPARE(seen.calls, 2); // as long as something is left
        QCOMPARE(int(seen.events), int(AVAHI_WATCH_IN));
        QCOMPARE(int(seen.eventsAskedInCallback), int(AVAHI_WATCH_IN));
        QCOMPARE(int(adapter.api()->watch_get_events(watch)), 0); // nothing outside of it
        adapter.api()->watch_update(watch, AVAHI_WATCH_OUT);
        QTRY_VERIFY(seen.calls > 2);
        QCOMPARE(int(seen.events), int(AVAHI_WATCH_OUT));
        adapter.api()->watch_update(watch, AvahiWatchEvent(0));
        const int calls = seen.calls;
        QCOMPARE(write(_ends[1], "c", 1), ssize_t(1));
        for (int turn = 0; turn < 10; ++turn)
            QCoreApplication::processEvents();
        QCOMPARE(seen.calls, calls);
        adapter.api()->watch_free(watch);
    }

    void theOtherEndsCloseIsAHangUp() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api(), .freesInCallback = true};
        adapter.api()->watch_new(adapter.api(), _ends[0], AVAHI_WATCH_IN, onWatch, &seen);
        ::close(_ends[1]);
        _ends[1] = -1;
        QTRY_COMPARE(seen.calls, 1);
        QVERIFY((seen.events & AVAHI_WATCH_HUP) != 0);
    }

    void aWatchMayBeFreedInItsCallback() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api(), .freesInCallback = true};
        adapter.api()->watch_new(adapter.api(), _ends[0], AVAHI_WATCH_IN, onWatch, &seen);
        QCOMPARE(write(_ends[1], "ab", 2), ssize_t(2));
        QTRY_COMPARE(seen.calls, 1);
        for (int turn = 0; turn < 10; ++turn)
            QCoreApplication::processEvents();
        QCOMPARE(seen.calls, 1);
    }

    void aTimeoutFiresOnceAtItsTime() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api()};
        const timeval time = in(2);
        AvahiTimeout *timeout = adapter.api()->timeout_new(adapter.api(), &time, onTimeout, &seen);
        _loop.advance(1.99);
        QCOMPARE(seen.calls, 0);
        _loop.advance(0.02);
        QCOMPARE(seen.calls, 1);
        _loop.advance(10);
        QCOMPARE(seen.calls, 1);
        adapter.api()->timeout_free(timeout);
    }

    void aTimeoutCanBePutOffAndCancelled() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api()};
        AvahiTimeout *timeout =
            adapter.api()->timeout_new(adapter.api(), nullptr, onTimeout, &seen);
        _loop.advance(10);
        QCOMPARE(seen.calls, 0);
        timeval time = in(1);
        adapter.api()->timeout_update(timeout, &time);
        _loop.advance(0.5);
        time = in(1);
        adapter.api()->timeout_update(timeout, &time);
        _loop.advance(0.9);
        QCOMPARE(seen.calls, 0);
        _loop.advance(0.2);
        QCOMPARE(seen.calls, 1);
        time = in(-5); // long over: as soon as possible, but not from inside the call
        adapter.api()->timeout_update(timeout, &time);
        QCOMPARE(seen.calls, 1);
        _loop.runOnce();
        QCOMPARE(seen.calls, 2);
        time = in(1);
        adapter.api()->timeout_update(timeout, &time);
        adapter.api()->timeout_update(timeout, nullptr);
        _loop.advance(10);
        QCOMPARE(seen.calls, 2);
        adapter.api()->timeout_free(timeout);
    }

    void aTimeoutMayBeFreedInItsCallback() {
        AvahiPollAdapter adapter;
        Seen seen{.api = adapter.api(), .freesInCallback = true};
        const timeval time = in(1);
        adapter.api()->timeout_new(adapter.api(), &time, onTimeout, &seen);
        _loop.advance(2);
        QCOMPARE(seen.calls, 1);
        QCOMPARE(_loop.pendingCount(), 0);
    }
};

QTEST_GUILESS_MAIN(AvahiPollTest)
#include "tst_avahipoll.moc"
