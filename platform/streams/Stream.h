// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtGlobal>

#include <functional>
#include <memory>

namespace clipmule {

/// What a stream tells its delegate. The numbers are the platform's event codes.
enum class StreamEvent {
    OpenCompleted = 1,
    HasBytesAvailable = 2,
    HasSpaceAvailable = 4,
    ErrorOccurred = 8,
    EndEncountered = 16,
};

/// One direction of a byte stream, run by the run loop of the thread that opened it.
///
/// Events come from the run loop, never from inside a call of the stream. After close() no event
/// comes. A handler may close or destroy the stream.
class Stream {
public:
    using EventHandler = std::function<void(StreamEvent)>;

    Stream() = default;
    virtual ~Stream() = default;
    Q_DISABLE_COPY_MOVE(Stream)

    /// The delegate; empty for none.
    virtual void setEventHandler(EventHandler handler) = 0;
    /// Starts the events.
    virtual void open() = 0;
    /// Ends them; a second call does nothing.
    virtual void close() = 0;
};

class InputStream : public Stream {
public:
    /// Reads what is there, at most `maximum` bytes, without waiting. Returns the number of bytes,
    /// 0 at the end of the stream, -1 when nothing is there or on an error.
    [[nodiscard]] virtual qint64 read(char *buffer, qint64 maximum) = 0;
};

class OutputStream : public Stream {
public:
    /// Whether a write can take at least one byte now. After a false answer HasSpaceAvailable
    /// comes once there is room.
    [[nodiscard]] virtual bool hasSpaceAvailable() = 0;
    /// Hands bytes to the stream without waiting. Returns how many it took (0 when there was no
    /// room), or -1 on an error that the stream will not recover from.
    [[nodiscard]] virtual qint64 write(const char *bytes, qint64 count) = 0;
};

struct StreamPair {
    std::unique_ptr<InputStream> input;
    std::unique_ptr<OutputStream> output;
};

} // namespace clipmule
