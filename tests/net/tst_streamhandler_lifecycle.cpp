// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

#include <cstdlib>
#include <set>
#include <stdexcept>

using namespace clipmule;
using namespace clipmule::kit;
namespace loopback = kit::loopback;

class StreamHandlerLifecycleTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture.emplace(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    // Runs first: the generator is seeded by the first handler of the process, with the time of
    // day in whole seconds.
    void aaTheFirstHandlerSeedsTheGenerator() {
        const double time =
            _fixture->runLoop.wallClock().secondsSinceReference + Date::unixTimeOfReference;
        const double first = _fixture->handler->pingInterval().count();
        std::srand(unsigned(qint64(time)));
        QCOMPARE(first, (std::rand() % 100) / 10.0 + 180.0);
        // Not seeded again: the next handler takes the next number.
        const double expected = (std::rand() % 100) / 10.0 + 180.0;
        std::srand(unsigned(qint64(time)));
        (void)std::rand();
        kit::HandlerFixture second;
        QCOMPARE(second.handler->pingInterval().count(), expected);
    }

    void theInputIsOpenedFirst() {
        struct Input final : InputStream {
            explicit Input(QStringList &opened)
                : order(opened) {}
            void setEventHandler(EventHandler) override {}
            void open() override { order += QStringLiteral("input"); }
            void close() override {}
            qint64 read(char *, qint64) override { return -1; }
            QStringList &order;
        };
        struct Output final : OutputStream {
            explicit Output(QStringList &opened)
                : order(opened) {}
            void setEventHandler(EventHandler) override {}
            void open() override { order += QStringLiteral("output"); }
            void close() override {}
            bool hasSpaceAvailable() override { return false; }
            qint64 write(const char *, qint64) override { return 0; }
            QStringList &order;
        };
        QStringList order;
        const auto handler = ZRKStreamHandler::initWithInputStreamOutputStream(
            {std::make_unique<Input>(order), std::make_unique<Output>(order)});
        QCOMPARE(order, (QStringList{QStringLiteral("input"), QStringLiteral("output")}));
    }

    void pingIntervalsSpreadInSteps() {
        std::set<int> tenths;
        for (int i = 0; i < 200; ++i) {
            kit::MemoryConnection connection;
            const double interval =
                ZRKStreamHandler::initWithInputStreamOutputStream(connection.takeStreams())
                    ->pingInterval()
                    .count();
            QVERIFY(interval >= 180.0 && interval < 189.95);
            const double inTenths = interval * 10;
            QVERIFY(qAbs(inTenths - qRound(inTenths)) < 1e-6);
            tenths.insert(qRound(inTenths));
        }
        QVERIFY(tenths.size() > 50);
    }

    void opensItsStreams() {
        QVERIFY(_fixture->connection.isOpen());
        QVERIFY(_fixture->handler->isOpen());
    }

    void needsBothStreams() {
        kit::MemoryConnection connection;
        StreamPair pair = connection.takeStreams();
        pair.output.reset();
        QVERIFY(!ZRKStreamHandler::initWithInputStreamOutputStream(std::move(pair)));
        QVERIFY(!ZRKStreamHandler::initWithInputStreamOutputStream({}));
    }

    void endAndErrorCloseAndTellTheDelegate_data() {
        QTest::addColumn<bool>("error");
        QTest::newRow("end encountered") << false;
        QTest::newRow("error occurred") << true;
    }
    void endAndErrorCloseAndTellTheDelegate() {
        QFETCH(bool, error);
        kit::settle(_fixture->runLoop);
        if (error)
            _fixture->connection.fail();
        else
            _fixture->connection.end();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
        QVERIFY(!_fixture->handler->isOpen());
        QVERIFY(_fixture->connection.isClosed());
    }

    void whatArrivedBeforeTheEndIsDelivered() {
        _fixture->connection.feed(objectFrame(text("last words")));
        _fixture->connection.end();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(),
                 (QStringList{QStringLiteral("received last words"), QStringLiteral("closed")}));
    }

    void aConnectionThatFailsToOpenCloses() {
        kit::HandlerFixture fixture;
        fixture.connection.holdConnection();
        fixture.connection.fail();
        kit::settle(fixture.runLoop);
        QCOMPARE(fixture.events, QStringList{QStringLiteral("closed")});
    }

    void closeTwiceTellsOnce() {
        _fixture->handler->close();
        _fixture->handler->close();
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void closeWithoutNotificationTellsNobody() {
        _fixture->handler->close(false);
        QCOMPARE(events(), QStringList());
        QVERIFY(_fixture->connection.isClosed());
    }

    void destructionClosesQuietly() {
        _fixture->handler.reset();
        QCOMPARE(events(), QStringList());
        QVERIFY(_fixture->connection.isClosed());
    }

    void aClosedHandlerDoesNothing() {
        kit::settle(_fixture->runLoop);
        _fixture->handler->close();
        events().clear();
        QVERIFY(!_fixture->handler->outputObject(OutputObject::fixed(text("late"))));
        _fixture->handler->ping();
        _fixture->runLoop.advance(1000.0);
        QCOMPARE(_fixture->connection.written(), QByteArray());
        QCOMPARE(events(), QStringList());
        QCOMPARE(_fixture->runLoop.pendingCount(), 0);
    }

    void unsentObjectsAreDroppedWithoutACallback() {
        kit::settle(_fixture->runLoop);
        _fixture->connection.setRoom(10);
        QVERIFY(_fixture->handler->outputObject(OutputObject::fixed(text("half"))));
        QVERIFY(_fixture->handler->outputObject(OutputObject::fixed(text("never"))));
        _fixture->handler->close();
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void reentrantCallsFromTheCloseCallbackDoNothing() {
        _fixture->handler->onClose = [this](ZRKStreamHandler &sender) {
            events() += QStringLiteral("closed");
            sender.close();
            QVERIFY(!sender.isOpen());
            QVERIFY(!sender.outputObject(OutputObject::fixed(text("late"))));
        };
        _fixture->handler->close();
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void aPlatformExceptionOfTheCloseCallbackIsIgnored() {
        _fixture->handler->onClose = [](ZRKStreamHandler &) {
            throw PlatformException(QStringLiteral("Test"), QStringLiteral("ignored"));
        };
        _fixture->handler->close();
        QVERIFY(_fixture->connection.isClosed());
    }

    void anyOtherExceptionOfTheCloseCallbackPassesOnAfterTheRelease() {
        _fixture->handler->onClose = [](ZRKStreamHandler &) { throw std::runtime_error("a bug"); };
        QVERIFY_EXCEPTION_THROWN(_fixture->handler->close(), std::runtime_error);
        QVERIFY(_fixture->connection.isClosed());
    }

    // The owner may let go in the callback; the handler lives until the turn is over.
    void theHandlerOutlivesItsCloseCallbackByATurn() {
        kit::settle(_fixture->runLoop);
        const std::weak_ptr<ZRKStreamHandler> handler = _fixture->handler;
        _fixture->handler->onClose = [this](ZRKStreamHandler &) { _fixture->handler.reset(); };
        _fixture->handler->close();
        QVERIFY(!handler.expired());
        _fixture->runLoop.runOnce();
        QVERIFY(handler.expired());
    }

    void anOwnerThatClearsTheDelegateHearsNothing() {
        _fixture->handler->forgetCallbacks();
        _fixture->handler->close();
        QCOMPARE(events(), QStringList());
    }

    void anAcceptedSocketCarriesObjects() {
        loopback::Pair pair = loopback::pair();
        const int descriptor = pair.near.descriptor();
        _fixture->handler = ZRKStreamHandler::initWithFileHandle(std::move(pair.near));
        QVERIFY(_fixture->handler);
        _fixture->record();
        int keepAlive = 0;
        socklen_t length = sizeof keepAlive;
        ::getsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &keepAlive, &length);
        QCOMPARE(keepAlive, 1);
        QVERIFY(_fixture->handler->outputObject(OutputObject::fixed(text("out"))));
        loopback::send(pair.far, objectFrame(text("in")));
        QTRY_VERIFY(kit::settle(_fixture->runLoop) && events().size() == 2);
        QCOMPARE(loopback::receive(pair.far), objectFrame(text("out")));
        events().clear();
        // The handler owns the descriptor.
        _fixture->handler->close();
        QCOMPARE(loopback::receive(pair.far), QByteArray());
        QCOMPARE(::fcntl(descriptor, F_GETFD), -1);
    }

    void whatIsNoSocketMakesNoHandler() {
        QVERIFY(!ZRKStreamHandler::initWithFileHandle(FileHandle()));
        int ends[2];
        QCOMPARE(::pipe2(ends, O_CLOEXEC), 0);
        const FileHandle writing(ends[1]);
        QVERIFY(!ZRKStreamHandler::initWithFileHandle(FileHandle(ends[0])));
        QCOMPARE(::fcntl(ends[0], F_GETFD), -1);
    }

private:
    QStringList &events() { return _fixture->events; }

    std::optional<kit::HandlerFixture> _fixture;
};

QTEST_GUILESS_MAIN(StreamHandlerLifecycleTest)
#include "tst_streamhandler_lifecycle.moc"
