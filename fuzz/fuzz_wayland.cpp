// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "fuzz/Script.h"
#include "platform/wayland/WaylandLayer.h"
#include "platform/wayland/WaylandToplevels.h"
#include "tests/kit/CompositorLayers.h"
#include "tests/pasteboard/WaylandDesktop.h"

using namespace clipmule;
using namespace clipmule::kit;

namespace {

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
    Performance() {
        _layer->onDraw = [](int scale) {
            QImage image(_size * scale, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::red);
            return image;
        };
        _layer->onClosed = [this] { _isShown = false; };
    }

    void step(Script &script) {
        TestCompositor &compositor = _desktop.compositor;
        switch (script.number(15)) {
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
        case 12:
            _isShown = _layer->show(_size, script.number(256));
            break;
        case 13:
            treatLayers(script);
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
        checkLayer();
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

    void treatLayers(Script &script) {
        const int what = script.number(9);
        const int number = script.number(4);
        const int scale = script.number(8) - 1;
        if (what == 0) {
            _desktop.compositor.addOutput(scale);
            return;
        }
        _desktop.compositor.layers([&](CompositorLayers &layers) {
            const bool hasOutput = number < int(layers.outputs.size());
            if (what == 1)
                layers.manner = static_cast<LayerManner>(number);
            else if (what == 2)
                layers.givesBuffersBack = number != 0;
            else if (what == 3)
                layers.giveBackBuffers();
            else if (what == 4)
                layers.closeAll();
            else if (what == 5 && hasOutput)
                layers.setScale(number, scale);
            else if (what == 6 && hasOutput)
                layers.move(number, scale > 0);
            else if (what == 7 && !layers.outputs.empty())
                layers.removeOutput();
            else if (what == 8 && layers.shell)
                layers.removeShell();
        });
    }

    // What is shown is seen, once, and what is hidden is gone.
    void checkLayer() {
        const auto shown = [this] {
            qsizetype count = 0;
            _desktop.compositor.layers([&](CompositorLayers &layers) {
                count = layers.shown().size();
                if (layers.buffersAlive > WaylandLayer::mostKept + 1)
                    fail("more pictures than may be kept");
            });
            return count;
        };
        if (shown() != (_isShown ? 1 : 0))
            fail("what is shown is not what was asked for");
        _layer->hide();
        _desktop.settle();
        if (shown() != 0)
            fail("what was hidden is still shown");
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

    static constexpr QSize _size{30, 20};

    WaylandDesktop _desktop{{.layers = true}};
    std::unique_ptr<WaylandToplevels> _windows = WaylandToplevels::make(_desktop.connection);
    std::unique_ptr<WaylandLayer> _layer = WaylandLayer::make(_desktop.connection);
    bool _isShown = false;
    QList<std::shared_ptr<FileHandle>> _readers;
    bool _isWithoutClipboard = false;
};

} // namespace

// The input is what a compositor and other programs do, one after the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return perform<Performance>(data, size);
}
