// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKClipmuleMessageController.h"

#include "platform/bundle/Bundle.h"
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
    _surroundings = std::move(surroundings);
}

void ZRKClipmuleMessageController::displayMessage(const QString &text) {
    const auto statusItem =
        _surroundings.statusItemFrame ? _surroundings.statusItemFrame() : std::nullopt;
    // A message that is dropped leaves the one before it its five seconds.
    if (!statusItem)
        return;
    if (_surroundings.canPlaceWindows && !_surroundings.canPlaceWindows()) {
        if (_surroundings.notifyInstead)
            _surroundings.notifyInstead(text);
        return;
    }
    _closeTimer.cancel();
    show(text, *statusItem);
    animateOpacity(1);
    _closeTimer = RunLoop::current().performAfter(shownFor, [this] { close(); });
}

void ZRKClipmuleMessageController::show(const QString &text, const QRect &statusItem) {
    const auto place =
        placeOfMessagePanel(_window->sizeForText(text), statusItem, screenAt(statusItem));
    _window->setText(text);
    _window->pointTo(place);
    _window->setBlended(!_surroundings.blendsWindows || _surroundings.blendsWindows());
    if (_window->isVisible()) {
        animateFrame(place.frame);
    } else {
        _move.interrupt();
        _window->setGeometry(place.frame);
        _window->setContentOpacity(0);
        _window->show();
        _window->raise();
    }
    QAccessibleEvent alert(_window.get(), QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void ZRKClipmuleMessageController::animateFrame(const QRect &frame) {
    const QRect from = _window->geometry();
    _move.interrupt();
    if (from == frame)
        return;
    _move.start(moveDuration, [this, from, frame](double progress) {
        _window->setGeometry(between(from, frame, progress));
    });
}

void ZRKClipmuleMessageController::close() {
    _closeTimer.cancel();
    if (_window->isVisible())
        animateOpacity(0);
}

void ZRKClipmuleMessageController::animateOpacity(qreal opacity) {
    const qreal from = _window->contentOpacity();
    _fade.start(
        fadeDuration,
        [this, from, opacity](double progress) {
            _window->setContentOpacity(progress < 1 ? from + (opacity - from) * progress : opacity);
        },
        [this](bool finished) { animationDidStop(finished); });
}

void ZRKClipmuleMessageController::animationDidStop(bool finished) {
    if (finished && _window->contentOpacity() == 0)
        _window->hide();
}

} // namespace clipmule
