// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <functional>
#include <memory>

namespace clipmule {

/// Turns SIGTERM, SIGINT and SIGHUP into one callback from the run loop, so that a program ends the
/// way it ends otherwise. One per process; it does not matter which threads there are, and programs
/// started from this one get the signals as usual. Destroying it restores what was there before.
class QuitSignals final {
public:
    explicit QuitSignals(std::function<void(int signal)> callback);
    ~QuitSignals();
    Q_DISABLE_COPY_MOVE(QuitSignals)

private:
    static constexpr std::array signals{SIGTERM, SIGINT, SIGHUP};

    void deliver();

    std::function<void(int signal)> _callback;
    std::array<struct sigaction, signals.size()> _previous{};
    FileHandle _readEnd;
    FileHandle _writeEnd;
    std::unique_ptr<QSocketNotifier> _notifier;
};

} // namespace clipmule
