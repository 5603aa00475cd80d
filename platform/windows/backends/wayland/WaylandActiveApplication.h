// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/wayland/WaylandToplevels.h"
#include "platform/windows/KnownPrograms.h"

#include <memory>
#include <utility>

namespace clipmule {

/// The window that a Wayland compositor calls active, by the one name that it tells.
class WaylandActiveApplication final : public ActiveApplication {
public:
    WaylandActiveApplication(std::unique_ptr<WaylandToplevels> toplevels, KnownPrograms programs)
        : _toplevels(std::move(toplevels))
        , _programs(std::move(programs)) {
        _toplevels->onChange = [this] {
            if (onChange)
                onChange();
        };
    }

    [[nodiscard]] std::optional<QString> identifier() const override {
        return _programs.identifier(names());
    }
    /// Nothing is pasted into a window that pastes the selection: that is another's, and not ours
    /// to set.
    [[nodiscard]] Pasting pasting() const override;

private:
    [[nodiscard]] WindowNames names() const {
        return {.toolkitIdentifier = _toplevels->active().value_or(QString())};
    }

    std::unique_ptr<WaylandToplevels> _toplevels;
    KnownPrograms _programs;
};

} // namespace clipmule
