// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/RecordingKeyboard.h"

namespace clipmule::kit {

namespace {

QString named(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

void RecordingKeyboard::inhibitLocalEvents(bool inhibit) {
    _calls.append(QStringLiteral("inhibitLocalEvents(%1)").arg(named(inhibit)));
}

void RecordingKeyboard::enableEventStateCombining(bool combine) {
    _calls.append(QStringLiteral("enableEventStateCombining(%1)").arg(named(combine)));
}

void RecordingKeyboard::setLocalEventsFilterDuringSuppressionState(quint32 filter, quint32 state) {
    _calls.append(QStringLiteral("setLocalEventsFilterDuringSuppressionState(%1, %2)")
                      .arg(filter)
                      .arg(state));
}

void RecordingKeyboard::postKeyboardEvent(quint16 character, quint16 virtualKey, bool keyDown) {
    _calls.append(QStringLiteral("postKeyboardEvent(%1, %2, %3)")
                      .arg(character)
                      .arg(virtualKey)
                      .arg(named(keyDown)));
}

} // namespace clipmule::kit
