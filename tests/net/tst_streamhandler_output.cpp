// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

#include <stdexcept>

using namespace clipmule;
using clipmule::kit::objectFrame;
using clipmule::kit::pingFrame;
using clipmule::kit::text;

namespace {

OutputObject fixedText(const char *string) {
    return OutputObject::fixed(text(string));
}

/// Deeper than a property list may be.
OutputObject unwritable() {
    PropertyList value;
    for (int level = 0; level <= PropertyListSerialization::maximumDepth; ++level)
        value = PropertyList(PropertyList::List{value});
    return OutputObject::fixed(value);
}

} // namespace

class StreamHandlerOutputTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _fixture.emplace();
        kit::settle(_fixture->runLoop);
    }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void writesAnObjectAsXmlInAFrame() {
        QVERIFY(handler().outputObject(fixedText("hi")));
        const QByteArray frame = connection().written();
        QCOMPARE(frame.first(4), QByteArray::fromHex("004b525a"));
        QCOMPARE(qFromLittleEndian<quint32>(frame.constData() + 4), quint32(frame.size() - 8));
        QCOMPARE(frame.sliced(8), PropertyListSerialization::xml(text("hi")));
        QCOMPARE(events(), QStringList{QStringLiteral("output hi")});
        QCOMPARE(notifications().sent, 1);
        QCOMPARE(notifications().sender, static_cast<const Object *>(&handler()));
    }

    void queuedObjectsGoOutInOnePass() {
        _fixture.emplace();
        // Not open yet: they wait.
        QVERIFY(handler().outputObject(fixedText("1")));
        QVERIFY(handler().outputObject(fixedText("2")));
        QVERIFY(handler().outputObject(fixedText("3")));
        QCOMPARE(connection().written(), QByteArray());
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(),
                 objectFrame(text("1")) + objectFrame(text("2")) + objectFrame(text("3")));
        QCOMPARE(events(), (QStringList{QStringLiteral("output 1"), QStringLiteral("output 2"),
                                        QStringLiteral("output 3")}));
    }

    void theWholeRestIsOfferedInEachWrite() {
        const qsizetype size = objectFrame(text("hello")).size();
        connection().setRoom(10);
        QVERIFY(handler().outputObject(fixedText("hello")));
        QCOMPARE(events(), QStringList());
        QCOMPARE(notifications().sent, 1);
        connection().setRoom(20);
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList());
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().offers(), (QList<qsizetype>{size, size - 10, size - 30}));
        QCOMPARE(connection().written(), objectFrame(text("hello")));
        QCOMPARE(events(), QStringList{QStringLiteral("output hello")});
        QCOMPARE(notifications().sent, 3);
    }

    // Whatever room there is: the rest of the program has its turns in between.
    void aLargeFrameIsWrittenAPieceATurn() {
        const PropertyList image(QByteArray(2'000'000, 'i'));
        QVERIFY(handler().outputObject(OutputObject::fixed(image)));
        QVERIFY(handler().outputObject(fixedText("next")));
        handler().ping();
        for (qsizetype before = 0; !events().contains(QStringLiteral("output next"));) {
            const qsizetype written = connection().written().size();
            QVERIFY(written > before);
            QVERIFY(written - before <=
                    ZRKStreamHandler::mostWrittenInATurn + OutputFrame::pieceSize);
            before = written;
            _fixture->runLoop.runOnce();
        }
        QVERIFY(connection().written() == objectFrame(image) + objectFrame(text("next")));
        QCOMPARE(connection().offers().size(), notifications().sent);
    }

    void manyFramesTakeTheirTurnsToo() {
        QByteArray expected;
        connection().setRoom(0);
        for (int number = 0; number < 40; ++number) {
            const PropertyList value(QByteArray(30'000 + number, 'i'));
            QVERIFY(handler().outputObject(OutputObject::fixed(value)));
            expected += objectFrame(value);
        }
        connection().setRoom(kit::MemoryConnection::unlimited);
        for (qsizetype before = 0; before < expected.size();
             before = connection().written().size()) {
            _fixture->runLoop.runOnce();
            QVERIFY(connection().written().size() > before);
            QVERIFY(connection().written().size() - before <=
                    ZRKStreamHandler::mostWrittenInATurn + 50'000);
        }
        QVERIFY(connection().written() == expected);
        QCOMPARE(events().size(), 40);
        QVERIFY(kit::settle(_fixture->runLoop));
    }

    void aConnectionThatEndsInTheMiddleLeavesNothingBehind_data() {
        QTest::addColumn<QString>("end");
        for (const char *end : {"close", "end", "fail", "break"})
            QTest::newRow(end) << QString::fromLatin1(end);
    }
    void aConnectionThatEndsInTheMiddleLeavesNothingBehind() {
        QFETCH(QString, end);
        const OutputObject object = OutputObject::fixed(PropertyList(QByteArray(2'000'000, 'i')));
        QVERIFY(handler().outputObject(object));
        const qsizetype written = connection().written().size();
        QVERIFY(written > 0);
        QVERIFY(!handler().withdrawObject(object));
        if (end == u"close")
            handler().close();
        else if (end == u"end")
            connection().end();
        else if (end == u"fail")
            connection().fail();
        else
            connection().breakOutput();
        while (handler().isOpen())
            _fixture->runLoop.runOnce();
        const qsizetype afterwards = connection().written().size();
        QVERIFY(kit::settle(_fixture->runLoop));
        QCOMPARE(_fixture->runLoop.pendingCount(), 0);
        QCOMPARE(connection().written().size(), afterwards);
        QVERIFY(afterwards < 2'000'000);
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
        // For the next connection all of it is there again.
        QVERIFY(kit::bytesOf(object.frame()) == objectFrame(object.value()));
    }

    void aFullStreamIsLeftAlone() {
        connection().setRoom(0);
        QVERIFY(handler().outputObject(fixedText("hello")));
        QVERIFY(handler().outputObject(fixedText("again")));
        QCOMPARE(connection().offers().size(), 0);
        QCOMPARE(notifications().sent, 0);
        QVERIFY(kit::settle(_fixture->runLoop));
    }

    void aFrameEndingWhereTheRoomEndsIsComplete() {
        connection().setRoom(objectFrame(text("hello")).size());
        QVERIFY(handler().outputObject(fixedText("hello")));
        QCOMPARE(events(), QStringList{QStringLiteral("output hello")});
    }

    void aPingOnAnIdleConnectionIsFourBytes() {
        handler().ping();
        QCOMPARE(connection().written(), QByteArray::fromHex("014b525a"));
        QCOMPARE(notifications().sent, 0);
        QCOMPARE(events(), QStringList());
    }

    void aPingIsDroppedWhenObjectsWait() {
        connection().setRoom(10);
        QVERIFY(handler().outputObject(fixedText("hello")));
        handler().ping();
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), objectFrame(text("hello")));
    }

    void aPingWaitsForRoom() {
        connection().setRoom(0);
        handler().ping();
        handler().ping();
        QCOMPARE(connection().written(), QByteArray());
        connection().setRoom(100);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), pingFrame);
    }

    void anObjectAfterAWaitingPingReplacesIt() {
        connection().setRoom(0);
        handler().ping();
        QVERIFY(handler().outputObject(fixedText("hello")));
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), objectFrame(text("hello")));
    }

    // What the stream does not take of a ping is lost, as is the case on the other side.
    void thePartOfAPingThatFitsNowhereIsNotSentLater() {
        connection().setRoom(2);
        handler().ping();
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), pingFrame.first(2));
    }

    void theTimerPingsAtTheHandlersInterval() {
        const double interval = handler().pingInterval().count();
        _fixture->runLoop.advance(interval - 0.01);
        QCOMPARE(connection().takeWritten(), QByteArray());
        _fixture->runLoop.advance(0.02);
        QCOMPARE(connection().takeWritten(), pingFrame);
        _fixture->runLoop.advance(interval * 2);
        QCOMPARE(connection().takeWritten(), pingFrame + pingFrame);
    }

    void aWriteErrorClosesTheConnection() {
        connection().breakOutput();
        QVERIFY(handler().outputObject(fixedText("hello")));
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
        QVERIFY(connection().isClosed());
        QVERIFY(!handler().outputObject(fixedText("again")));
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void aWriteErrorOfAPingClosesTheConnection() {
        connection().breakOutput();
        handler().ping();
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void aWriteErrorAfterAWaitClosesTheConnection() {
        connection().setRoom(10);
        QVERIFY(handler().outputObject(fixedText("hello")));
        connection().breakOutput();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void theDelegateMayQueueFromInsideTheOutputCallback() {
        int left = 2;
        handler().onOutputObject = [&, record = handler().onOutputObject](
                                       ZRKStreamHandler &sender, const OutputObject &object) {
            record(sender, object);
            if (left-- > 0)
                sender.outputObject(fixedText("more"));
            // Not from inside: one after the other.
            events() += QStringLiteral("back");
        };
        QVERIFY(handler().outputObject(fixedText("first")));
        QCOMPARE(connection().written(), objectFrame(text("first")) + objectFrame(text("more")) +
                                             objectFrame(text("more")));
        QCOMPARE(events(), (QStringList{QStringLiteral("output first"), QStringLiteral("back"),
                                        QStringLiteral("output more"), QStringLiteral("back"),
                                        QStringLiteral("output more"), QStringLiteral("back")}));
    }

    void anObserverMayQueueWhileAFrameIsHalfWritten() {
        connection().setRoom(10);
        notifications().onSend = [&] {
            notifications().onSend = nullptr;
            handler().outputObject(fixedText("second"));
        };
        QVERIFY(handler().outputObject(fixedText("first")));
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), objectFrame(text("first")) + objectFrame(text("second")));
    }

    void callbacksMayCloseOrLetGo_data() {
        QTest::addColumn<QString>("where");
        QTest::addColumn<QString>("what");
        for (const char *where : {"DidSendData", "didOutputObject"}) {
            for (const char *what : {"close", "let go"})
                QTest::addRow("%s in %s", what, where)
                    << QString::fromLatin1(where) << QString::fromLatin1(what);
        }
    }
    void callbacksMayCloseOrLetGo() {
        QFETCH(QString, where);
        QFETCH(QString, what);
        bool called = false;
        const auto act = [&] {
            called = true;
            if (what == u"close")
                _fixture->handler->close();
            else
                _fixture->handler.reset();
        };
        if (where == u"DidSendData")
            notifications().onSend = act;
        else
            handler().onOutputObject = [=](ZRKStreamHandler &, const OutputObject &) { act(); };
        ZRKStreamHandler &raw = handler();
        QVERIFY(raw.outputObject(fixedText("first")));
        QVERIFY(called);
        notifications().onSend = nullptr;
        if (what == u"close") {
            QVERIFY(!handler().isOpen());
            QCOMPARE(events(), QStringList{QStringLiteral("closed")});
        } else {
            QVERIFY(connection().isClosed());
        }
        QCOMPARE(connection().written(), objectFrame(text("first")));
    }

    // Nothing above the timer would catch it.
    void aPlatformExceptionDuringAPingIsLogged() {
        bool isFirst = true;
        notifications().onSend = [&] {
            if (std::exchange(isFirst, false))
                handler().outputObject(fixedText("second"));
            throw PlatformException(QStringLiteral("Test"), QStringLiteral("an observer"));
        };
        QVERIFY_THROWS_EXCEPTION(PlatformException, handler().outputObject(fixedText("first")));
        QTest::ignoreMessage(QtWarningMsg, "HANDLEEVENT EXCEPTION an observer");
        _fixture->runLoop.advance(handler().pingInterval().count());
        QVERIFY(handler().isOpen());
        QCOMPARE(connection().written(), objectFrame(text("first")) + objectFrame(text("second")));
        notifications().onSend = nullptr;
    }

    void aPlatformExceptionOfTheOutputCallbackIsIgnored() {
        handler().onOutputObject = [](ZRKStreamHandler &, const OutputObject &) {
            throw PlatformException(QStringLiteral("Test"), QStringLiteral("ignored"));
        };
        QVERIFY(handler().outputObject(fixedText("1")));
        QVERIFY(handler().outputObject(fixedText("2")));
        QCOMPARE(connection().written(), objectFrame(text("1")) + objectFrame(text("2")));
    }

    void anyOtherExceptionPassesOnAndTheObjectIsNotSentAgain() {
        handler().onOutputObject = [](ZRKStreamHandler &, const OutputObject &) {
            throw std::runtime_error("a bug");
        };
        QVERIFY_EXCEPTION_THROWN(handler().outputObject(fixedText("1")), std::runtime_error);
        _fixture->record();
        QVERIFY(handler().outputObject(fixedText("2")));
        QCOMPARE(connection().written(), objectFrame(text("1")) + objectFrame(text("2")));
        QCOMPARE(events(), QStringList{QStringLiteral("output 2")});
    }

    void aLiveObjectIsReadWhenItsTurnComes() {
        QString value = QStringLiteral("then");
        connection().setRoom(10);
        QVERIFY(handler().outputObject(fixedText("first")));
        QVERIFY(handler().outputObject(OutputObject::live([&] { return PropertyList(value); })));
        value = QStringLiteral("now");
        connection().setRoom(kit::MemoryConnection::unlimited);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), objectFrame(text("first")) + objectFrame(text("now")));
    }

    // They are given it in one turn, and go through it in step.
    void manyHandlersShareThePiecesOfALargeFrame() {
        struct Sharing {
            kit::MemoryConnection connection;
            std::shared_ptr<ZRKStreamHandler> handler;
        };
        std::vector<Sharing> all(5);
        for (Sharing &one : all)
            one.handler =
                ZRKStreamHandler::initWithInputStreamOutputStream(one.connection.takeStreams());
        kit::settle(_fixture->runLoop);
        const PropertyList value(QByteArray(2'000'000, 'i'));
        const OutputObject object = OutputObject::fixed(value);
        for (const Sharing &one : all)
            QVERIFY(one.handler->outputObject(object));
        // Whoever comes now still finds the first piece, which nobody has left.
        const OutputFrame frame = object.frame();
        QCOMPARE(frame.sharers(), 6);
        kit::settle(_fixture->runLoop);
        for (const Sharing &one : all)
            QVERIFY(one.connection.written() == objectFrame(value));
    }

    void twoHandlersMayBeInTheMiddleOfAFrame() {
        kit::MemoryConnection secondConnection;
        const auto second =
            ZRKStreamHandler::initWithInputStreamOutputStream(secondConnection.takeStreams());
        kit::settle(_fixture->runLoop);
        const OutputObject object = fixedText("shared");
        connection().setRoom(10);
        secondConnection.setRoom(10);
        handler().outputObject(object);
        second->outputObject(object);
        const QByteArray frame = objectFrame(text("shared"));
        connection().setRoom(1000);
        secondConnection.setRoom(1000);
        kit::settle(_fixture->runLoop);
        QCOMPARE(connection().written(), frame);
        QCOMPARE(secondConnection.written(), frame);
    }

    void anUnwritableObjectLeavesTheQueueAndTheRestGoesOut() {
        const QRegularExpression line(QStringLiteral("^ERROR ENCODING DATA .+"));
        QTest::ignoreMessage(QtWarningMsg, line);
        connection().setRoom(0);
        QVERIFY(handler().outputObject(unwritable()));
        QVERIFY(handler().outputObject(fixedText("next")));
        connection().setRoom(kit::MemoryConnection::unlimited);
        QVERIFY(kit::settle(_fixture->runLoop));
        QCOMPARE(connection().written(), objectFrame(text("next")));
        QCOMPARE(events(), (QStringList{QStringLiteral("dropped"), QStringLiteral("output next")}));
        QVERIFY(handler().isOpen());
    }

    void aLiveValueMayCloseTheHandler() {
        QVERIFY(handler().outputObject(OutputObject::live([this] {
            handler().close();
            return text("never written");
        })));
        QCOMPARE(connection().written(), QByteArray());
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    // The one whose last byte has just gone is not waiting any more, though it is there until the
    // delegate has been told.
    void whatWasWrittenCannotBeWithdrawn() {
        const auto first = OutputObject::fixed(text("one"));
        bool withdrawn = true;
        _fixture->handler->onOutputObject = [&](ZRKStreamHandler &handler,
                                                const OutputObject &object) {
            withdrawn = object.isSameAs(first) ? handler.withdrawObject(first) : withdrawn;
            _fixture->events += object.value().string();
        };
        _fixture->connection.setRoom(0);
        _fixture->handler->outputObject(first);
        _fixture->handler->outputObject(OutputObject::fixed(text("two")));
        _fixture->connection.setRoom(100000);
        kit::settle(_fixture->runLoop);
        QVERIFY(!withdrawn);
        QCOMPARE(_fixture->events, (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
    }

private:
    ZRKStreamHandler &handler() { return *_fixture->handler; }
    kit::MemoryConnection &connection() { return _fixture->connection; }
    kit::DataNotifications &notifications() { return _fixture->notifications; }
    QStringList &events() { return _fixture->events; }

    std::optional<kit::HandlerFixture> _fixture;
};

QTEST_GUILESS_MAIN(StreamHandlerOutputTest)
#include "tst_streamhandler_output.moc"
