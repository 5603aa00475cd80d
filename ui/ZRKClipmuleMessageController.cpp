// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKClipmuleMessageController.h"

#include "platform/bundle/Bundle.h"
#include "platform/tray/MessageSurface.h"
#include "ui/MessagePanel.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <utility>

namespace clipmule {

namespace {

QRect screenAt(const QRect &statusItem) {
    const QScreen *screen = QGuiApplication::screenAt(statusItem.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry() : QRect();
}

int between(int from, int to, double progress) {
    return int(std::lround(from + (to - from) * progress));
}

QRect between(const QRect &from, const QRect &to, double progress) {
    return {between(from.x(), to.x(), progress), between(from.y(), to.y(), progress),
            between(from.width(), to.width(), progress),
            between(from.height(), to.height(), progress)};
}

} // namespace

ZRKClipmuleMessageController &ZRKClipmuleMessageController::sharedController() {
    static ZRKClipmuleMessageController *const shared =
        std::make_unique<ZRKClipmuleMessageController>(Bundle::mainBundle()).release();
    return *shared;
}

ZRKClipmuleMessageController::ZRKClipmuleMessageController(const Bundle &bundle)
    : _window(std::make_unique<MessagePanel>(bundle)) {}

ZRKClipmuleMessageController::~ZRKClipmuleMessageController() = default;

void ZRKClipmuleMessageController::setSurroundings(MessageSurroundings surroundings) {
    if (_isOnSurface)
        hide();
    _surroundings = std::move(surroundings);
    if (!_surroundings.surface)
        return;
    _surroundings.surface->onDraw = [this](int pixelRatio) { return _window->picture(pixelRatio); };
    _surroundings.surface->onClosed = [this](bool wasDrawn) { surfaceDidClose(wasDrawn); };
}

void ZRKClipmuleMessageController::displayMessage(const QString &text) {
    const auto statusItem =
        _surroundings.statusItemFrame ? _surroundings.statusItemFrame() : std::nullopt;
    // A message that is dropped leaves the one before it its five seconds.
    if (!statusItem)
        return;
    if (!_surroundings.surface && _surroundings.canPlaceWindows &&
        !_surroundings.canPlaceWindows()) {
        if (_surroundings.notifyInstead)
            _surroundings.notifyInstead(text);
        return;
    }
    _closeTimer.cancel();
    show(text.size() > longestText ? text.first(longestText - 1) + u'…' : text, *statusItem);
    if (!isShown())
        return;
    animateOpacity(1);
    _closeTimer = RunLoop::current().performAfter(shownFor, [this] { close(); });
}

bool ZRKClipmuleMessageController::isShown() const {
    return _isOnSurface || _window->isVisible();
}

void ZRKClipmuleMessageController::show(const QString &text, const QRect &statusItem) {
    const QSize size = _window->sizeForText(text);
    // Where a surface is, nobody tells.
    const auto place = _surroundings.surface
                           ? MessagePanelPlace{.frame = QRect(QPoint(), size)}
                           : placeOfMessagePanel(size, statusItem, screenAt(statusItem));
    _window->setText(text);
    _window->pointTo(place);
    _window->setBlended(_surroundings.surface || !_surroundings.blendsWindows ||
                        _surroundings.blendsWindows());
    if (isShown()) {
        animateFrame(place.frame);
        redraw();
    } else {
        _move.interrupt();
        _window->setGeometry(place.frame);
        _window->setContentOpacity(0);
        appear();
    }
    QAccessibleEvent alert(_window.get(), QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void ZRKClipmuleMessageController::appear() {
    if (_surroundings.surface) {
        _isOnSurface = true;
        redraw();
        return;
    }
    _window->show();
    _window->raise();
}

void ZRKClipmuleMessageController::redraw() {
    if (_isOnSurface && !_surroundings.surface->show(_window->size()))
        surfaceDidClose(false);
}

void ZRKClipmuleMessageController::hide() {
    if (std::exchange(_isOnSurface, false))
        _surroundings.surface->hide();
    else
        _window->hide();
}

// Who has not seen the message gets it as a notification.
void ZRKClipmuleMessageController::surfaceDidClose(bool wasDrawn) {
    hide();
    _closeTimer.cancel();
    _fade.interrupt();
    _move.interrupt();
    if (!wasDrawn && _surroundings.notifyInstead)
        _surroundings.notifyInstead(_window->text());
}

void ZRKClipmuleMessageController::animateFrame(const QRect &frame) {
    const QRect from = _window->geometry();
    _move.interrupt();
    if (from == frame)
        return;
    _move.start(moveDuration, [this, from, frame](double progress) {
        _window->setGeometry(between(from, frame, progress));
        redraw();
    });
}

void ZRKClipmuleMessageController::close() {
    _closeTimer.cancel();
    if (isShown())
        animateOpacity(0);
}

void ZRKClipmuleMessageController::animateOpacity(qreal opacity) {
    const qreal from = _window->contentOpacity();
    _fade.start(
        fadeDuration,
        [this, from, opacity](double progress) {
            _window->setContentOpacity(progress < 1 ? from + (opacity - from) * progress : opacity);
            redraw();
        },
        [this](bool finished) { animationDidStop(finished); });
}

void ZRKClipmuleMessageController::animationDidStop(bool finished) {
    if (finished && _window->contentOpacity() == 0)
        hide();
}

} // namespace clipmule
