// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryStreams.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;
namespace loopback = kit::loopback;

namespace {

/// A connection with the test at the other end.
class Connection {
public:
    virtual ~Connection() = default;
    virtual void peerSends(const QByteArray &bytes) = 0;
    virtual void peerEnds() = 0;
    virtual void peerResets() = 0;
    virtual void peerStopsReading() = 0;
    virtual void peerReadsEverything() = 0;
    [[nodiscard]] virtual QByteArray received() = 0;
    [[nodiscard]] virtual RunLoop &runLoop() = 0;

    /// Runs until it is so; false when it never is.
    virtual bool runUntil(const std::function<bool()> &condition) = 0;
    /// Long enough for an event that is due to arrive.
    virtual void runAWhile() = 0;

    StreamPair streams;
};

class MemoryBackend final : public Connection {
public:
    MemoryBackend() { streams = _wire.takeStreams(); }
    void peerSends(const QByteArray &bytes) override { _wire.feed(bytes); }
    void peerEnds() override { _wire.end(); }
    void peerResets() override {
        _wire.breakOutput();
        _wire.fail();
    }
    void peerStopsReading() override { _wire.setRoom(1000); }
    void peerReadsEverything() override { _wire.setRoom(kit::MemoryConnection::unlimited); }
    QByteArray received() override { return _wire.written(); }
    RunLoop &runLoop() override { return _runLoop; }
    bool runUntil(const std::function<bool()> &condition) override {
        for (int turn = 0; turn < 1000 && !condition(); ++turn)
            _runLoop.runOnce();
        return condition();
    }
    void runAWhile() override {
        for (int turn = 0; turn < 20; ++turn)
            _runLoop.runOnce();
    }

private:
    kit::ManualRunLoop _runLoop;
    kit::MemoryConnection _wire;
};

class SocketBackend : public Connection {
public:
    void peerSends(const QByteArray &bytes) override { loopback::send(_far, bytes); }
    void peerEnds() override { ::shutdown(_far.descriptor(), SHUT_WR); }
    void peerResets() override { loopback::reset(_far); }
    void peerStopsReading() override { _reading = false; }
    void peerReadsEverything() override { _reading = true; }
    QByteArray received() override {
        drain();
        return _received;
    }
    RunLoop &runLoop() override { return _runLoop; }
    bool runUntil(const std::function<bool()> &condition) override {
        return QTest::qWaitFor(
            [&] {
                drain();
                return condition();
            },
            5000);
    }
    // Two wakes of another connection: whatever was due on this one before has been delivered.
    void runAWhile() override {
        for (int round = 0; round < 2; ++round) {
            loopback::Pair sentinel = loopback::pair();
            StreamPair other = streamPairForSocket(sentinel.near.descriptor());
            bool arrived = false;
            other.input->setEventHandler([&](StreamEvent event) {
                arrived = arrived || event == StreamEvent::HasBytesAvailable;
            });
            other.input->open();
            loopback::send(sentinel.far, QByteArrayLiteral("x"));
            QVERIFY(runUntil([&] { return arrived; }));
        }
    }

protected:
    virtual void acceptPeer() {}
    void drain() {
        acceptPeer();
        if (!_reading || !_far.isOpen())
            return;
        for (;;) {
            const QByteArray bytes = loopback::receiveWithoutWaiting(_far);
            if (bytes.isEmpty())
                return;
            _received += bytes;
        }
    }

    QtRunLoop _runLoop;
    FileHandle _near;
    FileHandle _far;
    bool _reading = true;
    QByteArray _received;
};

class AcceptedSocketBackend final : public SocketBackend {
public:
    AcceptedSocketBackend() {
        loopback::Pair pair = loopback::pair();
        _near = std::move(pair.near);
        _far = std::move(pair.far);
        streams = streamPairForSocket(_near.descriptor());
    }
    ~AcceptedSocketBackend() override { streams = {}; }
};

class ConnectingSocketBackend final : public SocketBackend {
public:
    ConnectingSocketBackend()
        : _listener(loopback::listener()) {
        ::fcntl(_listener.descriptor(), F_SETFL, O_NONBLOCK);
        streams = connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), loopback::portOf(_listener.descriptor())}},
            RunLoop::Seconds(10));
    }

private:
    void acceptPeer() override {
        if (_accepted)
            return;
        _far = loopback::accept(_listener);
        _accepted = _far.isOpen();
    }

    FileHandle _listener;
    bool _accepted = false;
};

std::unique_ptr<Connection> make(const QString &backend) {
    if (backend == u"memory")
        return std::make_unique<MemoryBackend>();
    if (backend == u"accepted socket")
        return std::make_unique<AcceptedSocketBackend>();
    return std::make_unique<ConnectingSocketBackend>();
}

} // namespace

// One contract, over the streams of a socket and those of the test kit.
class StreamContractTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QFETCH_GLOBAL(QString, backend);
        _connection = make(backend);
        _installation.emplace(_connection->runLoop());
        _inputEvents.clear();
        _outputEvents.clear();
    }

    void end() override {
        _connection.reset();
        _installation.reset();
    }

private Q_SLOTS:
    void initTestCase_data() {
        QTest::addColumn<QString>("backend");
        for (const char *backend : {"memory", "accepted socket", "connecting socket"})
            QTest::newRow(backend) << QString::fromLatin1(backend);
    }

    void opensWithOneEventEachAndRoomOnce() {
        record();
        open();
        QCOMPARE(_inputEvents, Events());
        QCOMPARE(_outputEvents, Events());
        QVERIFY(runUntilOpen());
        _connection->runAWhile();
        QCOMPARE(_inputEvents, Events{StreamEvent::OpenCompleted});
        QCOMPARE(_outputEvents,
                 (Events{StreamEvent::OpenCompleted, StreamEvent::HasSpaceAvailable}));
    }

    void anUnopenedStreamSaysNothing() {
        record();
        _connection->runAWhile();
        QCOMPARE(_inputEvents, Events());
        QCOMPARE(_outputEvents, Events());
        QVERIFY(!output().hasSpaceAvailable());
    }

    void deliversBytesInOrderAndAgainWhileSomeAreLeft() {
        QByteArray bytes;
        input().setEventHandler([&](StreamEvent event) {
            if (event != StreamEvent::HasBytesAvailable)
                return;
            char two[2];
            const qint64 count = input().read(two, 2);
            QVERIFY(count > 0);
            bytes.append(two, count);
        });
        open();
        QVERIFY(runUntilOpen());
        _connection->peerSends(QByteArrayLiteral("abcde"));
        QVERIFY(_connection->runUntil([&] { return bytes.size() == 5; }));
        QCOMPARE(bytes, QByteArrayLiteral("abcde"));
    }

    void aReadWithoutBytesFindsNothing() {
        record();
        open();
        QVERIFY(runUntilOpen());
        char byte = 0;
        QCOMPARE(input().read(&byte, 1), qint64(-1));
        _connection->runAWhile();
        QCOMPARE(_inputEvents, Events{StreamEvent::OpenCompleted});
    }

    void theEndComesOnceAfterTheLastByte() {
        QByteArray bytes;
        record([&] {
            char block[10];
            const qint64 count = input().read(block, 10);
            bytes.append(block, std::max(count, qint64(0)));
        });
        open();
        QVERIFY(runUntilOpen());
        _connection->peerSends(QByteArrayLiteral("last"));
        _connection->peerEnds();
        QVERIFY(_connection->runUntil(
            [&] { return _inputEvents.contains(StreamEvent::EndEncountered); }));
        _connection->runAWhile();
        QCOMPARE(bytes, QByteArrayLiteral("last"));
        QCOMPARE(_inputEvents.last(), StreamEvent::EndEncountered);
        QCOMPARE(_inputEvents.count(StreamEvent::EndEncountered), 1);
        char byte = 0;
        QCOMPARE(input().read(&byte, 1), qint64(0));
    }

    void writtenBytesArrive() {
        open();
        QVERIFY(runUntilOpen());
        QVERIFY(output().hasSpaceAvailable());
        QCOMPARE(output().write("hello", 5), qint64(5));
        QVERIFY(_connection->runUntil([&] { return _connection->received().size() == 5; }));
        QCOMPARE(_connection->received(), QByteArrayLiteral("hello"));
    }

    void roomIsReportedOnceAfterAShortWrite() {
        record();
        open();
        QVERIFY(runUntilOpen());
        _connection->peerStopsReading();
        const QByteArray block(16 * 1024 * 1024, 'b');
        const qint64 first = output().write(block.constData(), block.size());
        QVERIFY(first > 0 && first < block.size());
        QVERIFY(!output().hasSpaceAvailable());
        const auto roomReports = [&] {
            return _outputEvents.count(StreamEvent::HasSpaceAvailable);
        };
        QCOMPARE(roomReports(), 1);
        _connection->peerReadsEverything();
        QVERIFY(_connection->runUntil([&] { return roomReports() == 2; }));
        QVERIFY(output().hasSpaceAvailable());
        _connection->runAWhile();
        QCOMPARE(roomReports(), 2);
    }

    void aWriteBeforeTheConnectionTakesNothing() {
        QFETCH_GLOBAL(QString, backend);
        open();
        QVERIFY(!output().hasSpaceAvailable());
        QCOMPARE(output().write("early", 5), qint64(0));
        QVERIFY(runUntilOpen());
        QCOMPARE(output().write("late", 4), qint64(4));
        QVERIFY(_connection->runUntil([&] { return _connection->received().size() == 4; }));
        QCOMPARE(_connection->received(), QByteArrayLiteral("late"));
    }

    void aResetIsAnError() {
        record([&] {
            char block[10];
            (void)input().read(block, 10);
        });
        open();
        QVERIFY(runUntilOpen());
        _connection->peerResets();
        QVERIFY(_connection->runUntil(
            [&] { return _inputEvents.contains(StreamEvent::ErrorOccurred); }));
        char byte = 0;
        QCOMPARE(input().read(&byte, 1), qint64(-1));
        // The process is still there: no signal for the broken pipe.
        QVERIFY(_connection->runUntil([&] { return output().write("x", 1) == -1; }));
        QVERIFY(_connection->runUntil(
            [&] { return _outputEvents.contains(StreamEvent::ErrorOccurred); }));
        QCOMPARE(_inputEvents.count(StreamEvent::ErrorOccurred), 1);
        QCOMPARE(_outputEvents.count(StreamEvent::ErrorOccurred), 1);
    }

    void nothingComesAfterClose() {
        record();
        open();
        QVERIFY(runUntilOpen());
        const Events before = _inputEvents;
        _connection->peerSends(QByteArrayLiteral("too late"));
        input().close();
        input().close();
        output().close();
        _connection->runAWhile();
        QCOMPARE(_inputEvents, before);
        QCOMPARE(output().write("x", 1), qint64(-1));
        char byte = 0;
        QCOMPARE(input().read(&byte, 1), qint64(-1));
    }

    void closingBeforeTheFirstEventCancelsIt() {
        record();
        open();
        input().close();
        output().close();
        _connection->runAWhile();
        QCOMPARE(_inputEvents, Events());
        QCOMPARE(_outputEvents, Events());
    }

    void aHandlerMayDestroyBothStreams_data() {
        QTest::addColumn<int>("event");
        QTest::newRow("OpenCompleted of the input") << int(StreamEvent::OpenCompleted);
        QTest::newRow("HasBytesAvailable") << int(StreamEvent::HasBytesAvailable);
        QTest::newRow("HasSpaceAvailable") << int(StreamEvent::HasSpaceAvailable);
        QTest::newRow("EndEncountered") << int(StreamEvent::EndEncountered);
        QTest::newRow("ErrorOccurred") << int(StreamEvent::ErrorOccurred);
    }
    void aHandlerMayDestroyBothStreams() {
        QFETCH(int, event);
        const auto fatal = StreamEvent(event);
        // Its captures are alive until the handler returns.
        const auto captured = std::make_shared<QByteArray>("alive");
        QByteArray seen;
        int events = 0;
        const auto handler = [&, captured](StreamEvent occurred) {
            ++events;
            if (occurred != fatal)
                return;
            _connection->streams.input.reset();
            _connection->streams.output.reset();
            seen = *captured;
            events = 0;
        };
        input().setEventHandler(handler);
        output().setEventHandler(handler);
        open();
        if (fatal == StreamEvent::HasBytesAvailable || fatal == StreamEvent::EndEncountered ||
            fatal == StreamEvent::ErrorOccurred)
            QVERIFY(_connection->runUntil([&] { return events >= 3; }));
        if (fatal == StreamEvent::HasBytesAvailable)
            _connection->peerSends(QByteArrayLiteral("x"));
        if (fatal == StreamEvent::EndEncountered)
            _connection->peerEnds();
        if (fatal == StreamEvent::ErrorOccurred)
            _connection->peerResets();
        QVERIFY(_connection->runUntil([&] { return !seen.isEmpty(); }));
        _connection->runAWhile();
        QCOMPARE(seen, QByteArrayLiteral("alive"));
        QCOMPARE(events, 0);
    }

private:
    using Events = QList<StreamEvent>;

    [[nodiscard]] InputStream &input() { return *_connection->streams.input; }
    [[nodiscard]] OutputStream &output() { return *_connection->streams.output; }
    void record(const std::function<void()> &read = {}) {
        input().setEventHandler([this, read](StreamEvent event) {
            _inputEvents.append(event);
            if (event == StreamEvent::HasBytesAvailable && read)
                read();
        });
        output().setEventHandler([this](StreamEvent event) { _outputEvents.append(event); });
    }
    void open() {
        input().open();
        output().open();
    }
    bool runUntilOpen() {
        return _connection->runUntil([this] { return output().hasSpaceAvailable(); });
    }

    std::unique_ptr<Connection> _connection;
    std::optional<RunLoop::Installation> _installation;
    Events _inputEvents;
    Events _outputEvents;
};

QTEST_GUILESS_MAIN(StreamContractTest)
#include "tst_streamcontract.moc"
