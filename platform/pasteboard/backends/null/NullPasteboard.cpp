// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/null/NullPasteboard.h"
#include "platform/pasteboard/Log.h"

#include "platform/foundation/PlatformException.h"

namespace clipmule {

void NullPasteboard::commit() {
    sayOnce();
    StagedPasteboard::commit();
    throw PlatformException(QStringLiteral("PasteboardFailure"),
                            QStringLiteral("there is no clipboard in this session"));
}

void NullPasteboard::publish() {
    setContents({});
}

void NullPasteboard::willRead() const {
    sayOnce();
}

void NullPasteboard::sayOnce() const {
    if (_said)
        return;
    _said = true;
    qCWarning(logPasteboard, "no clipboard can be reached in this session: nothing is copied from "
                             "or to it");
}

} // namespace clipmule
