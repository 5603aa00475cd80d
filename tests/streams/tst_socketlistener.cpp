// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/SocketListener.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <cerrno>
#include <vector>

using namespace clipmule;
namespace loopback = kit::loopback;

class SocketListenerTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void listensOnAPortOfTheSystemsChoice() {
        const auto opened = SocketListener::open();
        QVERIFY(opened);
        QVERIFY(opened.value()->port() > 0);
        QVERIFY(loopback::connectTo(opened.value()->port()).isOpen());
    }

    void failuresNameTheStepAndItsResult() {
        const auto reasonWith = [](const char *step, int result) {
            auto calls = SocketListener::systemCalls();
            int descriptor = -1;
            calls.socket = [&, create = calls.socket] { return descriptor = create(); };
            const QByteArray failing = step;
            if (failing == "socket")
                calls.socket = [=] { return result; };
            else if (failing == "bind")
                calls.bind = [=](int) { return result; };
            else if (failing == "getsockname")
                calls.getsockname = [=](int, quint16 &) { return result; };
            else
                calls.listen = [=](int, int) { return result; };
            const QString reason = kit::reasonOf(SocketListener::open(calls));
            const bool isClosed = descriptor < 0 || ::fcntl(descriptor, F_GETFD) == -1;
            return isClosed ? reason : QStringLiteral("the socket is still open");
        };
        QCOMPARE(reasonWith("socket", -1), QStringLiteral("SOCKET FAILED -1"));
        // Standard input of a process that has none: not taken for a success.
        QCOMPARE(reasonWith("socket", 0), QStringLiteral("SOCKET FAILED 0"));
        QCOMPARE(reasonWith("bind", -2), QStringLiteral("BIND FAILED -2"));
        QCOMPARE(reasonWith("getsockname", -3), QStringLiteral("LISTEN FAILED -3"));
        QCOMPARE(reasonWith("listen", -4), QStringLiteral("LISTEN FAILED -4"));
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
        QVERIFY(SocketListener::open(calls));
        QCOMPARE(backlog, 8);
        QCOMPARE(keepAlive, 1);
    }

    void acceptsOneConnectionForEachRequest() {
        const auto opened = SocketListener::open();
        std::vector<FileHandle> accepted;
        const auto keep = [&](FileHandle connection) { accepted.push_back(std::move(connection)); };
        const FileHandle first = loopback::connectTo(opened.value()->port());
        const FileHandle second = loopback::connectTo(opened.value()->port());
        opened.value()->acceptInBackground(keep);
        QVERIFY(accepted.empty());
        QTRY_COMPARE(accepted.size(), size_t(1));
        QVERIFY(::fcntl(accepted[0].descriptor(), F_GETFL) & O_NONBLOCK);
        QVERIFY(::fcntl(accepted[0].descriptor(), F_GETFD) & FD_CLOEXEC);
        QCoreApplication::processEvents();
        QCOMPARE(accepted.size(), size_t(1));
        opened.value()->acceptInBackground(keep);
        QTRY_COMPARE(accepted.size(), size_t(2));
    }

    void theHandlerMayDestroyTheListener() {
        auto opened = SocketListener::open();
        const FileHandle client = loopback::connectTo(opened.value()->port());
        bool called = false;
        opened.value()->acceptInBackground([&](const FileHandle &) {
            opened.value().reset();
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
        const FileHandle client = loopback::connectTo(opened.value()->port());
        int accepted = 0;
        opened.value()->acceptInBackground([&](const FileHandle &) { ++accepted; });
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
        const FileHandle client = loopback::connectTo(opened.value()->port());
        int accepted = 0;
        opened.value()->acceptInBackground([&](const FileHandle &) { ++accepted; });
        QTRY_COMPARE(accepted, 1);
        QCOMPARE(attempts, 2);
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(SocketListenerTest)
#include "tst_socketlistener.moc"
