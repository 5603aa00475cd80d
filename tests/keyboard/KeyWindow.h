// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/x11/X11Connection.h"

#include <QStringList>

namespace clipmule::kit {

/// A window that writes down which keys reach it, as symbols of the layout in force.
class KeyWindow final : public X11Observer {
public:
    /// Empty: on the display of $DISPLAY.
    explicit KeyWindow(const QByteArray &display = {})
        : _connection(X11Connection::open(display))
        , _window(xcb_generate_id(_connection->xcb())) {
        _connection->addObserver(this);
        const quint32 values[] = {1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE};
        xcb_create_window(_connection->xcb(), 0, _window, _connection->root(), 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        xcb_map_window(_connection->xcb(), _window);
        xcb_set_input_focus(_connection->xcb(), XCB_INPUT_FOCUS_NONE, _window, XCB_CURRENT_TIME);
        roundTrip();
    }
    ~KeyWindow() override {
        _connection->removeObserver(this);
        xcb_destroy_window(_connection->xcb(), _window);
    }

    void x11Event(const xcb_generic_event_t &event) override {
        const int kind = event.response_type & 0x7f;
        if (kind != XCB_KEY_PRESS && kind != XCB_KEY_RELEASE)
            return;
        const auto &key = reinterpret_cast<const xcb_key_press_event_t &>(event);
        strokes.append((kind == XCB_KEY_PRESS ? u'+' : u'-') + QString::number(key.detail));
        states.append(key.state & 0xff);
    }
    void roundTrip() {
        (void)_connection->reply(xcb_get_input_focus_reply,
                                 xcb_get_input_focus(_connection->xcb()));
    }
    QString symbolOf(xcb_keycode_t key) {
        const auto map = _connection->reply(xcb_get_keyboard_mapping_reply,
                                            xcb_get_keyboard_mapping(_connection->xcb(), key, 1));
        return QString::number(xcb_get_keyboard_mapping_keysyms(map.get())[0], 16);
    }

    QStringList strokes;
    QList<int> states;

private:
    std::shared_ptr<X11Connection> _connection;
    xcb_window_t _window;
};

} // namespace clipmule::kit
