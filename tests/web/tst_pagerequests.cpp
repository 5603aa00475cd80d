// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/web/WebTestCase.h"

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::clipOf;
using web_test::Page;

namespace {

// What a page may send: units of a text, bytes of a picture.
constexpr qint64 limit = 9'999'999;

QJsonObject parsed(const QByteArray &json) {
    return QJsonDocument::fromJson(json).object();
}

} // namespace

// What a page asks for, well and badly.
class PageRequestsTest final : public kit::WebTestCase {
    Q_OBJECT

    void begin() override {
        WebTestCase::begin();
        _page = paired();
        QVERIFY(_page);
        QVERIFY(!_page->hear(u"clips"_s).isEmpty());
    }
    void end() override {
        _page.reset();
        WebTestCase::end();
    }

private Q_SLOTS:
    void aKnownKeyOfAWrongKindEndsIt_data() {
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char *name, const QByteArray &json) {
            QTest::newRow(name) << json;
        };
        row("no name", R"({"transfer":1})");
        row("a name that is a number", R"({"is":1})");
        row("no transfer", R"({"is":"send","size":1,"kind":"text"})");
        row("a text as transfer", R"({"is":"send","transfer":"1","size":1,"kind":"text"})");
        row("a negative transfer", R"({"is":"send","transfer":-1,"size":1,"kind":"text"})");
        row("half a transfer", R"({"is":"send","transfer":1.5,"size":1,"kind":"text"})");
        row("an even transfer", R"({"is":"send","transfer":2,"size":1,"kind":"text"})");
        row("a transfer beyond all",
            R"({"is":"send","transfer":4294967297,"size":1,"kind":"text"})");
        row("no size", R"({"is":"send","transfer":1,"kind":"text"})");
        row("a negative size", R"({"is":"send","transfer":1,"size":-1,"kind":"text"})");
        row("a size beyond all", R"({"is":"send","transfer":1,"size":1e300,"kind":"text"})");
        row("no kind", R"({"is":"send","transfer":1,"size":1})");
        row("a number as kind", R"({"is":"send","transfer":1,"size":1,"kind":1})");
        row("a number as truth", R"({"is":"send","transfer":1,"size":1,"kind":"text","relay":1})");
        row("no clip", R"({"is":"fetch","transfer":1,"what":"text"})");
        row("nothing of it", R"({"is":"fetch","transfer":1,"clip":"a"})");
        row("no filter", R"({"is":"filter","transfer":1,"size":1})");
        row("a filter of no size", R"({"is":"filter","transfer":1,"filter":"a"})");
        row("a filter's clip", R"({"is":"filter","transfer":1,"filter":"a","clip":1})");
        row("nothing to cancel", R"({"is":"cancel"})");
        row("nothing to remove", R"({"is":"remove"})");
        row("nothing to be called", R"({"is":"rename"})");
        row("a number to be called", R"({"is":"rename","name":1})");
    }
    void aKnownKeyOfAWrongKindEndsIt() {
        QFETCH(QByteArray, message);
        _page->say(parsed(message));
        QVERIFY(_page->socket().closes());
        QCOMPARE(_web->list()[0][u"name"_s].toString(), u"Anna's phone"_s);
    }

    void theLastTransferThereIs() {
        _page->say(parsed(R"({"is":"fetch","transfer":4294967295,"clip":"a","what":"text"})"));
        QCOMPARE(_page->hear(u"refused"_s)[u"for"_s].toInteger(), 4294967295);
    }

    void whatIsUnknownIsPassedOver() {
        _page->say(parsed(R"({"is":"sing","transfer":"x"})"));
        _page->say(parsed(R"({"is":"ping","size":"x"})"));
        QVERIFY(!_page->hear(u"pong"_s).isEmpty());
    }

    void theFirstMessageSaysWhoItIs_data() {
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("a code's words")
            << QByteArray(R"({"is":"pair","name":"a","language":"en"})");
        QTest::newRow("something else") << QByteArray(R"({"is":"ping","language":"en"})");
        QTest::newRow("no language") << QByteArray(R"({"is":"resume"})");
    }
    void theFirstMessageSaysWhoItIs() {
        QFETCH(QByteArray, message);
        Page other(port(), resuming(_page));
        QVERIFY(other.shakeHands());
        other.say(parsed(message));
        QVERIFY(other.hear(u"welcome"_s).isEmpty());
        QVERIFY(other.socket().closes());
    }

    void sizesHaveALimit_data() {
        QTest::addColumn<QString>("is");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<qint64>("largest");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("a picture") << u"send"_s << u"picture"_s << limit << u"notSent"_s;
        QTest::newRow("a text") << u"send"_s << u"text"_s << 3 * limit << u"notSent"_s;
        QTest::newRow("a filter's text") << u"filter"_s << u"text"_s << 3 * limit << u"refused"_s;
    }
    void sizesHaveALimit() {
        QFETCH(QString, is);
        QFETCH(QString, kind);
        QFETCH(qint64, largest);
        QFETCH(QString, refusal);
        const auto begin = [&](int transfer, qint64 size) {
            _page->say({{u"is"_s, is},
                        {u"transfer"_s, transfer},
                        {u"size"_s, size},
                        {u"kind"_s, kind},
                        {u"filter"_s, u"a"_s}});
        };
        begin(1, largest + 1);
        const QJsonObject refused = _page->hear(refusal);
        QCOMPARE(refused[u"for"_s].toInt(), 1);
        QCOMPARE(refused[u"why"_s].toString(), u"tooLarge"_s);
        begin(3, largest);
        begin(5, largest + 1);
        // The one between is waited for.
        QCOMPARE(_page->hear(refusal)[u"for"_s].toInt(), 5);
    }

    void aTextHasAsManyUnits() {
        sendLongText(1, limit);
        QVERIFY(!_page->hear(u"waiting"_s).isEmpty());
        sendLongText(3, limit + 1);
        const QJsonObject refused = _page->hear(u"notSent"_s);
        QCOMPARE(refused[u"for"_s].toInt(), 3);
        QCOMPARE(refused[u"why"_s].toString(), u"tooLarge"_s);
    }

    void tooMuchAtOnceIsRefused() {
        for (const int transfer : {1, 3, 5, 7})
            begin(u"send"_s, transfer);
        begin(u"send"_s, 9);
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 9, u"busy"_s));
        begin(u"filter"_s, 11);
        QCOMPARE(_page->hear(u"refused"_s), answer(u"refused"_s, 11, u"busy"_s));
        // What comes of them is passed over.
        _page->sendPiece(9, "ab");
        _page->sendPiece(11, "ab");
        _page->say({{u"is"_s, u"cancel"_s}, {u"transfer"_s, 3}});
        _page->sendPiece(3, "ab");
        sendText(*_page, 13, "one more");
        QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), 13);
        _page->sendPiece(1, "ab");
        QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), 1);
    }

    void whatIsNoClipIsNotSent() {
        sendText(*_page, 1, "\xff\xfe");
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 1, u"malformed"_s));
        _page->say(parsed(R"({"is":"send","transfer":3,"size":0,"kind":"text"})"));
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 3, u"malformed"_s));
        _page->say(parsed(R"({"is":"send","transfer":5,"size":2,"kind":"sound"})"));
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 5, u"malformed"_s));
    }

    void whatIsNotThereIsNotFetched() {
        connectDesk();
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, u"text"_s}})));
        const QString id = _page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        const auto fetch = [&](int transfer, const QString &clip, const QString &what) {
            _page->say({{u"is"_s, u"fetch"_s},
                        {u"transfer"_s, transfer},
                        {u"clip"_s, clip},
                        {u"what"_s, what}});
            return _page->hear(u"refused"_s);
        };
        QCOMPARE(fetch(1, u"none"_s, u"text"_s), answer(u"refused"_s, 1, u"gone"_s));
        QCOMPARE(fetch(3, id, u"picture"_s), answer(u"refused"_s, 3, u"gone"_s));
        QCOMPARE(fetch(5, id, u"sound"_s), answer(u"refused"_s, 5, u"malformed"_s));
        _page->say({{u"is"_s, u"filter"_s},
                    {u"transfer"_s, 7},
                    {u"clip"_s, u"none"_s},
                    {u"filter"_s, u"ZRKClipmuleUppercaseFilter"_s}});
        QCOMPARE(_page->hear(u"refused"_s), answer(u"refused"_s, 7, u"gone"_s));
    }

    void asManyAnswersAsAPageReads() {
        connectDesk();
        const QString text(300'000, u'x');
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_s, text}})));
        const QString id = _page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        // They come in one turn, before anything is written.
        for (const int transfer : {1, 3, 5, 7, 9})
            _page->say({{u"is"_s, u"fetch"_s},
                        {u"transfer"_s, transfer},
                        {u"clip"_s, id},
                        {u"what"_s, u"text"_s}});
        for (const int transfer : {1, 3, 5, 7})
            QCOMPARE(_page->hear(u"data"_s)[u"for"_s].toInt(), transfer);
        QCOMPARE(_page->hear(u"refused"_s), answer(u"refused"_s, 9, u"busy"_s));
    }

    void whatWaitsHasALimit() {
        for (int number = 0; number < 50; ++number) {
            sendText(*_page, 1 + 2 * number, "a");
            QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), 1 + 2 * number);
        }
        sendText(*_page, 101, "a");
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 101, u"noDesk"_s));
    }

    void whatWaitsHasALimitOfBytes() {
        // Two bytes a unit: four are left of forty million.
        for (const int transfer : {1, 3}) {
            sendLongText(transfer, limit);
            QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), transfer);
        }
        sendText(*_page, 5, "abc");
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 5, u"noDesk"_s));
        sendText(*_page, 7, "ab");
        QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), 7);
        sendText(*_page, 9, "a");
        QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 9, u"noDesk"_s));
    }

    void whatIsForOtherPhonesIsSoLater() {
        sendText(*_page, 1, "for others", true);
        sendText(*_page, 3, "for the desk");
        QVERIFY(!_page->hear(u"waiting"_s).isEmpty());
        QVERIFY(!_page->hear(u"waiting"_s).isEmpty());
        WebTestCase::end();
        start();
        connectDesk();
        QTRY_COMPARE(_received.size(), 3);
        QVERIFY(_received[1].find(u"2"_s));
        QVERIFY(_received[2].find(u"1"_s));
    }

    void twoDesksMakeOneAnswer() {
        connectDesk();
        const auto first = std::exchange(_desk, nullptr);
        connectDesk();
        sendText(*_page, 1, "both");
        QTRY_COMPARE(_received.size(), 3);
        QVERIFY(!_page->hear(u"sent"_s).isEmpty());
        _page->say({{u"is"_s, u"ping"_s}});
        while (const auto plain = _page->next()) {
            QVERIFY(!plain->contains("sent"));
            if (plain->contains("pong"))
                break;
        }
    }

    void whatADeskDidNotTakeWaits_data() {
        QTest::addColumn<bool>("isKept");
        QTest::newRow("kept") << true;
        QTest::newRow("where nothing is kept") << false;
    }
    void whatADeskDidNotTakeWaits() {
        QFETCH(bool, isKept);
        const auto secrets = resuming(_page);
        WebTestCase::end();
        start(isKept);
        _page = resumed(secrets);
        QVERIFY(_page);
        QTcpSocket desk;
        desk.setReadBufferSize(1);
        QTRY_COMPARE(_backend.published().size(), 1);
        desk.connectToHost(QHostAddress::LocalHost, _backend.published().constFirst().port);
        while (_page->hear(u"state"_s)[u"desk"_s].toString() != u"connected"_s)
            QVERIFY(!_page->socket().isClosed());
        // More than the sockets between them hold.
        sendLongText(1, 2 * limit, "ü");
        _page->say({{u"is"_s, u"ping"_s}});
        QVERIFY(!_page->hear(u"pong"_s).isEmpty());
        desk.abort();
        if (!isKept) {
            QCOMPARE(_page->hear(u"notSent"_s), answer(u"notSent"_s, 1, u"noDesk"_s));
            return;
        }
        QCOMPARE(_page->hear(u"waiting"_s)[u"for"_s].toInt(), 1);
        connectDesk();
        QCOMPARE(_page->hear(u"sent"_s)[u"for"_s].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        QCOMPARE(lastItems(u"1"_s)[0].find(u"string"_s)->string().size(), limit);
    }

private:
    static QJsonObject answer(const QString &is, int transfer, const QString &why) {
        return {{u"is"_s, is}, {u"for"_s, transfer}, {u"why"_s, why}};
    }

    // A transfer of two bytes, of which none comes yet.
    void begin(const QString &is, int transfer) {
        _page->say({{u"is"_s, is},
                    {u"transfer"_s, transfer},
                    {u"size"_s, 2},
                    {u"kind"_s, u"text"_s},
                    {u"filter"_s, u"ZRKClipmuleUppercaseFilter"_s}});
    }

    void sendLongText(int transfer, qsizetype bytes, const QByteArray &character = "x") {
        const QByteArray text = character.repeated(bytes / character.size());
        _page->say({{u"is"_s, u"send"_s},
                    {u"transfer"_s, transfer},
                    {u"size"_s, text.size()},
                    {u"kind"_s, u"text"_s}});
        for (qsizetype at = 0; at < text.size(); at += 65'000)
            _page->sendPiece(quint32(transfer), text.mid(at, 65'000));
    }

    std::unique_ptr<Page> _page;
};

QTEST_GUILESS_MAIN(PageRequestsTest)
#include "tst_pagerequests.moc"
