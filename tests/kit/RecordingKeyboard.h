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
    [[nodiscard]] QString description() const override { return QStringLiteral("recording"); }
    [[nodiscard]] QString obstacle() const override { return why; }

    /// Why no key strokes can be made.
    QString why;

private:
    int _pasteCount = 0;
};

} // namespace clipmule::kit
