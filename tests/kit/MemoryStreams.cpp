// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/MemoryStreams.h"

#include "platform/foundation/RunLoop.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <utility>

namespace clipmule::kit {

namespace {

/// One direction: which events are due, delivered one a turn.
class MemoryEnd {
public:
    explicit MemoryEnd(std::shared_ptr<MemoryConnection::Wire> wire)
        : _wire(std::move(wire)) {}
    virtual ~MemoryEnd() = default;
    MemoryEnd(const MemoryEnd &) = delete;
    MemoryEnd &operator=(const MemoryEnd &) = delete;
    MemoryEnd(MemoryEnd &&) = delete;
    MemoryEnd &operator=(MemoryEnd &&) = delete;

    /// Looks at the wire on the next turn.
    void wake() {
        if (_opened && !_ended && !_turn.isPending())
            _turn = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { turn(); });
    }

protected:
    void openEnd() {
        _opened = true;
        wake();
    }
    void closeEnd() {
        _opened = false;
        _ended = true;
        _turn.cancel();
    }
    /// The next event, if one is due.
    virtual std::optional<StreamEvent> nextEvent() = 0;
    [[nodiscard]] bool isConnected() const { return _connected && !_ended; }
    [[nodiscard]] bool hasEnded() const { return _ended; }
    void setHandler(Stream::EventHandler handler) { _handler = std::move(handler); }

    std::shared_ptr<MemoryConnection::Wire> _wire;

private:
    void turn();

    Stream::EventHandler _handler;
    RunLoop::Timer _turn;
    bool _opened = false;
    bool _connected = false;
    bool _ended = false;
};

} // namespace

struct MemoryConnection::Wire {
    bool connected = true;
    bool failed = false;
    bool ended = false;
    bool outputBroken = false;
    std::deque<QByteArray> incoming;
    qint64 room = unlimited;
    QByteArray written;
    QList<qsizetype> offers;
    QList<qint64> requests;
    bool inputOpen = false;
    bool outputOpen = false;
    bool streamsTaken = false;
    MemoryEnd *input = nullptr;
    MemoryEnd *output = nullptr;

    void wake() const {
        if (input)
            input->wake();
        if (output)
            output->wake();
    }
};

namespace {

void MemoryEnd::turn() {
    if (!_wire->connected && !_wire->failed)
        return;
    std::optional<StreamEvent> event;
    if (_wire->failed)
        event = StreamEvent::ErrorOccurred;
    else if (!std::exchange(_connected, true))
        event = StreamEvent::OpenCompleted;
    else
        event = nextEvent();
    if (!event)
        return;
    _ended = *event == StreamEvent::ErrorOccurred || *event == StreamEvent::EndEncountered;
    // Scheduled first: the handler may destroy this.
    wake();
    if (const Stream::EventHandler handler = _handler)
        handler(*event);
}

class MemoryInputStream final : public InputStream, private MemoryEnd {
public:
    explicit MemoryInputStream(std::shared_ptr<MemoryConnection::Wire> wire)
        : MemoryEnd(std::move(wire)) {
        _wire->input = this;
    }
    ~MemoryInputStream() override { close(); }

    void setEventHandler(EventHandler handler) override { setHandler(std::move(handler)); }
    void open() override {
        _wire->inputOpen = true;
        openEnd();
    }
    void close() override {
        _wire->inputOpen = false;
        _wire->input = nullptr;
        closeEnd();
    }

    qint64 read(char *buffer, qint64 maximum) override {
        _wire->requests.append(maximum);
        if (_wire->incoming.empty() || !isConnected())
            return _wire->ended ? 0 : -1;
        QByteArray &part = _wire->incoming.front();
        const qsizetype count = std::min(qsizetype(maximum), part.size());
        std::memcpy(buffer, part.constData(), size_t(count));
        part.remove(0, count);
        if (part.isEmpty())
            _wire->incoming.pop_front();
        return count;
    }

private:
    std::optional<StreamEvent> nextEvent() override {
        if (!_wire->incoming.empty())
            return StreamEvent::HasBytesAvailable;
        if (_wire->ended)
            return StreamEvent::EndEncountered;
        return {};
    }
};

class MemoryOutputStream final : public OutputStream, private MemoryEnd {
public:
    explicit MemoryOutputStream(std::shared_ptr<MemoryConnection::Wire> wire)
        : MemoryEnd(std::move(wire)) {
        _wire->output = this;
    }
    ~MemoryOutputStream() override { close(); }

    void setEventHandler(EventHandler handler) override { setHandler(std::move(handler)); }
    void open() override {
        _wire->outputOpen = true;
        openEnd();
    }
    void close() override {
        _wire->outputOpen = false;
        _wire->output = nullptr;
        closeEnd();
    }

    bool hasSpaceAvailable() override {
        if (!isConnected() || _waiting)
            return false;
        if (_wire->room > 0 || _wire->outputBroken)
            return true;
        _waiting = true;
        return false;
    }

    qint64 write(const char *bytes, qint64 count) override {
        _wire->offers.append(qsizetype(count));
        if (hasEnded())
            return -1;
        if (_wire->outputBroken) {
            _wire->failed = true;
            _wire->wake();
            return -1;
        }
        if (!isConnected())
            return 0;
        const qint64 taken = std::min(count, _wire->room);
        _wire->written.append(bytes, taken);
        if (_wire->room != MemoryConnection::unlimited)
            _wire->room -= taken;
        if (taken < count) {
            _waiting = true;
            wake();
        }
        return taken;
    }

private:
    std::optional<StreamEvent> nextEvent() override {
        if (!_waiting || (_wire->room == 0 && !_wire->outputBroken))
            return {};
        _waiting = false;
        return StreamEvent::HasSpaceAvailable;
    }

    // Room is reported once at the start.
    bool _waiting = true;
};

} // namespace

MemoryConnection::MemoryConnection()
    : _wire(std::make_shared<Wire>()) {}

StreamPair MemoryConnection::takeStreams() {
    if (std::exchange(_wire->streamsTaken, true))
        return {};
    return {std::make_unique<MemoryInputStream>(_wire),
            std::make_unique<MemoryOutputStream>(_wire)};
}

void MemoryConnection::holdConnection() {
    _wire->connected = false;
}

void MemoryConnection::connect() {
    _wire->connected = true;
    _wire->wake();
}

void MemoryConnection::feed(const QByteArray &bytes) {
    feedInParts({bytes});
}

void MemoryConnection::feedInParts(const QList<QByteArray> &parts) {
    for (const QByteArray &part : parts) {
        if (!part.isEmpty())
            _wire->incoming.push_back(part);
    }
    _wire->wake();
}

void MemoryConnection::end() {
    _wire->ended = true;
    _wire->wake();
}

void MemoryConnection::fail() {
    _wire->failed = true;
    _wire->wake();
}

void MemoryConnection::setRoom(qint64 bytes) {
    _wire->room = bytes;
    _wire->wake();
}

void MemoryConnection::breakOutput() {
    _wire->outputBroken = true;
    _wire->wake();
}

const QByteArray &MemoryConnection::written() const {
    return _wire->written;
}

QByteArray MemoryConnection::takeWritten() {
    return std::exchange(_wire->written, {});
}

const QList<qsizetype> &MemoryConnection::offers() const {
    return _wire->offers;
}

const QList<qint64> &MemoryConnection::requests() const {
    return _wire->requests;
}

void MemoryConnection::forgetCalls() {
    _wire->offers = {};
    _wire->requests = {};
}

bool MemoryConnection::isOpen() const {
    return _wire->inputOpen && _wire->outputOpen;
}

bool MemoryConnection::isClosed() const {
    return _wire->streamsTaken && !_wire->input && !_wire->output;
}

} // namespace clipmule::kit
