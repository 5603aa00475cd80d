// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PipeTransfer.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/Pipes.h"

#include <QTest>

#include <csignal>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

using Outcome = TargetTransfer::Outcome;

class PipeTransferTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        // Of writing on into a pipe that was closed.
        std::signal(SIGPIPE, SIG_IGN);
        _pipe.emplace();
        _opensLater = false;
        _asked.clear();
        _pieces.clear();
        _outcome.reset();
        _bytes.clear();
        _ended = 0;
        _transfer.emplace([this](const QString &target, PipeTransfer::Opened opened) {
            _asked += target;
            if (_opensLater)
                _opened = std::move(opened);
            else
                opened(std::move(_pipe->reading));
        });
    }
    void end() override { _transfer.reset(); }

private Q_SLOTS:
    void whatIsWrittenIsReceived() {
        start(100);
        QCOMPARE(_asked, QStringList{QStringLiteral("text/html")});
        QVERIFY(_pipe->writeAll("some "));
        QVERIFY(_pipe->writeAll("text"));
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(*_outcome, Outcome::Received);
        QCOMPARE(_bytes, "some text");
        QCOMPARE(_transfer->receivedBytes(), 9);
        QCOMPARE(_ended, 1);
    }

    void piecesAreNotKept() {
        _transfer->start(request(100), ended(), [this](QByteArrayView bytes, const QString &type) {
            QCOMPARE(type, QStringLiteral("text/html"));
            _pieces += bytes.toByteArray();
        });
        QVERIFY(_pipe->writeAll("some text"));
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(_pieces, "some text");
        QCOMPARE(_bytes, "");
        QVERIFY(!_bytes.isNull());
        QCOMPARE(_transfer->receivedBytes(), 9);
    }

    void largeContents() {
        QByteArray large(10'000'000, Qt::Uninitialized);
        for (qsizetype index = 0; index < large.size(); ++index)
            large[index] = char(index % 251);
        start(large.size());
        QVERIFY(_pipe->writeAll(large));
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(*_outcome, Outcome::Received);
        QVERIFY(_bytes == large);
    }

    void limit_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<Outcome>("outcome");
        QTest::newRow("below") << 99 << Outcome::Received;
        QTest::newRow("at") << 100 << Outcome::Received;
        QTest::newRow("above") << 101 << Outcome::TooLarge;
    }
    void limit() {
        QFETCH(int, size);
        QFETCH(Outcome, outcome);
        start(100);
        QVERIFY(_pipe->writeAll(QByteArray(size, 'x')));
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(*_outcome, outcome);
        QCOMPARE(_bytes.size(), outcome == Outcome::Received ? size : 0);
    }

    void whoSaysTooMuchIsNotReadOn() {
        start(100);
        QVERIFY(_pipe->writeAll(QByteArray(101, 'x')));
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(_pipe->write("x"), 0);
        QCOMPARE(errno, EPIPE);
    }

    void nothingIsARefusal() {
        start(100);
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(*_outcome, Outcome::Refused);
    }

    void noPipeIsARefusal() {
        _pipe->reading.close();
        start(100);
        QCOMPARE(_ended, 0);
        _runLoop.advance(RunLoop::Seconds(0));
        QCOMPARE(_outcome, std::optional(Outcome::Refused));
    }

    void silenceIsWaitedForToItsEnd() {
        _transfer->start({.target = QStringLiteral("image/png"),
                          .mostBytes = 100,
                          .patience = RunLoop::Seconds(12)},
                         ended());
        _runLoop.advance(RunLoop::Seconds(11.9));
        QCOMPARE(_ended, 0);
        _runLoop.advance(RunLoop::Seconds(0.2));
        QCOMPARE(_outcome, std::optional(Outcome::TimedOut));
    }

    void eachSignOfLifeGivesMoreTime() {
        start(100);
        for (int sign = 0; sign < 3; ++sign) {
            _runLoop.advance(RunLoop::Seconds(4.9));
            QCOMPARE(_ended, 0);
            QVERIFY(_pipe->writeAll("x"));
            QVERIFY(await([&] { return _transfer->receivedBytes() == sign + 1; }));
        }
        _runLoop.advance(RunLoop::Seconds(5.1));
        QCOMPARE(_outcome, std::optional(Outcome::TimedOut));
        QCOMPARE(_bytes, "");
    }

    void abandonedNothingIsHeard() {
        start(100);
        QVERIFY(_pipe->writeAll("x"));
        _transfer->abandon();
        _runLoop.advance(RunLoop::Seconds(100));
        QCoreApplication::processEvents();
        QCOMPARE(_ended, 0);
        QCOMPARE(_pipe->write("x"), 0);
        QCOMPARE(errno, EPIPE);
    }

    void aPipeForAnEarlierRequestIsNotTaken() {
        _opensLater = true;
        start(100);
        const PipeTransfer::Opened first = _opened;
        start(100);
        Pipe late;
        QVERIFY(late.writeAll("late"));
        late.writing.close();
        first(std::move(late.reading));
        _opened(std::move(_pipe->reading));
        QVERIFY(_pipe->writeAll("right"));
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(_bytes, "right");
        QCOMPARE(_ended, 1);
    }

    void theNextMayBeginAtTheEnd() {
        Pipe next;
        _transfer->start(request(100), [&](Outcome, const QByteArray &) {
            _pipe.emplace();
            QVERIFY(_pipe->writeAll("second"));
            _pipe->writing.close();
            start(100);
        });
        _pipe->writing.close();
        QVERIFY(await([&] { return _outcome.has_value(); }));
        QCOMPARE(_bytes, "second");
    }

private:
    static TargetTransfer::Request request(qint64 mostBytes) {
        return {.target = QStringLiteral("text/html"), .mostBytes = mostBytes};
    }
    [[nodiscard]] TargetTransfer::Ended ended() {
        return [this](Outcome outcome, const QByteArray &bytes) {
            _outcome = outcome;
            _bytes = bytes;
            ++_ended;
        };
    }
    void start(qint64 mostBytes) { _transfer->start(request(mostBytes), ended()); }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<Pipe> _pipe;
    std::optional<PipeTransfer> _transfer;
    bool _opensLater = false;
    PipeTransfer::Opened _opened;
    QStringList _asked;
    QByteArray _pieces;
    std::optional<Outcome> _outcome;
    QByteArray _bytes;
    int _ended = 0;
};

QTEST_GUILESS_MAIN(PipeTransferTest)
#include "tst_pipetransfer.moc"
