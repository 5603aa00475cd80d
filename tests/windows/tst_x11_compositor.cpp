// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/windows/ActiveApplication.h"
#include "platform/x11/X11Connection.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

class CompositorTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void runsWhileTheSelectionHasAnOwner() {
        const auto ours = X11Connection::open();
        QVERIFY(ours);
        QVERIFY(!blendsWindows({ours}));

        // Another program takes the selection, as a compositor does when it starts.
        const auto theirs = X11Connection::open();
        const xcb_atom_t selection = theirs->atom("_NET_WM_CM_S0");
        const xcb_window_t window = theirs->createWindow();
        const auto own = [&](xcb_window_t owner) {
            xcb_set_selection_owner(theirs->xcb(), owner, selection, XCB_CURRENT_TIME);
            // The server has seen it when it answers.
            (void)theirs->reply(xcb_get_input_focus_reply, xcb_get_input_focus(theirs->xcb()));
        };
        own(window);
        QVERIFY(blendsWindows({ours}));
        own(XCB_NONE);
        QVERIFY(!blendsWindows({ours}));
    }

    void isTakenToRunWithoutADisplay() { QVERIFY(blendsWindows({})); }
};

QTEST_GUILESS_MAIN(CompositorTest)
#include "tst_x11_compositor.moc"
