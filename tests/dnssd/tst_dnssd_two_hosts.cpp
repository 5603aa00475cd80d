// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"
#include "platform/foundation/QtRunLoop.h"
#include "tests/dnssd/Observers.h"
#include "tests/dnssd/Peer.h"
#include "tests/kit/TestCase.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <QTimer>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

const auto local = QStringLiteral("local");
const auto hostA = QStringLiteral("a");
const auto hostB = QStringLiteral("b");

// With room for a machine that does other things as well; the usual times are a tenth of it.
constexpr int patience = 40000;
// A blocking call to a daemon that does not answer takes five seconds and more.
constexpr int stallMilliseconds = 2500;

std::unique_ptr<Backend> makeBackend(const QString &kind) {
    if (kind == u"bus")
        return std::make_unique<Discovery>(makeAvahiBusResponder());
    if (kind == u"core")
        return std::make_unique<Discovery>(makeAvahiCoreResponder());
    return dnssd::makeBackend();
}

} // namespace

// Two machines: the test runs on host "a", its peer, the phone, on host "b". What is asked for with
// "on", "cable", "bus" and "daemon" comes from scripts/private-network-two.
class TwoHostsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        ++_testCount;
        _type = QStringLiteral("_clipmule-s%1._tcp").arg(_testCount);
        _announcementType = QStringLiteral("_clipmule-c%1._tcp").arg(_testCount);
        _backend = dnssd::makeBackend();
        _phone = std::make_unique<Peer>(QStringLiteral("bus"));
    }

    void end() override {
        _phone.reset();
        _backend.reset();
    }

    QtRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::unique_ptr<Backend> _backend;
    std::unique_ptr<Peer> _phone;
    // Every test has types of its own: a service that has said goodbye stays in caches for a
    // second.
    int _testCount = 0;
    QString _type;
    QString _announcementType;

    [[nodiscard]] ServiceName named(const QString &name) const { return {name, _type, local}; }

    /// Runs one of the network's commands while the run loop goes on. For QVERIFY.
    [[nodiscard]] static bool run(const QStringList &command) {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(command[0], command.mid(1));
        const bool ended =
            QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, patience);
        return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    }

    [[nodiscard]] static bool daemon(const QString &action) {
        return run({QStringLiteral("daemon"), hostA, action});
    }

    /// What a host sees of a type, by a program that is not ours.
    [[nodiscard]] static QByteArray seenOn(const QString &host, const QString &type) {
        Witness browse(QStringLiteral("on"),
                       {host, QStringLiteral("avahi-browse"), QStringLiteral("-rptk"), type});
        (void)QTest::qWaitFor([&] { return browse.hasEnded(); }, patience);
        return browse.output();
    }

    void publishOnB(const QString &name, quint16 port, const QByteArray &txtRecord = "\3a=1") {
        publishBy(*_phone, name, port, txtRecord);
    }

    void publishBy(Peer &peer, const QString &name, quint16 port,
                   const QByteArray &txtRecord = "\3a=1") {
        peer.publish(named(name), port, txtRecord);
        QTRY_COMPARE_WITH_TIMEOUT(peer.lastLine(), "published " + name.toUtf8(), patience);
    }

    /// Until a switch has made up its mind about what it does not see any more.
    void settle() {
        Resolution nobody(*_backend);
        nobody.resolver->start(named(QStringLiteral("Nobody")),
                               Discovery::patienceWithoutFirstAnswers + RunLoop::Seconds(1));
        QTRY_VERIFY_WITH_TIMEOUT(nobody.failure, patience);
    }

    /// How many sockets of this host listen to multicast DNS over IPv4.
    [[nodiscard]] static int respondersSockets() {
        QFile table(QStringLiteral("/proc/self/net/udp"));
        if (!table.open(QIODevice::ReadOnly))
            return -1;
        return int(table.readAll().count(":14E9 ")); // port 5353
    }

    static void backends() {
        QTest::addColumn<QString>("ours");
        QTest::addColumn<QString>("theirs");
        QTest::newRow("daemon, daemon") << QStringLiteral("bus") << QStringLiteral("bus");
        QTest::newRow("daemon, core") << QStringLiteral("bus") << QStringLiteral("core");
        QTest::newRow("core, daemon") << QStringLiteral("core") << QStringLiteral("bus");
        QTest::newRow("core, core") << QStringLiteral("core") << QStringLiteral("core");
    }

private Q_SLOTS:
    void aPhoneIsFoundOnceResolvedWatchedAndRemoved_data() { backends(); }
    void aPhoneIsFoundOnceResolvedWatchedAndRemoved() {
        QFETCH(QString, ours);
        QFETCH(QString, theirs);
        _backend = makeBackend(ours);
        _phone = std::make_unique<Peer>(theirs);
        Browse browse(*_backend);
        browse.browser->start(_type);
        publishOnB(QStringLiteral("Anna's phöne. 🐴"), 4711);
        // Seen over IPv4 and IPv6.
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna's phöne. 🐴")},
                                  patience);
        Resolution resolution(*_backend);
        resolution.resolver->start(browse.last, RunLoop::Seconds(10));
        TxtRecords txt(*_backend);
        txt.watch->start(browse.last);
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QVERIFY(!resolution.resolved->endpoints.isEmpty());
        QCOMPARE(resolution.resolved->endpoints.first(),
                 (Endpoint{QHostAddress(QStringLiteral("10.77.0.2")), 4711}));
        for (const Endpoint &endpoint : resolution.resolved->endpoints) {
            if (endpoint.address.protocol() == QAbstractSocket::IPv6Protocol)
                QCOMPARE(endpoint.address.scopeId(), QStringLiteral("eth0"));
        }
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, QList<QByteArray>{"\3a=1"}, patience);
        _phone->setTxtRecord("\3a=2");
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, (QList<QByteArray>{"\3a=1", "\3a=2"}), patience);
        _phone->withdraw();
        QTRY_COMPARE_WITH_TIMEOUT(
            browse.changes(),
            (QStringList{QStringLiteral("+Anna's phöne. 🐴"), QStringLiteral("-Anna's phöne. 🐴")}),
            patience);
    }

    void theLongestNameAndRecordCrossTheNetwork_data() { backends(); }
    void theLongestNameAndRecordCrossTheNetwork() {
        QFETCH(QString, ours);
        QFETCH(QString, theirs);
        _backend = makeBackend(ours);
        _phone = std::make_unique<Peer>(theirs);
        const QString name = QString(63, u'x'); // a longer packet there is not
        publishOnB(name, 4711, txtRecordOfSize(1300));
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{u'+' + name}, patience);
        TxtRecords txt(*_backend);
        txt.watch->start(named(name));
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, QList<QByteArray>{txtRecordOfSize(1300)}, patience);
    }

    void aNameTakenOnAnotherHostIsNumbered_data() { backends(); }
    void aNameTakenOnAnotherHostIsNumbered() {
        QFETCH(QString, ours);
        QFETCH(QString, theirs);
        _backend = makeBackend(ours);
        _phone = std::make_unique<Peer>(theirs);
        publishOnB(QStringLiteral("Anna"), 1);
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Anna")), 1, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{QStringLiteral("Anna (2)")},
                                  patience);
        QCOMPARE(_phone->lastLine(), QByteArray("published Anna"));
    }

    void aPhoneAndItsDesktopShareAName() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Publication publication(*_backend);
        publication.publisher->start({QStringLiteral("Anna"), _announcementType, local}, 1,
                                     QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{QStringLiteral("Anna")}, patience);
        QTRY_VERIFY_WITH_TIMEOUT(seenOn(hostB, _announcementType).contains("=;eth0;IPv4;Anna;"),
                                 patience);
        QCOMPARE(_phone->lastLine(), QByteArray("published Anna"));
    }

    void connectsToAListenerOfOneProtocolOnly_data() {
        QTest::addColumn<QString>("family");
        QTest::newRow("IPv4 only") << QStringLiteral("ipv4");
        QTest::newRow("IPv6 only, link-local") << QStringLiteral("ipv6");
    }
    void connectsToAListenerOfOneProtocolOnly() {
        QFETCH(QString, family);
        _phone->listen(family);
        QTRY_VERIFY_WITH_TIMEOUT(_phone->lastLine().startsWith("listening "), patience);
        const auto port = quint16(_phone->lastLine().mid(10).toUInt());
        QVERIFY(port != 0);
        publishOnB(QStringLiteral("Listener"), port);
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Listener")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        StreamPair streams = _backend->connectTo(*resolution.resolved);
        QVERIFY(streams.input && streams.output);
        QList<StreamEvent> events;
        streams.input->setEventHandler([&](StreamEvent event) { events += event; });
        streams.input->open();
        streams.output->open();
        QTRY_VERIFY_WITH_TIMEOUT(!events.isEmpty(), patience);
        QCOMPARE(events.first(), StreamEvent::OpenCompleted);
        QTRY_COMPARE_WITH_TIMEOUT(_phone->lastLine(), QByteArray("accepted"), patience);
        streams.input->close();
        streams.output->close();
    }

    void aRestartOfTheDaemonIsNotNoticed() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(_type);
        publication.publisher->start({QStringLiteral("Anna"), _announcementType, local}, 1,
                                     QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QVERIFY(daemon(QStringLiteral("stop")));
        QVERIFY(daemon(QStringLiteral("start")));
        // Announced again by the new one, and everything works.
        QTRY_VERIFY_WITH_TIMEOUT(seenOn(hostB, _announcementType).contains("=;eth0;IPv4;Anna;"),
                                 patience);
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        publishOnB(QStringLiteral("Bert"), 4712);
        // Which of the two is first depends on how soon the other host announces Bert.
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().size(), 3, patience);
        QCOMPARE(browse.changes().constFirst(), QStringLiteral("+Anna"));
        QVERIFY(browse.changes().contains(QStringLiteral("+Bert")));
        QVERIFY(browse.changes().contains(QStringLiteral("-Anna")));
        QCOMPARE(publication.names.size(), 1);
    }

    void whatLeavesDuringARestartIsRemoved() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QVERIFY(daemon(QStringLiteral("stop")));
        _phone->withdraw();
        QVERIFY(daemon(QStringLiteral("start")));
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().last(), QStringLiteral("-Anna"), patience);
    }

    void whenTheDaemonDiesTheBuiltInResponderTakesOver() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(_type);
        publication.publisher->start({QStringLiteral("Anna"), _announcementType, local}, 1,
                                     QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QCOMPARE(_backend->description(), QStringLiteral("Avahi's daemon"));
        const int daemonSockets = respondersSockets();
        QVERIFY(daemonSockets > 0);
        QVERIFY(daemon(QStringLiteral("kill")));
        QTRY_VERIFY_WITH_TIMEOUT(
            _backend->description().startsWith(QStringLiteral("the built-in responder (no answer")),
            patience);
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it has ended)")),
                 qPrintable(_backend->description()));
        QTRY_VERIFY_WITH_TIMEOUT(seenOn(hostB, _announcementType).contains("=;eth0;IPv4;Anna;"),
                                 patience);
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(browse.changes().size(), 1);

        QVERIFY(daemon(QStringLiteral("start")));
        QTRY_COMPARE_WITH_TIMEOUT(_backend->description(), QStringLiteral("Avahi's daemon"),
                                  patience);
        QVERIFY(respondersSockets() > daemonSockets); // both, for a while
        // The built-in one leaves, and the announcement stays.
        QTRY_COMPARE_WITH_TIMEOUT(respondersSockets(), daemonSockets, patience);
        settle();
        QTRY_VERIFY_WITH_TIMEOUT(seenOn(hostB, _announcementType).contains("=;eth0;IPv4;Anna;"),
                                 patience);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(publication.names, QStringList{QStringLiteral("Anna")});
    }

    void aDaemonThatHangsHoldsNothingUp() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QVERIFY(daemon(QStringLiteral("freeze")));
        qint64 longest = 0;
        QElapsedTimer sinceBeat;
        QTimer heart;
        connect(&heart, &QTimer::timeout, this, [&] {
            longest = std::max(longest, sinceBeat.elapsed());
            sinceBeat.restart();
        });
        sinceBeat.start();
        heart.start(20);
        Resolution resolution(*_backend);
        Publication publication(*_backend);
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(30));
        publication.publisher->start({QStringLiteral("Anna"), _announcementType, local}, 1,
                                     QByteArray());
        // By the built-in responder in the end.
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it does not answer)")),
                 qPrintable(_backend->description()));
        heart.stop();
        QVERIFY2(longest < stallMilliseconds, qPrintable(QString::number(longest)));
        QVERIFY(daemon(QStringLiteral("thaw")));
        QTRY_COMPARE_WITH_TIMEOUT(_backend->description(), QStringLiteral("Avahi's daemon"),
                                  patience);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(publication.names.size(), 1);
    }

    void aRestartOfTheBusIsNotNoticed() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        // The daemon ends with its bus.
        QVERIFY(run({QStringLiteral("bus"), hostA, QStringLiteral("stop")}));
        QTRY_VERIFY_WITH_TIMEOUT(
            _backend->description().startsWith(QStringLiteral("the built-in responder (no answer")),
            patience);
        QVERIFY(run({QStringLiteral("bus"), hostA, QStringLiteral("start")}));
        QVERIFY(daemon(QStringLiteral("start")));
        QTRY_COMPARE_WITH_TIMEOUT(_backend->description(), QStringLiteral("Avahi's daemon"),
                                  patience);
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void withoutABusTheBuiltInResponderStartsAndTheDaemonTakesOverLater() {
        QVERIFY(run({QStringLiteral("bus"), hostA, QStringLiteral("stop")}));
        _backend = dnssd::makeBackend();
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(_type);
        publication.publisher->start({QStringLiteral("Anna"), _announcementType, local}, 1,
                                     QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": there is no system bus)")),
                 qPrintable(_backend->description()));
        QVERIFY(run({QStringLiteral("bus"), hostA, QStringLiteral("start")}));
        QVERIFY(daemon(QStringLiteral("start")));
        QTRY_COMPARE_WITH_TIMEOUT(_backend->description(), QStringLiteral("Avahi's daemon"),
                                  patience);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(publication.names, QStringList{QStringLiteral("Anna")});
    }

    void aPulledCableHidesWhatIsNewAndRemovesNothing() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QVERIFY(run({QStringLiteral("cable"), hostB, QStringLiteral("out")}));
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Bert")), RunLoop::Seconds(2));
        QTRY_COMPARE_WITH_TIMEOUT(resolution.failure, QStringLiteral("timed out"), patience);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QVERIFY(run({QStringLiteral("cable"), hostB, QStringLiteral("in")}));
        Peer other(QStringLiteral("bus"));
        publishBy(other, QStringLiteral("Bert"), 4712);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(),
                                  (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert")}),
                                  patience);
        resolution.resolver->start(named(QStringLiteral("Bert")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
    }

    void ourOwnLinkDownRemovesUpFindsAgain() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        const QStringList link{QStringLiteral("ip"), QStringLiteral("link"), QStringLiteral("set"),
                               QStringLiteral("eth0")};
        QVERIFY(run(link + QStringList{QStringLiteral("down")}));
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().last(), QStringLiteral("-Anna"), patience);
        QVERIFY(run(link + QStringList{QStringLiteral("up")}));
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().last(), QStringLiteral("+Anna"), patience);
        QCOMPARE(browse.changes().size(), 3);
    }

    void ourOwnNewAddressIsNotNoticed() {
        publishOnB(QStringLiteral("Anna"), 4711);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        // What keeps her: she is seen over IPv6, too, whose addresses come seconds after a link.
        QTRY_VERIFY_WITH_TIMEOUT(seenOn(hostA, _type).contains("=;eth0;IPv6;Anna;"), patience);
        const QStringList addr{QStringLiteral("ip"), QStringLiteral("addr")};
        const QStringList onEth0{QStringLiteral("dev"), QStringLiteral("eth0")};
        QVERIFY(run(addr + QStringList{QStringLiteral("del"), QStringLiteral("10.77.0.1/24")} +
                    onEth0));
        QVERIFY(run(addr + QStringList{QStringLiteral("add"), QStringLiteral("10.77.0.3/24")} +
                    onEth0));
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        Peer other(QStringLiteral("bus"));
        publishBy(other, QStringLiteral("Bert"), 4712);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(),
                                  (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert")}),
                                  patience);
        QVERIFY(run(addr + QStringList{QStringLiteral("del"), QStringLiteral("10.77.0.3/24")} +
                    onEth0));
        QVERIFY(run(addr + QStringList{QStringLiteral("add"), QStringLiteral("10.77.0.1/24")} +
                    onEth0));
    }
};

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    if (argc > 2 && QByteArray(argv[1]) == "--peer")
        return runPeer([kind = QString::fromUtf8(argv[2])] { return makeBackend(kind); });
    TwoHostsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dnssd_two_hosts.moc"
