// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard.h"

#include "platform/pasteboard/backends/null/NullPasteboard.h"
#include "platform/pasteboard/backends/x11/X11Pasteboard.h"
#include "platform/session/Session.h"

#include <utility>

namespace clipmule {

std::unique_ptr<Pasteboard> makePasteboard(const Session &session,
                                           FindPasteboardAudience audience) {
    if (!session.x11 || !hasX11PasteboardSupport(*session.x11))
        return std::make_unique<NullPasteboard>();
    auto pasteboard = std::make_unique<X11Pasteboard>(session.x11, std::move(audience));
    pasteboard->start();
    return pasteboard;
}

} // namespace clipmule
