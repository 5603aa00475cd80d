// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/desktop/StatusInterface.h"

#include <QDBusArgument>

/// The form of com.zendrik.ClipmuleSync.Status on the bus, for both its sides.
namespace clipmule::StatusOnBus {

inline const QString service = QStringLiteral("com.zendrik.ClipmuleSync");
inline const QString path = QStringLiteral("/com/zendrik/ClipmuleSync");
inline const QString interface = QStringLiteral("com.zendrik.ClipmuleSync.Status");
inline const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

/// (sssxsx)
struct Phone {
    QString service;
    QString name;
    /// "connected", "seen" or "not seen".
    QString state;
    /// Seconds of the Unix clock; 0 for never.
    qint64 lastSeen = 0;
    QString lastError;
    qint64 lastErrorDate = 0;
    friend bool operator==(const Phone &, const Phone &) = default;
};
using Phones = QList<Phone>;

/// (sx)
struct RefusedClip {
    QString reason;
    qint64 date = 0;
    friend bool operator==(const RefusedClip &, const RefusedClip &) = default;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Phone &phone);
const QDBusArgument &operator>>(const QDBusArgument &argument, Phone &phone);
QDBusArgument &operator<<(QDBusArgument &argument, const RefusedClip &clip);
const QDBusArgument &operator>>(const QDBusArgument &argument, RefusedClip &clip);

void registerTypes();

/// All properties by their names.
[[nodiscard]] QVariantMap toProperties(const AgentStatus &status);
/// What another program sent: values of a wrong type are left out, texts cut, and of the phones no
/// more than mostPhones kept.
[[nodiscard]] AgentStatus fromProperties(const QVariantMap &properties);

/// More than any user registers.
inline constexpr qsizetype mostPhones = 1000;
/// In characters; an error is a line.
inline constexpr qsizetype longestText = 4096;

} // namespace clipmule::StatusOnBus
