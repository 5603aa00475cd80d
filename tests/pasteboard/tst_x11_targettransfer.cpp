// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/backends/x11/X11TargetTransfer.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

using namespace clipmule;
using clipmule::kit::await;
using clipmule::kit::X11TestOwner;
using Outcome = X11TargetTransfer::Outcome;

namespace {

constexpr qint64 anySize = 1'000'000;

} // namespace

// One target of another application, asked for and taken.
class X11TargetTransferTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _connection = X11Connection::open();
        QVERIFY(_connection);
        _transfer = std::make_unique<X11TargetTransfer>(_connection);
        _outcomes.clear();
    }

    void end() override {
        _transfer.reset();
        _connection.reset();
    }

private Q_SLOTS:
    void answers_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("pieceBytes");
        QTest::newRow("nothing") << 0 << 0;
        QTest::newRow("a part of a unit") << 3 << 0;
        QTest::newRow("more than one request takes") << int(X11TargetTransfer::chunkBytes) + 5 << 0;
        QTest::newRow("as much as one request takes") << int(X11TargetTransfer::chunkBytes) << 0;
        QTest::newRow("no pieces") << 0 << 10;
        QTest::newRow("pieces") << 35 << 10;
        QTest::newRow("pieces that all have the same size") << 30 << 10;
        QTest::newRow("large pieces") << 700'000 << int(X11TargetTransfer::chunkBytes) + 4;
    }
    void answers() {
        QFETCH(int, size);
        QFETCH(int, pieceBytes);
        QByteArray data;
        for (int index = 0; index < size; ++index)
            data.append(char(index * 7));
        X11TestOwner owner;
        owner.own({{.target = "x", .data = data, .pieceBytes = pieceBytes}});
        ask("x");
        QVERIFY(ends());
        QCOMPARE(_outcomes, QList{Outcome::Received});
        QCOMPARE(_bytes, data);
        QVERIFY(!_bytes.isNull());
        QCOMPARE(_transfer->receivedBytes(), size);
        QVERIFY(await([&] { return !owner.isTransferring(); }));
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    // Nothing is kept of what somebody takes on the way.
    void piecesAreHandedOn() {
        const QByteArray data(X11TargetTransfer::chunkBytes + 100, 'x');
        X11TestOwner owner;
        owner.own({{.target = "x", .data = data, .type = "STRING"}});
        QByteArray taken;
        QStringList types;
        _transfer->start(
            {.target = QStringLiteral("x"), .mostBytes = anySize},
            [this](Outcome outcome, const QByteArray &bytes) { ended(outcome, bytes); },
            [&](QByteArrayView bytes, const QString &type) {
                taken += bytes;
                types += type;
            });
        QVERIFY(ends());
        QCOMPARE(taken, data);
        QCOMPARE(types, QStringList(2, QStringLiteral("STRING")));
        QVERIFY(_bytes.isEmpty() && !_bytes.isNull());
        QCOMPARE(_transfer->receivedBytes(), data.size());
    }

    void sizesAreLimited_data() {
        QTest::addColumn<int>("pieceBytes");
        QTest::addColumn<int>("announced");
        QTest::newRow("at once") << 0 << -1;
        QTest::newRow("announced") << 100 << -1;
        QTest::newRow("sent, though less was announced") << 100 << 1;
    }
    void sizesAreLimited() {
        QFETCH(int, pieceBytes);
        QFETCH(int, announced);
        X11TestOwner owner;
        for (const auto &[size, outcome] :
             {std::pair(999, Outcome::Received), std::pair(1000, Outcome::Received),
              std::pair(1001, Outcome::TooLarge)}) {
            _outcomes.clear();
            owner.own({{.target = "x",
                        .data = QByteArray(size, 'x'),
                        .pieceBytes = pieceBytes,
                        .announced = announced}});
            ask("x", 1000);
            QVERIFY(ends());
            QCOMPARE(_outcomes, QList{outcome});
        }
        // What is announced is not even begun.
        QCOMPARE(_transfer->receivedBytes(), announced == 1 ? 1000 : 0);
        // The owner is not left waiting.
        QVERIFY(await([&] { return !owner.isTransferring(); }));
    }

    void refusal() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = "x", .isRefused = true}});
        ask("x");
        QVERIFY(ends());
        QCOMPARE(_outcomes, QList{Outcome::Refused});
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void patienceEnds_data() {
        QTest::addColumn<double>("patience");
        QTest::newRow("usual") << TargetTransfer::stepLimit.count();
        QTest::newRow("more") << 12.0;
    }
    void patienceEnds() {
        QFETCH(double, patience);
        X11TestOwner owner;
        owner.own({{.target = "x", .data = "late", .isMute = true}});
        _transfer->start(
            {.target = QStringLiteral("x"),
             .mostBytes = anySize,
             .patience = RunLoop::Seconds(patience)},
            [this](Outcome outcome, const QByteArray &bytes) { ended(outcome, bytes); });
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        _runLoop.advance(patience - 0.001);
        QVERIFY(_outcomes.isEmpty());
        _runLoop.advance(0.001);
        QCOMPARE(_outcomes, QList{Outcome::TimedOut});
    }

    // Each sign of life gives the owner time again, however long the first one took.
    void patienceBeginsAnewWithEachPiece() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = QByteArray(30, 'x'), .pieceBytes = 10, .pieces = 2}});
        _transfer->start(
            {.target = QStringLiteral("x"), .mostBytes = anySize, .patience = RunLoop::Seconds(60)},
            [this](Outcome outcome, const QByteArray &bytes) { ended(outcome, bytes); });
        QVERIFY(await([&] { return _transfer->receivedBytes() == 20; }));
        _runLoop.advance(TargetTransfer::stepLimit - RunLoop::Seconds(0.001));
        QVERIFY(_outcomes.isEmpty());
        _runLoop.advance(0.001);
        QCOMPARE(_outcomes, QList{Outcome::TimedOut});
    }

    void lateAnswerIsNotTakenForTheNext() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = "late", .isMute = true}, {"y", "next"}});
        ask("x");
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        ask("y");
        owner.answerLate();
        QVERIFY(ends());
        QCOMPARE(_bytes, QByteArray("next"));
        QCOMPARE(_outcomes, QList{Outcome::Received});
    }

    void lateAnswerForTheSameTargetIsNotTaken() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = {}, .isMute = true}});
        ask("x");
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        ask("x");
        owner.own({{"x", "late"}});
        owner.answerLate();
        owner.own({{.target = "x", .data = {}, .isMute = true}});
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        QVERIFY(_outcomes.isEmpty());
        owner.own({{"x", "data"}});
        owner.answerLate();
        QVERIFY(ends());
        QCOMPARE(_outcomes, QList{Outcome::Received});
        QCOMPARE(_bytes, QByteArray("data"));
    }

    // The answer was there, and the server had been asked for it.
    void whatIsUnderWayWhenItIsAbandonedIsNotTaken() {
        // Sees each event after the transfer.
        struct Abandoning final : X11Observer {
            explicit Abandoning(std::function<void()> call)
                : abandon(std::move(call)) {}
            void x11Event(const xcb_generic_event_t &event) override {
                if ((event.response_type & 0x7f) == XCB_SELECTION_NOTIFY && abandon)
                    std::exchange(abandon, nullptr)();
            }
            std::function<void()> abandon;
        };
        X11TestOwner owner;
        owner.own({{"x", "first"}, {"y", "next"}});
        Abandoning abandoning([this] { ask("y"); });
        _connection->addObserver(&abandoning);
        ask("x");
        QVERIFY(ends());
        _connection->removeObserver(&abandoning);
        QVERIFY(!abandoning.abandon);
        QCOMPARE(_outcomes, QList{Outcome::Received});
        QCOMPARE(_bytes, QByteArray("next"));
    }

    // So many questions later the property of one that was given up serves again.
    void propertiesComeRoundAgain() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = QByteArray(30, 'x'), .pieceBytes = 10, .pieces = 1},
                   {"y", "next"}});
        ask("x");
        QVERIFY(await([&] { return _transfer->receivedBytes() == 10; }));
        for (int question = 0; question < 130; ++question) {
            _outcomes.clear();
            ask("y");
            QVERIFY(ends());
            QCOMPARE(_outcomes, QList{Outcome::Received});
            QCOMPARE(_bytes, QByteArray("next"));
        }
    }

    // The refusal of an earlier question for the same target, which carries that one's time.
    void lateRefusalIsNotTakenForTheNext() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = {}, .isMute = true}});
        _transfer->list(1, {});
        ask("x");
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        _transfer->list(2, {});
        ask("x");
        owner.own({{.target = "x", .data = {}, .isRefused = true}});
        owner.answerLate();
        owner.own({{"x", "data"}});
        QVERIFY(ends());
        QCOMPARE(_outcomes, QList{Outcome::Received});
        QCOMPARE(_bytes, QByteArray("data"));
    }

    void abandonedIsNotHeardOfAndComesToItsEnd() {
        X11TestOwner owner;
        owner.own({{.target = "x", .data = QByteArray(1000, 'x'), .pieceBytes = 10}});
        ask("x");
        QVERIFY(await([&] { return owner.piecesSent() >= 2; }));
        _transfer->abandon();
        QCOMPARE(_runLoop.pendingCount(), 0);
        QVERIFY(await([&] { return !owner.isTransferring(); }));
        QCOMPARE(owner.piecesSent(), 101);
        QVERIFY(_outcomes.isEmpty());
    }

    // It may be asked for the next from inside its answer.
    void theNextMayBeginAtTheEnd() {
        X11TestOwner owner;
        owner.own({{"x", "1"}, {"y", "2"}});
        QList<QByteArray> answers;
        _transfer->start({.target = QStringLiteral("x"), .mostBytes = anySize},
                         [&](Outcome, const QByteArray &first) {
                             answers += first;
                             _transfer->start(
                                 {.target = QStringLiteral("y"), .mostBytes = anySize},
                                 [&](Outcome, const QByteArray &second) { answers += second; });
                         });
        QVERIFY(await([&] { return answers.size() == 2; }));
        QCOMPARE(answers, (QList<QByteArray>{"1", "2"}));
    }

private:
    void ended(Outcome outcome, const QByteArray &bytes) {
        _outcomes += outcome;
        _bytes = bytes;
    }
    void ask(const char *target, qint64 mostBytes = anySize) {
        _transfer->start(
            {.target = QString::fromLatin1(target), .mostBytes = mostBytes},
            [this](Outcome outcome, const QByteArray &bytes) { ended(outcome, bytes); });
    }
    bool ends() {
        return await([this] { return !_outcomes.isEmpty(); });
    }
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<X11Connection> _connection;
    std::unique_ptr<X11TargetTransfer> _transfer;
    QList<Outcome> _outcomes;
    QByteArray _bytes;
};

QTEST_GUILESS_MAIN(X11TargetTransferTest)
#include "tst_x11_targettransfer.moc"
