// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/session/StatusInterface.h"

#include <QDBusAbstractAdaptor>
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

/// (ssssttxst)
struct RefusalEntry {
    /// As nameOf() calls them.
    QString direction;
    QString reason;
    QString kind;
    QString phone;
    quint64 size = 0;
    quint64 limit = 0;
    /// Seconds of the Unix clock.
    qint64 date = 0;
    QString detail;
    quint64 count = 0;
    friend bool operator==(const RefusalEntry &, const RefusalEntry &) = default;
};
using RefusalEntries = QList<RefusalEntry>;

QDBusArgument &operator<<(QDBusArgument &argument, const Phone &phone);
const QDBusArgument &operator>>(const QDBusArgument &argument, Phone &phone);
QDBusArgument &operator<<(QDBusArgument &argument, const RefusedClip &clip);
const QDBusArgument &operator>>(const QDBusArgument &argument, RefusedClip &clip);

QDBusArgument &operator<<(QDBusArgument &argument, const RefusalEntry &entry);
const QDBusArgument &operator>>(const QDBusArgument &argument, RefusalEntry &entry);

void registerTypes();

/// All properties by their names.
[[nodiscard]] QVariantMap toProperties(const AgentStatus &status);
/// What another program sent: values of a wrong type are left out, texts cut, and of the phones no
/// more than mostPhones and of the refusals no more than mostRefusals kept.
[[nodiscard]] AgentStatus fromProperties(const QVariantMap &properties);

/// More than any user registers.
inline constexpr qsizetype mostPhones = 1000;
/// More than any agent keeps.
inline constexpr qsizetype mostRefusals = 100;
/// UTF-16 units of a text; an error is a line.
inline constexpr qsizetype longestText = 4096;

/// What the bus shows; the names and types of the properties are the interface.
class StatusAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.zendrik.ClipmuleSync.Status")
    Q_PROPERTY(QString Version READ version)
    Q_PROPERTY(QString QtVersion READ qtVersion)
    Q_PROPERTY(bool SyncEnabled READ syncEnabled)
    Q_PROPERTY(bool HasDisplay READ hasDisplay)
    Q_PROPERTY(QString PasteboardBackend READ pasteboardBackend)
    Q_PROPERTY(bool PasteboardCanRead READ pasteboardCanRead)
    Q_PROPERTY(bool PasteboardCanWrite READ pasteboardCanWrite)
    Q_PROPERTY(QString PasteBackend READ pasteBackend)
    Q_PROPERTY(bool CanPaste READ canPaste)
    Q_PROPERTY(QString TrayKind READ trayKind)
    Q_PROPERTY(QString Discovery READ discovery)
    Q_PROPERTY(clipmule::StatusOnBus::Phones Phones READ phones)
    Q_PROPERTY(clipmule::StatusOnBus::RefusedClip LastRefusedClip READ lastRefusedClip)
    Q_PROPERTY(clipmule::StatusOnBus::RefusalEntries Refusals READ refusals)

public:
    explicit StatusAdaptor(QObject *parent)
        : QDBusAbstractAdaptor(parent) {}

    [[nodiscard]] QString version() const { return _status.version; }
    [[nodiscard]] QString qtVersion() const { return _status.qtVersion; }
    [[nodiscard]] bool syncEnabled() const { return _status.syncEnabled; }
    [[nodiscard]] bool hasDisplay() const { return _status.hasDisplay; }
    [[nodiscard]] QString pasteboardBackend() const { return _status.pasteboardBackend; }
    [[nodiscard]] bool pasteboardCanRead() const { return _status.pasteboardCanRead; }
    [[nodiscard]] bool pasteboardCanWrite() const { return _status.pasteboardCanWrite; }
    [[nodiscard]] QString pasteBackend() const { return _status.pasteBackend; }
    [[nodiscard]] bool canPaste() const { return _status.canPaste; }
    [[nodiscard]] QString trayKind() const { return _status.trayKind; }
    [[nodiscard]] QString discovery() const { return _status.discovery; }
    [[nodiscard]] Phones phones() const {
        return toProperties(_status).value(QStringLiteral("Phones")).value<Phones>();
    }
    [[nodiscard]] RefusedClip lastRefusedClip() const {
        return toProperties(_status).value(QStringLiteral("LastRefusedClip")).value<RefusedClip>();
    }

    [[nodiscard]] RefusalEntries refusals() const {
        return toProperties(_status).value(QStringLiteral("Refusals")).value<RefusalEntries>();
    }

    AgentStatus _status;
};

} // namespace clipmule::StatusOnBus
