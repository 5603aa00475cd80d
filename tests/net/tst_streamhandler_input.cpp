// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include "tests/net/Recorder.h"

#include <QTest>

#include <malloc.h>
#include <stdexcept>

using namespace clipmule;
using clipmule::kit::objectFrame;
using clipmule::kit::pingFrame;
using clipmule::kit::text;

namespace {

// An object frame with the text "hi", byte by byte.
const QByteArray hiFrame =
    QByteArray::fromHex("004b525a" // 'Z' 'R' 'K' 0, little-endian
                        "c1000000" // 193 bytes of payload
                        ) +
    QByteArrayLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                      "<plist version=\"1.0\">\n"
                      "<string>hi</string>\n"
                      "</plist>\n");

QByteArray header(quint32 length) {
    QByteArray bytes(StreamFrame::headerSize, '\0');
    StreamFrame::writeObjectHeader(bytes.data(), length);
    return bytes;
}

QList<QByteArray> bytewise(const QByteArray &bytes) {
    QList<QByteArray> parts;
    for (const char byte : bytes)
        parts += QByteArray(1, byte);
    return parts;
}

QByteArray nested(int depth) {
    return QByteArrayLiteral("<plist>") + QByteArrayLiteral("<array>").repeated(depth) +
           QByteArrayLiteral("</array>").repeated(depth) + QByteArrayLiteral("</plist>");
}

} // namespace

class StreamHandlerInputTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _fixture.emplace(); }

    void end() override { _fixture.reset(); }

private Q_SLOTS:
    void decodesAnObjectFrame() {
        QCOMPARE(hiFrame.size(), 8 + 0xc1);
        receive(hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
        QCOMPARE(_fixture->notifications.received, 1);
        QCOMPARE(_fixture->notifications.sender,
                 static_cast<const Object *>(_fixture->handler.get()));
        QVERIFY(_fixture->notifications.userInfo.isEmpty());
    }

    void acceptsEveryFormOfPropertyList() {
        receive(objectFrame(PropertyListSerialization::binary(text("binary"))));
        receive(objectFrame(QByteArrayLiteral("word")));
        QCOMPARE(events(),
                 (QStringList{QStringLiteral("received binary"), QStringLiteral("received word")}));
    }

    void oneByteAtATimeIsDecodedOnceAtTheLastByte() {
        receiveInParts(bytewise(hiFrame.chopped(1)));
        QCOMPARE(events(), QStringList());
        receive(hiFrame.last(1));
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
        // Once for every pass from the fourth byte on.
        QCOMPARE(_fixture->notifications.received, hiFrame.size() - 3);
    }

    void aPassWithoutAHeaderPostsNothing() {
        receive(hiFrame.first(3));
        receive(QByteArray());
        QCOMPARE(_fixture->notifications.received, 0);
    }

    void aHeaderWithoutItsLengthWaits() {
        receive(hiFrame.first(4));
        receive(hiFrame.sliced(4, 3));
        QCOMPARE(_fixture->notifications.received, 2);
        receive(hiFrame.sliced(7));
        QCOMPARE(_fixture->notifications.received, 3);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    void twoObjectsAndAPingInOneRead() {
        receive(objectFrame(text("first")) + pingFrame + objectFrame(text("second")));
        QCOMPARE(events(), (QStringList{QStringLiteral("received first"),
                                        QStringLiteral("received second")}));
        QCOMPARE(_fixture->connection.requests().size(), 1);
        QCOMPARE(_fixture->notifications.received, 2);
    }

    // Between two objects the run loop turns

    void oneObjectATurn() {
        _fixture->connection.feed(objectFrame(text("1")) + pingFrame + objectFrame(text("2")) +
                                  objectFrame(QByteArrayLiteral("<<<")) + objectFrame(text("3")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("DECODING DATA")));
        for (int turn = 0; turn < 8; ++turn) {
            const qsizetype before = events().size();
            _fixture->runLoop.runOnce();
            QVERIFY(events().size() - before <= 1);
        }
        QCOMPARE(events(), (QStringList{QStringLiteral("received 1"), QStringLiteral("received 2"),
                                        QStringLiteral("received 3")}));
    }

    void whileObjectsWaitNothingMoreIsRead() {
        _fixture->connection.feedInParts(
            {objectFrame(text("1")) + objectFrame(text("2")) + objectFrame(text("3")),
             objectFrame(text("4"))});
        while (events().size() < 2) {
            _fixture->runLoop.runOnce();
            QCOMPARE(_fixture->connection.requests().size(), events().isEmpty() ? 0 : 1);
        }
        kit::settle(_fixture->runLoop);
        QCOMPARE(events().size(), 4);
        QCOMPARE(_fixture->connection.requests().size(), 2);
    }

    void whatWasReadBeforeTheEndIsHandedOver_data() {
        QTest::addColumn<bool>("failure");
        QTest::newRow("end") << false;
        QTest::newRow("error") << true;
    }
    void whatWasReadBeforeTheEndIsHandedOver() {
        QFETCH(bool, failure);
        _fixture->connection.feed(objectFrame(text("1")) + objectFrame(text("2")) +
                                  objectFrame(text("3")));
        while (events().isEmpty())
            _fixture->runLoop.runOnce();
        failure ? _fixture->connection.fail() : _fixture->connection.end();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), (QStringList{QStringLiteral("received 1"), QStringLiteral("received 2"),
                                        QStringLiteral("received 3"), QStringLiteral("closed")}));
        QVERIFY(_fixture->connection.isClosed());
    }

    void afterTheEndNothingIsWritten() {
        _fixture->connection.feed(objectFrame(text("1")) + objectFrame(text("2")) +
                                  objectFrame(text("3")));
        while (events().isEmpty())
            _fixture->runLoop.runOnce();
        _fixture->connection.breakOutput();
        _fixture->handler->outputObject(OutputObject::fixed(text("out")));
        _fixture->handler->outputObject(OutputObject::fixed(text("out again")));
        QCOMPARE(_fixture->connection.offers().size(), 1);
        QVERIFY(_fixture->handler->isOpen());
        kit::settle(_fixture->runLoop);
        QCOMPARE(events().size(), 4);
        QCOMPARE(events().constLast(), QStringLiteral("closed"));
    }

    void closingEndsWhatWaits() {
        _fixture->connection.feed(objectFrame(text("1")) + objectFrame(text("2")));
        while (events().isEmpty())
            _fixture->runLoop.runOnce();
        _fixture->handler->close();
        kit::settle(_fixture->runLoop);
        QCOMPARE(events(), (QStringList{QStringLiteral("received 1"), QStringLiteral("closed")}));
    }

    void aPingBeforeAnObjectLeavesNoTrace() {
        receive(pingFrame + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
        QCOMPARE(_fixture->notifications.received, 1);
    }

    void pingsAlonePostNothing() {
        receive(pingFrame + pingFrame);
        QCOMPARE(events(), QStringList());
        QCOMPARE(_fixture->notifications.received, 0);
    }

    void resynchronisesInStepsOfFourBytes_data() {
        QTest::addColumn<QByteArray>("garbage");
        QTest::addColumn<bool>("found");
        QTest::newRow("four bytes") << QByteArrayLiteral("ABCD") << true;
        QTest::newRow("eight bytes") << QByteArrayLiteral("ABCDEFGH") << true;
        QTest::newRow("an unknown kind") << QByteArray::fromHex("024b525a") << true;
        // Never byte by byte: the kind word does not line up, and the frame is skipped.
        QTest::newRow("one byte") << QByteArrayLiteral("A") << false;
        QTest::newRow("three bytes") << QByteArrayLiteral("ABC") << false;
        QTest::newRow("five bytes") << QByteArrayLiteral("ABCDE") << false;
    }
    void resynchronisesInStepsOfFourBytes() {
        QFETCH(QByteArray, garbage);
        QFETCH(bool, found);
        receive(garbage + hiFrame);
        QCOMPARE(events(), found ? QStringList{QStringLiteral("received hi")} : QStringList());
        QVERIFY(_fixture->handler->isOpen());
    }

    void anEmptyPayloadIsConsumedAsEightBytes() {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                               "^NSSTREAMEVENTHASBYTESAVAILABLE ERROR DECODING "
                                               "DATA .+")));
        receive(QByteArray::fromHex("004b525a00000000") + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    void anUndecodablePayloadIsLoggedAndTheNextFrameDecoded() {
        const QByteArray payload = QByteArrayLiteral("<<<");
        const auto parsed = PropertyListSerialization::parse(payload);
        QVERIFY(!kit::reasonOf(parsed).isEmpty());
        const QString line = QStringLiteral("NSSTREAMEVENTHASBYTESAVAILABLE ERROR DECODING DATA %1")
                                 .arg(kit::reasonOf(parsed));
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
        receive(objectFrame(payload) + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
        QVERIFY(_fixture->handler->isOpen());
    }

    void withoutAReceiverThePayloadIsNotEvenParsed() {
        _fixture->handler->forgetCallbacks();
        // A parser would have something to say about it.
        receive(objectFrame(QByteArrayLiteral("<<<")));
        QCOMPARE(_fixture->notifications.received, 1);
        _fixture->record();
        receive(hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    void aPlatformExceptionOfTheDelegateIsLoggedAndTheFrameConsumed() {
        bool first = true;
        _fixture->handler->onReceiveObject =
            [&, record = _fixture->handler->onReceiveObject](ZRKStreamHandler &handler,
                                                             const PropertyList &object) {
                if (std::exchange(first, false))
                    throw PlatformException(QStringLiteral("Test"), QStringLiteral("not this one"));
                record(handler, object);
            };
        QTest::ignoreMessage(QtWarningMsg, "NSSTREAMEVENTHASBYTESAVAILABLE EXCEPTION not this one");
        receive(objectFrame(text("first")) + objectFrame(text("second")));
        QCOMPARE(events(), QStringList{QStringLiteral("received second")});
        QVERIFY(_fixture->handler->isOpen());
    }

    void anyOtherExceptionPassesOnAndTheFrameIsConsumed() {
        _fixture->handler->onReceiveObject = [](ZRKStreamHandler &, const PropertyList &) {
            throw std::runtime_error("a bug");
        };
        _fixture->connection.feed(objectFrame(text("first")));
        QVERIFY_EXCEPTION_THROWN(kit::settle(_fixture->runLoop), std::runtime_error);
        _fixture->record();
        receive(hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    void aPlatformExceptionElsewhereIsLoggedAndTheConnectionKept() {
        _fixture->notifications.onReceive = [] {
            throw PlatformException(QStringLiteral("Test"), QStringLiteral("an observer"));
        };
        QTest::ignoreMessage(QtWarningMsg, "HANDLEEVENT EXCEPTION an observer");
        receive(hiFrame);
        QCOMPARE(events(), QStringList());
        QVERIFY(_fixture->handler->isOpen());
        _fixture->notifications.onReceive = nullptr;
        receive(pingFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    // Only the header travels: nothing is allocated for what it claims.
    void theLargestPayloadIsWaitedFor_data() {
        QTest::addColumn<quint32>("length");
        QTest::newRow("one below") << ZRKStreamHandler::largestPayload - 1;
        QTest::newRow("at the limit") << ZRKStreamHandler::largestPayload;
    }
    void theLargestPayloadIsWaitedFor() {
        QFETCH(quint32, length);
        QCOMPARE(ZRKStreamHandler::largestPayload, 67108864u);
        receive(header(length) + QByteArrayLiteral("<plist>"));
        QVERIFY(_fixture->handler->isOpen());
        QCOMPARE(events(), QStringList());
        QCOMPARE(_fixture->notifications.received, 1);
    }

    void aLargerPayloadIsRefused_data() {
        QTest::addColumn<quint32>("length");
        QTest::newRow("one above the limit") << ZRKStreamHandler::largestPayload + 1;
        QTest::newRow("4 GiB") << 0xffffffffu;
    }
    void aLargerPayloadIsRefused() {
        QFETCH(quint32, length);
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("FRAME TOO LARGE %1").arg(length)));
        receive(header(length) + hiFrame);
        QVERIFY(!_fixture->handler->isOpen());
        QVERIFY(_fixture->connection.isClosed());
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void aLargeFrameInManyReadsIsOneObject() {
        const QByteArray image(3 * 1024 * 1024, 'i');
        const QByteArray frame = objectFrame(PropertyList(image));
        QList<QByteArray> parts;
        for (qsizetype at = 0; at < frame.size(); at += 100000)
            parts += frame.sliced(at, std::min(qsizetype(100000), frame.size() - at));
        QByteArray received;
        _fixture->handler->onReceiveObject = [&](ZRKStreamHandler &, const PropertyList &object) {
            received = object.data();
        };
        receiveInParts(parts);
        QVERIFY(received == image);
        QCOMPARE(_fixture->notifications.received, parts.size());
    }

    // A frame whose end comes together with the beginning of the next, again and again.
    void framesThatStraddleReadsStayInOrder() {
        QByteArray stream;
        QStringList expected;
        for (int i = 0; i < 20; ++i) {
            const QString string = QString::number(i) + QString(60000 + i * 7919, u'x');
            stream += objectFrame(PropertyList(string)) + (i % 3 ? pingFrame : QByteArray());
            expected += QStringLiteral("received ") + string;
        }
        QList<QByteArray> parts;
        for (qsizetype at = 0; at < stream.size(); at += 77777)
            parts += stream.sliced(at, std::min(qsizetype(77777), stream.size() - at));
        receiveInParts(parts);
        QVERIFY(events() == expected);
    }

    void noReadAsksForMoreThanTheBlock() {
        const QByteArray frame = objectFrame(PropertyList(QByteArray(2 * 1024 * 1024, 'i')));
        _fixture->handler->forgetCallbacks();
        receive(frame);
        for (const qint64 request : _fixture->connection.requests())
            QCOMPARE(request, qint64(524288));
        QVERIFY(_fixture->connection.requests().size() >= 5);
    }

    void theDelegateMayAnswerFromInside() {
        _fixture->handler->onReceiveObject = [](ZRKStreamHandler &handler,
                                                const PropertyList &object) {
            handler.outputObject(OutputObject::fixed(object));
        };
        receive(hiFrame + objectFrame(text("ho")));
        QCOMPARE(_fixture->connection.written(), hiFrame + objectFrame(text("ho")));
        QCOMPARE(events(), (QStringList{QStringLiteral("output hi"), QStringLiteral("output ho")}));
    }

    void theDelegateMayCloseFromInside() {
        _fixture->handler->onReceiveObject = [this](ZRKStreamHandler &handler,
                                                    const PropertyList &object) {
            events() += kit::HandlerFixture::describe(object);
            handler.close();
            events() += QStringLiteral("back");
        };
        receive(hiFrame + objectFrame(text("never seen")));
        QCOMPARE(events(), (QStringList{QStringLiteral("hi"), QStringLiteral("closed"),
                                        QStringLiteral("back")}));
    }

    void theDelegateMayLetGoOfTheHandlerFromInside() {
        const std::weak_ptr<ZRKStreamHandler> handler = _fixture->handler;
        _fixture->handler->onReceiveObject = [this, handler](ZRKStreamHandler &sender,
                                                             const PropertyList &) {
            _fixture->handler.reset();
            QVERIFY(!handler.expired());
            events() += sender.isOpen() ? QStringLiteral("open") : QStringLiteral("closed");
        };
        receive(hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("open")});
        QVERIFY(handler.expired());
        QVERIFY(_fixture->connection.isClosed());
    }

    void theDelegateMayReplaceItselfFromInside() {
        _fixture->handler->onReceiveObject = [this, captured = QStringLiteral("captured")](
                                                 ZRKStreamHandler &handler, const PropertyList &) {
            handler.forgetCallbacks();
            events() += captured;
        };
        receive(hiFrame + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("captured")});
    }

    void anObserverMayCloseTheHandler() {
        _fixture->notifications.onReceive = [this] { _fixture->handler->close(); };
        receive(hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("closed")});
    }

    void aTurnOfTheRunLoopInsideACallbackDoesNotReorder() {
        _fixture->handler->onReceiveObject =
            [this, record = _fixture->handler->onReceiveObject](ZRKStreamHandler &handler,
                                                                const PropertyList &object) {
                _fixture->runLoop.runOnce();
                _fixture->runLoop.runOnce();
                record(handler, object);
            };
        receiveInParts({objectFrame(text("1")) + objectFrame(text("2")), objectFrame(text("3"))});
        QCOMPARE(events(), (QStringList{QStringLiteral("received 1"), QStringLiteral("received 2"),
                                        QStringLiteral("received 3")}));
    }

    void hostilePayloadsAreDroppedAndTheConnectionKept_data() {
        QTest::addColumn<QByteArray>("payload");
        QTest::newRow("a million nested arrays") << nested(1000000);
        QTest::newRow("entities that multiply")
            << QByteArrayLiteral("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\">"
                                 "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">]>"
                                 "<plist><string>&b;</string></plist>");
        QTest::newRow("a broken binary list")
            << QByteArrayLiteral("bplist00") + QByteArray(40, '\xff');
        QTest::newRow("half a document")
            << QByteArrayLiteral("<plist version=\"1.0\"><dict><key>1</key>");
    }
    void hostilePayloadsAreDroppedAndTheConnectionKept() {
        QFETCH(QByteArray, payload);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                               "^NSSTREAMEVENTHASBYTESAVAILABLE ERROR DECODING "
                                               "DATA .+")));
        receive(objectFrame(payload) + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

    void aFloodOfDamagedFramesMakesTenLinesAMinute() {
        _fixture->handler->setPeerName(QStringLiteral("A\x1bPhone"));
        for (int line = 0; line < 10; ++line)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(
                                                   "^NSSTREAMEVENTHASBYTESAVAILABLE ERROR .+")));
        receive(objectFrame(QByteArrayLiteral("<<<")).repeated(500) + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
        QTest::ignoreMessage(QtWarningMsg, "490 more lines about \"A\\x1bPhone\" were left out");
        _fixture->runLoop.advance(61);
    }

    // By the blocks that the allocator gets from the system, as large ones are; where it is
    // another allocator there is nothing to see.
    void theMemoryOfALargeFrameIsGivenBack() {
        qsizetype received = 0;
        _fixture->handler->onReceiveObject = [&](ZRKStreamHandler &, const PropertyList &object) {
            received += object.isData() ? object.data().size() : 0;
        };
        constexpr qsizetype large = 24 << 20;
        QByteArray frame = objectFrame(PropertyList(QByteArray(large, 'x')));
        const size_t before = mallinfo2().hblkhd;
        receive(frame);
        QCOMPARE(received, large);
        // What the connection in memory keeps is not the handler's.
        _fixture->connection.feed(hiFrame);
        kit::settle(_fixture->runLoop);
        QVERIFY2(mallinfo2().hblkhd < before + (1 << 20),
                 qPrintable(QString::number(mallinfo2().hblkhd - before)));
    }

    void aFloodOfGarbageIsSkipped() {
        receive(QByteArray(4 * 1024 * 1024, '\x5a') + hiFrame);
        QCOMPARE(events(), QStringList{QStringLiteral("received hi")});
    }

private:
    void receive(const QByteArray &bytes) { _fixture->receive(bytes); }
    void receiveInParts(const QList<QByteArray> &parts) { _fixture->receiveInParts(parts); }
    QStringList &events() { return _fixture->events; }

    std::optional<kit::HandlerFixture> _fixture;
};

QTEST_GUILESS_MAIN(StreamHandlerInputTest)
#include "tst_streamhandler_input.moc"
