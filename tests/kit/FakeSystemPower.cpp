// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeSystemPower.h"

namespace clipmule::kit {

quint64 FakeSystemPower::send(quint32 message) {
    const quint64 token = ++_lastToken;
    // A copy: the callee may deregister.
    if (const Callback callback = _callback)
        callback(message, token);
    return token;
}

bool FakeSystemPower::registerForSystemPower(Callback callback) {
    if (_refuses)
        return false;
    ++_registrationCount;
    _callback = std::move(callback);
    return true;
}

} // namespace clipmule::kit
