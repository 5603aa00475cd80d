// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandSeatLayout.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"

#include <utility>

#include <unistd.h>
#include <wayland-client-protocol.h>

namespace clipmule {

namespace {

// Read and not mapped: a file that is shorter than was said, or gets shorter, ends nobody. Nothing
// when it is no file, or too short.
std::optional<QByteArray> contents(int descriptor, qsizetype size) {
    QByteArray text(size, Qt::Uninitialized);
    qsizetype had = 0;
    while (had < size) {
        const ssize_t count =
            ::pread(descriptor, text.data() + had, size_t(size - had), off_t(had));
        if (count <= 0)
            return std::nullopt;
        had += count;
    }
    return text;
}

} // namespace

struct WaylandSeatLayout::Listener {
    static void readKeymap(void *memory, wl_keyboard *, quint32 format, int descriptor,
                           quint32 size) {
        static_cast<WaylandSeatLayout *>(memory)->read(format, descriptor, size);
    }
    // Told to a keyboard with the focus alone, which ours never has.
    static void ignoreEnter(void *, wl_keyboard *, quint32, wl_surface *, wl_array *) {}
    static void ignoreLeave(void *, wl_keyboard *, quint32, wl_surface *) {}
    static void ignoreKey(void *, wl_keyboard *, quint32, quint32, quint32, quint32) {}
    static void ignoreModifiers(void *, wl_keyboard *, quint32, quint32, quint32, quint32,
                                quint32) {}
    static void ignoreRepeat(void *, wl_keyboard *, qint32, qint32) {}

    static constexpr wl_keyboard_listener keyboard{readKeymap, ignoreEnter,     ignoreLeave,
                                                   ignoreKey,  ignoreModifiers, ignoreRepeat};
};

WaylandSeatLayout::WaylandSeatLayout(std::shared_ptr<WaylandConnection> connection)
    : _connection(std::move(connection))
    , _usual(KeyLayout::usual()) {
    if (!_usual)
        qCWarning(logWayland, "no key strokes are made while no layout is known: %s",
                  qUtf8Printable(_usual.error().reason));
    _connection->addObserver(this);
    waylandGlobalsChanged();
}

WaylandSeatLayout::~WaylandSeatLayout() {
    _connection->removeObserver(this);
    leaveKeyboard();
}

void WaylandSeatLayout::leaveKeyboard() {
    if (_keyboard)
        wl_keyboard_destroy(std::exchange(_keyboard, nullptr));
}

void WaylandSeatLayout::waylandGlobalsChanged() {
    // The next seat has no keyboard before it has said so.
    wl_seat *const seat = _connection->seat();
    if (!_connection->hasKeyboard())
        leaveKeyboard();
    if (_keyboard || !seat || !_connection->hasKeyboard())
        return;
    _keyboard = wl_seat_get_keyboard(seat);
    wl_keyboard_add_listener(_keyboard, &Listener::keyboard, this);
    _connection->flush();
}

void WaylandSeatLayout::read(quint32 format, int descriptor, quint32 size) {
    const FileHandle file(descriptor);
    // A keyboard without a layout has numbers only.
    _layout.reset();
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1)
        return;
    const auto text = size <= KeyLayout::longestText ? contents(descriptor, size) : std::nullopt;
    Result<KeyLayout> layout =
        text ? KeyLayout::parse(*text)
             : failure(QStringLiteral("its %1 bytes cannot be read").arg(size));
    if (layout)
        _layout = *layout;
    else
        qCWarning(logWayland, "the keyboard's layout is not used: %s",
                  qUtf8Printable(layout.error().reason));
}

std::optional<QList<KeyLayout::Step>>
WaylandSeatLayout::stroke(const QList<quint32> &symbols) const {
    const KeyLayout *const usual = _usual ? &*_usual : nullptr;
    const KeyLayout *const layout = _layout ? &*_layout : usual;
    QList<quint32> keys;
    for (const quint32 symbol : symbols) {
        std::optional<quint32> key = layout ? layout->keyOf(symbol, _group) : std::nullopt;
        if (!key && usual)
            key = usual->keyOf(symbol);
        if (!key)
            return std::nullopt;
        keys.append(*key);
    }
    return layout ? layout->strokeAmongHeldKeys(keys) : QList<KeyLayout::Step>();
}

std::optional<quint32> WaylandSeatLayout::keyOfEveryGroup(quint32 symbol) const {
    const QList<quint32> keys = _layout ? _layout->keysOf(symbol) : QList<quint32>();
    if (keys.isEmpty())
        return _usual ? _usual->keyOf(symbol) : std::nullopt;
    return keys.size() == 1 ? std::optional(keys.first()) : std::nullopt;
}

} // namespace clipmule
