// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "model/ClipNotice.h"

namespace clipmule {

/// Writes messages for the user to the log, where there is nowhere to show them.
class LoggedNotice final : public ClipNotice {
public:
    void displayMessage(const QString &text) override;
};

} // namespace clipmule
