// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QSocketNotifier;
struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_seat;

namespace clipmule {

/// Somebody who has bound something of a connection.
class WaylandObserver {
public:
    WaylandObserver() = default;
    virtual ~WaylandObserver() = default;
    WaylandObserver(const WaylandObserver &) = delete;
    WaylandObserver &operator=(const WaylandObserver &) = delete;

    /// What the compositor offers has changed; the seat may be another, or none, or have got or
    /// lost its keyboard.
    virtual void waylandGlobalsChanged() {}
};

/// A connection to the compositor of our own, beside the toolkit's, read from the run loop. It owns
/// the registry and the seat. What else is bound belongs to who bound it, and is destroyed before
/// the connection.
///
/// Nobody waits for the compositor but open(), and not for long. What is sent while it does not
/// read is kept, and sent when it does.
class WaylandConnection final {
public:
    /// How long a compositor may take to say what it offers. One that works takes a millisecond,
    /// but several seconds while a session starts on a slow computer; whoever does not wait for
    /// that has no clipboard until the next login.
    static constexpr std::chrono::milliseconds patience{10'000};
    /// Globals that are remembered. Compositors have fifty.
    static constexpr qsizetype mostGlobals = 1024;

    /// The compositor of $WAYLAND_DISPLAY, which has said what it offers. Null, with a line in the
    /// log, when there is none, it does not let us in, or it says nothing in time.
    [[nodiscard]] static std::shared_ptr<WaylandConnection> open();
    /// The interfaces that the compositor of $WAYLAND_DISPLAY offers; none where open() would be
    /// null. For deciding what kind of application to be, before there is one.
    [[nodiscard]] static QList<QByteArray> probe();

    WaylandConnection() = default;
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection &) = delete;
    WaylandConnection &operator=(const WaylandConnection &) = delete;
    WaylandConnection(WaylandConnection &&) = delete;
    WaylandConnection &operator=(WaylandConnection &&) = delete;

    /// In this version or a later one.
    [[nodiscard]] bool offers(const QByteArray &interface, quint32 version = 1) const;
    /// The numbers of all globals of this interface.
    [[nodiscard]] QList<quint32> globals(const QByteArray &interface) const;
    /// The proxy of the global of this number, or of the first one of this interface, in the newest
    /// version that both sides know; null when there is none or the connection is lost. The caller
    /// destroys it. Where the interface's description is not ours and may grow, `newest` is the
    /// version that the caller knows all events of.
    template <typename Proxy>
    [[nodiscard]] Proxy *bind(const wl_interface &interface, quint32 newest = UINT32_MAX,
                              std::optional<quint32> number = {}) {
        return static_cast<Proxy *>(bindGlobal(interface, newest, number));
    }
    /// The first seat; null when there is none. The connection's, and good until it is another.
    [[nodiscard]] wl_seat *seat();
    /// Whether the seat has said that it has a keyboard. It is not asked before seat() was.
    [[nodiscard]] bool hasKeyboard() const { return _hasKeyboard; }

    /// Counts what changes the clipboard, for who is to paste a certain content of it: what others
    /// copy, and what is put there through this connection. Told by the data control of this
    /// connection.
    void countClipboardChange() { ++_clipboardChanges; }
    [[nodiscard]] quint64 clipboardChanges() const { return _clipboardChanges; }

    [[nodiscard]] bool isLost() const { return _lost; }
    /// Calls back once, from the run loop, when the compositor has gone or has thrown us out.
    /// Nothing is sent from then on.
    void whenLost(std::function<void()> callback) { _whenLost.push_back(std::move(callback)); }
    /// Observers are not owned.
    void addObserver(WaylandObserver *observer) { _observers.append(observer); }
    void removeObserver(WaylandObserver *observer);

    /// Sends what was asked for; to be called by who is done with asking.
    void flush();
    /// Sends it, and calls back from the run loop when the compositor has done it. Not when the
    /// observer was removed or the connection lost.
    void whenServed(WaylandObserver *observer, std::function<void()> callback);

private:
    struct Global {
        quint32 name;
        QByteArray interface;
        quint32 version;
    };
    struct Listener;
    struct Awaited;

    [[nodiscard]] bool connect();
    [[nodiscard]] bool awaitGlobals();
    void follow();
    [[nodiscard]] const Global *find(const QByteArray &interface) const;
    [[nodiscard]] void *bindGlobal(const wl_interface &interface, quint32 newest,
                                   std::optional<quint32> number);
    void forget(quint32 name);
    void releaseGoneSeats();
    void tellObservers();
    void process();
    void lose();

    QObject _context; // what queued calls belong to
    wl_display *_display = nullptr;
    wl_registry *_registry = nullptr;
    wl_seat *_seat = nullptr;
    quint32 _seatName = 0;
    bool _hasKeyboard = false;
    // Kept until the observers know, so that none takes another seat for the one that it knew.
    QList<wl_seat *> _goneSeats;
    QList<Global> _globals;
    QList<WaylandObserver *> _observers;
    std::vector<std::unique_ptr<Awaited>> _awaited;
    std::unique_ptr<QSocketNotifier> _readable;
    std::unique_ptr<QSocketNotifier> _writable;
    std::vector<std::function<void()>> _whenLost;
    quint64 _clipboardChanges = 0;
    bool _changed = false; // globals, since the observers were told
    bool _lost = false;
};

} // namespace clipmule
