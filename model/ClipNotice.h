// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

namespace clipmule {

/// Shows the user a short message, for a few seconds, without asking anything.
class ClipNotice {
public:
    ClipNotice() = default;
    virtual ~ClipNotice() = default;
    ClipNotice(const ClipNotice &) = delete;
    ClipNotice &operator=(const ClipNotice &) = delete;

    /// The text is already in the user's language.
    virtual void displayMessage(const QString &text) = 0;
};

} // namespace clipmule
