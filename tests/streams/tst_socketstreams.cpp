// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketStreams.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <netinet/tcp.h>
#include <poll.h>

using namespace clipmule;
using namespace clipmule::kit;
namespace loopback = kit::loopback;

namespace {

int option(int descriptor, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    ::getsockopt(descriptor, level, name, &value, &length);
    return value;
}

// The connection of this process whose peer has this port.
int descriptorConnectedTo(quint16 port) {
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &length) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port)
            return descriptor;
    }
    return -1;
}

SocketEndpoint localhost(quint16 port) {
    return {QHostAddress(QHostAddress::LocalHost), port};
}

/// A port that lets nobody in: its listener's queue is full and stays so, so that a connection is
/// neither made nor refused, as with a host that is gone.
class SilentPort {
public:
    SilentPort()
        : _listener(loopback::listener(0)) {
        const sockaddr_in to = loopback::address(port());
        for (int count = 0; count < 8; ++count) {
            FileHandle filler(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            (void)::connect(filler.descriptor(), reinterpret_cast<const sockaddr *>(&to),
                            sizeof to);
            _fillers.push_back(std::move(filler));
        }
    }
    [[nodiscard]] quint16 port() const { return loopback::portOf(_listener.descriptor()); }

private:
    FileHandle _listener;
    std::vector<FileHandle> _fillers;
};

} // namespace

// What is special to sockets; the rest is the contract of all streams. Timers stand still until a
// test advances them, sockets are real.
class SocketStreamsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _streams = {};
        _events.clear();
    }

private Q_SLOTS:
    void acceptedSocketsGetTheirOptions() {
        const loopback::Pair pair = loopback::pair();
        setAcceptedSocketOptions(pair.near.descriptor());
        const int socket = pair.near.descriptor();
        // The kernel doubles what it grants, up to its limit; without the request a loopback
        // connection may have more.
        QVERIFY(option(socket, SOL_SOCKET, SO_SNDBUF) >= std::min(socketBufferSize, 2 * 212992));
        QVERIFY(option(socket, SOL_SOCKET, SO_SNDBUF) <= 2 * socketBufferSize);
        QVERIFY(option(socket, SOL_SOCKET, SO_RCVBUF) >= std::min(socketBufferSize, 2 * 212992));
        checkVanishedPeerIsNoticed(socket);
    }

    void outgoingConnectionsNoticeAVanishedPeer() {
        const FileHandle listener = loopback::listener();
        const quint16 port = loopback::portOf(listener.descriptor());
        connect({localhost(port)});
        QVERIFY(runUntilOpen());
        const int socket = descriptorConnectedTo(port);
        QVERIFY(socket > 0);
        checkVanishedPeerIsNoticed(socket);
        QVERIFY(::fcntl(socket, F_GETFL) & O_NONBLOCK);
        QVERIFY(::fcntl(socket, F_GETFD) & FD_CLOEXEC);
    }

    // What a silent peer is left: a minute in all.
    void keepAliveTakesAMinute() {
        QCOMPARE(keepAliveIdleTime + keepAliveProbes * keepAliveInterval, 60);
    }

    void aPeerIsGoneWhenItAnswersNothing_data() {
        QTest::addColumn<bool>("isWaiting");
        QTest::addColumn<int>("attempts");
        QTest::addColumn<quint32>("silence");
        QTest::addColumn<bool>("gone");
        QTest::newRow("one attempt less") << true << 2 << 55000U << false;
        QTest::newRow("at both limits") << true << 3 << 55000U << true;
        QTest::newRow("above") << true << 4 << 55001U << true;
        QTest::newRow("a moment less") << true << 3 << 54999U << false;
        QTest::newRow("long silence between attempts") << true << 0 << 120000U << false;
        QTest::newRow("nothing on the way") << false << 3 << 55000U << false;
    }
    void aPeerIsGoneWhenItAnswersNothing() {
        QFETCH(bool, isWaiting);
        QFETCH(int, attempts);
        QFETCH(quint32, silence);
        QTEST(isGone({isWaiting, attempts, silence}), "gone");
    }

    // The kernel answers for the program, which does not read: by the run loop's clock for an hour.
    void aPeerThatDoesNotReadStays() {
        const loopback::Pair pair = loopback::pair();
        const int small = 4096;
        ::setsockopt(pair.far.descriptor(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        setAcceptedSocketOptions(pair.near.descriptor());
        _streams = streamPairForSocket(pair.near.descriptor());
        open();
        QVERIFY(runUntilOpen());
        const QByteArray block(1 << 20, 'x');
        while (_streams.output->hasSpaceAvailable())
            QVERIFY(_streams.output->write(block.constData(), block.size()) >= 0);
        const PeerFacts facts = peerFacts(pair.near.descriptor());
        QVERIFY(facts.isWaiting);
        _events.clear();
        for (int minute = 0; minute < 60; ++minute) {
            _runLoop.advance(60);
            kit::settle(_runLoop);
        }
        QCOMPARE(_events, QStringList());
        QVERIFY(_streams.output->write("x", 1) >= 0);
    }

    void aPeerThatIsGoneEndsTheOutput() {
        static PeerFacts facts;
        facts = {.isWaiting = true, .attempts = 2, .silence = 60000};
        const loopback::Pair pair = loopback::pair();
        _streams = streamPairForSocket(pair.near.descriptor(), [](int) { return facts; });
        open();
        QVERIFY(runUntilOpen());
        _events.clear();
        facts.attempts = 3;
        _runLoop.advance(20); // nothing was written: nothing is looked at
        QCOMPARE(_events, QStringList());
        QCOMPARE(_streams.output->write("x", 1), qint64(1));
        facts.attempts = 2;
        _runLoop.advance(10.1);
        QCOMPARE(_events, QStringList());
        facts.attempts = 3;
        _runLoop.advance(9.7);
        QCOMPARE(_events, QStringList());
        _runLoop.advance(0.3);
        QCOMPARE(_events, QStringList{QStringLiteral("output 8")});
        QCOMPARE(_streams.output->write("x", 1), qint64(-1));
    }

    void whatHasArrivedIsNotWatched() {
        static int looks;
        looks = 0;
        const loopback::Pair pair = loopback::pair();
        _streams = streamPairForSocket(pair.near.descriptor(), [](int) {
            ++looks;
            return PeerFacts{.isWaiting = looks < 3};
        });
        open();
        QVERIFY(runUntilOpen());
        QCOMPARE(_streams.output->write("x", 1), qint64(1));
        _runLoop.advance(60);
        QCOMPARE(looks, 3);
        QCOMPARE(_streams.output->write("x", 1), qint64(1));
        _runLoop.advance(60);
        QCOMPARE(looks, 4);
        QCOMPARE(_streams.output->write("x", 1), qint64(1));
        _streams.output->close();
        _runLoop.advance(60);
        QCOMPARE(looks, 4);
    }

    void theFactsAreTheKernels() {
        const loopback::Pair pair = loopback::pair();
        QVERIFY(!peerFacts(pair.near.descriptor()).isWaiting);
        QCOMPARE(peerFacts(-1).isWaiting, false);
    }

    void descriptorsThatAreNoSocketsGiveNoStreams() {
        QVERIFY(!streamPairForSocket(-1).input);
        int ends[2];
        QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
        const FileHandle reading(ends[0]);
        const FileHandle writing(ends[1]);
        QVERIFY(!streamPairForSocket(reading.descriptor()).input);
        QVERIFY(!noticeVanishedPeer(reading.descriptor()));
    }

    void theDescriptorStaysItsOwners() {
        loopback::Pair pair = loopback::pair();
        _streams = streamPairForSocket(pair.near.descriptor());
        QVERIFY(::fcntl(pair.near.descriptor(), F_GETFL) & O_NONBLOCK);
        open();
        QVERIFY(runUntilOpen());
        _streams = {};
        QVERIFY(::fcntl(pair.near.descriptor(), F_GETFD) >= 0);
        loopback::send(pair.near, QByteArrayLiteral("still open"));
        QCOMPARE(loopback::receive(pair.far), QByteArrayLiteral("still open"));
    }

    void anOutgoingConnectionIsClosedWithItsStreams() {
        const FileHandle listener = loopback::listener();
        connect({localhost(loopback::portOf(listener.descriptor()))});
        QVERIFY(runUntilOpen());
        const FileHandle far = loopback::accept(listener);
        _streams.input->close();
        QCOMPARE(_streams.output->write("x", 1), qint64(1));
        QCOMPARE(loopback::receive(far), QByteArrayLiteral("x"));
        _streams.output->close();
        QCOMPARE(loopback::receive(far), QByteArray());
    }

    void noAddressesGiveNoStreams() {
        QVERIFY(!connectingStreamPair({}, RunLoop::Seconds(10)).input);
    }

    void aRefusalIsAnErrorOfBothStreams() {
        connect({localhost(loopback::unusedPort())});
        QVERIFY(runUntil([&] { return _events.size() == 2; }));
        QCOMPARE(_events, (QStringList{QStringLiteral("input 8"), QStringLiteral("output 8")}));
    }

    void theNextAddressIsTriedAfterARefusal() {
        const FileHandle listener = loopback::listener();
        connect({localhost(loopback::unusedPort()), localhost(loopback::unusedPort()),
                 localhost(loopback::portOf(listener.descriptor()))});
        QVERIFY(runUntilOpen());
        QCOMPARE(_events.first(), QStringLiteral("input 1"));
    }

    void anAddressOfNoFamilyIsPassedOver() {
        const FileHandle listener = loopback::listener();
        connect({{QHostAddress(), 1}, localhost(loopback::portOf(listener.descriptor()))});
        QVERIFY(runUntilOpen());
    }

    void ipv6IsSpoken() {
        FileHandle listener(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in6 any{};
        any.sin6_family = AF_INET6;
        any.sin6_addr = in6addr_loopback;
        if (!listener.isOpen() || ::bind(listener.descriptor(),
                                         reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0)
            QSKIP("this machine has no IPv6 loopback address");
        QCOMPARE(::listen(listener.descriptor(), 8), 0);
        socklen_t length = sizeof any;
        ::getsockname(listener.descriptor(), reinterpret_cast<sockaddr *>(&any), &length);
        QHostAddress address(QHostAddress::LocalHostIPv6);
        address.setScopeId(QStringLiteral("lo"));
        connect({{address, ntohs(any.sin6_port)}});
        QVERIFY(runUntilOpen());
    }

    // One silent address of two gets half of the time, then the other one is tried.
    void aSilentAddressLeavesTimeForTheNext() {
        const SilentPort silent;
        const FileHandle listener = loopback::listener();
        connect({localhost(silent.port()), localhost(loopback::portOf(listener.descriptor()))});
        QVERIFY(!isPending(listener));
        _runLoop.advance(4.9);
        QVERIFY(!isPending(listener));
        _runLoop.advance(0.2);
        QVERIFY(runUntilOpen());
        QVERIFY(isPending(listener));
    }

    void allAddressesTogetherHaveOneTimeLimit() {
        const SilentPort first;
        const SilentPort second;
        const SilentPort third;
        connect({localhost(first.port()), localhost(second.port()), localhost(third.port())});
        _runLoop.advance(9.9);
        QVERIFY(kit::settle(_runLoop));
        QCOMPARE(_events, QStringList());
        _runLoop.advance(0.2);
        QCOMPARE(_events, (QStringList{QStringLiteral("input 8"), QStringLiteral("output 8")}));
    }

    void closingEndsTheAttempt() {
        const SilentPort silent;
        connect({localhost(silent.port())});
        QVERIFY(kit::settle(_runLoop));
        const int attempts = openDescriptors();
        _streams.input->close();
        _streams.output->close();
        QCOMPARE(openDescriptors(), attempts - 1);
        _runLoop.advance(20.0);
        QCOMPARE(_events, QStringList());
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    // 4 MB through a connection of real buffers, in both directions at once.
    void carriesMoreThanTheBuffersHold() {
        const loopback::Pair pair = loopback::pair();
        StreamPair far = streamPairForSocket(pair.far.descriptor());
        _streams = streamPairForSocket(pair.near.descriptor());
        QByteArray sent(4 * 1024 * 1024, Qt::Uninitialized);
        for (qsizetype i = 0; i < sent.size(); ++i)
            sent[i] = char((i * 7 + i / 251) & 0xff);
        QByteArray received[2];
        qint64 offsets[2] = {0, 0};
        const auto run = [&](StreamPair &pairOfStreams, int index) {
            pairOfStreams.input->setEventHandler([&, index](StreamEvent event) {
                if (event != StreamEvent::HasBytesAvailable)
                    return;
                char block[65536];
                const qint64 count = pairOfStreams.input->read(block, sizeof block);
                QVERIFY(count > 0);
                received[index].append(block, count);
            });
            pairOfStreams.output->setEventHandler([&, index](StreamEvent event) {
                if (event != StreamEvent::HasSpaceAvailable)
                    return;
                while (offsets[index] < sent.size() && pairOfStreams.output->hasSpaceAvailable()) {
                    const qint64 count = pairOfStreams.output->write(
                        sent.constData() + offsets[index], sent.size() - offsets[index]);
                    QVERIFY(count >= 0);
                    offsets[index] += count;
                }
            });
            pairOfStreams.input->open();
            pairOfStreams.output->open();
        };
        run(_streams, 0);
        run(far, 1);
        QVERIFY(runUntil([&] {
            return received[0].size() == sent.size() && received[1].size() == sent.size();
        }));
        QVERIFY(received[0] == sent);
        QVERIFY(received[1] == sent);
        far = {};
        _streams = {};
    }

private:
    void connect(const QList<SocketEndpoint> &endpoints) {
        _streams = connectingStreamPair(endpoints, RunLoop::Seconds(10));
        open();
        QCOMPARE(_events, QStringList());
        QVERIFY(kit::settle(_runLoop));
    }
    void open() {
        _streams.input->setEventHandler(
            [this](StreamEvent event) { _events += QStringLiteral("input %1").arg(int(event)); });
        _streams.output->setEventHandler(
            [this](StreamEvent event) { _events += QStringLiteral("output %1").arg(int(event)); });
        _streams.input->open();
        _streams.output->open();
    }
    // The clock stands still meanwhile.
    bool runUntil(const std::function<bool()> &condition) {
        return QTest::qWaitFor([&] { return kit::settle(_runLoop) && condition(); }, 5000);
    }
    bool runUntilOpen() {
        return runUntil([this] { return _events.contains(QStringLiteral("output 4")); });
    }
    static bool isPending(const FileHandle &listener) {
        pollfd wanted{listener.descriptor(), POLLIN, 0};
        return ::poll(&wanted, 1, 0) > 0;
    }
    static int openDescriptors() {
        int count = 0;
        for (int descriptor = 3; descriptor < 1024; ++descriptor)
            count += ::fcntl(descriptor, F_GETFD) >= 0 ? 1 : 0;
        return count;
    }
    static void checkVanishedPeerIsNoticed(int socket) {
        QCOMPARE(option(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
        QCOMPARE(option(socket, IPPROTO_TCP, TCP_KEEPIDLE), keepAliveIdleTime);
        QCOMPARE(option(socket, IPPROTO_TCP, TCP_KEEPINTVL), keepAliveInterval);
        QCOMPARE(option(socket, IPPROTO_TCP, TCP_KEEPCNT), keepAliveProbes);
        // It would end the connection of a peer that only does not read.
        QCOMPARE(option(socket, IPPROTO_TCP, TCP_USER_TIMEOUT), 0);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    StreamPair _streams;
    QStringList _events;
};

QTEST_GUILESS_MAIN(SocketStreamsTest)
#include "tst_socketstreams.moc"
