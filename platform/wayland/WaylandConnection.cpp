// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"

#include "platform/foundation/Log.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <wayland-client.h>

namespace clipmule {

// An answer that somebody waits for.
struct WaylandConnection::Awaited {
    Awaited(WaylandConnection &asked, WaylandObserver *asking, std::function<void()> whenServed)
        : connection(asked)
        , proxy(wl_display_sync(asked._display))
        , observer(asking)
        , callback(std::move(whenServed)) {}
    ~Awaited() { wl_callback_destroy(proxy); }
    Q_DISABLE_COPY_MOVE(Awaited)

    WaylandConnection &connection;
    wl_callback *proxy;
    WaylandObserver *observer;
    std::function<void()> callback;
};

// What the registry says.
struct WaylandConnection::Listener {
    static void global(void *memory, wl_registry *, quint32 name, const char *interface,
                       quint32 version) {
        auto *const self = static_cast<WaylandConnection *>(memory);
        if (self->_globals.size() == mostGlobals)
            return;
        self->_globals.append({name, interface, version});
        self->_changed = true;
    }
    static void globalRemove(void *memory, wl_registry *, quint32 name) {
        static_cast<WaylandConnection *>(memory)->forget(name);
    }
    static void done(void *memory, wl_callback *, quint32) { *static_cast<bool *>(memory) = true; }

    static void setCapabilities(void *memory, wl_seat *proxy, quint32 capabilities) {
        auto *const self = static_cast<WaylandConnection *>(memory);
        const bool has = (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
        if (proxy != self->_seat || has == self->_hasKeyboard)
            return;
        self->_hasKeyboard = has;
        self->_changed = true;
    }
    static void ignoreName(void *, wl_seat *, const char *) {}

    static void served(void *memory, wl_callback *, quint32) {
        auto *const awaited = static_cast<Awaited *>(memory);
        const std::function<void()> callback = std::move(awaited->callback);
        std::erase_if(awaited->connection._awaited,
                      [&](const auto &each) { return each.get() == awaited; });
        callback();
    }

    static constexpr wl_callback_listener service{served};
    static constexpr wl_registry_listener registry{global, globalRemove};
    static constexpr wl_callback_listener sync{done};
    static constexpr wl_seat_listener seat{setCapabilities, ignoreName};
};

std::shared_ptr<WaylandConnection> WaylandConnection::open() {
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
        qCInfo(logWayland, "there is no Wayland compositor in this session");
        return nullptr;
    }
    auto connection = std::make_shared<WaylandConnection>();
    if (!connection->connect()) {
        qCWarning(logWayland, "the compositor \"%s\" cannot be reached: %s",
                  qUtf8Printable(qEnvironmentVariable("WAYLAND_DISPLAY")), std::strerror(errno));
        return nullptr;
    }
    if (!connection->awaitGlobals()) {
        qCWarning(logWayland, "the compositor \"%s\" does not say what it offers",
                  qUtf8Printable(qEnvironmentVariable("WAYLAND_DISPLAY")));
        return nullptr;
    }
    connection->follow();
    return connection;
}

QList<QByteArray> WaylandConnection::probe() {
    QList<QByteArray> interfaces;
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return interfaces;
    WaylandConnection connection;
    if (connection.connect() && connection.awaitGlobals()) {
        for (const Global &global : std::as_const(connection._globals))
            interfaces.append(global.interface);
    }
    return interfaces;
}

WaylandConnection::~WaylandConnection() {
    _readable.reset();
    _writable.reset();
    if (!_display)
        return;
    _awaited.clear();
    _goneSeats.append(_seat);
    releaseGoneSeats();
    if (_registry)
        wl_registry_destroy(_registry);
    // Who binds something destroys it just before us; that is still to be sent.
    if (!_lost)
        wl_display_flush(_display);
    wl_display_disconnect(_display);
}

bool WaylandConnection::connect() {
    _display = wl_display_connect(nullptr);
    if (!_display)
        return false;
    _registry = wl_display_get_registry(_display);
    wl_registry_add_listener(_registry, &Listener::registry, this);
    return true;
}

// A round trip that gives up, which the library's own does not.
bool WaylandConnection::awaitGlobals() {
    bool isDone = false;
    wl_callback *const callback = wl_display_sync(_display);
    wl_callback_add_listener(callback, &Listener::sync, &isDone);
    const QDeadlineTimer deadline(patience);
    bool isGood = true;
    while (isGood && !isDone) {
        if (wl_display_prepare_read(_display) != 0) {
            isGood = wl_display_dispatch_pending(_display) >= 0;
            continue;
        }
        wl_display_flush(_display);
        pollfd waited{wl_display_get_fd(_display), POLLIN, 0};
        if (::poll(&waited, 1, int(deadline.remainingTime())) > 0) {
            isGood =
                wl_display_read_events(_display) >= 0 && wl_display_dispatch_pending(_display) >= 0;
        } else {
            wl_display_cancel_read(_display);
            isGood = !deadline.hasExpired();
        }
    }
    wl_callback_destroy(callback);
    _changed = false;
    return isDone;
}

void WaylandConnection::follow() {
    const int descriptor = wl_display_get_fd(_display);
    _readable = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(_readable.get(), &QSocketNotifier::activated, &_context,
                     [this] { process(); });
    _writable = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Write);
    _writable->setEnabled(false);
    QObject::connect(_writable.get(), &QSocketNotifier::activated, &_context, [this] { flush(); });
}

const WaylandConnection::Global *WaylandConnection::find(const QByteArray &interface) const {
    const auto found = std::find_if(_globals.cbegin(), _globals.cend(), [&](const Global &global) {
        return global.interface == interface;
    });
    return found == _globals.cend() ? nullptr : &*found;
}

bool WaylandConnection::offers(const QByteArray &interface, quint32 version) const {
    const Global *const global = _lost ? nullptr : find(interface);
    return global && global->version >= version;
}

QList<quint32> WaylandConnection::globals(const QByteArray &interface) const {
    QList<quint32> numbers;
    for (const Global &global : _globals) {
        if (!_lost && global.interface == interface)
            numbers.append(global.name);
    }
    return numbers;
}

void *WaylandConnection::bindGlobal(const wl_interface &interface, quint32 newest,
                                    std::optional<quint32> number) {
    const auto found = std::find_if(_globals.cbegin(), _globals.cend(), [&](const Global &global) {
        return global.interface == interface.name && global.name == number.value_or(global.name);
    });
    if (_lost || found == _globals.cend())
        return nullptr;
    return wl_registry_bind(_registry, found->name, &interface,
                            std::min({found->version, quint32(interface.version), newest}));
}

wl_seat *WaylandConnection::seat() {
    if (_lost)
        return nullptr;
    const Global *const global = _seat ? nullptr : find(wl_seat_interface.name);
    if (global) {
        // The oldest version says all that we have to know.
        _seat = static_cast<wl_seat *>(
            wl_registry_bind(_registry, global->name, &wl_seat_interface, 1));
        wl_seat_add_listener(_seat, &Listener::seat, this);
        _seatName = global->name;
        // It says what it has without being asked again.
        flush();
    }
    return _seat;
}

void WaylandConnection::releaseGoneSeats() {
    for (wl_seat *const seat : std::exchange(_goneSeats, {})) {
        if (seat)
            wl_seat_destroy(seat);
    }
}

void WaylandConnection::forget(quint32 name) {
    const auto removed =
        _globals.removeIf([name](const Global &global) { return global.name == name; });
    if (_seat && name == _seatName) {
        _goneSeats.append(std::exchange(_seat, nullptr));
        _hasKeyboard = false;
    }
    _changed = _changed || removed > 0;
}

void WaylandConnection::flush() {
    if (_lost || !_writable)
        return;
    const int error = wl_display_flush(_display) < 0 ? errno : 0;
    _writable->setEnabled(error == EAGAIN);
    // That the other end has gone is told by reading. Of a message that could not be made nobody
    // would hear, nor of anything after it.
    if (error != 0 && error != EAGAIN && error != EPIPE)
        QMetaObject::invokeMethod(
            &_context, [this] { process(); }, Qt::QueuedConnection);
}

void WaylandConnection::whenServed(WaylandObserver *observer, std::function<void()> callback) {
    if (_lost)
        return;
    _awaited.push_back(std::make_unique<Awaited>(*this, observer, std::move(callback)));
    Awaited *const awaited = _awaited.back().get();
    wl_callback_add_listener(awaited->proxy, &Listener::service, awaited);
    flush();
}

void WaylandConnection::removeObserver(WaylandObserver *observer) {
    _observers.removeAll(observer);
    std::erase_if(_awaited, [=](const auto &awaited) { return awaited->observer == observer; });
}

void WaylandConnection::process() {
    bool isGood = true;
    while (isGood && wl_display_prepare_read(_display) != 0)
        isGood = wl_display_dispatch_pending(_display) >= 0;
    // One reading takes a few kilobytes; what is left calls us again after everybody else.
    if (isGood)
        isGood =
            wl_display_read_events(_display) >= 0 && wl_display_dispatch_pending(_display) >= 0;
    if (!isGood) {
        lose();
        return;
    }
    if (std::exchange(_changed, false))
        tellObservers();
    flush();
}

void WaylandConnection::tellObservers() {
    const QList<WaylandObserver *> observers = _observers;
    for (WaylandObserver *const observer : observers) {
        if (_observers.contains(observer))
            observer->waylandGlobalsChanged();
    }
    releaseGoneSeats();
}

void WaylandConnection::lose() {
    if (std::exchange(_lost, true))
        return;
    const int error = wl_display_get_error(_display);
    if (error == EPROTO) {
        const wl_interface *interface = nullptr;
        quint32 object = 0;
        const quint32 code = wl_display_get_protocol_error(_display, &interface, &object);
        qCWarning(logWayland, "the compositor has thrown us out: error %u of %s", code,
                  interface ? interface->name : "an object that it does not know");
    } else {
        qCWarning(logWayland, "the compositor has gone: %s", std::strerror(error));
    }
    _readable->setEnabled(false);
    _writable->setEnabled(false);
    const std::vector<std::function<void()>> callbacks = std::exchange(_whenLost, {});
    for (const std::function<void()> &callback : callbacks)
        callback();
}

} // namespace clipmule
