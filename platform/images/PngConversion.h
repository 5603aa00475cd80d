// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QObject>
#include <QThreadPool>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// Makes a PNG of an image in another format, on a thread of its own: a photo takes seconds. The
/// thread sees the image's bytes and nothing else of the program.
class PngConversion final {
public:
    /// The PNG of a photo of 67 million pixels, which is the largest that is decoded.
    static constexpr qsizetype largestPng = 256 * 1024 * 1024;

    using Completion = std::function<void(std::optional<QByteArray>)>;

    PngConversion();
    /// Abandons what is under way and waits for the thread, which ends within about a second: a
    /// decoding that has begun is finished.
    ~PngConversion();
    PngConversion(const PngConversion &) = delete;
    PngConversion &operator=(const PngConversion &) = delete;

    /// Calls back from the run loop, never from inside this call: with the PNG, or with nothing
    /// when the bytes are no image, a damaged one, or one that is too large. One under way is
    /// abandoned.
    void start(const QByteArray &image, Completion completion);
    /// Abandons the conversion under way, which calls back no more.
    void abandon();
    [[nodiscard]] bool isRunning() const { return bool(_job); }

private:
    struct Job {
        std::atomic_bool isAbandoned = false;
        Completion completion; // of the thread that started it
    };
    void finish(const std::shared_ptr<Job> &job, std::optional<QByteArray> png);

    QObject _context; // what queued calls belong to; outlives the thread
    QThreadPool _thread;
    std::shared_ptr<Job> _job;
};

} // namespace clipmule
