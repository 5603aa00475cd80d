// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/HostAndPort.h"

#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"
#include <QTest>

using namespace clipmule;

namespace {

const auto wrongForm =
    QStringLiteral("an address has the form HOST:PORT, or [ADDRESS]:PORT for IPv6");
const auto wrongPort = QStringLiteral("the port must be a number from 1 to 65535");

QString wrongHost(const QString &host) {
    return QStringLiteral("\"%1\" is neither a host name nor an address").arg(host);
}

QString label(qsizetype size) {
    return QString(size, u'a');
}

// As long as a name may be: labels of 49 characters and a dot, the last one without.
QString hostName(qsizetype size) {
    QString name;
    while (name.size() + 50 < size)
        name += label(49) + u'.';
    return name + label(size - name.size());
}

} // namespace

class HostAndPortTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void whatMayBeWritten_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        const auto row = [](const char *text, const char *host, int port) {
            QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(host) << port;
        };
        row("192.0.2.7:4711", "192.0.2.7", 4711);
        row("phone.local:1", "phone.local", 1);
        row("  phone:65535\t", "phone", 65535);
        row("my_phone-2.lan:80", "my_phone-2.lan", 80);
        row("m\xc3\xbcller.example:80", "m\xc3\xbcller.example", 80);
        row("[2001:db8::7]:4711", "2001:db8::7", 4711);
        row("[::ffff:192.0.2.7]:4711", "::ffff:192.0.2.7", 4711);
        row("[fe80::1%eth0]:4711", "fe80::1%eth0", 4711);
        row("[FE80::A%abcdefghijklmno]:9", "FE80::A%abcdefghijklmno", 9);
        row("phone:00080", "phone", 80);
    }
    void whatMayBeWritten() {
        QFETCH(QString, text);
        QFETCH(QString, host);
        QFETCH(int, port);
        const auto parsed = parseHostAndPort(text);
        QCOMPARE(kit::reasonOf(parsed), QString());
        QVERIFY(parsed);
        QCOMPARE(parsed->host, host);
        QCOMPARE(int(parsed->port), port);
        QVERIFY(parseHostAndPort(parsed->text()) == *parsed);
    }

    void theTextIsAsPeopleWriteIt() {
        QCOMPARE((HostAndPort{QStringLiteral("phone"), 80}).text(), QStringLiteral("phone:80"));
        QCOMPARE((HostAndPort{QStringLiteral("::1"), 80}).text(), QStringLiteral("[::1]:80"));
    }

    void whatIsRefused_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *text, const QString &error) {
            QTest::newRow(text) << QString::fromUtf8(text) << error;
        };
        row("", wrongForm);
        row("phone", wrongForm);
        row("192.0.2.7", wrongForm);
        row("2001:db8::7:4711", wrongForm); // which of it is the port?
        row("[2001:db8::7]", wrongForm);
        row("http://phone:80", wrongForm);
        row("phone:", wrongPort);
        row("phone:0", wrongPort);
        row("phone:65536", wrongPort);
        row("phone:-1", wrongPort);
        row("phone:+1", wrongPort);
        row("phone:8o", wrongPort);
        row("phone: 80", wrongPort);
        row(":80", wrongHost({}));
        row("a phone:80", wrongHost(QStringLiteral("a phone")));
        row("phone/x:80", wrongHost(QStringLiteral("phone/x")));
        row("user@phone:80", wrongHost(QStringLiteral("user@phone")));
        row(".phone:80", wrongHost(QStringLiteral(".phone")));
        row("a..b:80", wrongHost(QStringLiteral("a..b")));
        row("%70hone:80", wrongHost(QStringLiteral("%70hone")));
        row("[]:80", wrongHost({}));
        row("[phone]:80", wrongHost(QStringLiteral("phone")));
        row("[192.0.2.7]:80", wrongHost(QStringLiteral("192.0.2.7")));
        row("[1::2::3]:80", wrongHost(QStringLiteral("1::2::3")));
        row("[fe80::1%]:80", wrongHost(QStringLiteral("fe80::1%")));
        row("[fe80::1%a/b]:80", wrongHost(QStringLiteral("fe80::1%a/b")));
        row("[fe80::1%a%b]:80", wrongHost(QStringLiteral("fe80::1%a%b")));
        row("[fe80::1%a b]:80", wrongHost(QStringLiteral("fe80::1%a b")));
        row("[fe80::1%abcdefghijklmnop]:9", wrongHost(QStringLiteral("fe80::1%abcdefghijklmnop")));
        row("\x1b[31m:80", wrongHost(QStringLiteral("\\x1b[31m")));
    }
    void whatIsRefused() {
        QFETCH(QString, text);
        QFETCH(QString, error);
        const auto parsed = parseHostAndPort(text);
        QCOMPARE(kit::reasonOf(parsed), error);
        QVERIFY(!parsed);
    }

    void aHostNameHas253Characters() {
        for (const qsizetype size : {252, 253})
            QVERIFY(parseHostAndPort(hostName(size) + QStringLiteral(":80")));
        QVERIFY(!parseHostAndPort(hostName(254) + QStringLiteral(":80")));
    }

    void aTextHas277Characters() {
        const auto padded = [](qsizetype size) {
            return QStringLiteral("phone:") + QString(size - 8, u'0') + QStringLiteral("80");
        };
        for (const qsizetype size : {276, 277})
            QVERIFY(parseHostAndPort(padded(size)));
        QCOMPARE(kit::reasonOf(parseHostAndPort(padded(278))), wrongForm);
    }
};

QTEST_GUILESS_MAIN(HostAndPortTest)
#include "tst_hostandport.moc"
