// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PasteboardFactory.h"

#include "platform/pasteboard/NullPasteboard.h"
#include "platform/pasteboard/Pasteboard_x11.h"

namespace clipmule {

std::unique_ptr<Pasteboard> makePasteboard(const std::shared_ptr<X11Connection> &connection,
                                           FindPasteboardAudience audience) {
    if (!connection || !hasX11PasteboardSupport(*connection))
        return std::make_unique<NullPasteboard>();
    auto pasteboard = std::make_unique<PasteboardX11>(connection, std::move(audience));
    pasteboard->start();
    return pasteboard;
}

} // namespace clipmule
