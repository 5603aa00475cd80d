// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Object.h"
#include "ui/Animation.h"
#include "ui/InterfaceImage.h"

#include <QPointer>
#include <QWidget>

namespace clipmule {

class SyncStatusSource;

/// The head of the status menu: on a textured background, which phone the agent is talking to, or
/// how many, and a green light that is lit while one is connected.
class ZRKClipmuleDeviceMenuView final : public QWidget, public Object {
    Q_OBJECT

public:
    static constexpr int initialWidth = 100;
    /// How long the light takes from dark to bright, and back.
    static constexpr RunLoop::Seconds fadeDuration{0.25};

    /// The status is not owned and outlives the view.
    ZRKClipmuleDeviceMenuView(const SyncStatusSource &status, const Bundle &bundle,
                              QWidget *parent = nullptr);
    ~ZRKClipmuleDeviceMenuView() override;

    /// UTF-16 units of a name. Names come from phones; a menu is not wider than some sixty letters.
    static constexpr qsizetype longestShownName = 64;

    /// The header's text, in the user's language; a phone's name is as the phone gave it.
    [[nodiscard]] QString serverName() const;
    /// The same for every label: on one line, without control characters, cut at the end.
    [[nodiscard]] QString shownName() const;
    /// Widens the view to the window's width. The window is the menu; null when it leaves one.
    void viewWillMoveToWindow(QWidget *window);
    /// Fades the light.
    void connectionDidChange();
    void setNeedsDisplay();

    /// Draws the view into a rectangle of the painter that is as high as the view.
    void drawRect(QPainter &painter, const QRectF &bounds) const;
    /// Draws the background's top strip along the upper edge of the menu's contents.
    void drawTopCap(QPainter &painter, const QRectF &contents) const;

    /// The opacity of the light that is on, from 0 to 1.
    [[nodiscard]] qreal lightOnOpacity() const { return _lightOnOpacity; }
    /// Where the light is in a view of that size; y downwards.
    [[nodiscard]] QRectF lightFrame(const QSizeF &viewSize) const;

    [[nodiscard]] QSize sizeHint() const override;
    bool eventFilter(QObject *object, QEvent *event) override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    class TopCap;
    void tellName();
    void placeTopCap();
    void removeTopCap();

    const SyncStatusSource &_status;
    InterfaceImage _background;
    InterfaceImage _lightOnImage;
    InterfaceImage _lightOffImage;
    qreal _lightOnOpacity = 0;
    Animation _fade;
    RunLoop::Timer _tellNameLater;
    QPointer<QWidget> _menuWindow;
    QPointer<QWidget> _topCap;
};

} // namespace clipmule
