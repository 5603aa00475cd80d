// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Served.h"
#include "tests/kit/TestCompositor.h"
#include "tests/pasteboard/Fetching.h"

namespace clipmule::kit {

/// What a test works with: a compositor, the pasteboard, and a clock that stands still until it is
/// advanced.
struct WaylandDesktop {
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
        if (!served(*connection))
            qWarning("the compositor does not answer");
    }

    bool fetchBegins() { return kit::fetchBegins(*pasteboard, runLoop); }
    bool fetchEnds() { return kit::fetchEnds(*pasteboard, runLoop); }
};

} // namespace clipmule::kit
