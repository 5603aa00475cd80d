// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/power/SystemPower.h"

#include <QList>

namespace clipmule::kit {

/// A system whose power a test switches.
class FakeSystemPower final : public SystemPower {
public:
    /// Delivers a message at once and returns its token. To nobody when nobody is registered.
    quint64 send(quint32 message);
    quint64 send(PowerMessage message) { return send(quint32(message)); }

    /// Makes the registrations to come fail.
    void setRefusesRegistration(bool refuses) { _refuses = refuses; }
    [[nodiscard]] bool isRegistered() const { return bool(_callback); }
    [[nodiscard]] int registrationCount() const { return _registrationCount; }
    /// The tokens acknowledged so far, in order.
    [[nodiscard]] const QList<quint64> &allowed() const { return _allowed; }

    bool registerForSystemPower(Callback callback) override;
    void deregisterForSystemPower() override { _callback = nullptr; }
    void allowPowerChange(quint64 argument) override { _allowed.append(argument); }

private:
    Callback _callback;
    QList<quint64> _allowed;
    quint64 _lastToken = 0;
    int _registrationCount = 0;
    bool _refuses = false;
};

} // namespace clipmule::kit
