// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/windows/ActiveApplication.h"

namespace clipmule::kit {

/// Says what a test tells it to.
class FakeActiveApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return current; }
    std::optional<QString> current;
};

} // namespace clipmule::kit
