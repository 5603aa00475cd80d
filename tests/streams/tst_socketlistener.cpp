// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketListener.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/ManualRunLoop.h"

#include <QTest>

#include <cerrno>
#include <vector>

using namespace clipmule;
namespace loopback = kit::loopback;

class SocketListenerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void listensOnAPortOfTheSystemsChoice() {
        const auto opened = SocketListener::open();
        QVERIFY(opened.listener);
        QVERIFY(opened.listener->port() > 0);
        QVERIFY(loopback::connectTo(opened.listener->port()).isOpen());
    }

    void failuresNameTheStepAndItsResult_data() {
        QTest::addColumn<int>("step");
        QTest::addColumn<int>("result");
        QTest::newRow("socket fails") << int(SocketListener::Step::Socket) << -1;
        // Standard input of a process that has none: not taken for a success.
        QTest::newRow("socket gives 0") << int(SocketListener::Step::Socket) << 0;
        QTest::newRow("bind") << int(SocketListener::Step::Bind) << -1;
        QTest::newRow("getsockname") << int(SocketListener::Step::GetSockName) << -1;
        QTest::newRow("listen") << int(SocketListener::Step::Listen) << -1;
    }
    void failuresNameTheStepAndItsResult() {
        QFETCH(int, step);
        QFETCH(int, result);
        auto calls = SocketListener::systemCalls();
        int descriptor = -1;
        calls.socket = [&, create = calls.socket] { return descriptor = create(); };
        switch (SocketListener::Step(step)) {
        case SocketListener::Step::Socket:
            calls.socket = [=] { return result; };
            break;
        case SocketListener::Step::Bind:
            calls.bind = [=](int) { return result; };
            break;
        case SocketListener::Step::GetSockName:
            calls.getsockname = [=](int, quint16 &) { return result; };
            break;
        case SocketListener::Step::Listen:
            calls.listen = [=](int, int) { return result; };
            break;
        }
        const auto opened = SocketListener::open(calls);
        QVERIFY(!opened.listener);
        QCOMPARE(int(opened.failure.step), step);
        QCOMPARE(opened.failure.result, result);
        if (descriptor >= 0)
            QCOMPARE(::fcntl(descriptor, F_GETFD), -1);
    }

    void keepsAliveAndHasTheBacklog() {
        auto calls = SocketListener::systemCalls();
        int backlog = 0;
        int keepAlive = 0;
        calls.listen = [&](int descriptor, int connections) {
            backlog = connections;
            socklen_t length = sizeof keepAlive;
            ::getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &keepAlive, &length);
            return 0;
        };
        QVERIFY(SocketListener::open(calls).listener);
        QCOMPARE(backlog, 8);
        QCOMPARE(keepAlive, 1);
    }

    void acceptsOneConnectionForEachRequest() {
        const auto opened = SocketListener::open();
        std::vector<FileHandle> accepted;
        const auto keep = [&](FileHandle connection) { accepted.push_back(std::move(connection)); };
        const FileHandle first = loopback::connectTo(opened.listener->port());
        const FileHandle second = loopback::connectTo(opened.listener->port());
        opened.listener->acceptInBackground(keep);
        QVERIFY(accepted.empty());
        QTRY_COMPARE(accepted.size(), size_t(1));
        QVERIFY(::fcntl(accepted[0].descriptor(), F_GETFL) & O_NONBLOCK);
        QVERIFY(::fcntl(accepted[0].descriptor(), F_GETFD) & FD_CLOEXEC);
        QCoreApplication::processEvents();
        QCOMPARE(accepted.size(), size_t(1));
        opened.listener->acceptInBackground(keep);
        QTRY_COMPARE(accepted.size(), size_t(2));
    }

    void theHandlerMayDestroyTheListener() {
        auto opened = SocketListener::open();
        const FileHandle client = loopback::connectTo(opened.listener->port());
        bool called = false;
        opened.listener->acceptInBackground([&](const FileHandle &) {
            opened.listener.reset();
            called = true;
        });
        QTRY_VERIFY(called);
    }

    // A process out of descriptors: the connection waits, and the run loop rests meanwhile.
    void restsWhenDescriptorsRunOut() {
        auto calls = SocketListener::systemCalls();
        int attempts = 0;
        bool exhausted = true;
        calls.accept = [&, accept = calls.accept](int descriptor) {
            ++attempts;
            return exhausted ? -EMFILE : accept(descriptor);
        };
        const auto opened = SocketListener::open(calls);
        const FileHandle client = loopback::connectTo(opened.listener->port());
        int accepted = 0;
        opened.listener->acceptInBackground([&](const FileHandle &) { ++accepted; });
        QTest::ignoreMessage(QtWarningMsg,
                             "cannot accept connections for now: Too many open files");
        QTRY_COMPARE(attempts, 1);
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QCOMPARE(attempts, 1);
        _runLoop.advance(SocketListener::pauseWhenExhausted);
        // Said only once.
        QTRY_COMPARE(attempts, 2);
        exhausted = false;
        _runLoop.advance(SocketListener::pauseWhenExhausted);
        QTRY_COMPARE(accepted, 1);
    }

    void aConnectionLostBeforeItWasAcceptedIsPassedOver() {
        auto calls = SocketListener::systemCalls();
        int attempts = 0;
        calls.accept = [&, accept = calls.accept](int descriptor) {
            return ++attempts == 1 ? -ECONNABORTED : accept(descriptor);
        };
        const auto opened = SocketListener::open(calls);
        const FileHandle client = loopback::connectTo(opened.listener->port());
        int accepted = 0;
        opened.listener->acceptInBackground([&](const FileHandle &) { ++accepted; });
        QTRY_COMPARE(accepted, 1);
        QCOMPARE(attempts, 2);
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(SocketListenerTest)
#include "tst_socketlistener.moc"
