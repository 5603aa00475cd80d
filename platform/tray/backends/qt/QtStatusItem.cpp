// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/tray/StatusItem.h"

#include "platform/foundation/Callbacks.h"
#include "platform/session/Session.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QPointer>
#include <QScreen>
#include <QSystemTrayIcon>

#include <xcb/xcb.h>

#include <cstdlib>
#include <optional>
#include <utility>

namespace clipmule {

namespace {

// The toolkit decides once in the life of the process which kind of status area it uses, when the
// first of its tray functions is called. A desktop that starts both kinds, one after the other, is
// better served by the host, which the toolkit takes if it is there by then.
constexpr RunLoop::Seconds graceForHost{1.0};

// Returns when the display server has done all that the toolkit asked for so far.
void awaitDisplay() {
    const auto *const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11)
        return;
    xcb_connection_t *const connection = x11->connection();
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

// On a compositor neither a menu can be put under the item, nor is the toolkit in a tray that
// embeds windows, though an X server beside it may have one.
bool placesWindows() {
    return !QGuiApplication::platformName().startsWith(u"wayland");
}

// What the toolkit has decided on, once it has.
using Decision = std::shared_ptr<std::optional<StatusItem::Host>>;

class QtStatusItem final : public StatusItem {
public:
    QtStatusItem(const Session &session, Decision decision, int length)
        : _hosts(makeNotifierHostWatch())
        , _trays(placesWindows() ? makeEmbeddingTrayWatch(session) : nullptr)
        , _decision(std::move(decision))
        , _length(length) {}

    /// Appears as soon as there is a status area.
    void start() {
        _hosts->start([this] { traysDidChange(); });
        if (_trays)
            _trays->start([this] { traysDidChange(); });
        if (*_decision)
            appear(**_decision);
    }

    void setName(const QString &name) override {
        _name = name;
        if (_tray)
            _tray->setToolTip(name);
    }

    void setIcon(const QIcon &icon) override {
        _icon = icon;
        if (!_tray)
            return;
        _tray->setIcon(icon);
        showOnceComplete();
    }

    void setMenu(QMenu *menu) override {
        _menu = menu;
        if (_tray)
            _tray->setContextMenu(menu);
    }

    [[nodiscard]] bool popUpMenu() override {
        if (!_menu || !placesWindows())
            return false;
        const QRect item = place();
        const QScreen *const screen = screenAt(item.center());
        _menu->popup(placeOfMenu(item, _menu->sizeHint(), screen->geometry()));
        return true;
    }

    void closeMenu() override {
        if (!_menu || !_menu->isVisible())
            return;
        _menu->hide();
        awaitDisplay();
    }

    [[nodiscard]] Host host() const override {
        const bool isPresent =
            _host == Host::Tray ? _trays && _trays->isPresent() : _hosts->isPresent();
        return _tray && isPresent ? _host : Host::None;
    }

    [[nodiscard]] QRect place() const override {
        StatusItemWhereabouts known;
        if (_tray && _host == Host::Tray)
            known.geometry = _tray->geometry();
        known.click = _click;
        const QScreen *const screen = screenAt(known.geometry.isEmpty() ? _click.value_or(QPoint())
                                                                        : known.geometry.center());
        known.screen = screen->geometry();
        known.available = screen->availableGeometry();
        known.length = _length;
        return placeOfStatusItem(known);
    }

private:
    void traysDidChange() {
        if (_tray)
            callCopyOf(onHostChange);
        else if (_hosts->isPresent())
            appear(Host::NotifierHost);
        else if (!_trays || !_trays->isPresent())
            _grace.cancel();
        else if (!_grace.isPending())
            _grace = RunLoop::current().performAfter(graceForHost, [this] { appear(Host::Tray); });
    }

    static const QScreen *screenAt(const QPoint &point) {
        const QScreen *const screen = QGuiApplication::screenAt(point);
        return screen ? screen : QGuiApplication::primaryScreen();
    }

    void appear(Host host) {
        _grace.cancel();
        _host = host;
        *_decision = host;
        _tray = std::make_unique<QSystemTrayIcon>();
        QObject::connect(_tray.get(), &QSystemTrayIcon::activated, _tray.get(),
                         [this](QSystemTrayIcon::ActivationReason reason) { activated(reason); });
        _tray->setToolTip(_name);
        _tray->setIcon(_icon);
        _tray->setContextMenu(_menu);
        showOnceComplete();
        callCopyOf(onHostChange);
    }

    // The item is shown once it has an icon, which its maker sets afterwards: the status area asks
    // for it at once.
    void showOnceComplete() {
        if (!_icon.isNull())
            _tray->show();
    }

    void activated(QSystemTrayIcon::ActivationReason reason) {
        // The pointer is where the item is; nobody tells more.
        _click = QCursor::pos();
        // Each click of a double click is one. The menu for the other button is shown by whoever
        // draws the item.
        const bool isClick =
            reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick;
        if (isClick)
            callCopyOf(onClick);
    }

    std::unique_ptr<TrayWatch> _hosts;
    std::unique_ptr<TrayWatch> _trays;
    Decision _decision;
    const int _length;
    QString _name;
    QIcon _icon;
    QPointer<QMenu> _menu;
    std::unique_ptr<QSystemTrayIcon> _tray;
    Host _host = Host::None;
    std::optional<QPoint> _click;
    RunLoop::Timer _grace;
};

class QtStatusBar final : public StatusBar {
public:
    explicit QtStatusBar(Session session)
        : _session(std::move(session)) {}

    [[nodiscard]] std::unique_ptr<StatusItem> statusItemWithLength(int length) override {
        auto item = std::make_unique<QtStatusItem>(_session, _decision, length);
        item->start();
        return item;
    }

private:
    Session _session;
    Decision _decision = std::make_shared<std::optional<StatusItem::Host>>();
};

} // namespace

std::unique_ptr<StatusBar> makeStatusBar(const Session &session) {
    return std::make_unique<QtStatusBar>(session);
}

} // namespace clipmule
