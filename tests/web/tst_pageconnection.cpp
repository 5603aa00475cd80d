// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/web/PageClient.h"
#include "web/PageConnection.h"

#include <QJsonDocument>
#include <QTest>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::PageClient;

namespace {

// A message whose JSON takes so many bytes.
QByteArray jsonOf(qsizetype size) {
    const QByteArray beginning = QByteArray(1, '\0') + "{\"a\":\"";
    return beginning + QByteArray(size + 1 - beginning.size() - 2, 'x') + "\"}";
}

} // namespace

// Messages and transfers through the sealed channel, with a clock that the test owns.
class PageConnectionTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _messages.clear();
        _transfers.clear();
        _secrets = {.kind = 'R', .id = QByteArray(16, 'i'), .key = QByteArray(32, 'k')};
        _page = std::make_unique<PageClient>(_secrets);
        _connection = std::make_unique<PageConnection>(
            [this](PageChannel::Kind, QByteArrayView id) -> std::optional<SecretKey> {
                return id == _secrets.id ? std::optional(SecretKey(_secrets.key)) : std::nullopt;
            });
        _connection->onMessage = [this](const QJsonObject &message) { _messages += message; };
        _connection->onTransfer = [this](quint32 number, const QByteArray &bytes) {
            _transfers[number] = bytes;
        };
        _connection->receive(_page->hello());
        QVERIFY(_page->takeAnswer(_connection->next().value_or(QByteArray())));
    }
    void end() override { _connection.reset(); }

private Q_SLOTS:
    void waitsForTheProofAndNoLonger() {
        _runLoop.advance(PageConnection::proofTime - RunLoop::Seconds(0.1));
        QVERIFY(!_connection->isOver());
        _runLoop.advance(0.2);
        QVERIFY(_connection->isOver());
        say({{u"is"_s, u"ping"_s}});
        QVERIFY(_messages.isEmpty());
    }

    void aProvedPageMayTakeItsTime() {
        say({{u"is"_s, u"ping"_s}});
        QCOMPARE(_messages.size(), 1);
        _runLoop.advance(100 * PageConnection::proofTime);
        QVERIFY(!_connection->isOver());
    }

    void saysNothingBeforeTheProof() {
        _connection->send({{u"is"_s, u"clip"_s}});
        QVERIFY(!_connection->hasNext());
        QVERIFY(!_connection->next());
        say({{u"is"_s, u"ping"_s}});
        QCOMPARE(heard()[u"is"_s].toString(), u"clip"_s);
    }

    void anythingButAnObjectEndsIt_data() {
        QTest::addColumn<QByteArray>("plain");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("another kind") << QByteArray("\2{}");
        QTest::newRow("a list") << QByteArray("\0[]", 3);
        QTest::newRow("no JSON") << QByteArray("\0{", 2);
        QTest::newRow("more JSON than allowed") << jsonOf(65'001);
        QTest::newRow("a piece without bytes") << QByteArray("\1\0\0\0\1", 5);
        QTest::newRow("a piece without a number") << QByteArray("\1\0\0", 3);
        QTest::newRow("a piece that is too large")
            << QByteArray("\1\0\0\0\1", 5) + QByteArray(65'001, 'x');
        QTest::newRow("a piece of nothing") << QByteArray("\1\0\0\0\7x", 6);
        QTest::newRow("a piece of ours") << QByteArray("\1\0\0\0\2x", 6);
    }
    void anythingButAnObjectEndsIt() {
        QFETCH(QByteArray, plain);
        prove();
        QVERIFY(_connection->begin(5) && _connection->expect(5, 70'000));
        _connection->receive(_page->seal(plain));
        QVERIFY(_connection->isOver());
        QVERIFY(_messages.isEmpty());
    }

    void theLargestMessagesAreTaken() {
        prove();
        _connection->receive(_page->seal(jsonOf(65'000)));
        QCOMPARE(_messages.size(), 1);
        QVERIFY(_connection->begin(1) && _connection->expect(1, 65'000));
        piece(1, QByteArray(65'000, 'x'));
        QCOMPARE(_transfers[1], QByteArray(65'000, 'x'));
    }

    void aTransferEndsWithItsSize() {
        prove();
        QVERIFY(_connection->begin(1) && _connection->expect(1, 5));
        piece(1, "abc");
        QVERIFY(_transfers.isEmpty());
        piece(1, "de");
        QCOMPARE(_transfers[1], QByteArray("abcde"));
        // What comes afterwards is nobody's.
        piece(1, "f");
        QVERIFY(!_connection->isOver());
        QCOMPARE(_transfers.size(), 1);
    }

    void aByteTooManyEndsIt() {
        prove();
        QVERIFY(_connection->begin(1) && _connection->expect(1, 5));
        piece(1, "abcdef");
        QVERIFY(_connection->isOver());
        QVERIFY(_transfers.isEmpty());
    }

    void anEmptyTransferIsThereAtOnce() {
        prove();
        QVERIFY(_connection->begin(1) && _connection->expect(1, 0));
        QVERIFY(_transfers.contains(1));
    }

    void numbersAreOddAndGrow() {
        for (const quint32 bad : {quint32(0), quint32(2), quint32(3), quint32(5)}) {
            begin();
            prove();
            QVERIFY(_connection->begin(5));
            QCOMPARE(_connection->begin(bad), false);
            QVERIFY(_connection->isOver());
        }
        begin();
        prove();
        QVERIFY(_connection->begin(5) && _connection->begin(7) && _connection->begin(0xffffffff));
    }

    void fourTransfersAtOnce() {
        prove();
        for (const quint32 number : {1, 3, 5, 7})
            QVERIFY(_connection->begin(number) && _connection->expect(number, 10));
        QVERIFY(_connection->begin(9));
        QVERIFY(!_connection->expect(9, 10));
        _connection->cancel(3);
        piece(3, "0123456789");
        QVERIFY(_transfers.isEmpty() && !_connection->isOver());
        QVERIFY(_connection->begin(11) && _connection->expect(11, 10));
    }

    void transfersTogetherHaveALimit() {
        prove();
        QVERIFY(_connection->begin(1) && _connection->expect(1, PageConnection::mostExpected - 10));
        QVERIFY(_connection->begin(3) && !_connection->expect(3, 11));
        QVERIFY(_connection->begin(5) && _connection->expect(5, 10));
    }

    void answersComeInPiecesBehindMessages() {
        prove();
        const QByteArray large(150'000, 'a');
        _connection->sendData(1, large);
        _connection->sendData(3, "small");
        QCOMPARE(heard()[u"transfer"_s].toInt(), 2);
        QCOMPARE(heard()[u"transfer"_s].toInt(), 4);
        QByteArray first = pieceHeard();
        QCOMPARE(first.first(5), QByteArray("\1\0\0\0\2", 5));
        QCOMPARE(first.size(), 5 + PageConnection::largestPiece);
        // Each in its turn, and what is said in between does not wait.
        QCOMPARE(pieceHeard(), QByteArray("\1\0\0\0\4small", 10));
        _connection->send({{u"is"_s, u"pong"_s}});
        QCOMPARE(heard()[u"is"_s].toString(), u"pong"_s);
        QCOMPARE(pieceHeard().size(), 5 + PageConnection::largestPiece);
        QCOMPARE(pieceHeard().size(), 5 + 20'000);
        QVERIFY(!_connection->hasNext());
    }

    void answersAtOnceHaveALimit() {
        prove();
        for (int number = 0; number < 4; ++number) {
            QVERIFY(_connection->canSendData());
            _connection->sendData(1, "x");
        }
        QVERIFY(!_connection->canSendData());
        _connection->cancel(2);
        QVERIFY(_connection->canSendData());
    }

    void aPageThatDoesNotReadIsLetGo() {
        prove();
        const QJsonObject message{{u"text"_s, QString(60'000, u'x')}};
        int sent = 0;
        for (; sent < 1000 && !_connection->isOver(); ++sent)
            _connection->send(message);
        QCOMPARE(sent, 70); // 4 MiB of 60,012 bytes each
        QVERIFY(!_connection->hasNext());
    }

    void whatWasSaidBeforeTheEndIsHeard() {
        prove();
        _connection->send({{u"is"_s, u"revoked"_s}});
        _connection->end();
        QVERIFY(_connection->isOver());
        _connection->send({{u"is"_s, u"late"_s}});
        QCOMPARE(heard()[u"is"_s].toString(), u"revoked"_s);
        QVERIFY(!_connection->hasNext());
        say({{u"is"_s, u"ping"_s}});
        QVERIFY(_messages.isEmpty());
    }

    void tellsWhenThereIsSomethingToWrite() {
        int told = 0;
        _connection->onWrite = [&told] { ++told; };
        prove();
        QCOMPARE(told, 0);
        _connection->send({});
        QCOMPARE(told, 1);
        _connection->receive("nonsense");
        QCOMPARE(told, 2);
    }

private:
    void say(const QJsonObject &message) {
        _connection->receive(
            _page->seal('\0' + QJsonDocument(message).toJson(QJsonDocument::Compact)));
    }
    void prove() {
        say({});
        _messages.clear();
    }
    void piece(char number, const QByteArray &bytes) {
        _connection->receive(_page->seal(QByteArray("\1\0\0\0", 4) + number + bytes));
    }
    QByteArray pieceHeard() {
        const auto sealed = _connection->next();
        return sealed ? _page->open(*sealed).value_or(QByteArray()) : QByteArray();
    }
    QJsonObject heard() {
        const QByteArray plain = pieceHeard();
        return plain.startsWith('\0') ? QJsonDocument::fromJson(plain.sliced(1)).object()
                                      : QJsonObject();
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    PageClient::Secrets _secrets;
    std::unique_ptr<PageClient> _page;
    std::unique_ptr<PageConnection> _connection;
    QList<QJsonObject> _messages;
    QMap<quint32, QByteArray> _transfers;
};

QTEST_GUILESS_MAIN(PageConnectionTest)
#include "tst_pageconnection.moc"
