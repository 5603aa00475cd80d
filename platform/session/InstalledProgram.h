// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"

#include <QFileSystemWatcher>

#include <functional>
#include <optional>

namespace clipmule {

/// Tells what becomes of the file of a program that runs: package managers replace it and take it
/// away under its feet.
class InstalledProgram final {
public:
    /// How long the file must have been left alone: installing takes several steps, and a linker
    /// some seconds during which there is no file.
    static constexpr RunLoop::Seconds settleTime{10};

    /// Watches the file from now on. One that is not there is not watched.
    explicit InstalledProgram(const QString &path);
    Q_DISABLE_COPY_MOVE(InstalledProgram)
    ~InstalledProgram() = default;

    /// Another file has taken its place. Called once for each; may destroy this object.
    std::function<void()> onReplaced;
    /// It is gone. Called once; may destroy this object.
    std::function<void()> onRemoved;

private:
    struct Identity {
        quint64 device = 0;
        quint64 file = 0;
        friend bool operator==(const Identity &, const Identity &) = default;
    };
    [[nodiscard]] std::optional<Identity> identity() const;
    void lookAgain();

    QString _path;
    std::optional<Identity> _known;
    QFileSystemWatcher _watcher;
    RunLoop::Timer _look;
};

} // namespace clipmule
