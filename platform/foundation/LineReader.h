// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace clipmule {

/// Reads lines from a descriptor (standard input, a pipe) as they come. The descriptor is neither
/// owned nor changed; a terminal, a pipe and a file will do.
class LineReader final {
public:
    /// A longer line is dropped and reported as an error; reading goes on behind it.
    static constexpr qsizetype longestLine = 1024 * 1024;

    explicit LineReader(int descriptor)
        : _descriptor(descriptor) {}
    Q_DISABLE_COPY_MOVE(LineReader)

    // None may destroy the reader.

    /// Called with each line, without its line end.
    std::function<void(const QByteArray &line)> onLine;
    std::function<void(const QString &error)> onError;
    /// Called when no more lines come. The last line may have lacked its line end and was
    /// delivered.
    std::function<void()> onEnd;

    void start();

private:
    void readSome();
    void takeLines(qsizetype searched);

    int _descriptor;
    QByteArray _pending;
    bool _skipping = false;
    std::unique_ptr<QSocketNotifier> _notifier;
};

} // namespace clipmule
