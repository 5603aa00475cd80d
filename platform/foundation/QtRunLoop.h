// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QObject>

#include <unordered_map>

namespace clipmule {

/// The run loop of this thread's Qt event dispatcher. One per thread; needs a QCoreApplication to
/// fire anything.
class QtRunLoop final : public QObject, public RunLoop {
public:
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
    struct Entry {
        bool repeats;
        std::shared_ptr<Callback> callback;
    };
    // By the dispatcher's numbers. It uses one again only when its timer has ended, and nobody
    // asks for the end of one that has.
    std::unordered_map<Identifier, Entry> _entries;
};

} // namespace clipmule
