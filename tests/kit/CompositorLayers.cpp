// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/CompositorLayers.h"

#include <utility>

#include <wayland-server.h>
#include <wlr-layer-shell-unstable-v1-server-protocol.h>

namespace clipmule::kit {

struct CompositorLayers::Surface {
    CompositorLayers *layers;
    wl_resource *resource;
    wl_resource *role = nullptr;
    wl_resource *attached = nullptr; // since the last commit
    bool isDamaged = false;
    bool wasTold = false; // a size
    int pendingScale = 1;
    bool pendingPointer = true;
    ShownLayer shown;
};

namespace {

using Surface = CompositorLayers::Surface;
constexpr quint32 giantSize = 1 << 30;

Surface &surfaceOf(wl_resource *resource) {
    return *static_cast<Surface *>(wl_resource_get_user_data(resource));
}
void destroy(wl_client *, wl_resource *resource) {
    wl_resource_destroy(resource);
}

// Buffers.

struct BufferWatch {
    wl_listener listener;
    CompositorLayers *layers;
};
void bufferGone(wl_listener *listener, void *buffer) {
    auto *const watch = reinterpret_cast<BufferWatch *>(listener);
    --watch->layers->buffersAlive;
    watch->layers->heldBuffers.removeAll(static_cast<wl_resource *>(buffer));
    delete watch;
}
void watchBuffer(CompositorLayers &layers, wl_resource *buffer) {
    if (wl_resource_get_destroy_listener(buffer, bufferGone))
        return;
    ++layers.buffersAlive;
    auto *const watch = new BufferWatch{{{nullptr, nullptr}, bufferGone}, &layers};
    wl_resource_add_destroy_listener(buffer, &watch->listener);
}
void readPicture(ShownLayer &shown, wl_resource *resource) {
    wl_shm_buffer *const buffer = wl_shm_buffer_get(resource);
    shown.pixels = {wl_shm_buffer_get_width(buffer), wl_shm_buffer_get_height(buffer)};
    shown.picture.clear();
    wl_shm_buffer_begin_access(buffer);
    const auto *const bytes = static_cast<const char *>(wl_shm_buffer_get_data(buffer));
    for (int row = 0; row < shown.pixels.height(); ++row)
        shown.picture.append(bytes + qsizetype(row) * wl_shm_buffer_get_stride(buffer),
                             shown.pixels.width() * 4);
    wl_shm_buffer_end_access(buffer);
    ++shown.pictures;
}

// Surfaces.

void attach(wl_client *, wl_resource *resource, wl_resource *buffer, int, int) {
    Surface &surface = surfaceOf(resource);
    surface.attached = buffer;
    watchBuffer(*surface.layers, buffer);
}
void damage(wl_client *, wl_resource *resource, int x, int y, int width, int height) {
    surfaceOf(resource).isDamaged = x <= 0 && y <= 0 && width > 0 && height > 0;
}
void setInputRegion(wl_client *, wl_resource *resource, wl_resource *region) {
    // Regions begin empty; what is added to one stands in it.
    surfaceOf(resource).pendingPointer = !region || wl_resource_get_user_data(region);
}
void setBufferScale(wl_client *, wl_resource *resource, int scale) {
    surfaceOf(resource).pendingScale = scale;
}
void tellSize(Surface &surface) {
    const LayerManner manner = surface.layers->manner;
    if (manner == LayerManner::ClosesAtOnce) {
        zwlr_layer_surface_v1_send_closed(surface.role);
        return;
    }
    if (manner == LayerManner::SaysNothing)
        return;
    surface.wasTold = true;
    quint32 width = quint32(surface.shown.points.width());
    quint32 height = quint32(surface.shown.points.height());
    if (manner != LayerManner::Agrees)
        width = height = manner == LayerManner::DemandsGiantSize ? giantSize : 0;
    zwlr_layer_surface_v1_send_configure(surface.role, 7, width, height);
}
void commit(wl_client *, wl_resource *resource) {
    Surface &surface = surfaceOf(resource);
    surface.shown.scale = surface.pendingScale;
    surface.shown.takesPointer = surface.pendingPointer;
    wl_resource *const buffer = std::exchange(surface.attached, nullptr);
    if (!surface.role)
        return;
    if (!buffer) {
        tellSize(surface);
        return;
    }
    if (surface.shown.acknowledged == 0 || !surface.isDamaged) {
        wl_resource_post_error(surface.role, ZWLR_LAYER_SURFACE_V1_ERROR_INVALID_SURFACE_STATE,
                               "a picture too early, or without damage");
        return;
    }
    surface.isDamaged = false;
    readPicture(surface.shown, buffer);
    surface.layers->heldBuffers.append(buffer);
    if (surface.layers->givesBuffersBack)
        surface.layers->giveBackBuffers();
}
void ignoreFrame(wl_client *client, wl_resource *, quint32 id) {
    wl_resource_create(client, &wl_callback_interface, 1, id);
}
void ignoreRegion(wl_client *, wl_resource *, wl_resource *) {}
void ignoreTransform(wl_client *, wl_resource *, int) {}
void surfaceGone(wl_resource *resource) {
    Surface *const surface = &surfaceOf(resource);
    if (surface->role)
        wl_resource_set_user_data(surface->role, nullptr);
    surface->layers->surfaces.remove(surface);
    delete surface;
}
void createSurface(wl_client *client, wl_resource *compositor, quint32 id) {
    static constexpr struct wl_surface_interface implementation {
        destroy, attach, damage, ignoreFrame, ignoreRegion, setInputRegion, commit, ignoreTransform,
            setBufferScale, damage
    };
    wl_resource *const resource =
        wl_resource_create(client, &wl_surface_interface, wl_resource_get_version(compositor), id);
    auto *const layers = static_cast<CompositorLayers *>(wl_resource_get_user_data(compositor));
    auto *const surface = new Surface{layers, resource};
    ++layers->surfacesMade;
    layers->surfaces.push_back(surface);
    wl_resource_set_implementation(resource, &implementation, surface, surfaceGone);
}
void addToRegion(wl_client *, wl_resource *region, int, int, int, int) {
    wl_resource_set_user_data(region, region);
}
void takeFromRegion(wl_client *, wl_resource *, int, int, int, int) {}
void createRegion(wl_client *client, wl_resource *, quint32 id) {
    static constexpr struct wl_region_interface implementation {
        destroy, addToRegion, takeFromRegion
    };
    wl_resource *const region = wl_resource_create(client, &wl_region_interface, 1, id);
    wl_resource_set_implementation(region, &implementation, nullptr, nullptr);
}
void bindCompositor(wl_client *client, void *layers, quint32 version, quint32 id) {
    static constexpr struct wl_compositor_interface implementation { createSurface, createRegion };
    wl_resource *const compositor =
        wl_resource_create(client, &wl_compositor_interface, int(version), id);
    wl_resource_set_implementation(compositor, &implementation, layers, nullptr);
}

// Layers.

// Of a surface that is gone nothing is known.
template <typename Change>
void change(wl_resource *role, const Change &make) {
    if (wl_resource_get_user_data(role))
        make(surfaceOf(role).shown);
}
void setSize(wl_client *, wl_resource *role, quint32 width, quint32 height) {
    change(role, [&](ShownLayer &shown) { shown.points = QSize(int(width), int(height)); });
}
void setAnchor(wl_client *, wl_resource *role, quint32 anchor) {
    change(role, [&](ShownLayer &shown) { shown.anchor = anchor; });
}
void setZone(wl_client *, wl_resource *role, int zone) {
    change(role, [&](ShownLayer &shown) { shown.zone = zone; });
}
void setMargin(wl_client *, wl_resource *role, int top, int right, int bottom, int left) {
    change(role, [&](ShownLayer &shown) { shown.margins = {top, right, bottom, left}; });
}
void setKeyboard(wl_client *, wl_resource *role, quint32 keyboard) {
    change(role, [&](ShownLayer &shown) { shown.keyboard = keyboard; });
}
void acknowledge(wl_client *, wl_resource *role, quint32) {
    change(role, [&](ShownLayer &shown) { ++shown.acknowledged; });
}
void setLayer(wl_client *, wl_resource *role, quint32 layer) {
    change(role, [&](ShownLayer &shown) { shown.layer = layer; });
}
void roleGone(wl_resource *role) {
    if (wl_resource_get_user_data(role))
        surfaceOf(role).role = nullptr;
}
void getLayer(wl_client *client, wl_resource *shell, quint32 id, wl_resource *surface,
              wl_resource *, quint32 layer, const char *name) {
    static constexpr struct zwlr_layer_surface_v1_interface implementation {
        setSize, setAnchor, setZone, setMargin, setKeyboard, ignoreRegion, acknowledge, destroy,
            setLayer
    };
    wl_resource *const role = wl_resource_create(client, &zwlr_layer_surface_v1_interface,
                                                 wl_resource_get_version(shell), id);
    surfaceOf(surface).role = role;
    surfaceOf(surface).shown.layer = layer;
    surfaceOf(surface).shown.name = name;
    wl_resource_set_implementation(role, &implementation, wl_resource_get_user_data(surface),
                                   roleGone);
}
void shellGone(wl_resource *shell) {
    --static_cast<CompositorLayers *>(wl_resource_get_user_data(shell))->shellsAlive;
}
void bindShell(wl_client *client, void *layers, quint32 version, quint32 id) {
    static constexpr struct zwlr_layer_shell_v1_interface implementation { getLayer, destroy };
    wl_resource *const shell =
        wl_resource_create(client, &zwlr_layer_shell_v1_interface, int(version), id);
    ++static_cast<CompositorLayers *>(layers)->shellsAlive;
    wl_resource_set_implementation(shell, &implementation, layers, shellGone);
}

// Outputs.

void outputGone(wl_resource *resource) {
    auto *const layers = static_cast<CompositorLayers *>(wl_resource_get_user_data(resource));
    --layers->outputsAlive;
    for (auto &output : layers->outputs)
        output.bound.removeAll(resource);
}
void bindOutput(wl_client *client, void *memory, quint32 version, quint32 id) {
    static constexpr struct wl_output_interface implementation { destroy };
    auto *const output = static_cast<CompositorLayers::Output *>(memory);
    wl_resource *const resource =
        wl_resource_create(client, &wl_output_interface, int(version), id);
    wl_resource_set_implementation(resource, &implementation, output->layers, outputGone);
    output->bound.append(resource);
    ++output->layers->outputsAlive;
    // Who does not know it dies of it.
    if (version >= WL_OUTPUT_NAME_SINCE_VERSION)
        wl_output_send_name(resource, "output");
    wl_output_send_geometry(resource, 0, 0, 300, 200, 0, "nobody", "nothing", 0);
    wl_output_send_mode(resource, WL_OUTPUT_MODE_CURRENT, 1280, 720, 60000);
    wl_output_send_scale(resource, output->scale);
    wl_output_send_done(resource);
}

} // namespace

void CompositorLayers::offer(wl_display *display, const QList<int> &scalesOfOutputs,
                             int surfaceVersion, int shellVersion) {
    wl_display_init_shm(display);
    wl_global_create(display, &wl_compositor_interface, surfaceVersion, this, bindCompositor);
    shell =
        wl_global_create(display, &zwlr_layer_shell_v1_interface, shellVersion, this, bindShell);
    for (const int scale : scalesOfOutputs)
        addOutput(display, scale);
}

void CompositorLayers::addOutput(wl_display *display, int scale) {
    Output &output = outputs.emplace_back(Output{this, nullptr, scale, {}});
    output.global = wl_global_create(display, &wl_output_interface, 4, &output, bindOutput);
}

void CompositorLayers::removeOutput() {
    // Who has not heard of it yet may still bind it, so it stays in the list.
    for (Output &output : outputs) {
        if (wl_global *const global = std::exchange(output.global, nullptr)) {
            wl_global_remove(global);
            return;
        }
    }
}

void CompositorLayers::setScale(int output, int scale) {
    for (wl_resource *const resource : std::as_const(std::next(outputs.begin(), output)->bound)) {
        wl_output_send_scale(resource, scale);
        wl_output_send_done(resource);
    }
}

void CompositorLayers::move(int output, bool isThere) {
    for (Surface *const surface : surfaces) {
        for (wl_resource *const bound : std::as_const(std::next(outputs.begin(), output)->bound))
            (isThere ? wl_surface_send_enter : wl_surface_send_leave)(surface->resource, bound);
    }
}

void CompositorLayers::closeAll() {
    for (const Surface *const surface : surfaces) {
        if (surface->role)
            zwlr_layer_surface_v1_send_closed(surface->role);
    }
}

void CompositorLayers::removeShell() {
    wl_global_remove(std::exchange(shell, nullptr));
}

void CompositorLayers::giveBackBuffers() {
    for (wl_resource *const buffer : std::exchange(heldBuffers, {}))
        wl_buffer_send_release(buffer);
}

QList<ShownLayer> CompositorLayers::shown() const {
    QList<ShownLayer> shown;
    for (const Surface *const surface : surfaces) {
        if (surface->role)
            shown.append(surface->shown);
    }
    return shown;
}

} // namespace clipmule::kit
