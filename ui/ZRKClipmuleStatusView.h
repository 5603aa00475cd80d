// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "ui/InterfaceImage.h"

#include <QRectF>
#include <QSizeF>

#include <functional>

namespace clipmule {

class SyncStatusSource;

/// The clickable icon of the status item: one of seven pictures, by the state of the connection,
/// and a small spinner that turns while data moves. It is a drawing, not a widget, so that it
/// serves a tray's picture as well as a window.
class ZRKClipmuleStatusView final {
public:
    /// The status item in points; the menu bar that the pictures were drawn for is 22 points high.
    static constexpr QSizeF itemSize{29, 22};
    static constexpr RunLoop::Seconds turnDuration{1.0};
    /// The side, in pixels, of small trays: they get pictures of their own, which fill a square.
    static constexpr int smallSide = 16;
    /// Each frame is a new picture for the tray, the bus and the panel.
    static constexpr int framesPerTurn = 12;

    /// Shows the menu. It may return at once or when the menu has closed.
    using Action = std::function<void(ZRKClipmuleStatusView &sender)>;

    /// The status is not owned. The pictures are read here, once.
    ZRKClipmuleStatusView(const SyncStatusSource &status, const Bundle &bundle,
                          QSizeF size = itemSize);
    Q_DISABLE_COPY_MOVE(ZRKClipmuleStatusView)

    void setAction(Action action) { _action = std::move(action); }
    /// Called whenever the drawing has changed; from the run loop for each frame of the spinner.
    void setNeedsDisplayCallback(std::function<void()> callback) {
        _needsDisplayCallback = std::move(callback);
    }
    /// The drawing may have changed: the status is asked when it is drawn.
    void setNeedsDisplay();

    void setNetworkActive(bool active);
    [[nodiscard]] bool isNetworkActive() const { return _networkActive; }

    /// A click: looks as the title of an open menu does, and sends the action, which may destroy
    /// the view. Who shows the menu ends it with setHighlighted(false) when the menu has closed.
    void mouseDown();
    void setHighlighted(bool highlighted);
    [[nodiscard]] bool isHighlighted() const { return _highlighted; }

    /// Draws it into that rectangle of the painter, of any size: icon and spinner keep theirs.
    void drawRect(QPainter &painter, const QRectF &bounds) const;
    void drawRect(QPainter &painter) const { drawRect(painter, {{0, 0}, _size}); }
    /// The same for a tray that wants a square; in pixels, and sharp where its size allows.
    [[nodiscard]] QImage squareImage(int side) const;

    [[nodiscard]] QSizeF size() const { return _size; }
    /// Hidden while no data moves.
    [[nodiscard]] bool isSpinnerHidden() const { return !_networkActive; }
    /// The angle in degrees, counterclockwise; each turn takes 360 away.
    [[nodiscard]] double spinnerRotation() const;

private:
    // The seven pictures of one size of the icon.
    struct Pictures {
        InterfaceImage connected;
        InterfaceImage connectedActive;
        InterfaceImage spinner;
        InterfaceImage highlighted;
        InterfaceImage highlightedActive;
        InterfaceImage highlightedSpinner;
        InterfaceImage notConnected;
    };
    using Reader = InterfaceImage (*)(const Bundle &bundle, const QString &name);
    [[nodiscard]] static Pictures picturesOf(const Bundle &bundle, const QString &suffix,
                                             Reader read);
    struct Face {
        const InterfaceImage *image;
        qreal opacity;
    };
    [[nodiscard]] Face face(const Pictures &pictures) const;
    void drawBackground(QPainter &painter, const QRectF &bounds) const;
    // The spinner's middle in points, y downwards.
    void drawSpinner(QPainter &painter, const Pictures &pictures, const QPointF &middle) const;
    void drawSmallSquare(QPainter &painter) const;
    void startTurn();
    void scheduleNextFrame();
    void frame();
    void animationDidStop(bool finished);

    const SyncStatusSource &_status;
    QSizeF _size;
    bool _highlighted = false;
    Pictures _pictures;
    Pictures _smallPictures;
    bool _networkActive = false;

    double _rotation = 0; // at the start of the turn
    bool _turning = false;
    RunLoop::Seconds _turnStartedAt{0};
    RunLoop::Timer _frameTimer;

    Action _action;
    std::function<void()> _needsDisplayCallback;
};

} // namespace clipmule
