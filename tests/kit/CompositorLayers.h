// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QList>
#include <QSize>

#include <list>
#include <set>

struct wl_client;
struct wl_display;
struct wl_global;
struct wl_resource;

namespace clipmule::kit {

/// What a client shows above the windows, by the numbers of the protocol.
struct ShownLayer {
    QByteArray name;
    quint32 layer = 0;
    quint32 anchor = 0;
    int zone = -2;
    quint32 keyboard = 9;
    QList<int> margins; // top, right, bottom, left
    QSize points;
    bool takesPointer = true;
    int scale = 1;
    QSize pixels;
    QByteArray picture; // the newest one's rows, without gaps; empty before the first
    int pictures = 0;
    int acknowledged = 0; // sizes
};

/// How the screen of a TestCompositor treats layers.
enum class LayerManner {
    Agrees,
    SaysNothing,      // about a size, so that nothing may be drawn
    LeavesTheSize,    // to the client
    DemandsGiantSize, // of it
    ClosesAtOnce,
};

/// The part of a TestCompositor that shows layers: surfaces, memory, outputs and the layer shell.
class CompositorLayers {
public:
    void offer(wl_display *display, const QList<int> &scalesOfOutputs, int surfaceVersion,
               int shellVersion);
    void addOutput(wl_display *display, int scale);
    void removeOutput();
    void setScale(int output, int scale);
    /// All surfaces come to an output by its number, or leave it.
    void move(int output, bool isThere);
    void closeAll();
    void removeShell();
    void giveBackBuffers();
    /// Those that are shown, oldest first.
    [[nodiscard]] QList<ShownLayer> shown() const;

    LayerManner manner = LayerManner::Agrees;
    bool givesBuffersBack = true;
    /// How many buffers clients have not destroyed.
    int buffersAlive = 0;
    /// How many shells and outputs clients have bound and not released.
    int shellsAlive = 0;
    int outputsAlive = 0;
    /// How many of any surfaces there were that a client made.
    int surfacesMade = 0;

    struct Surface;
    struct Output {
        CompositorLayers *layers;
        wl_global *global;
        int scale;
        QList<wl_resource *> bound;
    };
    std::list<Surface *> surfaces;
    std::list<Output> outputs;
    QList<wl_resource *> heldBuffers;
    wl_global *shell = nullptr;
};

} // namespace clipmule::kit
