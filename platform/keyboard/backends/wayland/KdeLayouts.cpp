// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/wayland/KdeLayouts.h"

#include "platform/foundation/Callbacks.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <utility>

namespace clipmule {

namespace {

const QString service = QStringLiteral("org.kde.keyboard");
const QString path = QStringLiteral("/Layouts");
const QString interface = QStringLiteral("org.kde.KeyboardLayouts");
constexpr int timeoutInMilliseconds = 2000;

} // namespace

void KdeLayouts::start() {
    connect(&_bus, &BusConnection::opened, this, &KdeLayouts::watch);
    connect(&_bus, &BusConnection::lost, this, [this] {
        _services.reset();
        tell(std::nullopt);
    });
    if (_bus.open())
        watch();
}

void KdeLayouts::watch() {
    QDBusConnection connection = _bus.connection();
    _services = std::make_unique<QDBusServiceWatcher>(service, connection,
                                                      QDBusServiceWatcher::WatchForOwnerChange);
    connect(_services.get(), &QDBusServiceWatcher::serviceOwnerChanged, this, &KdeLayouts::ask);
    connection.connect(service, path, interface, QStringLiteral("layoutChanged"), this,
                       SLOT(changeTo(uint)));
    connection.connect(service, path, interface, QStringLiteral("layoutListChanged"), this,
                       SLOT(ask()));
    ask();
}

// Answers and signals come in the order in which they were sent: the last one is true.
void KdeLayouts::ask() {
    QDBusMessage question =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("getLayout"));
    question.setAutoStartService(false);
    auto *const pending = new QDBusPendingCallWatcher(
        _bus.connection().asyncCall(question, timeoutInMilliseconds), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        const QDBusPendingReply<quint32> reply = *pending;
        pending->deleteLater();
        tell(reply.isError() ? std::nullopt : std::optional(reply.value()));
    });
}

void KdeLayouts::tell(std::optional<quint32> layout) {
    if (std::exchange(_layout, layout) != layout)
        callCopyOf(onChange, layout);
}

} // namespace clipmule
