// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dbus/BusConnection.h"

#include <QDBusServiceWatcher>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Which of the layouts that KDE's user switches between is in force, as KDE tells on the session
/// bus while there is more than one.
class KdeLayouts final : public QObject {
    Q_OBJECT

public:
    /// Begins to look. What is known changes by onChange alone.
    void start();

    /// The layout's place in the list, from 0, whenever it is another; nothing when it is not known
    /// any more.
    std::function<void(std::optional<quint32>)> onChange;

private Q_SLOTS:
    void ask();
    void changeTo(quint32 layout) { tell(layout); }

private:
    void watch();
    void tell(std::optional<quint32> layout);

    BusConnection _bus{BusConnection::Bus::Session};
    std::unique_ptr<QDBusServiceWatcher> _services;
    std::optional<quint32> _layout;
};

} // namespace clipmule
