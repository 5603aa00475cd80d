// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/web/WebTestCase.h"

#include <list>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::Page;
using web_test::PageClient;
using web_test::PageSocket;

// What somebody gets on the network who has not read the code, or has and is no page of ours.
class PageAttacksTest final : public kit::WebTestCase {
    Q_OBJECT

private Q_SLOTS:
    void servesThePageWithItsHeaders() {
        const auto answer = PageSocket(port()).get("/");
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, QByteArray("<title>Page</title>"));
        QCOMPARE(answer.headers["content-type"], QByteArray("text/html; charset=utf-8"));
        QCOMPARE(answer.headers["content-security-policy"],
                 QByteArray("default-src 'none'; script-src 'self'; style-src 'self'; "
                            "img-src 'self' blob: data:; connect-src 'self' blob: data:; "
                            "worker-src 'self'; manifest-src 'self'; base-uri 'none'; "
                            "form-action 'none'; frame-ancestors 'none'; "
                            "require-trusted-types-for 'script'; "
                            "trusted-types clipmule-page"));
        QCOMPARE(answer.headers["permissions-policy"],
                 QByteArray("camera=(), display-capture=(), geolocation=(), microphone=()"));
        QCOMPARE(answer.headers["x-content-type-options"], QByteArray("nosniff"));
        QCOMPARE(answer.headers["referrer-policy"], QByteArray("no-referrer"));
        QVERIFY(!answer.headers.contains("cross-origin-opener-policy"));
        QCOMPARE(answer.headers["cross-origin-resource-policy"], QByteArray("same-origin"));
        QCOMPARE(answer.headers["cache-control"], QByteArray("no-cache"));
        QVERIFY(!answer.headers.contains("set-cookie"));
        QVERIFY(!answer.headers.contains("access-control-allow-origin"));
    }

    void servesWhatIsKnownNoSecondTime() {
        PageSocket socket(port());
        const auto zipped = socket.get("/", "Accept-Encoding: br, gzip\r\n");
        QCOMPARE(zipped.body, QByteArray("zipped page"));
        QCOMPARE(zipped.headers["content-encoding"], QByteArray("gzip"));
        QCOMPARE(zipped.headers["vary"], QByteArray("accept-encoding"));
        const QByteArray tag = zipped.headers["etag"];
        const auto known =
            PageSocket(port()).get("/", "Accept-Encoding: gzip\r\nIf-None-Match: " + tag + "\r\n");
        QCOMPARE(known.status, 304);
        QCOMPARE(known.body, QByteArray());
        // The same name, and other bytes.
        const auto plain = PageSocket(port()).get("/", "If-None-Match: " + tag + "\r\n");
        QCOMPARE(plain.status, 200);
        QVERIFY(plain.headers["etag"] != tag);
        const auto script = PageSocket(port()).get("/sub/main.js", "Accept-Encoding: gzip\r\n");
        QCOMPARE(script.body, QByteArray("run()"));
        QCOMPARE(script.headers["content-type"], QByteArray("text/javascript; charset=utf-8"));
        QVERIFY(!script.headers.contains("content-encoding"));
    }

    void oneConnectionServesMuch() {
        PageSocket socket(port());
        const QByteArray tag = socket.get("/").headers["etag"];
        QCOMPARE(socket.get("/", "If-None-Match: " + tag + "\r\n").status, 304);
        const QByteArray host = "Host: " + socket.host() + "\r\n\r\n";
        QCOMPARE(socket.ask("HEAD /sub/main.js HTTP/1.1\r\n" + host).status, 200);
        QCOMPARE(socket.get("/other").status, 404);
        QCOMPARE(socket.get("/sub/main.js").body, QByteArray("run()"));
        QCOMPARE(_web->server().connections(), 1);
    }

    void anythingElseIsEmpty_data() {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        const auto row = [](const char *name, const QByteArray &line, int status) {
            QTest::newRow(name) << line << status;
        };
        row("another name", "GET /other HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("no kind of a page", "GET /notes.txt HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("the compressed file itself", "GET /index.html.gz HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("a way out", "GET /../data/browsers.json HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("an encoded way out",
            "GET /%2e%2e%2fdata%2fbrowsers.json HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("the socket without an upgrade", "GET /socket HTTP/1.1\r\nHost: HOST\r\n\r\n", 404);
        row("another host", "GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n", 421);
        row("another port", "GET / HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n", 421);
        row("the end of our host", "GET / HTTP/1.1\r\nHost: 1HOST\r\n\r\n", 421);
        row("no host", "GET / HTTP/1.1\r\n\r\n", 421);
        row("an empty host", "GET / HTTP/1.1\r\nHost: \r\n\r\n", 421);
        row("a body", "POST / HTTP/1.1\r\nHost: HOST\r\nContent-Length: 3\r\n\r\nabc", 405);
        row("OPTIONS", "OPTIONS / HTTP/1.1\r\nHost: HOST\r\n\r\n", 405);
    }
    void anythingElseIsEmpty() {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        PageSocket socket(port());
        const auto answer = socket.ask(request.replace("HOST", socket.host()));
        QCOMPARE(answer.status, status);
        QCOMPARE(answer.body, QByteArray());
        QCOMPARE(answer.headers["x-content-type-options"], QByteArray("nosniff"));
    }

    void aHeadHasNoBody() {
        PageSocket socket(port());
        const auto answer = socket.ask("HEAD / HTTP/1.1\r\nHost: " + socket.host() + "\r\n\r\n");
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, QByteArray());
        QVERIFY(!answer.headers["etag"].isEmpty());
    }

    void onlyOurPageGetsAConnection_data() {
        QTest::addColumn<QByteArray>("origin");
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("protocol");
        const QByteArray ours = "http://HOST";
        const QByteArray protocol = "clipmule-page-1";
        QTest::newRow("another origin") << QByteArray("http://evil.example") << QByteArray("HOST")
                                        << QByteArray("/socket") << protocol;
        QTest::newRow("no origin of its own")
            << QByteArray("null") << QByteArray("HOST") << QByteArray("/socket") << protocol;
        QTest::newRow("another scheme") << QByteArray("https://HOST") << QByteArray("HOST")
                                        << QByteArray("/socket") << protocol;
        QTest::newRow("a name that was bound again")
            << QByteArray("http://evil.example") << QByteArray("evil.example")
            << QByteArray("/socket") << protocol;
        QTest::newRow("another host")
            << ours << QByteArray("evil.example") << QByteArray("/socket") << protocol;
        QTest::newRow("another path") << ours << QByteArray("HOST") << QByteArray("/") << protocol;
        QTest::newRow("another protocol")
            << ours << QByteArray("HOST") << QByteArray("/socket") << QByteArray("chat");
        QTest::newRow("the files' protocol")
            << ours << QByteArray("HOST") << QByteArray("/socket") << QByteArray("files");
    }
    void onlyOurPageGetsAConnection() {
        QFETCH(QByteArray, origin);
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, protocol);
        PageSocket socket(port());
        const QByteArray own = socket.host();
        const auto answer = socket.ask(socket.upgradeRequest(
            origin.replace("HOST", own), host.replace("HOST", own), path, protocol));
        QVERIFY(answer.status != 101);
        QVERIFY(socket.closes());
    }

    void nonsenseEndsAConnection_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("not HTTP") << QByteArray("\x16\x03\x01\x02nonsense\r\n\r\n");
        QTest::newRow("a long head")
            << "GET / HTTP/1.1\r\nHost: HOST\r\nX: " + QByteArray(100'000, 'x');
        QTest::newRow("a long line") << "GET /" + QByteArray(100'000, 'x');
        QTest::newRow("many headers")
            << "GET / HTTP/1.1\r\n" + QByteArray("A: b\r\n").repeated(10'000);
    }
    void nonsenseEndsAConnection() {
        QFETCH(QByteArray, bytes);
        PageSocket socket(port());
        const auto answer = socket.ask(bytes);
        QVERIFY(answer.status != 200);
        QVERIFY(socket.closes());
        QCOMPARE(PageSocket(port()).get("/").status, 200);
    }

    void aPageThatDoesNotKeepToTheProtocolIsLetGo_data() {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<int>("kind");
        const PageClient page(PageClient::withCode(QByteArray(32, 'x')));
        QTest::newRow("empty") << QByteArray() << 2;
        QTest::newRow("more than a hello may be") << QByteArray(257, '\1') << 2;
        QTest::newRow("huge") << QByteArray(200'000, '\1') << 2;
        QTest::newRow("a hello with an unknown code") << page.hello() << 2;
    }
    void aPageThatDoesNotKeepToTheProtocolIsLetGo() {
        QFETCH(QByteArray, frame);
        QFETCH(int, kind);
        PageSocket socket(port());
        QVERIFY(socket.upgrade());
        socket.sendFrame(frame, char(kind));
        QVERIFY(socket.closes());
    }

    void aHelloThatIsTextHasNoAnswer() {
        const auto page = paired();
        Page text(port(), resuming(page));
        QVERIFY(text.socket().upgrade());
        text.socket().sendFrame(text.client().hello(), 1);
        QVERIFY(!text.socket().receive());
        QVERIFY(text.socket().closes());
    }

    void aMessageInPartsIsOne() {
        const auto page = paired();
        Page parts(port(), resuming(page));
        QVERIFY(parts.socket().upgrade());
        const QByteArray hello = parts.client().hello();
        parts.socket().sendFrame(hello.first(40), 2, false);
        parts.socket().sendFrame(hello.sliced(40), 0, true);
        const auto answer = parts.socket().receive();
        QVERIFY(answer && parts.client().takeAnswer(*answer));
    }

    void anAlteredMessageEndsTheConnectionAndNothingElse() {
        const auto page = paired();
        Page altered(port(), resuming(page));
        QVERIFY(altered.shakeHands());
        QByteArray message =
            altered.client().seal(QByteArray(1, '\0') + R"({"is":"resume","language":"en"})");
        message[20] = char(message[20] ^ 1);
        altered.socket().sendFrame(message);
        QVERIFY(altered.socket().closes());
        // Replayed, from a connection that was listened to.
        Page victim(port(), resuming(page));
        QVERIFY(victim.shakeHands());
        const QByteArray first =
            victim.client().seal(QByteArray(1, '\0') + R"({"is":"resume","language":"en"})");
        victim.socket().sendFrame(first);
        QVERIFY(!victim.hear(u"welcome"_s).isEmpty());
        PageSocket replay(port());
        QVERIFY(replay.upgrade());
        replay.sendFrame(victim.client().hello());
        QVERIFY(replay.receive());
        replay.sendFrame(first);
        QVERIFY(replay.closes());
        victim.socket().sendFrame(first);
        QVERIFY(victim.socket().closes());
        page->say({{u"is"_s, u"ping"_s}});
        QVERIFY(!page->hear(u"pong"_s).isEmpty());
    }

    void aThousandConnectionsLeaveAPageItsOwn() {
        const auto page = paired();
        std::list<PageSocket> crowd;
        for (int number = 0; number < 1000; ++number) {
            crowd.emplace_back(port());
            if (number % 50 == 0)
                QCoreApplication::processEvents();
        }
        page->say({{u"is"_s, u"ping"_s}});
        QVERIFY(!page->hear(u"pong"_s).isEmpty());
        const auto left = [&] {
            return std::count_if(crowd.begin(), crowd.end(),
                                 [](const PageSocket &one) { return !one.isClosed(); });
        };
        QTRY_COMPARE(left(), PageServer::mostUnprovedOfOnePeer);
        QCOMPARE(_web->server().connections(), qsizetype(PageServer::mostUnprovedOfOnePeer + 1));
        // There is room again when they go.
        crowd.clear();
        QTRY_COMPARE(_web->server().connections(), qsizetype(1));
        QCOMPARE(PageSocket(port()).get("/").status, 200);
    }

    void twoPhonesOfOneAddressFitWithTheirPages() {
        const auto first = paired();
        const auto second = paired(u"Ben's phone"_s);
        std::list<std::unique_ptr<Page>> pages;
        for (int number = 0; number < 3; ++number) {
            pages.push_back(resumed(resuming(first)));
            pages.push_back(resumed(resuming(second)));
            QVERIFY(pages.front() && pages.back());
        }
        // Both fetch the page once more.
        std::list<PageSocket> files;
        for (int number = 0; number < 12; ++number)
            QCOMPARE(files.emplace_back(port()).get("/").status, 200);
        QCOMPARE(_web->server().connections(), 20);
        QVERIFY(PageSocket(port()).closes());
    }

    void pagesOfOneAddressLeaveRoomForOthers() {
        const auto page = paired();
        std::list<std::unique_ptr<Page>> pages;
        for (int number = 1; number < PageServer::mostOfOnePeer; ++number)
            QVERIFY(pages.emplace_back(resumed(resuming(page))));
        QVERIFY(!resumed(resuming(page)));
        pages.pop_back();
        QTRY_COMPARE(_web->server().connections(), PageServer::mostOfOnePeer - 1);
        QVERIFY(resumed(resuming(page)));
    }

    void otherDevicesHaveRoomBesideOneThatTakesAll() {
        std::list<PageSocket> crowd;
        for (int number = 0; number < 40; ++number)
            crowd.emplace_back(port());
        QTRY_COMPARE(_web->server().connections(), qsizetype(PageServer::mostUnprovedOfOnePeer));
        // The whole of 127.0.0.0/8 is this computer.
        QTcpSocket other;
        QVERIFY(other.bind(QHostAddress(u"127.0.0.7"_s)));
        other.connectToHost(QHostAddress::LocalHost, port());
        QTRY_COMPARE(other.state(), QAbstractSocket::ConnectedState);
        other.write("GET / HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port()) + "\r\n\r\n");
        QTRY_VERIFY(other.bytesAvailable() > 0);
        QVERIFY(other.readAll().startsWith("HTTP/1.1 200"));
    }

    void allDevicesTogetherHaveALimit() {
        std::list<QTcpSocket> crowd;
        for (int number = 0; number < 40; ++number) {
            QTcpSocket &socket = crowd.emplace_back();
            QVERIFY(socket.bind(QHostAddress(u"127.0.0.%1"_s.arg(2 + number))));
            socket.connectToHost(QHostAddress::LocalHost, port());
        }
        const auto left = [&] {
            return std::count_if(crowd.begin(), crowd.end(), [](const QTcpSocket &one) {
                return one.state() == QAbstractSocket::ConnectedState;
            });
        };
        QTRY_COMPARE(_web->server().connections(), qsizetype(PageServer::mostConnections));
        QTRY_COMPARE(left(), PageServer::mostConnections);
    }

    void slownessHasAnEnd() {
        PageSocket silent(port());
        PageSocket half(port());
        half.write("GET / HTTP/1.1\r\nHos");
        PageSocket upgraded(port());
        QVERIFY(upgraded.upgrade());
        // Neither of the library's nor of our own patience is asked more than it has.
        constexpr int longest = 20'000;
        QTRY_VERIFY_WITH_TIMEOUT(_web->server().connections() == 0, longest);
        QVERIFY(silent.closes() && half.closes() && upgraded.closes());
    }

    void aBrowserThatIsNotPairedIsToldSo() {
        PageClient::Secrets secrets{
            .kind = 'R', .id = QByteArray(16, 'i'), .key = QByteArray(32, 'k')};
        Page page(port(), secrets);
        QVERIFY(page.socket().upgrade());
        page.socket().sendFrame(page.client().hello());
        QCOMPARE(page.socket().receive(), std::optional(QByteArray("\3")));
        QVERIFY(page.socket().closes());
    }
};

QTEST_GUILESS_MAIN(PageAttacksTest)
#include "tst_pageattacks.moc"
