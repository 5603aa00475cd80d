// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/ServiceRules.h"
#include "tests/kit/TestCase.h"

#include <QNetworkInterface>
#include <QTest>

using namespace clipmule;
using namespace clipmule::dnssd;

namespace {

ServiceName named(const QString &name) {
    return {name, QStringLiteral("_clipmule-c2._tcp"), QStringLiteral("local")};
}

// Entries of 255 bytes of text, and one shorter entry, for a record of exactly so many bytes.
QByteArray recordOfSize(qsizetype size) {
    QByteArray record;
    while (record.size() < size) {
        const qsizetype length = std::min<qsizetype>(255, size - record.size() - 1);
        record += char(length) + QByteArray(length, 'x');
    }
    return record;
}

} // namespace

class ServiceRulesTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void namesUpTo63BytesAreAllowed() {
        QVERIFY(reasonToRefuse(named(QString(62, u'x'))).isEmpty());
        QVERIFY(reasonToRefuse(named(QString(63, u'x'))).isEmpty());
        QCOMPARE(reasonToRefuse(named(QString(64, u'x'))),
                 QStringLiteral("the service name has 64 bytes, more than 63"));
        // Bytes count, not characters: é has two.
        QVERIFY(reasonToRefuse(named(QString(31, u'é'))).isEmpty());
        QCOMPARE(reasonToRefuse(named(QString(32, u'é'))),
                 QStringLiteral("the service name has 64 bytes, more than 63"));
    }

    void emptyNamesAndNullCharactersAreRefused() {
        QCOMPARE(reasonToRefuse(named(QString())), QStringLiteral("the service name is empty"));
        QCOMPARE(reasonToRefuse(named(QStringLiteral("a\0b"))),
                 QStringLiteral("the service name contains a null character"));
    }

    void typesHaveAServiceAndAProtocol_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<bool>("allowed");
        QTest::newRow("tcp") << QStringLiteral("_clipmule-s2._tcp") << true;
        QTest::newRow("udp") << QStringLiteral("_clipmule-s2._udp") << true;
        QTest::newRow("no underscore") << QStringLiteral("clipmule._tcp") << false;
        QTest::newRow("other protocol") << QStringLiteral("_clipmule._sctp") << false;
        QTest::newRow("nothing between") << QStringLiteral("_._tcp") << false;
        QTest::newRow("no protocol") << QStringLiteral("_clipmule") << false;
        QTest::newRow("subtype") << QStringLiteral("_a._sub._clipmule._tcp") << false;
        QTest::newRow("space") << QStringLiteral("_clip mule._tcp") << false;
        QTest::newRow("empty") << QString() << false;
    }
    void typesHaveAServiceAndAProtocol() {
        QFETCH(QString, type);
        QFETCH(bool, allowed);
        const ServiceName service{QStringLiteral("A"), type, QStringLiteral("local")};
        QCOMPARE(reasonToRefuse(service).isEmpty(), allowed);
    }

    void recordsUpTo1300BytesAreAllowed() {
        QVERIFY(reasonToRefuseTxtRecord(recordOfSize(1299)).isEmpty());
        QVERIFY(reasonToRefuseTxtRecord(recordOfSize(1300)).isEmpty());
        QCOMPARE(reasonToRefuseTxtRecord(recordOfSize(1301)),
                 QStringLiteral("the TXT record has 1301 bytes, more than 1300"));
    }

    void recordsMustEndWithAnEntry() {
        QVERIFY(reasonToRefuseTxtRecord(QByteArray()).isEmpty());
        QVERIFY(reasonToRefuseTxtRecord(emptyTxtRecord()).isEmpty());
        QVERIFY(reasonToRefuseTxtRecord("\3a=1").isEmpty());
        const auto reason = QStringLiteral("the TXT record ends inside an entry");
        QCOMPARE(reasonToRefuseTxtRecord("\4a=1"), reason);
        QCOMPARE(reasonToRefuseTxtRecord("\3a=1\xff"), reason);
    }

    void entriesAreTakenApart() {
        QCOMPARE(txtRecordEntries(emptyTxtRecord()), QList<QByteArray>());
        QCOMPARE(txtRecordEntries(QByteArray("\3a=1\0\2b=", 8)), (QList<QByteArray>{"a=1", "b="}));
    }

    void furtherAttemptsAreNumbered() {
        QCOMPARE(nameForAttempt(QStringLiteral("Anna"), 1), QStringLiteral("Anna"));
        QCOMPARE(nameForAttempt(QStringLiteral("Anna"), 2), QStringLiteral("Anna (2)"));
        QCOMPARE(nameForAttempt(QStringLiteral("Anna"), 10), QStringLiteral("Anna (10)"));
    }

    void numberedNamesAreCutBetweenCharacters() {
        // 59 bytes and the four of " (2)" just fit.
        QCOMPARE(nameForAttempt(QString(59, u'x'), 2), QString(59, u'x') + QStringLiteral(" (2)"));
        QCOMPARE(nameForAttempt(QString(60, u'x'), 2), QString(59, u'x') + QStringLiteral(" (2)"));
        QCOMPARE(nameForAttempt(QString(63, u'x'), 10),
                 QString(58, u'x') + QStringLiteral(" (10)"));
        // 31 times é is 62 bytes; 59 bytes hold 29 of them and half of one.
        QCOMPARE(nameForAttempt(QString(31, u'é'), 2), QString(29, u'é') + QStringLiteral(" (2)"));
        // An emoji has four bytes; 15 of them 60, and 14 fit.
        QCOMPARE(nameForAttempt(QStringLiteral("🐴").repeated(15), 2),
                 QStringLiteral("🐴").repeated(14) + QStringLiteral(" (2)"));
    }

    void fullNamesAreEscaped() {
        QCOMPARE(escapedFullName(named(QStringLiteral("Anna-1_b"))),
                 QStringLiteral("Anna-1_b._clipmule-c2._tcp.local"));
        QCOMPARE(escapedFullName(named(QStringLiteral("A. \\é"))),
                 QStringLiteral("A\\.\\032\\\\\\195\\169._clipmule-c2._tcp.local"));
    }

    void onlyAddressesOfOneComputerAreUsed_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("anywhere");
        QTest::addColumn<bool>("overLoopback");
        const auto row = [](const char *text, bool anywhere, bool overLoopback) {
            QTest::newRow(text) << QString::fromLatin1(text) << anywhere << overLoopback;
        };
        for (const char *good :
             {"192.0.2.7", "10.0.0.1", "1.0.0.0", "126.255.255.255", "128.0.0.1", "223.255.255.255",
              "169.254.1.1", "2001:db8::7", "fe80::1", "fd00::1", "::2", "::ffff:192.0.2.7"})
            row(good, true, true);
        for (const char *ours : {"127.0.0.1", "127.255.255.255", "::1", "::ffff:127.0.0.1"})
            row(ours, false, true);
        for (const char *bad :
             {"", "0.0.0.0", "0.255.255.255", "::", "::ffff:0.0.0.0", "224.0.0.0", "224.0.0.251",
              "239.255.255.255", "::ffff:224.0.0.1", "255.255.255.255", "ff02::fb"})
            row(bad, false, false);
    }
    void onlyAddressesOfOneComputerAreUsed() {
        QFETCH(QString, text);
        QFETCH(bool, anywhere);
        QFETCH(bool, overLoopback);
        const QHostAddress address(text);
        QCOMPARE(reasonToAvoidAnnounced(address, false).isEmpty(), anywhere);
        QCOMPARE(reasonToAvoidAnnounced(address, true).isEmpty(), overLoopback);
        // A person may name this computer.
        QCOMPARE(reasonToAvoid(address).isEmpty(), overLoopback);
    }

    void theLoopbackInterfaceIsKnown() {
        QVERIFY(
            isLoopbackInterface(QNetworkInterface::interfaceIndexFromName(QStringLiteral("lo"))));
        for (const auto &interface : QNetworkInterface::allInterfaces())
            QCOMPARE(isLoopbackInterface(interface.index()),
                     interface.flags().testFlag(QNetworkInterface::IsLoopBack));
        QVERIFY(!isLoopbackInterface(-1));
        QVERIFY(!isLoopbackInterface(0));
    }

    void ipv4ComesFirst() {
        const Endpoint four{QHostAddress(QStringLiteral("192.0.2.1")), 1};
        const Endpoint otherFour{QHostAddress(QStringLiteral("192.0.2.2")), 1};
        const Endpoint six{QHostAddress(QStringLiteral("2001:db8::1")), 1};
        QList<Endpoint> endpoints{six, otherFour, four};
        sortEndpoints(endpoints);
        QCOMPARE(endpoints, (QList<Endpoint>{otherFour, four, six}));
    }
};

QTEST_GUILESS_MAIN(ServiceRulesTest)
#include "tst_servicerules.moc"
