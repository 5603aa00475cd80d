// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKClipmuleStatusView.h"

#include "ui/InterfaceImage.h"
#include "ui/SyncStatusSource.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

// The spinner's frame in the status item, whose origin is at the bottom left.
constexpr QRectF spinnerFrame{10, 7, 9, 9};
// The spinner's middle on the small pictures, which is the middle of their board; y downwards.
constexpr QPointF smallSpinnerMiddle{8, 9.5};
constexpr qreal disabledOpacity = 0.3;
// A tray's side within this of a whole multiple of the menu bar's height is not worth a blur.
constexpr double sharpWithin = 0.2;
constexpr double halfDegree = 0.5 / 360;

// The lower left corner of the icon in a view of that size; y upwards.
QPointF iconOrigin(QSizeF view, QSize icon) {
    return {std::floor((view.width() - icon.width()) / 2),
            std::floor((view.height() - icon.height()) / 2) + 1};
}

} // namespace

ZRKClipmuleStatusView::ZRKClipmuleStatusView(const SyncStatusSource &status, const Bundle &bundle,
                                             QSizeF size)
    : _status(status)
    , _size(size)
    , _pictures(picturesOf(bundle, QString(), InterfaceImage::named))
    , _smallPictures(picturesOf(bundle, QStringLiteral("_small"), InterfaceImage::namedIfPresent)) {
}

ZRKClipmuleStatusView::Pictures
ZRKClipmuleStatusView::picturesOf(const Bundle &bundle, const QString &suffix, Reader read) {
    const auto named = [&](const QString &name) { return read(bundle, name + suffix); };
    return {.connected = named(QStringLiteral("status_connected")),
            .connectedActive = named(QStringLiteral("status_connected_active")),
            .spinner = named(QStringLiteral("status_connected_active_spinner")),
            .highlighted = named(QStringLiteral("status_highlighted")),
            .highlightedActive = named(QStringLiteral("status_highlighted_active")),
            .highlightedSpinner = named(QStringLiteral("status_highlighted_active_spinner")),
            .notConnected = named(QStringLiteral("status_not_connected"))};
}

void ZRKClipmuleStatusView::setNeedsDisplay() {
    if (_needsDisplayCallback)
        _needsDisplayCallback();
}

void ZRKClipmuleStatusView::setNetworkActive(bool active) {
    if (active == _networkActive)
        return;
    _networkActive = active;
    if (active)
        startTurn();
    else if (_turning)
        scheduleNextFrame();
    setNeedsDisplay();
}

void ZRKClipmuleStatusView::startTurn() {
    const RunLoop::Seconds now = RunLoop::current().now();
    _rotation = spinnerRotation();
    _turnStartedAt = now;
    _turning = true;
    scheduleNextFrame();
}

void ZRKClipmuleStatusView::scheduleNextFrame() {
    const RunLoop::Seconds elapsed = RunLoop::current().now() - _turnStartedAt;
    const RunLoop::Seconds frameDuration = turnDuration / framesPerTurn;
    // A hidden spinner shows no frames; only the end of its turn matters.
    RunLoop::Seconds next = turnDuration;
    if (_networkActive)
        next = frameDuration * (std::floor(elapsed / frameDuration + 0.5) + 1);
    _frameTimer = RunLoop::current().performAfter(
        std::max(std::min(next, turnDuration) - elapsed, RunLoop::Seconds(0)), [this] { frame(); });
}

void ZRKClipmuleStatusView::frame() {
    const RunLoop::Seconds elapsed = RunLoop::current().now() - _turnStartedAt;
    if (elapsed + turnDuration * halfDegree >= turnDuration) {
        _rotation -= 360;
        _turning = false;
        animationDidStop(true);
    } else {
        scheduleNextFrame();
    }
    if (_networkActive)
        setNeedsDisplay();
}

void ZRKClipmuleStatusView::animationDidStop(bool) {
    if (_networkActive)
        startTurn();
}

double ZRKClipmuleStatusView::spinnerRotation() const {
    if (!_turning)
        return _rotation;
    const double progress = (RunLoop::current().now() - _turnStartedAt) / turnDuration;
    return _rotation - 360 * std::clamp(progress, 0.0, 1.0);
}

void ZRKClipmuleStatusView::mouseDown() {
    setHighlighted(true);
    // A copy: the action may replace itself, or destroy the view.
    if (const Action action = _action)
        action(*this);
    else
        setHighlighted(false);
}

void ZRKClipmuleStatusView::setHighlighted(bool highlighted) {
    if (highlighted == _highlighted)
        return;
    _highlighted = highlighted;
    setNeedsDisplay();
}

ZRKClipmuleStatusView::Face ZRKClipmuleStatusView::face(const Pictures &pictures) const {
    if (_highlighted)
        return {_networkActive ? &pictures.highlightedActive : &pictures.highlighted, 1};
    if (_status.isConnected())
        return {_networkActive ? &pictures.connectedActive : &pictures.connected, 1};
    return {&pictures.notConnected, _status.isEnabled() ? 1 : disabledOpacity};
}

void ZRKClipmuleStatusView::drawBackground(QPainter &painter, const QRectF &bounds) const {
    if (_highlighted)
        painter.fillRect(bounds,
                         QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight));
}

void ZRKClipmuleStatusView::drawSpinner(QPainter &painter, const Pictures &pictures,
                                        const QPointF &middle) const {
    if (isSpinnerHidden())
        return;
    const InterfaceImage &spinner = _highlighted ? pictures.highlightedSpinner : pictures.spinner;
    painter.translate(middle);
    painter.rotate(-spinnerRotation());
    spinner.draw(painter, -QPointF(spinner.size().width(), spinner.size().height()) / 2);
}

void ZRKClipmuleStatusView::drawRect(QPainter &painter, const QRectF &bounds) const {
    painter.save();
    painter.translate(bounds.topLeft());
    drawBackground(painter, {{0, 0}, bounds.size()});
    const auto [image, opacity] = face(_pictures);
    const QPointF origin = iconOrigin(bounds.size(), image->size());
    painter.setOpacity(opacity);
    image->draw(painter, flipped({origin, QSizeF(image->size())}, bounds.height()).topLeft());
    painter.setOpacity(1);
    // The spinner belongs to the icon and goes with it where the view is not the status item's
    // size.
    const QPointF offset = origin - iconOrigin(itemSize, image->size());
    drawSpinner(painter, _pictures,
                flipped(spinnerFrame.translated(offset), bounds.height()).center());
    painter.restore();
}

void ZRKClipmuleStatusView::drawSmallSquare(QPainter &painter) const {
    drawBackground(painter, {0, 0, smallSide, smallSide});
    const auto [image, opacity] = face(_smallPictures);
    painter.setOpacity(opacity);
    image->draw(painter, QPointF(0, 0));
    painter.setOpacity(1);
    drawSpinner(painter, _smallPictures, smallSpinnerMiddle);
}

QImage ZRKClipmuleStatusView::squareImage(int side) const {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    // A whole multiple of the small pictures, but none of the others.
    const int largestSmall = 2 * smallSide;
    if (!_smallPictures.connected.isNull() && side <= largestSmall && side % smallSide == 0) {
        painter.scale(side / smallSide, side / smallSide);
        drawSmallSquare(painter);
        return image;
    }
    double scale = side / itemSize.height();
    if (scale > 1 && scale - std::floor(scale) < sharpWithin)
        scale = std::floor(scale);
    painter.scale(scale, scale);
    drawRect(painter, {0, 0, side / scale, side / scale});
    return image;
}

} // namespace clipmule
