// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QEventLoop>
#include <QTimer>
#include <QTimerEvent>

#include <cmath>
#include <thread>

namespace clipmule {

QtRunLoop::~QtRunLoop() = default;

RunLoop::Seconds QtRunLoop::now() const {
    return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch());
}

Date QtRunLoop::wallClock() const {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return {std::chrono::duration<double>(sinceEpoch).count() - Date::unixTimeOfReference};
}

void QtRunLoop::runOnce() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void QtRunLoop::runFor(Seconds duration) {
    QEventLoop loop;
    const Timer end = performAfter(duration, [&loop] { loop.quit(); });
    loop.exec();
}

void QtRunLoop::pause(Seconds duration) {
    std::this_thread::sleep_for(duration);
}

RunLoop::Identifier QtRunLoop::schedule(Seconds delay, bool repeats, Callback callback) {
    const auto milliseconds =
        std::chrono::milliseconds(qint64(std::ceil(std::max(delay.count(), 0.0) * 1000.0)));
    // A coarse timer may be off by a twentieth of its interval: half a second on ten seconds, which
    // would let a resolve give up early.
    const int timer = startTimer(milliseconds, Qt::PreciseTimer);
    const Identifier identifier = _nextIdentifier++;
    _entriesByTimer.emplace(
        timer, Entry{identifier, repeats, std::make_shared<Callback>(std::move(callback))});
    _timerByIdentifier.emplace(identifier, timer);
    return identifier;
}

void QtRunLoop::unschedule(Identifier identifier) {
    const auto found = _timerByIdentifier.find(identifier);
    if (found == _timerByIdentifier.end())
        return;
    const int timer = found->second;
    _timerByIdentifier.erase(found);
    killTimer(timer);
    // Moved out first: destroying the callback may cancel further timers.
    const auto node = _entriesByTimer.extract(timer);
}

void QtRunLoop::timerEvent(QTimerEvent *event) {
    const auto found = _entriesByTimer.find(event->timerId());
    if (found == _entriesByTimer.end())
        return;
    const std::shared_ptr<Callback> callback = found->second.callback;
    if (!found->second.repeats)
        unschedule(found->second.identifier);
    (*callback)();
}

} // namespace clipmule
