// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/StagedPasteboard.h"

namespace clipmule {

/// The pasteboard of a session without a clipboard that we can reach: always empty. Says so
/// once, at the first use; and as what is written would be gone, commit() throws, so that whoever
/// sent it is not told that it was pasted.
class NullPasteboard final : public StagedPasteboard {
public:
    void commit() override;
    [[nodiscard]] QString description() const override { return QStringLiteral("none"); }

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return false; }
    void willRead() const override;

private:
    void sayOnce() const;

    mutable bool _said = false;
};

} // namespace clipmule
