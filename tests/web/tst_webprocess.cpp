// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/web/Certificates.h"
#include "tests/web/WebProcess.h"
#include "tests/web/WebTestCase.h"

#include <QBuffer>
#include <QImage>
#include <QJsonArray>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::clipOf;
using web_test::Page;
using web_test::PageClient;
using web_test::PageSocket;
using web_test::WebProcess;

// The program as a process of its own, which somebody kills.
class WebProcessTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _web = std::make_unique<WebProcess>();
        QVERIFY2(_web->start(), _web->complaint().constData());
    }
    void end() override {
        _desk.reset();
        _web.reset();
    }

private Q_SLOTS:
    void whatAPageWasShownIsThereAfterAKill() {
        const auto page = paired();
        QVERIFY(page);
        connectDesk();
        send({{u"string"_s, u"text"_s}});
        QVERIFY(!page->hear(u"clip"_s).isEmpty());
        send({{u"imageData"_s, picture()}});
        const QString id = page->hear(u"clip"_s)[u"clip"_s][u"id"_s].toString();
        killAndStart();
        const auto later = resumed(page);
        QVERIFY(later);
        const QJsonArray clips = later->hear(u"clips"_s)[u"clips"_s].toArray();
        QCOMPARE(clips.size(), 2);
        QCOMPARE(clips[0][u"id"_s].toString(), id);
        QCOMPARE(clips[1][u"text"_s].toString(), u"text"_s);
        later->say({{u"is"_s, u"fetch"_s},
                    {u"clip"_s, id},
                    {u"what"_s, u"picture"_s},
                    {u"transfer"_s, 1}});
        QCOMPARE(later->hearData(1), picture());
        // What was deleted stays so.
        later->say({{u"is"_s, u"remove"_s}, {u"clip"_s, id}});
        QVERIFY(!later->hear(u"gone"_s).isEmpty());
        killAndStart();
        const QJsonArray left = resumed(page)->hear(u"clips"_s)[u"clips"_s].toArray();
        QCOMPARE(left.size(), 1);
        QCOMPARE(left[0][u"text"_s].toString(), u"text"_s);
    }

    void whatWaitsForADeskComesAfterAKillAndOnce() {
        const auto page = paired();
        QVERIFY(page);
        sendText(*page, 1, "waits");
        QVERIFY(!page->hear(u"waiting"_s).isEmpty());
        killAndStart();
        connectDesk();
        QTRY_COMPARE(_texts, QStringList{u"waits"_s});
        const auto later = resumed(page);
        QVERIFY(later);
        QCOMPARE(later->hear(u"state"_s)[u"desk"_s].toString(), u"connected"_s);
        _desk.reset();
        QCOMPARE(later->hear(u"state"_s)[u"desk"_s].toString(), u"away"_s);
        sendText(*later, 1, "waits too");
        QVERIFY(!later->hear(u"waiting"_s).isEmpty());
        connectDesk();
        QVERIFY(!later->hear(u"sent"_s).isEmpty());
        killAndStart();
        _texts.clear();
        connectDesk();
        const auto last = resumed(page);
        QVERIFY(last);
        sendText(*last, 1, "last");
        QTRY_COMPARE(_texts, QStringList{u"last"_s});
    }

    void commandsAskTheOneThatServes() {
        QVERIFY(!_web->complaint().contains("clipmule-web: "));
        QVERIFY(paired());
        QProcess command;
        command.setProcessEnvironment(_web->process().processEnvironment());
        const auto run = [&](const QStringList &words) {
            command.start(u"" CLIPMULE_BIN "/clipmule-web"_s, words);
            return command.waitForFinished() ? command.exitCode() : -1;
        };
        QCOMPARE(run({u"list"_s}), 0);
        QCOMPARE(command.readAllStandardOutput().split('\t').value(1), QByteArray("Anna"));
        QCOMPARE(run({u"code"_s}), 0);
        const QByteArray shown = command.readAllStandardOutput();
        QVERIFY(shown.startsWith("\x1b[30;107m"));
        QVERIFY(shown.contains("\nhttp://127.0.0.1:" + QByteArray::number(_web->port()) + "/#"));
        QCOMPARE(run({u"revoke"_s, u"nobody"_s}), 1);
        QVERIFY(command.readAllStandardError().contains("no browser"));
        QCOMPARE(run({u"revoke"_s, u"Anna"_s}), 0);
        QCOMPARE(run({u"list"_s}), 0);
        QCOMPARE(command.readAllStandardOutput(), QByteArray());
    }

    void whatMakesNoSenseIsRefused_data() {
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("complaint");
        QTest::newRow("port") << u"--port x"_s << u"a port is a number from 0 to 65535"_s;
        QTest::newRow("large port") << u"--port 65536"_s << u"a port is a number"_s;
        QTest::newRow("address") << u"--address x"_s << u"not an address: x"_s;
        QTest::newRow("no key") << u"--certificate x"_s << u"--certificate and --key"_s;
        QTest::newRow("no certificate") << u"--key x"_s << u"--certificate and --key"_s;
        QTest::newRow("keep") << u"--keep all"_s << u"--keep takes"_s;
        QTest::newRow("data") << u"--data="_s << u"--data needs a folder"_s;
        QTest::newRow("command") << u"sing"_s << u"no such command: sing"_s;
        QTest::newRow("a word too few") << u"revoke"_s << u"no such command: revoke"_s;
        QTest::newRow("a word too many") << u"list all"_s << u"no such command: list all"_s;
        QTest::newRow("option") << u"--sing"_s << u"sing"_s;
    }
    void whatMakesNoSenseIsRefused() {
        QFETCH(QString, words);
        QFETCH(QString, complaint);
        QProcess command;
        command.setProcessEnvironment(_web->process().processEnvironment());
        command.start(u"" CLIPMULE_BIN "/clipmule-web"_s, words.split(u' '));
        QVERIFY(command.waitForFinished());
        QCOMPARE(command.exitCode(), 2);
        const QString said = QString::fromLocal8Bit(command.readAllStandardError());
        QVERIFY2(said.startsWith(u"clipmule-web: "_s) && said.contains(complaint),
                 qPrintable(said));
        QCOMPARE(command.readAllStandardOutput(), QByteArray());
    }

    void itServesWhereOtherProgramsCannotAsk() {
        _web->kill();
        QVERIFY(::chmod(path(QString()).toLocal8Bit().constData(), 0777) == 0);
        QVERIFY(_web->start());
        QTRY_VERIFY(_web->complaint().contains("clipmule-web: "));
        QCOMPARE(PageSocket(_web->port()).get("/").status, 200);
    }

    void anotherUserOfTheComputerAsksNothing() {
        if (::geteuid() != 0)
            QSKIP("only root can become somebody else");
        QVERIFY(paired());
        QByteArrayList sockets{path(u"clipmule-sync/services/page-control"_s).toLocal8Bit()};
        const QDir services(path(u"clipmule-sync/services"_s));
        for (const QString &name : services.entryList({u"port-*"_s}, QDir::System))
            sockets += services.filePath(name).toLocal8Bit();
        QCOMPARE(sockets.size(), 2);
        for (const QByteArray &socket : sockets) {
            QCOMPARE(asked(socket, 0), Asked::Answered);
            QCOMPARE(asked(socket, somebodyElse), Asked::Refused);
        }
        // Where the folders stand open, the sockets do not.
        for (const QString &folder : {u""_s, u"clipmule-sync"_s, u"clipmule-sync/services"_s})
            QVERIFY(::chmod(path(folder).toLocal8Bit().constData(), 0755) == 0);
        for (const QByteArray &socket : sockets)
            QCOMPARE(asked(socket, somebodyElse), Asked::Refused);
        // And where these do as well, nobody listens to another user.
        for (const QByteArray &socket : sockets) {
            QVERIFY(::chmod(socket.constData(), 0777) == 0);
            QCOMPARE(asked(socket, somebodyElse), Asked::Silence);
            QCOMPARE(asked(socket, 0), Asked::Answered);
        }
    }

    void theUsualPortIsLeftOutAsBrowsersDo() {
        if (::geteuid() != 0)
            QSKIP("only root can listen on it");
        restart({u"--port"_s, u"80"_s});
        QVERIFY(_web->port() == 0);
        PageSocket socket(80);
        QCOMPARE(socket.ask("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").status, 200);
        QCOMPARE(socket.ask(socket.upgradeRequest("http://127.0.0.1", "127.0.0.1")).status, 101);
    }

    void aPageIsServedOverTls() {
        const QSslCertificate certificate = certify(u"good"_s, 1);
        restart({u"--certificate"_s, path(u"good.pem"_s), u"--key"_s, path(u"good.key"_s)});
        QVERIFY(_web->isSecure());
        PageSocket socket(_web->port(), certificate);
        const auto answer = socket.get("/");
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.headers["cross-origin-opener-policy"], QByteArray("same-origin"));
        // Over HTTP/2 there would be no Host header to check.
        QCOMPARE(socket.socket().sslConfiguration().nextNegotiatedProtocol(),
                 QByteArray("http/1.1"));
        Page page(_web->port(), _web->code(), certificate);
        QVERIFY(page.shakeHands());
        page.say({{u"is"_s, u"pair"_s}, {u"name"_s, u"Anna"_s}, {u"language"_s, u"en"_s}});
        QVERIFY(!page.hear(u"welcome"_s).isEmpty());
        // Who asks without TLS gets nothing.
        PageSocket plain(_web->port());
        QVERIFY(plain.get("/").status != 200);
        // Nor does a page that came without it.
        PageSocket other(_web->port(), certificate);
        const auto refused =
            other.ask(other.upgradeRequest("http://" + other.host(), other.host()));
        QVERIFY(refused.status != 101);
        QVERIFY(!_web->complaint().contains("expired"));
    }

    void aPairOfFilesBesideTheSettingsIsUsed() {
        const QSslCertificate first = certify(u"config/clipmule-sync/page-certificate"_s, 30);
        const QString key = path(u"config/clipmule-sync/page-certificate.key"_s);
        const QString place = path(u"config/clipmule-sync/page-key.pem"_s);
        // Not served over HTTP where somebody meant more.
        _web->kill();
        QVERIFY(!_web->start());
        QVERIFY(_web->complaint().endsWith("clipmule-web: " + place.toLocal8Bit() +
                                           ": there is no such file\n"));
        QVERIFY(QFile::rename(key, place));
        restart({});
        QCOMPARE(PageSocket(_web->port(), first).get("/").status, 200);
        // What takes their place counts from the next start.
        const QSslCertificate second = certify(u"config/clipmule-sync/page-certificate"_s, 30);
        QVERIFY(QFile::remove(place) && QFile::rename(key, place));
        QCOMPARE(PageSocket(_web->port(), first).get("/").status, 200);
        restart({});
        QCOMPARE(PageSocket(_web->port(), second).get("/").status, 200);
        PageSocket stranger(_web->port(), first);
        QVERIFY(stranger.get("/").status != 200);
        // The options go before them.
        const QSslCertificate given = certify(u"given"_s, 30);
        restart({u"--certificate"_s, path(u"given.pem"_s), u"--key"_s, path(u"given.key"_s)});
        QCOMPARE(PageSocket(_web->port(), given).get("/").status, 200);
        // A link that leads nowhere was meant as well.
        QVERIFY(QFile::remove(place) && QFile::link(u"nowhere"_s, place));
        QVERIFY(QFile::remove(path(u"config/clipmule-sync/page-certificate.pem"_s)));
        _web->kill();
        QVERIFY(!_web->start());
        QVERIFY(_web->complaint().contains("there is no such file"));
    }

    void anExpiredCertificateIsNamedAndServed() {
        const QSslCertificate certificate = certify(u"old"_s, -1);
        const QByteArray end = certificate.expiryDate().toUTC().toString(Qt::ISODate).toLatin1();
        restart({u"--certificate"_s, path(u"old.pem"_s), u"--key"_s, path(u"old.key"_s)});
        QTRY_VERIFY2(
            _web->complaint().contains(path(u"old.pem"_s).toLocal8Bit() + " expired on " + end),
            "no word of it");
        // A browser says so, and goes on when it is told to.
        PageSocket careful(_web->port(), certificate);
        QVERIFY(careful.get("/").status != 200);
        PageSocket socket(_web->port(), certificate);
        socket.socket().ignoreSslErrors();
        QCOMPARE(socket.get("/").status, 200);
    }

    void filesThatAreNoneOfAServerAreNamed_data() {
        QTest::addColumn<QString>("certificate");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("complaint");
        const QString both = u"CERTIFICATE and KEY are not a certificate and its key"_s;
        QTest::newRow("no certificate")
            << u"none"_s << u"good.key"_s << u"CERTIFICATE: there is no such file"_s;
        QTest::newRow("no key") << u"good.pem"_s << u"none"_s << u"KEY: there is no such file"_s;
        QTest::newRow("another's key") << u"good.pem"_s << u"other.key"_s << both;
        QTest::newRow("the other way round") << u"good.key"_s << u"good.pem"_s << both;
        QTest::newRow("nonsense") << u"nonsense"_s << u"good.key"_s << both;
        QTest::newRow("a nonsensical key") << u"good.pem"_s << u"nonsense"_s << both;
        QTest::newRow("a folder") << u"good.pem"_s << u"config"_s << u"KEY: "_s;
        QTest::newRow("as large as it may be") << u"large"_s << u"good.key"_s << both;
        QTest::newRow("too large") << u"larger"_s << u"good.key"_s << u"CERTIFICATE: "_s;
    }
    void filesThatAreNoneOfAServerAreNamed() {
        QFETCH(QString, certificate);
        QFETCH(QString, key);
        QFETCH(QString, complaint);
        (void)certify(u"good"_s, 30);
        (void)certify(u"other"_s, 30);
        write(u"nonsense"_s, "nonsense\n");
        write(u"large"_s, QByteArray(1024 * 1024, ' '));
        write(u"larger"_s, QByteArray(1024 * 1024 + 1, ' '));
        _web->kill();
        QVERIFY(!_web->start({u"--certificate"_s, path(certificate), u"--key"_s, path(key)}));
        const QString said = QString::fromLocal8Bit(_web->complaint());
        const QString wanted =
            u"clipmule-web: "_s +
            complaint.replace(u"CERTIFICATE"_s, path(certificate)).replace(u"KEY"_s, path(key));
        QVERIFY2(said.contains(wanted), qPrintable(said));
        QCOMPARE(_web->process().exitCode(), 1);
    }

    void aKeyThatCannotBeReadIsNamed() {
        (void)certify(u"good"_s, 30);
        QFile::setPermissions(path(u"good.key"_s), {});
        _web->kill();
        // Root has a right to read whatever is written.
        _web->process().setChildProcessModifier([] {
            (void)::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
            (void)::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
        });
        QVERIFY(!_web->start(
            {u"--certificate"_s, path(u"good.pem"_s), u"--key"_s, path(u"good.key"_s)}));
        QVERIFY(
            _web->complaint().contains(path(u"good.key"_s).toLocal8Bit() + ": it cannot be read"));
    }

private:
    enum class Asked { Answered, Refused, Silence };
    static constexpr uid_t somebodyElse = 65534;

    // What a process of that user gets from the socket. A desk and a program that asks both send
    // first, or hear of the phone at once.
    static Asked asked(const QByteArray &path, uid_t user) {
        const pid_t child = ::fork();
        if (child == 0) {
            sockaddr_un address{AF_UNIX, {}};
            qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
            const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
            if (::setresuid(user, user, user) != 0 ||
                ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) !=
                    0)
                ::_exit(int(Asked::Refused));
            (void)::send(socket, "{\"do\":\"list\"}\n", 14, MSG_NOSIGNAL);
            char byte = 0;
            ::_exit(int(::recv(socket, &byte, 1, 0) == 1 ? Asked::Answered : Asked::Silence));
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return Asked(WEXITSTATUS(status));
    }

    [[nodiscard]] QString path(const QString &name) const { return _web->path(name); }

    void write(const QString &name, const QByteArray &bytes) {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QSslCertificate certify(const QString &name, int days) {
        return web_test::certify(path(name), days);
    }

    void restart(const QStringList &options) {
        _web->kill();
        QVERIFY2(_web->start(options), _web->complaint().constData());
    }

    static QByteArray picture() {
        QImage image(30, 20, QImage::Format_RGB32);
        image.fill(Qt::red);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        image.save(&buffer, "PNG");
        return bytes;
    }

    void killAndStart() {
        _desk.reset();
        restart({});
    }

    std::unique_ptr<Page> paired() {
        auto page = std::make_unique<Page>(_web->port(), _web->code());
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_s, u"pair"_s}, {u"name"_s, u"Anna"_s}, {u"language"_s, u"en"_s}});
        (void)page->hear(u"clips"_s);
        return page;
    }

    std::unique_ptr<Page> resumed(const std::unique_ptr<Page> &before) {
        auto page = std::make_unique<Page>(_web->port(), resuming(before));
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_s, u"resume"_s}, {u"language"_s, u"en"_s}});
        return page;
    }

    void connectDesk() {
        _isTold = false;
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(_web->connectDesk());
        _desk->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            _isTold = true;
            if (const PropertyList *const clip = object.find(u"1"_s);
                clip && clip->find(u"items"_s))
                _texts += clip->find(u"items"_s)->list()[0].find(u"string"_s)->string();
        };
        QTRY_VERIFY(_isTold);
    }

    void send(const PropertyList::Dictionary &item) {
        _desk->outputObject(OutputObject::fixed(clipOf(item)));
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<WebProcess> _web;
    std::shared_ptr<ZRKStreamHandler> _desk;
    bool _isTold = false;
    QStringList _texts;
};

QTEST_GUILESS_MAIN(WebProcessTest)
#include "tst_webprocess.moc"
