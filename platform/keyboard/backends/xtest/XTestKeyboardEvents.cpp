// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"

#include "platform/foundation/Log.h"
#include "platform/x11/Xkb.h"

#include <QSet>

#include <algorithm>
#include <array>

#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace clipmule {

namespace {

constexpr int rowShift = 0;
constexpr int rowControl = 2;

} // namespace

bool hasXTestSupport(X11Connection &connection) {
    xcb_connection_t *xcb = connection.xcb();
    for (xcb_extension_t *extension : {&xcb_test_id, &xcb_xkb_id, &xcb_input_id}) {
        const xcb_query_extension_reply_t *data = xcb_get_extension_data(xcb, extension);
        if (!data || !data->present)
            return false;
    }
    // A client has to tell which version it speaks before it may use any.
    const auto xkbCookie = xcb_xkb_use_extension(xcb, 1, 0);
    const auto inputCookie = xcb_input_xi_query_version(xcb, 2, 0);
    const auto xkb = connection.reply(xcb_xkb_use_extension_reply, xkbCookie);
    const auto input = connection.reply(xcb_input_xi_query_version_reply, inputCookie);
    return xkb && xkb->supported && input && input->major_version >= 2;
}

XTestKeyboardEvents::XTestKeyboardEvents(std::shared_ptr<X11Connection> connection,
                                         PasteStroke::FindName pasteKeys, Reach reach)
    : _connection(std::move(connection))
    , _pasteStroke(std::move(pasteKeys))
    , _reach(reach) {}

XTestKeyboardEvents::~XTestKeyboardEvents() {
    giveBack();
}

QString XTestKeyboardEvents::description() const {
    return _reach == Reach::AllWindows ? QStringLiteral("xtest") : QStringLiteral("xwayland");
}

QString XTestKeyboardEvents::obstacle() const {
    if (_reach == Reach::AllWindows)
        return {};
    return QStringLiteral("the compositor takes no key strokes for other windows");
}

void XTestKeyboardEvents::paste() {
    if (_connection->isLost())
        return;
    const Stroke stroke = _pasteStroke.keys();
    if (stroke.isEmpty())
        return;
    _pending.push_back(stroke);
    performPending();
}

void XTestKeyboardEvents::performPending() {
    while (!_pending.empty()) {
        if (_connection->isLost()) {
            _pending.clear();
            return;
        }
        if (_borrowed && !_borrowed->isKnown)
            return;
        const XTestKeymap keymap(*_connection);
        const Stroke &stroke = _pending.front();
        QSet<xcb_keysym_t> missing;
        for (const xcb_keysym_t symbol : stroke) {
            if (!keyFor(symbol, keymap))
                missing.insert(symbol);
        }
        // A key is lent for one symbol at a time.
        const bool isBorrowedNeeded = _borrowed && stroke.contains(_borrowed->symbol);
        if (missing.size() > (isBorrowedNeeded ? 0 : 1) ||
            (!missing.isEmpty() && !borrow(*missing.cbegin(), keymap))) {
            qCWarning(logKeyboard, "the keyboard layout has no key for this stroke, and none to "
                                   "spare");
            _pending.pop_front();
            continue;
        }
        if (!missing.isEmpty())
            continue;
        perform(stroke, keymap);
        _pending.pop_front();
        if (_borrowed)
            _timer = RunLoop::current().performAfter(borrowTime, [this] { giveBack(); });
    }
}

std::optional<xcb_keycode_t> XTestKeyboardEvents::keyFor(xcb_keysym_t symbol,
                                                         const XTestKeymap &keymap) const {
    if (_borrowed && _borrowed->symbol == symbol)
        return _borrowed->key;
    return keymap.keyFor(symbol);
}

void XTestKeyboardEvents::perform(const Stroke &stroke, const XTestKeymap &keymap) {
    xcb_connection_t *xcb = _connection->xcb();
    xcb_grab_server(xcb);
    QList<XTestKeymap::HeldModifier> held;
    for (const XTestKeymap::HeldModifier &modifier : keymap.heldModifiers()) {
        if (!modifier.isEffective)
            fake(false, modifier.key);
        else
            held.append(modifier);
    }
    const auto release = [&](auto isMeant) {
        for (const XTestKeymap::HeldModifier &modifier : std::as_const(held)) {
            if (isMeant(modifier.row))
                fake(false, modifier.key);
        }
    };
    // Alt or Super that goes down and up alone opens a menu: those go up after Control went down.
    const auto isHarmless = [](int row) { return row == rowShift || row == rowControl; };
    release(isHarmless);
    for (const xcb_keysym_t symbol : stroke) {
        if (const auto key = keyFor(symbol, keymap))
            fake(true, *key);
        if (symbol == stroke.first())
            release([&](int row) { return !isHarmless(row); });
    }
    for (auto symbol = stroke.crbegin(); symbol != stroke.crend(); ++symbol) {
        if (const auto key = keyFor(*symbol, keymap))
            fake(false, *key);
    }
    if (!held.isEmpty()) {
        const QList<xcb_keycode_t> fingers = keymap.physicallyHeld();
        for (const XTestKeymap::HeldModifier &modifier : std::as_const(held)) {
            if (fingers.contains(modifier.key))
                fake(true, modifier.key);
        }
    }
    xcb_ungrab_server(xcb);
    _connection->flush();
}

void XTestKeyboardEvents::fake(bool isDown, xcb_keycode_t key) {
    xcb_test_fake_input(_connection->xcb(), isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, key,
                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

// Keys that the layout does not have

bool XTestKeyboardEvents::borrow(xcb_keysym_t symbol, const XTestKeymap &keymap) {
    giveBack();
    const std::optional<xcb_keycode_t> key = keymap.unusedKey();
    if (!key)
        return false;
    // Both levels of all four groups.
    std::array<xcb_keysym_t, 8> symbols{};
    symbols.fill(symbol);
    xcb_change_keyboard_mapping(_connection->xcb(), 1, *key, quint8(symbols.size()),
                                symbols.data());
    _connection->flush();
    _borrowed = Borrowed{*key, symbol};
    _timer = RunLoop::current().performAfter(borrowDelay, [this] {
        _borrowed->isKnown = true;
        performPending();
    });
    return true;
}

void XTestKeyboardEvents::giveBack() {
    _timer.cancel();
    if (!_borrowed)
        return;
    const xcb_keysym_t nothing = XCB_NO_SYMBOL;
    xcb_change_keyboard_mapping(_connection->xcb(), 1, _borrowed->key, 1, &nothing);
    _connection->flush();
    _borrowed.reset();
}

} // namespace clipmule
