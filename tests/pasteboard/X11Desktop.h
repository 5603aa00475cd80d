// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/backends/x11/X11Pasteboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/pasteboard/Fetching.h"
#include "tests/pasteboard/SampleContents.h"

namespace clipmule::kit {

/// What a test works with: the pasteboard, and a clock that stands still until it is advanced.
struct X11Desktop {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    std::shared_ptr<X11Connection> connection = X11Connection::open();
    std::unique_ptr<X11Pasteboard> pasteboard;

    explicit X11Desktop(FindPasteboardAudience audience = {}) {
        if (!hasX11PasteboardSupport(*connection))
            qFatal("this display server has no XFixes");
        pasteboard = std::make_unique<X11Pasteboard>(connection, std::move(audience));
        pasteboard->start();
        pasteboard->setWatching(true);
        settle();
    }

    // Lets everything happen that is under way, without any time passing on the manual clock: the
    // server has answered a request made after all others.
    void settle() {
        for (int round = 0; round < 3; ++round) {
            (void)connection->reply(xcb_get_input_focus_reply,
                                    xcb_get_input_focus(connection->xcb()));
            QCoreApplication::processEvents();
        }
    }

    bool fetchBegins() { return kit::fetchBegins(*pasteboard, runLoop); }
    bool fetchEnds() { return kit::fetchEnds(*pasteboard, runLoop); }
};

} // namespace clipmule::kit
