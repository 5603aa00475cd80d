// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"

#include "platform/foundation/Log.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDateTime>
#include <QEventLoop>
#include <QTimer>
#include <QTimerEvent>

#include <cmath>
#include <ctime>
#include <thread>

namespace clipmule {

namespace {

double processorMilliseconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

} // namespace

QtRunLoop::QtRunLoop() {
    bool isGiven = false;
    _longestTurn = qEnvironmentVariable("CLIPMULE_LOOP_LIMIT").toDouble(&isGiven);
    if (!isGiven)
        return;
    // Dispatchers differ in which of the two comes before what they dispatch.
    const auto *dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, &QtRunLoop::turnEnded);
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &QtRunLoop::turnEnded);
    _turnBegan = processorMilliseconds();
}

void QtRunLoop::turnEnded() {
    const double now = processorMilliseconds();
    const double took = now - std::exchange(_turnBegan, now);
    if (took > _longestTurn)
        qCInfo(logFoundation, "the run loop was held for %.1f ms", took);
}

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
    const auto identifier = Identifier(startTimer(milliseconds, Qt::PreciseTimer));
    _entries.emplace(identifier, Entry{repeats, std::make_shared<Callback>(std::move(callback))});
    return identifier;
}

void QtRunLoop::unschedule(Identifier identifier) {
    // Moved out first: destroying the callback may cancel further timers.
    if (const auto node = _entries.extract(identifier))
        killTimer(int(identifier));
}

void QtRunLoop::timerEvent(QTimerEvent *event) {
    const auto found = _entries.find(Identifier(event->timerId()));
    if (found == _entries.end())
        return;
    const std::shared_ptr<Callback> callback = found->second.callback;
    if (!found->second.repeats)
        unschedule(found->first);
    (*callback)();
}

} // namespace clipmule
