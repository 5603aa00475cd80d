// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/OutputObject.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/LogLimit.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/RunLoop.h"
#include "platform/streams/Stream.h"

#include <deque>

namespace clipmule {

class PropertyListReader;

/// Carries property lists both ways over one connection to a peer: cuts what arrives into frames,
/// decodes them as they come and hands them to its owner; queues what is to be sent and writes it
/// as frames; keeps an idle connection alive with pings.
///
/// Hands over one object a turn of the run loop, so that a peer that sends many at once holds
/// nothing else up; meanwhile nothing more is read from it.
///
/// Open from creation until the first close; there is no reopening. Every callback may call back
/// into the handler, close it or let go of it.
class ZRKStreamHandler final : public Object,
                               public std::enable_shared_from_this<ZRKStreamHandler> {
    struct Private {
        explicit Private() = default;
    };

public:
    /// Why something that the peer sent was not taken.
    struct RefusedInput {
        /// The length that a frame announced, in bytes, and the most that is accepted: the
        /// connection closes. Both 0 for a payload that is no property list.
        quint64 size = 0;
        quint64 limit = 0;
        /// The error in plain English; empty for a frame that is too large.
        QString error;
    };

    // The callbacks to the handler's owner. Whoever sets them forgets them before closing the
    // handler, and then hears nothing of that close.
    std::function<void(ZRKStreamHandler &, const PropertyList &)> onReceiveObject;
    /// The last byte of the object's frame has been taken by the stream.
    std::function<void(ZRKStreamHandler &, const OutputObject &)> onOutputObject;
    /// The object could not be written as a property list, and left the queue unsent.
    std::function<void(ZRKStreamHandler &, const OutputObject &)> onDropObject;
    std::function<void(ZRKStreamHandler &, const RefusedInput &)> onRefuseInput;
    std::function<void(ZRKStreamHandler &)> onClose;
    /// The peer is reached: before, the streams only tried to.
    std::function<void(ZRKStreamHandler &)> onEstablish;
    void forgetCallbacks();

    /// The largest payload that an object frame may announce. A clip is at most 9,999,999 units;
    /// written as XML with every one of them escaped that is just under 50 MB. What announces more
    /// is no clip, and would make the program hold up to 4 GiB for a peer that need not send them.
    static constexpr quint32 largestPayload = 64 * 1024 * 1024;
    /// At most so many bytes are read at a time.
    static constexpr qsizetype readBufferSize = 524288;
    /// Once so many bytes were written the rest waits for the next turn of the run loop: whatever
    /// the size of a clip, nothing else waits for long, and all who send it share its pieces.
    static constexpr qsizetype mostWrittenInATurn = OutputFrame::pieceSize / 2;

    /// Makes a handler for a connected socket, whose options it sets; null when there is none. The
    /// descriptor is closed with the handler.
    [[nodiscard]] static std::shared_ptr<ZRKStreamHandler>
    initWithFileHandle(FileHandle connection);
    /// Makes a handler for a pair of streams, which it opens; null when one is missing.
    [[nodiscard]] static std::shared_ptr<ZRKStreamHandler>
    initWithInputStreamOutputStream(StreamPair streams);
    ZRKStreamHandler(Private, FileHandle connection, StreamPair streams);
    ~ZRKStreamHandler() override;

    /// What log lines call the peer; "a peer" without it.
    void setPeerName(const QString &name);
    /// Queues an object. False, and nothing done, when the handler is closed; true says that it was
    /// queued, not that it was sent.
    bool outputObject(const OutputObject &object);
    /// Takes back an object that no byte was written of: it will not be sent. False when it is
    /// being written or is not queued.
    bool withdrawObject(const OutputObject &object);
    /// Sends a ping, unless object data goes out instead.
    void ping();
    /// Closes and tells the owner.
    void close() { close(true); }
    void close(bool notifyOwner);

    [[nodiscard]] bool isOpen() const { return _open; }
    /// Whether the peer was ever reached.
    [[nodiscard]] bool isEstablished() const { return _established; }
    /// The address of the peer on an accepted connection; empty for one that was made from here.
    [[nodiscard]] const QString &peerAddress() const { return _peerAddress; }
    /// From 180.0 to 189.9 seconds, the same for the handler's lifetime: many connections do not
    /// ping in step.
    [[nodiscard]] RunLoop::Seconds pingInterval() const { return _pingInterval; }

    [[nodiscard]] QString description() const override;

private:
    void openStreams();
    void releaseConnection();
    /// Does the work from the run loop, which no exception of an observer or the owner may reach.
    void handle(const std::function<void()> &work);
    void streamHandleEvent(StreamEvent event);
    void establish();
    void readInput();
    void processInput();
    void closeAfterInput();
    [[nodiscard]] bool beginPayload();
    void receivePayload();
    [[nodiscard]] QByteArrayView unconsumed() const;
    void consume(qsizetype count);
    void sendOutput();
    void writePing();
    [[nodiscard]] bool beginFrame();
    void dropHeadObject(const OutputObject &object, const QString &reason);
    /// Returns how many bytes the stream took.
    qsizetype writeFrame();
    void post(const QString &name);
    void warn(const QString &line);

    FileHandle _fileHandle;
    QString _peerAddress;
    std::unique_ptr<InputStream> _inputStream;
    std::unique_ptr<OutputStream> _outputStream;
    // What was read, with room for one read behind a part of a header; consumed up to the
    // beginning.
    static constexpr qsizetype inputSize = readBufferSize + StreamFrame::headerSize;
    std::unique_ptr<char[]> _readBuffer;
    qsizetype _inputBegin = 0;
    qsizetype _inputEnd = 0;
    // The payload that is arriving; null between frames.
    std::unique_ptr<PropertyListReader> _payload;
    bool _open = true;
    bool _established = false;
    std::deque<OutputObject> _outputObjects;
    // The frame being written, of the first of the objects.
    std::optional<OutputFrame> _outputFrame;
    // Set while what else is to be written waits for the next turn.
    RunLoop::Timer _nextOutput;
    bool _needsPing = false;
    RunLoop::Timer _pingTimer;
    RunLoop::Seconds _pingInterval;
    /// The peer's name on one line, in quotes.
    QString _peer = QStringLiteral("a peer");
    const char *_closeReason = "from here";
    // Limits the warnings, of which everything that a peer sends can cause one.
    LogLimit _warnings;
    bool _sendingOutput = false;
    bool _processingInput = false;
    // Set while frames that were read wait for their turns.
    RunLoop::Timer _nextInput;
    // The connection has ended; what was read before is still handed over.
    bool _ending = false;
};

} // namespace clipmule
