// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"
#include "platform/session/Session.h"
#include "platform/tray/MessageSurface.h"
#include "platform/wayland/WaylandLayer.h"

#include <utility>

namespace clipmule {

namespace {

// Points from the right edge. Nobody tells where the item is: most status areas have a clock, or
// little more, on their right.
constexpr int fromRight = 100;

class LayerMessageSurface final : public MessageSurface {
public:
    explicit LayerMessageSurface(std::unique_ptr<WaylandLayer> layer)
        : _layer(std::move(layer)) {
        _layer->onDraw = [this](int scale) {
            _wait.cancel();
            _wasDrawn = true;
            return onDraw(scale);
        };
        _layer->onClosed = [this] { close(); };
    }

    [[nodiscard]] bool show(QSize points) override {
        if (!std::exchange(_isShown, true)) {
            _wasDrawn = false;
            _wait = RunLoop::current().performAfter(patience, [this] { close(); });
        }
        if (_layer->show(points, fromRight))
            return true;
        hide();
        return false;
    }
    void hide() override {
        _isShown = false;
        _wait.cancel();
        _layer->hide();
    }

private:
    void close() {
        if (!_wasDrawn)
            qCInfo(logUi, "the compositor does not let a message be shown");
        hide();
        callCopyOf(onClosed, bool(_wasDrawn));
    }

    std::unique_ptr<WaylandLayer> _layer;
    bool _isShown = false;
    bool _wasDrawn = false; // since it is shown
    RunLoop::Timer _wait;   // for the first drawing
};

} // namespace

std::unique_ptr<MessageSurface> makeMessageSurface(const Session &session) {
    auto layer = WaylandLayer::make(session.wayland);
    return layer ? std::make_unique<LayerMessageSurface>(std::move(layer)) : nullptr;
}

} // namespace clipmule
