// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>

#include <chrono>
#include <functional>
#include <memory>

namespace clipmule {

/// GNOME's compositor on the session bus, where it lets programs do what its Wayland socket does
/// not: control the clipboard without a window, and make key strokes. One connection for all of it,
/// so that what is sent first is done first.
class MutterConnection final : public QObject {
    Q_OBJECT

public:
    /// How long the bus may take to say whether the compositor is on it. One that works takes a
    /// millisecond.
    static constexpr std::chrono::milliseconds patience{2000};

    /// Null when there is no bus or no such compositor on it. The one place that waits for the bus:
    /// which clipboard there is has to be known before anything is chosen.
    [[nodiscard]] static std::shared_ptr<MutterConnection> open();

    MutterConnection();

    /// Whether the compositor is there at the moment.
    [[nodiscard]] bool isThere() const { return !_owner.isEmpty(); }

    using Answer = std::function<void(const QDBusMessage &answer)>;
    /// Calls a method of the compositor. The answer, which may be an error, comes from the run
    /// loop, however late; not when the asker has gone. To be called only while it is there.
    void call(const QString &path, const QString &interface, const QString &method,
              const QVariantList &arguments, QObject *asker, const Answer &answer);

Q_SIGNALS:
    /// The compositor has gone, or another has come in its place: what it gave us is gone.
    void ownerChanged();
    /// It said something about a session, ours or another's.
    void sessionSaid(const QDBusMessage &signal);

private Q_SLOTS:
    void hear(const QDBusMessage &signal);

private:
    void follow();
    void call(const QDBusMessage &message, QObject *asker, const Answer &answer);
    void setOwner(const QString &owner);

    BusConnection _bus{BusConnection::Bus::Session};
    QDBusServiceWatcher _watcher;
    QString _owner; // its name that no other has
};

/// The interface of what sessionSaid() passes on.
inline const QString mutterSessionInterface =
    QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

} // namespace clipmule
