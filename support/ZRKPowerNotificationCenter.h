// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/ZRKNotificationCenter.h"

namespace clipmule {

class SystemPower;

/// A number as the object of a notification. Equal to every other of the same value, but not the
/// same sender.
class UnsignedNumber final : public Object {
public:
    explicit UnsignedNumber(quint32 value)
        : _value(value) {}

    [[nodiscard]] quint32 value() const { return _value; }
    [[nodiscard]] bool isEqual(const Object &other) const override;
    [[nodiscard]] QString description() const override { return QString::number(_value); }

private:
    quint32 _value;
};

/// Every power message, before the one below; its object is the message's number, an
/// UnsignedNumber.
inline const QString ZRKPowerStatusDidChange = QStringLiteral("ZRKPowerStatusDidChange");
// These are posted without an object.
inline const QString ZRKPowerStatusWillPowerOff = QStringLiteral("ZRKPowerStatusWillPowerOff");
inline const QString ZRKPowerStatusWillSleep = QStringLiteral("ZRKPowerStatusWillSleep");
inline const QString ZRKPowerStatusDidWake = QStringLiteral("ZRKPowerStatusDidWake");
inline const QString ZRKPowerStatusWillRestart = QStringLiteral("ZRKPowerStatusWillRestart");

/// Sleep and waking as notifications. Registered with the system exactly while somebody observes.
///
/// The system is allowed to go on as soon as the observers have returned: what has to be done
/// before sleep is done inside the notification.
class ZRKPowerNotificationCenter final : public ZRKNotificationCenter {
public:
    /// The shared instance.
    [[nodiscard]] static std::shared_ptr<ZRKPowerNotificationCenter> defaultCenter();

    /// The power service of the process, which the caller owns; null for none, which makes a
    /// silent hub. To be set before the first observer comes, and set to null before the service
    /// is destroyed. The previous service is deregistered from.
    static void setSystemPower(SystemPower *systemPower);

    ~ZRKPowerNotificationCenter() override;

protected:
    void didAddFirstObserver() override;
    void didRemoveLastObserver() override;

private:
    void powerDidChange(quint32 message, quint64 argument);

    // The service that we are registered with; null when that failed or nobody observes.
    SystemPower *_notifier = nullptr;
};

} // namespace clipmule
