// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/mutter/MutterDataControl.h"
#include "platform/pasteboard/backends/wayland/WaylandPasteboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/FakeMutter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/pasteboard/Fetching.h"
#include "tests/services/PrivateBus.h"

namespace clipmule::kit {

/// What a test works with: GNOME's compositor on a private bus, the pasteboard, and a clock that
/// stands still until it is advanced.
struct MutterDesktop {
    ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    PrivateBus &bus = PrivateBus::running();
    std::optional<FakeMutter> mutter;
    std::shared_ptr<MutterConnection> connection;
    std::unique_ptr<WaylandPasteboard> pasteboard;

    explicit MutterDesktop(FindPasteboardAudience audience = {},
                           const FakeMutter::Contents &before = {}) {
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
        mutter.emplace(bus.address());
        mutter->appear();
        if (!before.isEmpty())
            mutter->copy(before);
        connection = MutterConnection::open();
        pasteboard = std::make_unique<WaylandPasteboard>(
            std::make_unique<MutterDataControl>(connection), std::move(audience));
        pasteboard->setWatching(true);
        settle();
    }

    void settle() { FakeMutter::settle(*connection); }

    bool fetchBegins() { return kit::fetchBegins(*pasteboard, runLoop); }
    bool fetchEnds() { return kit::fetchEnds(*pasteboard, runLoop); }
};

} // namespace clipmule::kit
