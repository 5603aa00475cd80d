// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"

namespace clipmule {

/// The keyboard of a session in which no key strokes can be made. Says so once, at the first.
class NullKeyboardEvents final : public KeyboardEvents {
public:
    void inhibitLocalEvents(bool) override {}
    void enableEventStateCombining(bool) override {}
    void setLocalEventsFilterDuringSuppressionState(quint32, quint32) override {}
    void postKeyboardEvent(quint16 character, quint16 virtualKey, bool keyDown) override;
    [[nodiscard]] QString description() const override { return QStringLiteral("none"); }

private:
    bool _said = false;
};

} // namespace clipmule
