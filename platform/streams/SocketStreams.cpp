// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketStreams.h"

#include "platform/foundation/Log.h"
#include "platform/streams/SocketConnector.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace clipmule {

namespace {

bool setOption(int descriptor, int level, int option, int value) {
    return ::setsockopt(descriptor, level, option, &value, sizeof value) == 0;
}

class SocketEnd;

/// The connection under both directions: the descriptor, or the attempt to get one.
class SocketChannel : public std::enable_shared_from_this<SocketChannel> {
public:
    SocketChannel(int connected, PeerFactsSource source)
        : _descriptor(connected)
        , _facts(source) {}
    explicit SocketChannel(FileHandle connected)
        : _descriptor(connected.descriptor())
        , _owned(std::move(connected)) {}
    SocketChannel(const QList<SocketEndpoint> &endpoints, RunLoop::Seconds timeout)
        : _connector(std::make_unique<SocketConnector>(
              endpoints, timeout, [this](FileHandle socket) { connectEnded(std::move(socket)); })) {
    }

    /// -1 as long as it is not connected.
    [[nodiscard]] int descriptor() const { return _descriptor; }
    [[nodiscard]] PeerFacts facts() const { return _facts(_descriptor); }
    void attach(SocketEnd *end);
    void detach(SocketEnd *end);
    void open(SocketEnd &end);

private:
    void connectEnded(FileHandle socket);
    void tell(SocketEnd *end);

    int _descriptor = -1;
    PeerFactsSource _facts = peerFacts;
    // The descriptor that this channel owns; empty where it is somebody else's.
    FileHandle _owned;
    std::unique_ptr<SocketConnector> _connector;
    bool _connecting = false;
    // The ends that are not closed yet.
    QList<SocketEnd *> _ends;
};

/// What both directions have in common: the way from new to open to ended, and events that come
/// from the run loop only.
class SocketEnd {
public:
    explicit SocketEnd(std::shared_ptr<SocketChannel> channel)
        : _channel(std::move(channel)) {
        _channel->attach(this);
    }
    virtual ~SocketEnd() { closeEnd(); }
    Q_DISABLE_COPY_MOVE(SocketEnd)

    [[nodiscard]] bool isOpening() const { return _state == State::Opening; }
    /// Starts on a turn of its own.
    void startSoon() {
        _soon = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { start(); });
    }
    void start() {
        _state = State::Open;
        watch();
        emitEvent(StreamEvent::OpenCompleted);
    }
    void end(StreamEvent event) {
        setEnded(event);
        emitEvent(event);
    }

protected:
    enum class State { New, Opening, Open, Ended, Closed };

    void setHandler(Stream::EventHandler handler) { _handler = std::move(handler); }
    void openEnd() {
        if (_state != State::New)
            return;
        _state = State::Opening;
        _channel->open(*this);
    }
    void closeEnd() {
        if (_state == State::Closed)
            return;
        _state = State::Closed;
        _soon.cancel();
        unwatch();
        _channel->detach(this);
    }
    void failSoon() {
        setEnded(StreamEvent::ErrorOccurred);
        _soon = RunLoop::current().performAfter(RunLoop::Seconds(0),
                                                [this] { emitEvent(StreamEvent::ErrorOccurred); });
    }
    /// The handler may destroy this stream: nothing of it is touched afterwards.
    void emitEvent(StreamEvent event) {
        if (const Stream::EventHandler handler = _handler)
            handler(event);
    }
    [[nodiscard]] bool isOpen() const { return _state == State::Open; }
    [[nodiscard]] bool isClosed() const { return _state == State::Closed; }
    [[nodiscard]] bool hasEnded() const { return _state == State::Ended; }
    [[nodiscard]] bool hasFailed() const { return _failed; }
    [[nodiscard]] int descriptor() const { return _channel->descriptor(); }
    [[nodiscard]] PeerFacts facts() const { return _channel->facts(); }
    virtual void watch() = 0;

    void setNotifier(std::unique_ptr<SocketNotifier> notifier) { _notifier = std::move(notifier); }
    [[nodiscard]] SocketNotifier &notifier() { return *_notifier; }

private:
    void setEnded(StreamEvent event) {
        unwatch();
        _state = State::Ended;
        _failed = event == StreamEvent::ErrorOccurred;
    }
    void unwatch() { _notifier.reset(); }

    std::shared_ptr<SocketChannel> _channel;
    Stream::EventHandler _handler;
    State _state = State::New;
    bool _failed = false;
    std::unique_ptr<SocketNotifier> _notifier;
    RunLoop::Timer _soon;
};

void SocketChannel::attach(SocketEnd *end) {
    _ends.append(end);
}

void SocketChannel::detach(SocketEnd *end) {
    _ends.removeAll(end);
    if (!_ends.isEmpty())
        return;
    _connector.reset();
    _descriptor = -1;
    _owned.close();
}

void SocketChannel::open(SocketEnd &end) {
    if (!_connector)
        end.startSoon();
    else if (!std::exchange(_connecting, true))
        _connector->start();
}

void SocketChannel::connectEnded(FileHandle socket) {
    // An event may let go of both ends, and so of this.
    const auto self = shared_from_this();
    const auto connector = std::move(_connector);
    _owned = std::move(socket);
    _descriptor = _owned.descriptor();
    const QList<SocketEnd *> ends = _ends;
    for (SocketEnd *end : ends)
        tell(end);
}

void SocketChannel::tell(SocketEnd *end) {
    if (!_ends.contains(end) || !end->isOpening())
        return;
    if (_descriptor < 0)
        end->end(StreamEvent::ErrorOccurred);
    else
        end->start();
}

class SocketInputStream final : public InputStream, private SocketEnd {
public:
    using SocketEnd::SocketEnd;

    void setEventHandler(EventHandler handler) override { setHandler(std::move(handler)); }
    void open() override { openEnd(); }
    void close() override { closeEnd(); }

    qint64 read(char *buffer, qint64 maximum) override {
        if (hasEnded())
            return hasFailed() ? -1 : 0;
        if (!isOpen())
            return -1;
        for (;;) {
            const ssize_t count = ::recv(descriptor(), buffer, size_t(maximum), MSG_DONTWAIT);
            if (count >= 0)
                return count;
            if (errno == EINTR)
                continue;
            // The error is reported once by the system, and so kept for the event.
            if (errno != EAGAIN)
                failSoon();
            return -1;
        }
    }

private:
    void watch() override {
        setNotifier(std::make_unique<SocketNotifier>(descriptor(), QSocketNotifier::Read,
                                                     [this] { somethingArrived(); }));
    }

    void somethingArrived() {
        // Readable means bytes, the end or an error; only a look tells which.
        char byte = 0;
        const ssize_t count = ::recv(descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        if (count > 0)
            emitEvent(StreamEvent::HasBytesAvailable);
        else if (count == 0)
            end(StreamEvent::EndEncountered);
        else if (errno != EAGAIN && errno != EINTR)
            end(StreamEvent::ErrorOccurred);
    }
};

class SocketOutputStream final : public OutputStream, private SocketEnd {
public:
    using SocketEnd::SocketEnd;

    void setEventHandler(EventHandler handler) override { setHandler(std::move(handler)); }
    void open() override { openEnd(); }
    void close() override {
        _silenceCheck.cancel();
        closeEnd();
    }

    bool hasSpaceAvailable() override {
        if (!isOpen() || _waiting)
            return false;
        pollfd wanted{descriptor(), POLLOUT, 0};
        // An error counts as space: the write will find it.
        if (::poll(&wanted, 1, 0) > 0)
            return true;
        waitForSpace();
        return false;
    }

    qint64 write(const char *bytes, qint64 count) override {
        if (isClosed() || hasEnded())
            return -1;
        if (!isOpen())
            return 0;
        for (;;) {
            const ssize_t written =
                ::send(descriptor(), bytes, size_t(count), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (written >= 0) {
                checkForSilenceLater();
                if (written < count)
                    waitForSpace();
                return written;
            }
            if (errno == EINTR)
                continue;
            if (errno == EAGAIN) {
                waitForSpace();
                return 0;
            }
            failSoon();
            return -1;
        }
    }

private:
    void watch() override {
        setNotifier(std::make_unique<SocketNotifier>(descriptor(), QSocketNotifier::Write,
                                                     [this] { spaceAppeared(); }));
        _waiting = true;
    }

    void checkForSilenceLater() {
        if (!_silenceCheck.isPending())
            _silenceCheck = RunLoop::current().performAfter(silenceCheckInterval,
                                                            [this] { checkForSilence(); });
    }

    void checkForSilence() {
        if (!isOpen())
            return;
        const PeerFacts peer = facts();
        if (isGone(peer)) {
            qCDebug(logStreams, "nothing heard of the peer for %u ms", peer.silence);
            end(StreamEvent::ErrorOccurred);
        } else if (peer.isWaiting) {
            checkForSilenceLater();
        }
    }

    // Watched only while somebody waits: a socket is writable nearly always.
    void waitForSpace() {
        if (!std::exchange(_waiting, true))
            notifier().setEnabled(true);
    }

    void spaceAppeared() {
        _waiting = false;
        notifier().setEnabled(false);
        emitEvent(StreamEvent::HasSpaceAvailable);
    }

    bool _waiting = false;
    RunLoop::Timer _silenceCheck;
};

StreamPair pairOver(const std::shared_ptr<SocketChannel> &channel) {
    return {std::make_unique<SocketInputStream>(channel),
            std::make_unique<SocketOutputStream>(channel)};
}

} // namespace

PeerFacts peerFacts(int descriptor) {
    tcp_info info{};
    socklen_t length = sizeof info;
    int unsent = 0;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 ||
        ::ioctl(descriptor, SIOCOUTQ, &unsent) != 0)
        return {};
    return {.isWaiting = unsent > 0,
            .attempts = std::max<int>(info.tcpi_retransmits, info.tcpi_probes),
            .silence = std::min(info.tcpi_last_ack_recv, info.tcpi_last_data_recv)};
}

bool isGone(const PeerFacts &facts) {
    return facts.isWaiting && facts.attempts >= unansweredAttempts &&
           facts.silence >= silentTimeLimit;
}

bool noticeVanishedPeer(int descriptor) {
    return setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, keepAliveIdleTime) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, keepAliveInterval) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepAliveProbes);
}

QString peerOfSocket(int descriptor) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        return {};
    if (address.ss_family == AF_UNIX)
        return QStringLiteral("localhost");
    return QHostAddress(reinterpret_cast<const sockaddr *>(&address)).toString();
}

void setAcceptedSocketOptions(int descriptor) {
    setOption(descriptor, SOL_SOCKET, SO_SNDBUF, socketBufferSize);
    setOption(descriptor, SOL_SOCKET, SO_RCVBUF, socketBufferSize);
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
    noticeVanishedPeer(descriptor);
}

StreamPair streamPairForSocket(int descriptor, PeerFactsSource facts) {
    int type = 0;
    socklen_t length = sizeof type;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) != 0 || type != SOCK_STREAM)
        return {};
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return pairOver(std::make_shared<SocketChannel>(descriptor, facts));
}

StreamPair streamPairOwning(FileHandle socket) {
    // Checks it, and makes it non-blocking.
    if (!streamPairForSocket(socket.descriptor()).input)
        return {};
    return pairOver(std::make_shared<SocketChannel>(std::move(socket)));
}

StreamPair connectingStreamPair(const QList<SocketEndpoint> &endpoints, RunLoop::Seconds timeout) {
    if (endpoints.isEmpty())
        return {};
    return pairOver(std::make_shared<SocketChannel>(endpoints, timeout));
}

} // namespace clipmule
