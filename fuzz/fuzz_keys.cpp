// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "fuzz/Script.h"
#include "platform/keyboard/KeyboardEvents.h"
#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"
#include "platform/session/Session.h"
#include "platform/wayland/KeyLayout.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandDataControl.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Served.h"
#include "tests/kit/TestCompositor.h"

#include <QCoreApplication>
#include <QSet>

#include <xkbcommon/xkbcommon.h>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// By KDE's numbers: alternative, control, shift, super, and the second alternative.
constexpr int firstModifier = 3;
constexpr int modifiers = 5;

QByteArray usualLayout() {
    static const QByteArray text = [] {
        const auto layout = KeyLayout::usual();
        if (!layout)
            fail("the system has no descriptions of keyboards");
        char *const made = xkb_keymap_get_as_string(layout->keymap(), XKB_KEYMAP_FORMAT_TEXT_V1);
        QByteArray copy(made);
        std::free(made);
        return copy;
    }();
    return text;
}

// A compositor that shares its keyboard, and everything that it may say of it.
class Performance {
public:
    Performance() {
        qputenv("WAYLAND_DISPLAY", _compositor.display());
        _session.wayland = WaylandConnection::open();
        _keyboard = makeKeyboardEvents(_session, [this] { return _pasteKeys; });
        _clipboard = WaylandDataControl::make(_session.wayland);
        settle();
    }

    void step(Script &script) {
        switch (script.number(10)) {
        case 0: {
            const int key = script.number(8);
            setModifier(key, script.number(6));
            break;
        }
        case 1:
            setKeymap(script);
            break;
        case 2:
            changeSeats(script.number(4));
            break;
        case 3:
            _pasteKeys = script.number(2) == 0 ? std::nullopt
                                               : std::optional(QString::fromUtf8(script.string()));
            break;
        case 4:
            _compositor.copy({{"text/plain", script.string()}});
            break;
        case 5:
            std::ignore = _clipboard && _clipboard->own({QStringLiteral("text/plain")});
            break;
        case 6:
            _runLoop.advance(0.1 * script.number(20));
            break;
        case 7:
            QCoreApplication::processEvents();
            break;
        default:
            paste();
            break;
        }
    }

    // Whatever happened: no key stays down, and who holds nothing is pasted for.
    void finish() {
        settle();
        checkKeys();
        for (int key = firstModifier; key < firstModifier + modifiers; ++key)
            setModifier(key, 0);
        _runLoop.advance(WaylandKeyboardEvents::patience);
        settle();
        _pasteKeys.reset();
        const qsizetype before = presses();
        _keyboard->paste();
        settle();
        if (!_session.wayland->isLost() && presses() < before + 2)
            fail("nothing was typed at the end");
        checkKeys();
    }

private:
    void setModifier(int key, int state) {
        _compositor.setKeyState(quint32(key), quint32(state));
        if (key < firstModifier || _tellsNothing)
            return;
        if (state >= 1 && state <= 3)
            _active.insert(key);
        else
            _active.remove(key);
    }

    void setKeymap(Script &script) {
        TestCompositor::Keymap keymap;
        keymap.text = script.number(2) == 0 ? usualLayout() : script.string();
        // Some of it is something else.
        for (int count = script.number(4); count > 0 && !keymap.text.isEmpty(); --count) {
            const qsizetype at = script.number(256) * keymap.text.size() / 256;
            const int length = script.number(256);
            keymap.text.replace(at, length, script.string());
        }
        keymap.format = quint32(script.number(3));
        keymap.isPipe = script.number(8) == 7;
        if (script.number(4) == 3) {
            const auto size = quint32(script.number(256));
            keymap.size = size << quint32(script.number(32));
        }
        _compositor.setKeymap(keymap);
    }

    void changeSeats(int what) {
        if (what == 0)
            _compositor.addSeat();
        else if (what == 1)
            _compositor.removeSeat();
        else if (what == 2)
            _compositor.disconnectClients();
        else if (!std::exchange(_tellsNothing, true))
            _compositor.removeKeyStates();
        if (_tellsNothing)
            _active.clear();
    }

    void paste() {
        settle();
        const qsizetype before = presses();
        _keyboard->paste();
        settle();
        if (!_active.isEmpty() && presses() != before)
            fail("typed while modifiers were held");
    }

    [[nodiscard]] qsizetype presses() const {
        const QList<QByteArray> typed = _compositor.typed();
        return std::count_if(typed.cbegin(), typed.cend(),
                             [](const QByteArray &each) { return each.startsWith("press "); });
    }

    void checkKeys() const {
        QSet<QByteArray> down;
        for (const QByteArray &each : _compositor.typed()) {
            const qsizetype space = each.indexOf(' ');
            if (each.startsWith("press "))
                down.insert(each.sliced(space));
            else if (each.startsWith("release "))
                down.remove(each.sliced(space));
        }
        if (!down.isEmpty())
            fail("a key stays down");
    }

    void settle() {
        if (!served(*_session.wayland))
            fail("the compositor does not answer");
    }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    TestCompositor _compositor{{.keyboards = false, .fakeInput = 4, .keyStates = 5}};
    Session _session;
    std::optional<QString> _pasteKeys;
    std::unique_ptr<KeyboardEvents> _keyboard;
    std::unique_ptr<WaylandDataControl> _clipboard;
    QSet<int> _active;
    bool _tellsNothing = false;
};

} // namespace

// The input is what the user, a compositor and other programs do, one after the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return perform<Performance>(data, size);
}
