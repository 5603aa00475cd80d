// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/session/Session.h"
#include "platform/tray/StatusItem.h"
#include "platform/x11/X11Connection.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

/// Another program, which owns a selection as trays do.
class SelectionOwner {
public:
    explicit SelectionOwner(const QByteArray &selection)
        : _window(_connection->createWindow()) {
        xcb_set_selection_owner(_connection->xcb(), _window, _connection->atom(selection),
                                XCB_CURRENT_TIME);
        settle();
    }
    void destroyWindow() {
        xcb_destroy_window(_connection->xcb(), _window);
        settle();
    }
    void giveUp(const QByteArray &selection) {
        xcb_set_selection_owner(_connection->xcb(), XCB_NONE, _connection->atom(selection),
                                XCB_CURRENT_TIME);
        settle();
    }

private:
    void settle() {
        (void)_connection->reply(xcb_get_input_focus_reply,
                                 xcb_get_input_focus(_connection->xcb()));
    }
    std::shared_ptr<X11Connection> _connection = X11Connection::open();
    xcb_window_t _window;
};

const QByteArray tray = "_NET_SYSTEM_TRAY_S0";
// A compositing manager's.
const QByteArray other = "_NET_WM_CM_S0";

} // namespace

class StatusAreaTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _connection = X11Connection::open();
        QVERIFY(_connection);
        _watch = makeEmbeddingTrayWatch({_connection});
        _changes = 0;
    }

    void end() override { _watch.reset(); }

private Q_SLOTS:
    void aTrayThatIsThereIsToldFromTheRunLoop() {
        const SelectionOwner owner(tray);
        start();
        QCOMPARE(_changes, 0);
        QTRY_COMPARE(_changes, 1);
        QVERIFY(_watch->isPresent());
    }

    void aTrayThatComesAndGoesIsTold() {
        start();
        QVERIFY(!_watch->isPresent());
        auto owner = std::make_unique<SelectionOwner>(tray);
        QTRY_VERIFY(_watch->isPresent());
        owner->giveUp(tray);
        QTRY_VERIFY(!_watch->isPresent());
        owner = std::make_unique<SelectionOwner>(tray);
        QTRY_VERIFY(_watch->isPresent());
        owner->destroyWindow();
        QTRY_VERIFY(!_watch->isPresent());
        owner = std::make_unique<SelectionOwner>(tray);
        QTRY_VERIFY(_watch->isPresent());
        // As a crash does.
        owner.reset();
        QTRY_VERIFY(!_watch->isPresent());
        QCOMPARE(_changes, 6);
    }

    void anotherTrayInItsPlaceIsNoChange() {
        const SelectionOwner first(tray);
        start();
        QTRY_VERIFY(_watch->isPresent());
        const SelectionOwner second(tray);
        const SelectionOwner witness(other);
        QTRY_COMPARE(_changes, 1);
        QVERIFY(_watch->isPresent());
    }

    void otherSelectionsAreNotTrays() {
        start();
        const SelectionOwner noTray(other);
        const SelectionOwner trayAfterwards(tray);
        QTRY_COMPARE(_changes, 1);
    }

private:
    void start() {
        _watch->start([this] { ++_changes; });
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<X11Connection> _connection;
    std::unique_ptr<TrayWatch> _watch;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(StatusAreaTest)
#include "tst_x11_statusarea.moc"
