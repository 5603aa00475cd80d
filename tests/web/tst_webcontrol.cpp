// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/LocalSockets.h"
#include "tests/kit/LoopbackSockets.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/web/WebTestCase.h"
#include "web/QrPicture.h"
#include "web/WebControl.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <sys/socket.h>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::Page;
using web_test::PageSocket;

// What other programs of the user ask of the one that serves, and where it serves.
class WebControlTest final : public kit::WebTestCase {
    Q_OBJECT

    void begin() override {
        WebTestCase::begin();
        _control = std::make_unique<WebControl>(*_web);
        QFile::setPermissions(_folder->path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QVERIFY(_control->start(_folder->path().toLocal8Bit()));
    }
    void end() override {
        _control.reset();
        WebTestCase::end();
    }

private Q_SLOTS:
    void browsersAreListedRenamedAndRevoked() {
        const auto page = paired();
        const QJsonObject browser = ask("{\"do\":\"list\"}\n")[u"browsers"_s][0].toObject();
        QCOMPARE(browser[u"name"_s].toString(), u"Anna's phone"_s);
        QCOMPARE(browser[u"pages"_s].toInt(), 1);
        QCOMPARE(browser[u"id"_s].toString(),
                 QString::fromLatin1(page->client().browserId().toHex()));
        QVERIFY(!browser.contains(u"key"_s));
        QCOMPARE(ask("{\"do\":\"rename\",\"browser\":\"Anna's phone\",\"name\":\"Mum\"}\n"),
                 QJsonObject());
        QCOMPARE(page->hear(u"renamed"_s)[u"name"_s].toString(), u"Mum"_s);
        QVERIFY(ask("{\"do\":\"revoke\",\"browser\":\"Anna's phone\"}\n").contains(u"error"_s));
        QCOMPARE(ask("{\"do\":\"revoke\",\"browser\":\"Mum\"}\n"), QJsonObject());
        QVERIFY(!page->hear(u"revoked"_s).isEmpty());
        QCOMPARE(ask("{\"do\":\"list\"}\n")[u"browsers"_s].toArray().size(), 0);
    }

    void aFreshCodeIsGiven() {
        const QString link = ask("{\"do\":\"code\"}\n")[u"link"_s].toString();
        QVERIFY(link.startsWith(u"http://127.0.0.1:%1/#"_s.arg(port())));
        QCOMPARE(link.section(u'#', 1).size(), 43);
    }

    void theAnswerHasThePictureAndTheTime() {
        const QJsonObject answer = ask("{\"do\":\"code\"}\n");
        QCOMPARE(answer[u"seconds"_s].toInt(), 600);
        QStringList rows;
        for (const QList<bool> &row : QrPicture::modules(answer[u"link"_s].toString())) {
            rows.append(QString());
            for (const bool isDark : row)
                rows.last() += isDark ? u'1' : u'0';
        }
        QVERIFY(rows.size() >= 21);
        QCOMPARE(answer[u"rows"_s].toVariant().toStringList(), rows);
    }

    void whoWatchesIsToldWhatBecomesOfTheCode() {
        const FileHandle watcher = watching();
        QCOMPARE(getFromAnotherDevice("/"), 200);
        QCOMPARE(getFromAnotherDevice("/"), 200);
        const auto page = pairedByLink(linkOf(watcher), u"Mum"_s);
        QVERIFY(page);
        // Each thing once; then it hangs up.
        QCOMPARE(heard(watcher), (QJsonArray{QJsonObject{{u"code"_s, u"fetched"_s}},
                                             QJsonObject{{u"code"_s, u"used"_s},
                                                         {u"name"_s, u"Mum"_s},
                                                         {u"service"_s, u"local/Mum"_s}}}));
        // A page that is fetched when there is no code concerns nobody.
        QCOMPARE(getFromAnotherDevice("/"), 200);
    }

    void notEveryRequestMeansThatAPhoneIsThere() {
        const FileHandle watcher = watching();
        // From this computer, which tells nothing of the way to the phone.
        QCOMPARE(PageSocket(port()).get("/").status, 200);
        QCOMPARE(getFromAnotherDevice("/sub/main.js"), 200);
        QVERIFY(!ask("{\"do\":\"code\"}\n").isEmpty());
        QCOMPARE(heard(watcher), (QJsonArray{QJsonObject{{u"code"_s, u"replaced"_s}}}));
    }

    void aNewerCodeEndsTheWatch() {
        const FileHandle watcher = watching();
        QCOMPARE(getFromAnotherDevice("/"), 200);
        const FileHandle second = watching();
        QCOMPARE(heard(watcher), (QJsonArray{QJsonObject{{u"code"_s, u"fetched"_s}},
                                             QJsonObject{{u"code"_s, u"replaced"_s}}}));
        // Its own making is no news, and it is fetched anew.
        QCOMPARE(getFromAnotherDevice("/"), 200);
        QVERIFY(!ask("{\"do\":\"code\"}\n").isEmpty());
        QCOMPARE(heard(second), (QJsonArray{QJsonObject{{u"code"_s, u"fetched"_s}},
                                            QJsonObject{{u"code"_s, u"replaced"_s}}}));
    }

    void aBrowserThatCannotBePairedIsTold() {
        const FileHandle watcher = watching();
        // A folder in the place of the file.
        QDir(_folder->path()).mkpath(u"data/browsers.json/in the way"_s);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"the browser is not paired: "_s));
        QVERIFY(!pairedByLink(linkOf(watcher), u"Mum"_s));
        const QJsonArray news = heard(watcher);
        QCOMPARE(news.size(), 1);
        QCOMPARE(news[0][u"code"_s], u"refused"_s);
        QVERIFY(!news[0][u"error"_s].toString().isEmpty());
    }

    void aCodeThatNobodyUsesExpires() {
        kit::ManualRunLoop clock;
        const RunLoop::Installation installed(clock);
        WebProgram::Options options;
        options.folder = _folder->filePath(u"other"_s);
        options.addresses = {QHostAddress(QHostAddress::LocalHost)};
        WebProgram program(_backend, *_files, nullptr, options);
        // Nobody serves yet.
        const QJsonObject request{{u"do"_s, u"code"_s}};
        QCOMPARE(WebControl::perform(program, request)[u"why"_s], u"network"_s);
        QVERIFY(program.open() && program.start());
        QJsonArray news{};
        program.onCode = [&](const QJsonObject &one) { news.append(one); };
        QVERIFY(program.makeLink());
        news = {};
        clock.advance(PairingCode::lifetime + RunLoop::Seconds(1));
        QCOMPARE(news, (QJsonArray{QJsonObject{{u"code"_s, u"expired"_s}}}));
    }

    void onlyWhoWatchesStaysConnected() {
        kit::ManualRunLoop clock;
        const RunLoop::Installation installed(clock);
        const FileHandle watcher = watching();
        const FileHandle other = connected();
        kit::loopback::send(other, "{\"do\":\"code\"}\n");
        QVERIFY(heard(other)[0].isObject());
        clock.advance(2 * WebControl::patience);
        QCOMPARE(heard(watcher), (QJsonArray{QJsonObject{{u"code"_s, u"replaced"_s}}}));
        const FileHandle patient = watching();
        clock.advance(2 * WebControl::patience);
        QCOMPARE(heard(patient), QJsonArray{u"still there"_s});
    }

    void aWatcherIsLetGoWhenItSpeaks() {
        const FileHandle watcher = watching();
        kit::loopback::send(watcher, "{\"do\":\"list\"}\n");
        QCOMPARE(heard(watcher), QJsonArray());
    }

    void whoAsksItToStopIsAnsweredFirst() {
        int stops = 0;
        _control->onStop = [&] { ++stops; };
        QVERIFY(!ask("{\"do\":\"list\"}\n").isEmpty());
        QCOMPARE(stops, 0);
        QCOMPARE(ask("{\"do\":\"stop\"}\n"), QJsonObject());
        QVERIFY(_wasAnswered);
        QCOMPARE(stops, 1);
        // It may go with it.
        _control->onStop = [&] { _control.reset(); };
        QCOMPARE(ask("{\"do\":\"stop\"}\n"), QJsonObject());
        QVERIFY(_wasAnswered);
        QVERIFY(!_control);
    }

    void nonsenseIsAnsweredOrLetGo() {
        QVERIFY(ask("nonsense\n").contains(u"error"_s));
        QVERIFY(ask("{\"do\":1}\n").contains(u"error"_s));
        // The longest, and one byte more.
        QVERIFY(ask(QByteArray(WebControl::largestRequest - 1, ' ') + '\n').contains(u"error"_s));
        QCOMPARE(ask(QByteArray(WebControl::largestRequest, ' ') + '\n'), QJsonObject());
        QVERIFY(!_wasAnswered);
    }

    void thereIsRoomForSomeAtOnce() {
        std::vector<FileHandle> silent;
        for (size_t number = 0; number < WebControl::mostRequests; ++number)
            silent.push_back(connected());
        // They are accepted in their order.
        QCOMPARE(ask("{\"do\":\"list\"}\n"), QJsonObject());
        QVERIFY(!_wasAnswered);
        silent.pop_back();
        QTRY_VERIFY(ask("{\"do\":\"list\"}\n").contains(u"browsers"_s));
    }

    void aRequestComesInPieces() {
        const FileHandle socket = connected();
        for (const char byte : QByteArray("{\"do\":\"list\"}\n")) {
            kit::loopback::send(socket, QByteArray(1, byte));
            QCoreApplication::processEvents();
        }
        QByteArray line;
        QTRY_VERIFY((line += kit::loopback::receiveWithoutWaiting(socket)).endsWith('\n'));
        QVERIFY(line.contains("browsers"));
    }

    void onlyACodeIsWatched() {
        const FileHandle socket = connected();
        kit::loopback::send(socket, "{\"do\":\"list\",\"watch\":true}\n");
        std::array<char, 1000> bytes;
        // The answer, and then the end.
        QTRY_COMPARE(::recv(socket.descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT),
                     ssize_t(0));
    }

    void whoSaysNothingIsLetGo() {
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        const FileHandle silent = connected();
        QTRY_COMPARE(runLoop.pendingCount(), 1);
        runLoop.advance(4.9);
        char byte = 0;
        QCOMPARE(::recv(silent.descriptor(), &byte, 1, MSG_DONTWAIT), ssize_t(-1));
        runLoop.advance(0.1);
        QCOMPARE(::recv(silent.descriptor(), &byte, 1, MSG_DONTWAIT), ssize_t(0));
    }

    void aSecondProgramDoesNotServe() {
        WebProgram::Options options;
        options.folder = _folder->filePath(u"data"_s);
        WebProgram second(_backend, *_files, nullptr, options);
        const auto opened = second.open();
        QVERIFY(!opened);
        QCOMPARE(opened.error().reason, u"it runs already"_s);
    }

    void nobodyFromAnotherNetworkIsServed() {
        PageServer server(*_web, *_files, {});
        QVERIFY(server.start());
        // A network of this one address.
        QVERIFY(server.listenOn({{QHostAddress(QHostAddress::LocalHost), 32}}));
        QCOMPARE(PageSocket(server.port()).get("/").status, 200);
        QTcpSocket stranger;
        QVERIFY(stranger.bind(QHostAddress(u"127.0.0.7"_s)));
        stranger.connectToHost(QHostAddress::LocalHost, server.port());
        stranger.write("GET / HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(server.port()) +
                       "\r\n\r\n");
        QTRY_COMPARE(stranger.state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(stranger.bytesAvailable(), 0);
    }

    void anAddressThatGoesTakesItsConnectionsAlong() {
        PageServer server(*_web, *_files, {});
        QVERIFY(server.start());
        const OwnNetwork one{QHostAddress(u"127.0.0.1"_s), 8};
        const OwnNetwork two{QHostAddress(u"127.0.0.2"_s), 8};
        QVERIFY(server.listenOn({one, two}));
        const quint16 port = server.port();
        QCOMPARE(server.addresses(), (QList<QHostAddress>{one.address, two.address}));
        PageSocket stays(port, one.address);
        PageSocket goes(port, two.address);
        QTRY_COMPARE(server.connections(), 2);
        QVERIFY(server.listenOn({one}));
        QVERIFY(goes.closes());
        QCOMPARE(server.port(), port);
        QCOMPARE(stays.get("/").status, 200);
        QTcpSocket late;
        late.connectToHost(two.address, port);
        QTRY_COMPARE(late.error(), QAbstractSocket::ConnectionRefusedError);
        // An address that is none of this computer's is named.
        const auto listening = server.listenOn({one, {QHostAddress(u"192.0.2.1"_s), 24}});
        QVERIFY(!listening);
        QVERIFY(listening.error().reason.startsWith(u"192.0.2.1: "_s));
        QCOMPARE(server.addresses(), QList<QHostAddress>{one.address});
    }

private:
    // Who has asked for a code, and its answer.
    FileHandle watching() {
        FileHandle socket = connected();
        kit::loopback::send(socket, "{\"do\":\"code\",\"watch\":true}\n");
        _links[socket.descriptor()] = answerOn(socket)[u"link"_s].toString();
        return socket;
    }
    QString linkOf(const FileHandle &watcher) { return _links[watcher.descriptor()]; }
    // What it is told before it is let go.
    QJsonArray heard(const FileHandle &watcher) {
        QByteArray lines;
        const bool ended = QTest::qWaitFor(
            [&] {
                char byte = 0;
                lines += kit::loopback::receiveWithoutWaiting(watcher);
                return ::recv(watcher.descriptor(), &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
            },
            1000);
        QJsonArray news{};
        for (const QByteArray &line : lines.split('\n')) {
            if (!line.isEmpty())
                news.append(QJsonDocument::fromJson(line).object());
        }
        return ended ? news : QJsonArray{u"still there"_s};
    }
    std::unique_ptr<Page> pairedByLink(const QString &link, const QString &name) {
        return pairedBy(
            QByteArray::fromBase64(link.section(u'#', 1).toLatin1(), QByteArray::Base64UrlEncoding),
            name);
    }
    int getFromAnotherDevice(const QByteArray &path) {
        QTcpSocket device;
        if (!device.bind(QHostAddress(u"127.0.0.7"_s)))
            return 0;
        device.connectToHost(QHostAddress::LocalHost, port());
        device.write("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port()) +
                     "\r\n\r\n");
        QByteArray answer;
        std::ignore = QTest::qWaitFor([&] {
            answer += device.readAll();
            return answer.contains("\r\n\r\n");
        });
        return answer.mid(9, 3).toInt();
    }

    FileHandle connected() {
        auto [answer, socket] = (*LocalFolder::open(_folder->path().toLocal8Bit()))
                                    ->connect("page-control", SOCK_STREAM);
        return std::move(socket);
    }

    QJsonObject ask(const QByteArray &request) {
        const FileHandle socket = connected();
        kit::loopback::send(socket, request);
        return answerOn(socket);
    }
    QJsonObject answerOn(const FileHandle &socket) {
        QByteArray line;
        _wasAnswered = QTest::qWaitFor(
            [&] {
                line += kit::loopback::receiveWithoutWaiting(socket);
                return line.endsWith('\n');
            },
            1000);
        return QJsonDocument::fromJson(line).object();
    }

    std::unique_ptr<WebControl> _control;
    bool _wasAnswered = false;
    std::map<int, QString> _links;
};

QTEST_GUILESS_MAIN(WebControlTest)
#include "tst_webcontrol.moc"
