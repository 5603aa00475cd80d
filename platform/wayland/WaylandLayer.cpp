// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandLayer.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/wayland/WaylandConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <list>
#include <utility>

#include <wayland-client-protocol.h>
#include <wlr-layer-shell-unstable-v1-client-protocol.h>

namespace clipmule {

namespace {

// The newest versions of which every event is known here.
constexpr quint32 compositorVersion = 4;
constexpr quint32 outputVersion = 3;
// From this version on a surface has a scale.
constexpr quint32 scaledVersion = 3;

} // namespace

class LayerSurface final : public WaylandLayer, private WaylandObserver {
public:
    explicit LayerSurface(std::shared_ptr<WaylandConnection> connection)
        : _connection(std::move(connection))
        , _compositor(_connection->bind<wl_compositor>(wl_compositor_interface, compositorVersion))
        , _memory(_connection->bind<wl_shm>(wl_shm_interface, 1)) {
        wl_shm_add_listener(_memory, &memoryListener, nullptr);
        _connection->addObserver(this);
        LayerSurface::waylandGlobalsChanged();
        _connection->flush();
    }
    ~LayerSurface() override {
        _connection->removeObserver(this);
        leave();
        for (const Output &output : _outputs)
            release(output.proxy);
        releaseShell();
        wl_shm_destroy(_memory);
        wl_compositor_destroy(_compositor);
        _connection->flush();
    }
    LayerSurface(const LayerSurface &) = delete;
    LayerSurface &operator=(const LayerSurface &) = delete;

    [[nodiscard]] bool show(QSize points, int fromRight) override {
        if (_connection->isLost() || points.isEmpty() || points.width() > longestSide ||
            points.height() > longestSide || (!_layer && !_shell))
            return false;
        _isStale = true;
        if (!_layer)
            enter(fromRight);
        if (std::exchange(_points, points) != points)
            zwlr_layer_surface_v1_set_size(_layer, quint32(points.width()),
                                           quint32(points.height()));
        if (!std::exchange(_isIntroduced, true))
            // Without a picture, which asks the compositor to say when there may be one.
            wl_surface_commit(_surface);
        draw();
        _connection->flush();
        return true;
    }
    void hide() override {
        leave();
        _connection->flush();
    }

private:
    struct Output {
        quint32 name;
        wl_output *proxy;
        int scale = 1;
        bool isEntered = false;
    };

    static LayerSurface &of(void *memory) { return *static_cast<LayerSurface *>(memory); }

    void enter(int fromRight) {
        _surface = wl_compositor_create_surface(_compositor);
        wl_surface_add_listener(_surface, &surfaceListener, this);
        wl_region *const nowhere = wl_compositor_create_region(_compositor);
        wl_surface_set_input_region(_surface, nowhere);
        wl_region_destroy(nowhere);
        _layer = zwlr_layer_shell_v1_get_layer_surface(
            _shell, _surface, nullptr, ZWLR_LAYER_SHELL_V1_LAYER_TOP, "clipmule-sync");
        zwlr_layer_surface_v1_add_listener(_layer, &layerListener, this);
        zwlr_layer_surface_v1_set_anchor(_layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP |
                                                     ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
        zwlr_layer_surface_v1_set_margin(_layer, 0, fromRight, 0, 0);
        // It makes way for what has a zone of its own.
        zwlr_layer_surface_v1_set_exclusive_zone(_layer, 0);
        zwlr_layer_surface_v1_set_keyboard_interactivity(
            _layer, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    }
    void leave() {
        if (!_layer)
            return;
        zwlr_layer_surface_v1_destroy(std::exchange(_layer, nullptr));
        wl_surface_destroy(std::exchange(_surface, nullptr));
        for (wl_buffer *const buffer : std::exchange(_buffers, {}))
            wl_buffer_destroy(buffer);
        for (Output &output : _outputs)
            output.isEntered = false;
        _points = {};
        _isIntroduced = false;
        _mayDraw = false;
        _isStale = false;
    }

    void draw() {
        if (!_mayDraw || !_isStale || _isUnderWay || !onDraw)
            return;
        _isStale = false;
        const int scale = pixelsPerPoint();
        const QImage picture = onDraw(scale).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        wl_buffer *const buffer =
            _layer && picture.size() == _points * scale ? makeBuffer(picture) : nullptr;
        if (!buffer)
            return;
        if (wl_surface_get_version(_surface) >= scaledVersion)
            wl_surface_set_buffer_scale(_surface, scale);
        wl_surface_attach(_surface, buffer, 0, 0);
        wl_surface_damage(_surface, 0, 0, INT32_MAX, INT32_MAX);
        wl_surface_commit(_surface);
        _isUnderWay = true;
        _connection->whenServed(this, [this] {
            _isUnderWay = false;
            draw();
        });
    }
    [[nodiscard]] int pixelsPerPoint() const {
        if (wl_surface_get_version(_surface) < scaledVersion)
            return 1;
        // Before it is anywhere it is drawn for the densest of all.
        const bool isAnywhere = std::any_of(_outputs.cbegin(), _outputs.cend(),
                                            [](const Output &each) { return each.isEntered; });
        int scale = 1;
        for (const Output &output : _outputs) {
            if (output.isEntered || !isAnywhere)
                scale = std::max(scale, output.scale);
        }
        return std::min(scale, largestScale);
    }
    [[nodiscard]] wl_buffer *makeBuffer(const QImage &picture) {
        const FileHandle file = fileInMemory(
            {reinterpret_cast<const char *>(picture.constBits()), picture.sizeInBytes()});
        if (!file.isOpen()) {
            const int reason = errno;
            qCWarning(logWayland, "no picture can be handed over: %s", std::strerror(reason));
            return nullptr;
        }
        wl_shm_pool *const pool =
            wl_shm_create_pool(_memory, file.descriptor(), int(picture.sizeInBytes()));
        wl_buffer *const buffer =
            wl_shm_pool_create_buffer(pool, 0, picture.width(), picture.height(),
                                      int(picture.bytesPerLine()), WL_SHM_FORMAT_ARGB8888);
        wl_shm_pool_destroy(pool);
        wl_buffer_add_listener(buffer, &bufferListener, this);
        // Who never gives them back gets no more than that.
        if (_buffers.size() > mostKept)
            wl_buffer_destroy(_buffers.takeFirst());
        _buffers.append(buffer);
        return buffer;
    }

    void waylandGlobalsChanged() override {
        if (!_connection->offers(zwlr_layer_shell_v1_interface.name))
            releaseShell();
        else if (!_shell)
            _shell = _connection->bind<zwlr_layer_shell_v1>(zwlr_layer_shell_v1_interface);
        const QList<quint32> names = _connection->globals(wl_output_interface.name);
        _outputs.remove_if([&](const Output &output) {
            const bool isGone = !names.contains(output.name);
            if (isGone)
                release(output.proxy);
            return isGone;
        });
        for (const quint32 name : names.first(std::min(names.size(), mostOutputs))) {
            const bool isKnown =
                std::any_of(_outputs.cbegin(), _outputs.cend(),
                            [name](const Output &output) { return output.name == name; });
            if (isKnown)
                continue;
            auto *const output =
                _connection->bind<wl_output>(wl_output_interface, outputVersion, name);
            _outputs.push_back({name, output});
            wl_output_add_listener(output, &outputListener, this);
        }
        _connection->flush();
    }
    void releaseShell() {
        if (!_shell)
            return;
        if (zwlr_layer_shell_v1_get_version(_shell) >= ZWLR_LAYER_SHELL_V1_DESTROY_SINCE_VERSION)
            zwlr_layer_shell_v1_destroy(std::exchange(_shell, nullptr));
        else
            wl_proxy_destroy(reinterpret_cast<wl_proxy *>(std::exchange(_shell, nullptr)));
    }
    static void release(wl_output *output) {
        if (wl_output_get_version(output) >= WL_OUTPUT_RELEASE_SINCE_VERSION)
            wl_output_release(output);
        else
            wl_output_destroy(output);
    }
    // A change that shows is drawn.
    template <typename Change>
    void changeOutput(const wl_output *proxy, const Change &change) {
        const int before = _surface ? pixelsPerPoint() : 0;
        for (Output &output : _outputs) {
            if (output.proxy == proxy)
                change(output);
        }
        if (!_surface || pixelsPerPoint() == before)
            return;
        _isStale = true;
        draw();
    }

    static void configure(void *memory, zwlr_layer_surface_v1 *layer, quint32 serial, quint32,
                          quint32) {
        LayerSurface &self = of(memory);
        // Which size it is to have is ours to say.
        zwlr_layer_surface_v1_ack_configure(layer, serial);
        self._mayDraw = true;
        self.draw();
    }
    static void close(void *memory, zwlr_layer_surface_v1 *) {
        LayerSurface &self = of(memory);
        self.leave();
        if (self.onClosed)
            self.onClosed();
    }
    static void enterOutput(void *memory, wl_surface *, wl_output *proxy) {
        of(memory).changeOutput(proxy, [](Output &output) { output.isEntered = true; });
    }
    static void leaveOutput(void *memory, wl_surface *, wl_output *proxy) {
        of(memory).changeOutput(proxy, [](Output &output) { output.isEntered = false; });
    }
    static void setScale(void *memory, wl_output *proxy, int scale) {
        of(memory).changeOutput(proxy, [scale](Output &output) { output.scale = scale; });
    }
    static void takeBack(void *memory, wl_buffer *buffer) {
        of(memory)._buffers.removeOne(buffer);
        wl_buffer_destroy(buffer);
    }
    static void ignoreFormat(void *, wl_shm *, quint32) {}
    static void ignoreGeometry(void *, wl_output *, int, int, int, int, int, const char *,
                               const char *, int) {}
    static void ignoreMode(void *, wl_output *, quint32, int, int, int) {}
    static void ignoreDone(void *, wl_output *) {}

    static constexpr zwlr_layer_surface_v1_listener layerListener{configure, close};
    static constexpr wl_surface_listener surfaceListener{.enter = enterOutput,
                                                         .leave = leaveOutput};
    static constexpr wl_buffer_listener bufferListener{takeBack};
    static constexpr wl_shm_listener memoryListener{ignoreFormat};
    static constexpr wl_output_listener outputListener{
        .geometry = ignoreGeometry, .mode = ignoreMode, .done = ignoreDone, .scale = setScale};

    std::shared_ptr<WaylandConnection> _connection;
    wl_compositor *_compositor;
    wl_shm *_memory;
    zwlr_layer_shell_v1 *_shell = nullptr;
    std::list<Output> _outputs;
    // While it is shown.
    wl_surface *_surface = nullptr;
    zwlr_layer_surface_v1 *_layer = nullptr;
    QList<wl_buffer *> _buffers; // the newest last
    QSize _points;
    bool _isIntroduced = false;
    bool _mayDraw = false;
    bool _isStale = false;
    bool _isUnderWay = false; // a picture that the compositor has not seen yet
};

std::unique_ptr<WaylandLayer>
WaylandLayer::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection || !connection->offers(zwlr_layer_shell_v1_interface.name) ||
        !connection->offers(wl_compositor_interface.name) ||
        !connection->offers(wl_shm_interface.name))
        return nullptr;
    return std::make_unique<LayerSurface>(connection);
}

} // namespace clipmule
