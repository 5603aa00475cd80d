// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandToplevels.h"
#include "tests/pasteboard/WaylandDesktop.h"

#include <cstdlib>
#include <iostream>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

// A string that does not fit into one message is refused by the compositor's own library.
constexpr int longestString = 3900;

// The input as numbers and strings, which end with it.
class Script {
public:
    Script(const uint8_t *data, size_t size)
        : _bytes(reinterpret_cast<const char *>(data), qsizetype(size)) {}

    [[nodiscard]] bool isAtEnd() const { return _at >= _bytes.size(); }
    [[nodiscard]] int number(int limit) {
        return isAtEnd() ? 0 : static_cast<unsigned char>(_bytes.at(_at++)) % limit;
    }
    // A C string; with a length of 255 it comes as long as one can be.
    [[nodiscard]] QByteArray string() {
        const int length = number(256);
        QByteArray text = _bytes.mid(_at, length);
        _at += text.size();
        text.replace('\0', '0');
        return length == 255 && !text.isEmpty() ? text.repeated(longestString / text.size()) : text;
    }
    [[nodiscard]] QByteArray type() {
        static const QList<QByteArray> known = {
            "text/plain;charset=utf-8",
            "UTF8_STRING",
            "text/html",
            "text/rtf",
            "text/uri-list",
            "x-special/gnome-copied-files",
            "text/x-moz-url",
            "image/png",
            "x-kde-passwordManagerHint",
            "application/x-clipmule-own-selection-1",
        };
        const int which = number(int(known.size()) + 1);
        return which < known.size() ? known.at(which) : string();
    }

private:
    QByteArray _bytes;
    qsizetype _at = 0;
};

TestCompositor::Contents readContents(Script &script) {
    TestCompositor::Contents contents;
    for (int count = script.number(12); count > 0; --count) {
        const QByteArray type = script.type();
        contents.append({type, script.string()});
    }
    return contents;
}

class Performance {
public:
    void step(Script &script) {
        TestCompositor &compositor = _desktop.compositor;
        switch (script.number(13)) {
        case 0:
        case 1: {
            const TestCompositor::Contents contents = readContents(script);
            compositor.copy(contents, static_cast<TestCompositor::Owner>(script.number(5)));
            break;
        }
        case 2:
            compositor.clear();
            break;
        case 3:
            write(script);
            break;
        case 4:
            _readers.append(std::make_shared<FileHandle>(compositor.paste(script.type())));
            break;
        case 5:
            compositor.setWindow(script.number(4), {.identifier = script.string(),
                                                    .isActive = script.number(2) == 1,
                                                    .isDone = script.number(2) == 1});
            break;
        case 6:
            compositor.closeWindow(script.number(4));
            break;
        case 7:
            breakSomething(script);
            break;
        case 8:
            _desktop.runLoop.advance(0.1 * script.number(64));
            break;
        case 9:
            QCoreApplication::processEvents();
            break;
        case 10:
            _readers.clear();
            break;
        case 11:
            copyMany(script);
            break;
        default:
            _desktop.settle();
            break;
        }
    }

    // Whatever happened, it comes to rest, and what is copied then is read.
    void finish() {
        _readers.clear();
        rest();
        const TestCompositor &compositor = _desktop.compositor;
        if (_desktop.connection->isLost())
            return;
        if (compositor.offersAlive() > 2 || compositor.sourcesAlive() > 1)
            fail("what is not needed any more was not given back");
        if (_isWithoutClipboard)
            return;
        _desktop.compositor.copy({{"text/plain;charset=utf-8", "at the end"}});
        rest();
        if (_desktop.pasteboard->contents().text != "at the end")
            fail("what was copied at the end was not read");
    }

private:
    void write(Script &script) {
        PasteboardContents contents;
        contents.text = script.string();
        contents.html = script.string();
        contents.others.insert(QString::fromLatin1(script.type()), script.string());
        _desktop.pasteboard->write(contents);
    }

    void copyMany(Script &script) {
        TestCompositor::Contents contents;
        const int count = 40 * script.number(256);
        const QByteArray prefix = script.string().left(20);
        for (int number = 0; number < count; ++number)
            contents.append({prefix + QByteArray::number(number), "x"});
        _desktop.compositor.copy(contents);
        _desktop.settle();
    }

    void breakSomething(Script &script) {
        TestCompositor &compositor = _desktop.compositor;
        switch (script.number(5)) {
        case 0:
            compositor.finishDevices();
            _isWithoutClipboard = true;
            break;
        case 1:
            compositor.addSeat();
            break;
        case 2:
            compositor.removeSeat();
            _isWithoutClipboard = true;
            break;
        case 3:
            compositor.finishWindows();
            break;
        default:
            compositor.disconnectClients();
            break;
        }
    }

    void rest() {
        for (int second = 0; second < 120; ++second) {
            _desktop.settle();
            _desktop.runLoop.advance(1.0);
            if (second > 1 && !_desktop.pasteboard->isFetching())
                return;
        }
        fail("a fetch that does not end");
    }

    WaylandDesktop _desktop;
    std::unique_ptr<WaylandToplevels> _windows = WaylandToplevels::make(_desktop.connection);
    QList<std::shared_ptr<FileHandle>> _readers;
    bool _isWithoutClipboard = false;
};

} // namespace

// The input is what a compositor and other programs do, one after the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static int count = 1;
    static char name[] = "fuzz_wayland";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(count, arguments);
    Script script(data, size);
    Performance performance;
    while (!script.isAtEnd())
        performance.step(script);
    performance.finish();
    return 0;
}
