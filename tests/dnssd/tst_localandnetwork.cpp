// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/LocalAndNetwork.h"
#include "platform/foundation/LocalNames.h"
#include "tests/dnssd/Observers.h"
#include "tests/dnssd/SampleServices.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryStreams.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const ServiceName localAnna{QStringLiteral("local/Anna"), type, local};

} // namespace

// A fake stands for each of the two sides: what the one hears, the other must not.
class LocalAndNetworkTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _installation.reset();
        _clock.emplace();
        _installation.emplace(*_clock);
        auto session = std::make_unique<FakeDnsSd>();
        auto network = std::make_unique<FakeDnsSd>();
        _session = session.get();
        _network = network.get();
        _both = std::make_unique<LocalAndNetwork>(std::move(session), std::move(network));
    }
    void end() override { _both.reset(); }

    [[nodiscard]] bool settles() { return kit::settle(*_clock); }

    std::optional<kit::ManualRunLoop> _clock;
    std::optional<RunLoop::Installation> _installation;
    FakeDnsSd *_session = nullptr;
    FakeDnsSd *_network = nullptr;
    std::unique_ptr<LocalAndNetwork> _both;

private Q_SLOTS:
    void namesOfTheSessionHaveAPrefix() {
        QVERIFY(LocalNames::isLocal(u"local/Anna"));
        QVERIFY(LocalNames::isLocal(u"local/"));
        for (const char *other : {"Anna", "local", "Local/Anna", " local/Anna", "localAnna", ""})
            QVERIFY2(!LocalNames::isLocal(QString::fromLatin1(other)), other);
        QCOMPARE(LocalNames::serviceNamed(QStringLiteral("Anna")), QStringLiteral("local/Anna"));
        QCOMPARE(LocalNames::ownName(QStringLiteral("local/local/x")), QStringLiteral("local/x"));
        QCOMPARE(LocalNames::ownName(QStringLiteral("Anna")), QStringLiteral("Anna"));
    }

    void twoOfOneNameAreTwoServices() {
        _session->appear(anna, {address});
        _network->appear(anna, {address});
        Browse browse(*_both);
        browse.browser->start(type);
        QVERIFY(settles());
        QStringList found = browse.changes();
        found.sort();
        QCOMPARE(found, (QStringList{QStringLiteral("+Anna"), QStringLiteral("+local/Anna")}));
        QCOMPARE(browse.events.count(QStringLiteral(".")), 1);
        QCOMPARE(browse.events.last(), QStringLiteral("."));
        _session->vanish(anna);
        QVERIFY(settles());
        QCOMPARE(browse.changes().last(), QStringLiteral("-local/Anna"));
        QCOMPARE(browse.last, localAnna);
        _network->vanish(anna);
        QVERIFY(settles());
        QCOMPARE(browse.changes().last(), QStringLiteral("-Anna"));
    }

    void theEndOfTheFirstAnswersIsThatOfBoth() {
        _session->responder().setTellsAllForNow(false);
        Browse browse(*_both);
        browse.browser->start(type);
        Browse network(*_both);
        network.browser->wantedName = anna.name;
        network.browser->start(type);
        QVERIFY(settles());
        QCOMPARE(browse.events, QStringList());
        QCOMPARE(network.events, QStringList{QStringLiteral(".")});
    }

    void whatPretendsOnTheNetworkIsNotSeen() {
        _network->appear(localAnna, {address});
        Browse browse(*_both);
        QTest::ignoreMessage(QtWarningMsg, "\"local/Anna\" on the network is not shown: its name "
                                           "is that of a program on this computer");
        browse.browser->start(type);
        Browse wanting(*_both);
        wanting.browser->wantedName = localAnna.name;
        wanting.browser->start(type);
        Resolution resolution(*_both);
        resolution.resolver->start(localAnna, RunLoop::Seconds(10));
        TxtRecords txt(*_both);
        txt.watch->start(localAnna);
        QVERIFY(settles());
        // Said once.
        _network->appear({QStringLiteral("local/Bert"), type, local}, {address});
        QVERIFY(settles());
        _network->vanish(localAnna);
        QVERIFY(settles());
        _clock->advance(10);
        QCOMPARE(browse.changes(), QStringList());
        QCOMPARE(wanting.changes(), QStringList());
        QVERIFY(!resolution.resolved);
        QCOMPARE(txt.records, QList<QByteArray>());
        QCOMPARE(_network->resolveCount(localAnna), 0);
        QCOMPARE(_network->resolveCount(anna), 0);
    }

    void whatPretendsInTheSessionIsAnother() {
        // It may call itself what it likes.
        _session->appear(localAnna, {address});
        Browse browse(*_both);
        browse.browser->start(type);
        Browse wanting(*_both);
        wanting.browser->wantedName = localAnna.name;
        wanting.browser->start(type);
        Browse network(*_both);
        network.browser->wantedName = anna.name;
        network.browser->start(type);
        QVERIFY(settles());
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+local/local/Anna")});
        QCOMPARE(wanting.changes(), QStringList());
        QCOMPARE(network.changes(), QStringList());
    }

    void aWantedNameIsLookedForOnItsSideAlone_data() {
        QTest::addColumn<QString>("wanted");
        QTest::newRow("session") << QStringLiteral("local/Anna");
        QTest::newRow("network") << QStringLiteral("Anna");
    }
    void aWantedNameIsLookedForOnItsSideAlone() {
        QFETCH(QString, wanted);
        _session->appear(anna, {address});
        _network->appear(anna, {address});
        const bool isLocal = LocalNames::isLocal(wanted);
        Browse browse(*_both);
        browse.browser->wantedName = wanted;
        browse.browser->start(type);
        QVERIFY(settles());
        QCOMPARE(browse.events, (QStringList{u'+' + wanted, QStringLiteral(".")}));
        QCOMPARE(_session->browsedTypes().size(), isLocal ? 1 : 0);
        QCOMPARE(_network->browsedTypes().size(), isLocal ? 0 : 1);
        // And all of both, when it is started anew without a name.
        browse.browser->wantedName.reset();
        browse.browser->start(type);
        QVERIFY(settles());
        QCOMPARE(browse.changes().size(), 3);
        browse.browser->stop();
        QCOMPARE(_session->browsedTypes().size() + _network->browsedTypes().size(), 0);
    }

    void eachIsResolvedAndWatchedOnItsSide() {
        const Endpoint elsewhere{address.address, 4712};
        _session->appear(anna, {address}, "\3s=1");
        _network->appear(anna, {elsewhere}, "\3n=1");
        Resolution session(*_both);
        Resolution network(*_both);
        TxtRecords sessionTxt(*_both);
        TxtRecords networkTxt(*_both);
        session.resolver->start(localAnna, RunLoop::Seconds(10));
        network.resolver->start(anna, RunLoop::Seconds(10));
        sessionTxt.watch->start(localAnna);
        networkTxt.watch->start(anna);
        _clock->advance(1);
        QVERIFY(session.resolved && network.resolved);
        QCOMPARE(session.resolved->endpoints, QList<Endpoint>{address});
        QCOMPARE(network.resolved->endpoints, QList<Endpoint>{elsewhere});
        QCOMPARE(sessionTxt.records, QList<QByteArray>{"\3s=1"});
        QCOMPARE(networkTxt.records, QList<QByteArray>{"\3n=1"});
        // The same object for another service changes sides.
        session.resolver->start(anna, RunLoop::Seconds(10));
        sessionTxt.watch->start(anna);
        _clock->advance(1);
        QCOMPARE(session.resolved->endpoints, QList<Endpoint>{elsewhere});
        QCOMPARE(sessionTxt.records.last(), QByteArray("\3n=1"));
        _session->changeTxtRecord(anna, "\3s=2");
        QVERIFY(settles());
        QCOMPARE(sessionTxt.records.size(), 2);
    }

    void whatIsNotThereFails() {
        Resolution resolution(*_both);
        resolution.resolver->start(localAnna, RunLoop::Seconds(10));
        _clock->advance(10);
        QCOMPARE(resolution.failure, std::optional(QStringLiteral("timed out")));
    }

    void isPublishedOnItsSideAlone() {
        Publication session(*_both);
        Publication network(*_both);
        session.publisher->start(localAnna, 4711, "\3s=1");
        network.publisher->start(bert, 4712, "\3n=1");
        QVERIFY(settles());
        QCOMPARE(session.names, QStringList{localAnna.name});
        QCOMPARE(network.names, QStringList{bert.name});
        session.publisher->setTxtRecord("\3s=2");
        QCOMPARE(_session->published().size(), 1);
        QCOMPARE(_session->published()[0].service, anna);
        QCOMPARE(_session->published()[0].txtRecord, QByteArray("\3s=2"));
        QCOMPARE(_network->published().size(), 1);
        QCOMPARE(_network->published()[0].service, bert);
        session.publisher->start({QString(64, u'x'), type, local}, 1, QByteArray());
        QVERIFY(settles());
        QCOMPARE(session.errors.size(), 1);
        QCOMPARE(_session->published().size(), 0);
    }

    void connectsOnTheSideOfTheAddress() {
        MemoryConnection wire;
        const auto connector = [&wire](const Resolved &) { return wire.takeStreams(); };
        _session->connector = connector;
        QVERIFY(_both->connectTo({.localPort = 4711}).input);
        QVERIFY(!_both->connectTo({.endpoints = {address}}).input);
        QCOMPARE(_session->connections().size(), 1);
        QCOMPARE(_network->connections().size(), 1);
    }

    void tellsOfTheNetworksChanges() {
        int changes = 0;
        _both->onDescriptionChange = [&] { ++changes; };
        QCOMPARE(_both->description(), _network->description());
        _network->onDescriptionChange();
        QCOMPARE(changes, 1);
    }
};

QTEST_GUILESS_MAIN(LocalAndNetworkTest)
#include "tst_localandnetwork.moc"
