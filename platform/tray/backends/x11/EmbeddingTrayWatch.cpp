// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/RunLoop.h"
#include "platform/session/Session.h"
#include "platform/tray/StatusItem.h"
#include "platform/x11/X11Connection.h"

#include <xcb/xfixes.h>

#include <utility>

namespace clipmule {

namespace {

class EmbeddingTrayWatch final : public TrayWatch, public X11Observer {
public:
    explicit EmbeddingTrayWatch(std::shared_ptr<X11Connection> connection)
        : _connection(std::move(connection)) {}
    ~EmbeddingTrayWatch() override { _connection->removeObserver(this); }

    void start(std::function<void()> changed) override {
        _changed = std::move(changed);
        if (_connection->isLost())
            return;
        const auto *const extension = xcb_get_extension_data(_connection->xcb(), &xcb_xfixes_id);
        if (!extension || !extension->present)
            return;
        (void)_connection->reply(xcb_xfixes_query_version_reply,
                                 xcb_xfixes_query_version(_connection->xcb(), 1, 0));
        _notifyEvent = quint8(extension->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        // The number is the screen's; the desktop's panels are on the first.
        _selection = _connection->atom("_NET_SYSTEM_TRAY_S0");
        _connection->addObserver(this);
        _window = _connection->createWindow();
        xcb_xfixes_select_selection_input(
            _connection->xcb(), _window, _selection,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        const auto owner = _connection->reply(
            xcb_get_selection_owner_reply, xcb_get_selection_owner(_connection->xcb(), _selection));
        _present = owner && owner->owner != XCB_NONE;
        if (_present)
            _firstAnswer = RunLoop::current().performAfter(RunLoop::Seconds(0), _changed);
    }

    [[nodiscard]] bool isPresent() const override { return _present; }

    void x11Event(const xcb_generic_event_t &event) override {
        if ((event.response_type & ~0x80) != _notifyEvent)
            return;
        const auto &notified = reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event);
        if (notified.selection != _selection || notified.window != _window)
            return;
        setPresent(notified.subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER &&
                   notified.owner != XCB_NONE);
    }
    void x11ConnectionLost() override { setPresent(false); }

private:
    void setPresent(bool present) {
        if (std::exchange(_present, present) != present && _changed)
            _changed();
    }

    std::shared_ptr<X11Connection> _connection;
    std::function<void()> _changed;
    xcb_atom_t _selection = XCB_NONE;
    xcb_window_t _window = XCB_NONE;
    quint8 _notifyEvent = 0;
    bool _present = false;
    RunLoop::Timer _firstAnswer;
};

} // namespace

std::unique_ptr<TrayWatch> makeEmbeddingTrayWatch(const Session &session) {
    return session.x11 ? std::make_unique<EmbeddingTrayWatch>(session.x11) : nullptr;
}

} // namespace clipmule
