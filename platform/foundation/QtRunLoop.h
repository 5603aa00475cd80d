// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QObject>

#include <unordered_map>

namespace clipmule {

/// The run loop of this thread's Qt event dispatcher. One per thread; needs a QCoreApplication to
/// fire anything.
///
/// With CLIPMULE_LOOP_LIMIT in the environment, in milliseconds, it logs each turn that took more
/// of the processor's time than that. The time that others take of a busy machine, and deliberate
/// pauses, do not count.
class QtRunLoop final : public QObject, public RunLoop {
public:
    QtRunLoop();

    [[nodiscard]] Seconds now() const override;
    [[nodiscard]] Date wallClock() const override;
    void runOnce() override;
    void runFor(Seconds duration) override;
    void pause(Seconds duration) override;

protected:
    Identifier schedule(Seconds delay, bool repeats, Callback callback) override;
    void unschedule(Identifier identifier) override;
    void timerEvent(QTimerEvent *event) override;

private:
    void turnEnded();

    struct Entry {
        bool repeats;
        std::shared_ptr<Callback> callback;
    };
    // By the dispatcher's numbers. It uses one again only when its timer has ended, and nobody
    // asks for the end of one that has.
    std::unordered_map<Identifier, Entry> _entries;
    double _longestTurn = 0; // in milliseconds
    double _turnBegan = 0;
};

} // namespace clipmule
