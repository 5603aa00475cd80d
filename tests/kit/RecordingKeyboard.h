// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/keyboard/KeyboardEvents.h"

#include <QStringList>

namespace clipmule::kit {

/// Writes down each call as it would stand in a program: "postKeyboardEvent(118, 9, true)".
class RecordingKeyboard final : public KeyboardEvents {
public:
    [[nodiscard]] const QStringList &calls() const { return _calls; }
    void clear() { _calls.clear(); }

    void inhibitLocalEvents(bool inhibit) override;
    void enableEventStateCombining(bool combine) override;
    void setLocalEventsFilterDuringSuppressionState(quint32 filter, quint32 state) override;
    void postKeyboardEvent(quint16 character, quint16 virtualKey, bool keyDown) override;
    [[nodiscard]] QString description() const override { return QStringLiteral("recording"); }

private:
    QStringList _calls;
};

} // namespace clipmule::kit
