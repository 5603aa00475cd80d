// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"

namespace clipmule::kit {

/// Counts the pastes.
class RecordingKeyboard final : public KeyboardEvents {
public:
    [[nodiscard]] int pasteCount() const { return _pasteCount; }

    void paste() override { ++_pasteCount; }
    [[nodiscard]] QString description() const override { return how; }
    [[nodiscard]] QString obstacle() const override { return why; }

    QString how = QStringLiteral("recording");
    /// Why no key strokes can be made, or not for every window.
    QString why;

private:
    int _pasteCount = 0;
};

} // namespace clipmule::kit
