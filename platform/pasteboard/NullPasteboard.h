// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/pasteboard/StagedPasteboard.h"

namespace clipmule {

/// The pasteboard of a session without a clipboard that we can reach: always empty, and what is
/// written is gone. Says so once, at the first use.
class NullPasteboard final : public StagedPasteboard {
public:
    void commit() override;

protected:
    void publish() override;
    [[nodiscard]] bool ownsContents() const override { return false; }
    void willRead() const override;

private:
    void sayOnce() const;

    mutable bool _said = false;
};

} // namespace clipmule
