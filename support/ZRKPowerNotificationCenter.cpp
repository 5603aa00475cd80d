// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKPowerNotificationCenter.h"

#include "platform/power/SystemPower.h"

#include <QScopeGuard>

#include <utility>

namespace clipmule {

namespace {
SystemPower *kernelPort = nullptr;
} // namespace

bool UnsignedNumber::isEqual(const Object &other) const {
    const auto *number = dynamic_cast<const UnsignedNumber *>(&other);
    return number && number->_value == _value;
}

std::shared_ptr<ZRKPowerNotificationCenter> ZRKPowerNotificationCenter::defaultCenter() {
    return sharedInstance<ZRKPowerNotificationCenter>(
        [] { return std::make_shared<ZRKPowerNotificationCenter>(); });
}

void ZRKPowerNotificationCenter::setSystemPower(SystemPower *systemPower) {
    if (kernelPort && kernelPort != systemPower)
        kernelPort->deregisterForSystemPower();
    kernelPort = systemPower;
}

ZRKPowerNotificationCenter::~ZRKPowerNotificationCenter() {
    ZRKPowerNotificationCenter::didRemoveLastObserver();
}

void ZRKPowerNotificationCenter::didAddFirstObserver() {
    if (kernelPort && kernelPort->registerForSystemPower([this](quint32 message, quint64 argument) {
            powerDidChange(message, argument);
        }))
        _notifier = kernelPort;
}

void ZRKPowerNotificationCenter::didRemoveLastObserver() {
    // Another service than the process's present one was deregistered from when it was replaced.
    if (SystemPower *const notifier = std::exchange(_notifier, nullptr);
        notifier && notifier == kernelPort)
        notifier->deregisterForSystemPower();
}

void ZRKPowerNotificationCenter::powerDidChange(quint32 message, quint64 argument) {
    // The observers may all leave, and this hub with them.
    const auto self = weak_from_this().lock();
    // Even when an observer throws: nothing but the acknowledgement lets the computer sleep.
    const auto acknowledgement = qScopeGuard([argument] {
        if (kernelPort)
            kernelPort->allowPowerChange(argument);
    });
    postNotificationName(ZRKPowerStatusDidChange, std::make_shared<UnsignedNumber>(message));
    static const QMap<PowerMessage, QString> names{
        {PowerMessage::SystemWillPowerOff, ZRKPowerStatusWillPowerOff},
        {PowerMessage::SystemWillSleep, ZRKPowerStatusWillSleep},
        {PowerMessage::SystemHasPoweredOn, ZRKPowerStatusDidWake},
        {PowerMessage::SystemWillRestart, ZRKPowerStatusWillRestart}};
    postNotificationName(names.value(PowerMessage(message)));
}

} // namespace clipmule
