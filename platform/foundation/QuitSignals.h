// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QSocketNotifier>

#include <csignal>
#include <functional>
#include <memory>

namespace clipmule {

/// Turns SIGTERM, SIGINT and SIGHUP into one callback from the run loop, so that a program ends the
/// way it ends otherwise. One per process; make it before any thread starts. Destroying it
/// restores what was there before.
class QuitSignals final {
public:
    explicit QuitSignals(std::function<void(int signal)> callback);
    ~QuitSignals();
    QuitSignals(const QuitSignals &) = delete;
    QuitSignals &operator=(const QuitSignals &) = delete;
    QuitSignals(QuitSignals &&) = delete;
    QuitSignals &operator=(QuitSignals &&) = delete;

private:
    void deliver();

    std::function<void(int signal)> _callback;
    sigset_t _previousMask{};
    FileHandle _descriptor;
    std::unique_ptr<QSocketNotifier> _notifier;
};

} // namespace clipmule
