// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/web/Certificates.h"
#include "tests/web/PageSocket.h"
#include "tests/web/WebProcess.h"

#include <QSysInfo>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::PageSocket;
using web_test::WebProcess;

// Served over HTTPS with a certificate as authorities give it: for names, and not for an address.
class WebNamesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _web = std::make_unique<WebProcess>(); }
    void end() override { _web.reset(); }

private Q_SLOTS:
    void theLinkLeadsToWhatTheCertificateIsFor_data() {
        const QString computer = QSysInfo::machineHostName().section(u'.', 0, 0).toLower();
        QTest::addColumn<QByteArray>("names");
        QTest::addColumn<QString>("leadsTo");
        QTest::newRow("a name") << QByteArray("DNS:page.example.org") << u"page.example.org"_s;
        QTest::newRow("the first of two")
            << QByteArray("DNS:b.example.org,DNS:a.example.org") << u"b.example.org"_s;
        QTest::newRow("the address")
            << QByteArray("DNS:page.example.org,IP:127.0.0.1") << u"127.0.0.1"_s;
        QTest::newRow("another address")
            << QByteArray("DNS:page.example.org,IP:127.0.0.2") << u"page.example.org"_s;
        QTest::newRow("as browsers write it")
            << QByteArray("DNS:Page.Example.ORG") << u"page.example.org"_s;
        QTest::newRow("all names of a place")
            << QByteArray("DNS:*.home.example.org") << computer + u".home.example.org"_s;
        QTest::newRow("no name of a computer")
            << QByteArray("DNS:a/b,DNS:page.example.org") << u"page.example.org"_s;
        QTest::newRow("nothing of either") << QByteArray("email:a@example.org") << u"127.0.0.1"_s;
    }
    void theLinkLeadsToWhatTheCertificateIsFor() {
        QFETCH(QByteArray, names);
        QFETCH(QString, leadsTo);
        serve(names);
        QVERIFY(_web->isSecure());
        QCOMPARE(_web->place(), leadsTo + u":%1"_s.arg(_web->port()));
    }

    void itIsServedUnderThoseNames() {
        serve("DNS:page.example.org,DNS:*.home.example.org");
        const QByteArray computer = QSysInfo::machineHostName().section(u'.', 0, 0).toLatin1();
        QCOMPARE(statusFor("page.example.org"), 200);
        QCOMPARE(statusFor("PAGE.example.org"), 200);
        QCOMPARE(statusFor(computer + ".home.example.org"), 200);
        QCOMPARE(statusFor("127.0.0.1"), 200);
        for (const QByteArray &other :
             {QByteArray("example.org"), QByteArray("other.home.example.org"),
              QByteArray("*.home.example.org"), QByteArray("page.example.org.evil.example")})
            QCOMPARE(statusFor(other), 421);
        // Its page has the connection that a page keeps, and no other has.
        QCOMPARE(upgradeFor("page.example.org", "page.example.org"), 101);
        QVERIFY(upgradeFor("evil.example", "page.example.org") != 101);
    }

private:
    void serve(const QByteArray &names) {
        _certificate = web_test::certify(_web->path(u"names"_s), 30, names);
        QVERIFY(!_certificate.isNull());
        QVERIFY2(_web->start({u"--certificate"_s, _web->path(u"names.pem"_s), u"--key"_s,
                              _web->path(u"names.key"_s)}),
                 _web->complaint().constData());
    }
    [[nodiscard]] QByteArray portText() const { return ':' + QByteArray::number(_web->port()); }
    // Whatever the browser would say of the name.
    [[nodiscard]] std::unique_ptr<PageSocket> connected() const {
        auto socket = std::make_unique<PageSocket>(_web->port(), _certificate);
        socket->socket().ignoreSslErrors();
        return socket;
    }
    [[nodiscard]] int statusFor(const QByteArray &host) const {
        return connected()->ask("GET / HTTP/1.1\r\nHost: " + host + portText() + "\r\n\r\n").status;
    }
    [[nodiscard]] int upgradeFor(const QByteArray &origin, const QByteArray &host) const {
        const auto socket = connected();
        return socket
            ->ask(socket->upgradeRequest("https://" + origin + portText(), host + portText()))
            .status;
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<WebProcess> _web;
    QSslCertificate _certificate;
};

QTEST_GUILESS_MAIN(WebNamesTest)
#include "tst_webnames.moc"
