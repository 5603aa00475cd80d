// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCompositor.h"

namespace clipmule::kit {

/// What a test works with: a compositor, the pasteboard, and a clock that stands still until it is
/// advanced.
struct WaylandDesktop : private WaylandObserver {
    ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    TestCompositor compositor;
    std::shared_ptr<WaylandConnection> connection;
    std::unique_ptr<WaylandPasteboard> pasteboard;

    explicit WaylandDesktop(const TestCompositor::Offers &offers = {},
                            FindPasteboardAudience audience = {})
        : compositor(offers) {
        qputenv("WAYLAND_DISPLAY", compositor.display());
        connection = WaylandConnection::open();
        pasteboard = std::make_unique<WaylandPasteboard>(WaylandDataControl::make(connection),
                                                         std::move(audience));
        pasteboard->setWatching(true);
        settle();
    }

    // Everything that the compositor has sent until now was heard; no time has passed on the manual
    // clock.
    void settle() {
        bool isServed = false;
        connection->whenServed(this, [&] { isServed = true; });
        if (!await([&] { return isServed || connection->isLost(); }))
            qWarning("the compositor does not answer");
    }

    // The owner is asked at once, or when it has settled.
    bool fetchBegins() {
        if (!await([this] { return pasteboard->isFetching(); }))
            return false;
        runLoop.advance(std::min(runLoop.timeToNext(), PasteboardHistory::settleTime));
        return true;
    }

    // Another application has taken the clipboard: everything until its contents are there.
    bool fetchEnds() {
        return fetchBegins() && await([this] { return !pasteboard->isFetching(); });
    }
};

} // namespace clipmule::kit
