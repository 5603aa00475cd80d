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
    Q_OBJECT

public:
    QtRunLoop() = default;
    ~QtRunLoop() override;

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
        Identifier identifier;
        bool repeats;
        std::shared_ptr<Callback> callback;
    };
    Identifier _nextIdentifier = 1;
    std::unordered_map<int, Entry> _entriesByTimer;
    std::unordered_map<Identifier, int> _timerByIdentifier;
};

} // namespace clipmule
