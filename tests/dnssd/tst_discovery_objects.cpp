// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"
#include "tests/dnssd/Observers.h"
#include "tests/dnssd/SampleServices.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

// Longer than any wait.
constexpr double longTime = 60;

} // namespace

// What publishers, browsers, resolvers and TXT watches make of one responder that refuses, is lost
// and comes back. What they do when all goes well is in the contract, the switch to another
// responder in tst_discovery.
class DiscoveryObjectsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        const auto network = std::make_shared<FakeNetwork>();
        _observer = std::make_unique<FakeDnsSd>(network, QStringLiteral("observer"));
        auto responder = std::make_unique<FakeResponder>(network, QStringLiteral("desk"));
        _responder = responder.get();
        _backend = std::make_unique<Discovery>(std::move(responder));
    }

    void end() override {
        _backend.reset();
        _observer.reset();
    }

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::unique_ptr<FakeDnsSd> _observer; // another host
    FakeResponder *_responder = nullptr;
    std::unique_ptr<Discovery> _backend;

    void lose() { _responder->setAvailability(Availability::Absent); }
    void comeBack() { _responder->setAvailability(Availability::Running); }

private Q_SLOTS:
    void aResponderIsWaitedForHoweverLongItTakes() {
        _observer->appear(anna, {address});
        _responder->setAvailability(Availability::Unknown);
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(longTime);
        lose();
        _loop.advance(longTime);
        QCOMPARE(_backend->description(), _responder->description());
        comeBack();
        _loop.advance(1);
        lose();
        _loop.advance(longTime);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void whatIsNotSeenAgainIsRemovedAfterNineSecondsAtTheLatest() {
        _responder->setTellsAllForNow(false);
        _observer->appear(anna, {address});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        lose();
        _loop.advance(1);
        _observer->vanish(anna);
        comeBack();
        _loop.advance(8.9);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        _loop.advance(0.2);
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("-Anna")}));
    }

    void afterALossEverythingIsAskedAnew() {
        _observer->appear(anna, {address}, "\3a=1");
        _responder->setAnswer(anna, FakeResponder::Answer::Never);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        txt.watch->start(anna);
        _loop.advance(1);
        lose();
        QCOMPARE(_responder->resolving().size(), 0);
        QCOMPARE(_responder->watchedTxtRecords().size(), 0);
        _responder->setAnswer(anna, FakeResponder::Answer::Normal);
        _observer->changeTxtRecord(anna, "\3a=2");
        _loop.advance(1);
        QCOMPARE(resolution.count, 0);
        comeBack();
        _loop.advance(0.1);
        QVERIFY(resolution.resolved);
        QCOMPARE(txt.records, (QList<QByteArray>{"\3a=1", "\3a=2"}));
    }

    void aNameIsTakenBackAfterARestart() {
        _observer->appear(desk, {address});
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk (2)")});
        lose();
        _observer->vanish(desk);
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        QCOMPARE(publication.names,
                 (QStringList{QStringLiteral("Desk (2)"), QStringLiteral("Desk")}));
        QCOMPARE(_responder->published()[0].service, desk);
    }

    void whatNamesTheHostIsWithdrawnWhileItsNameIsLookedFor() {
        Publication publication(*_backend);
        Browse browse(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        browse.browser->start(type);
        _loop.advance(1);
        _responder->setAvailability(Availability::Starting);
        QCOMPARE(_responder->published().size(), 0);
        QCOMPARE(_responder->browsedTypes(), QStringList{type});
        _loop.advance(longTime);
        QCOMPARE(_responder->published().size(), 0);
        comeBack();
        _loop.advance(0.1);
        QCOMPARE(_responder->published().size(), 1);
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
    }

    void whatIsRefusedIsAskedAgainTenSecondsLater_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("warning");
        QTest::newRow("publisher") << QStringLiteral("publisher") << QByteArray();
        QTest::newRow("browser") << QStringLiteral("browser")
                                 << QByteArray("cannot look for _clipmule-s2._tcp: busy");
        QTest::newRow("TXT watch")
            << QStringLiteral("watch") << QByteArray("cannot watch a TXT record: busy");
    }
    void whatIsRefusedIsAskedAgainTenSecondsLater() {
        QFETCH(QString, kind);
        QFETCH(QByteArray, warning);
        Publication publication(*_backend);
        Browse browse(*_backend);
        TxtRecords txt(*_backend);
        const auto start = [&] {
            if (kind == u"publisher")
                publication.publisher->start(desk, 1, QByteArray());
            else if (kind == u"browser")
                browse.browser->start(type);
            else
                txt.watch->start(anna);
        };
        const auto refusals = [&](int count) {
            for (; count > 0 && !warning.isEmpty(); --count)
                QTest::ignoreMessage(QtWarningMsg, warning.constData());
        };
        _responder->refuse(QStringLiteral("busy"));
        refusals(2);
        start();
        _loop.advance(9.9);
        QCOMPARE(_responder->operationCount(), 1);
        _loop.advance(0.2);
        QCOMPARE(_responder->operationCount(), 2);
        // Said once, and again only after a success.
        QCOMPARE(publication.errors.size(), kind == u"publisher" ? 1 : 0);
        // A responder that comes back is asked at once.
        lose();
        _loop.advance(1);
        _responder->refuse({});
        comeBack();
        _loop.advance(0.1);
        QCOMPARE(_responder->operationCount(), 3);
        // What fails later is the same.
        refusals(1);
        _responder->failAll(QStringLiteral("busy"));
        _loop.advance(9.9);
        QCOMPARE(publication.errors.size(), kind == u"publisher" ? 2 : 0);
        QCOMPARE(_responder->operationCount(), 3);
        _loop.advance(0.2);
        QCOMPARE(_responder->operationCount(), 4);
        // Stopped and started again nobody waits, and once stopped nobody asks.
        refusals(2);
        _responder->refuse(QStringLiteral("busy"));
        _responder->failAll(QStringLiteral("busy"));
        _loop.advance(1);
        start();
        _loop.advance(1);
        QCOMPARE(_responder->operationCount(), 5);
        QCOMPARE(publication.errors.size(), kind == u"publisher" ? 4 : 0);
        publication.publisher->stop();
        browse.browser->stop();
        txt.watch->stop();
        _loop.advance(longTime);
        QCOMPARE(_responder->operationCount(), 5);
        QCOMPARE(browse.changes(), QStringList());
    }

    void aRecordForNothingIsNoError() {
        Publication publication(*_backend);
        publication.publisher->setTxtRecord(txtRecordOfSize(1301));
        _loop.advance(1);
        QCOMPARE(publication.errors, QStringList());
    }

    void aBrowserStartedAgainBeginsAnew() {
        _observer->appear(anna, {address});
        Browse browse(*_backend);
        for (int round = 0; round < 2; ++round) {
            browse.browser->start(type);
            _loop.advance(1);
        }
        QCOMPARE(browse.events, (QStringList{QStringLiteral("+Anna"), QStringLiteral("."),
                                             QStringLiteral("+Anna"), QStringLiteral(".")}));
    }

    void aTxtWatchStartedAgainBeginsAnew() {
        _observer->appear(anna, {address}, "\3a=1");
        TxtRecords txt(*_backend);
        for (int round = 0; round < 2; ++round) {
            txt.watch->start(anna);
            _loop.advance(1);
        }
        QCOMPARE(txt.records, (QList<QByteArray>{"\3a=1", "\3a=1"}));
    }

    void aBrowserThatFailedConfirmsWhatItHadFound() {
        _observer->appear(anna, {address});
        _observer->appear(bert, {address});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        QTest::ignoreMessage(QtWarningMsg, "cannot look for _clipmule-s2._tcp: busy");
        _responder->failAll(QStringLiteral("busy"));
        _loop.advance(1);
        _observer->vanish(bert);
        _loop.advance(longTime);
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert"),
                                                QStringLiteral("-Bert")}));
    }

    void aRefusedResolveFailsOnce() {
        _responder->refuse(QStringLiteral("busy"));
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QCOMPARE(resolution.count, 0);
        _loop.advance(longTime);
        QCOMPARE(resolution.failure, QStringLiteral("busy"));
        QCOMPARE(resolution.count, 1);
        QCOMPARE(_responder->operationCount(), 4);
    }
};

QTEST_GUILESS_MAIN(DiscoveryObjectsTest)
#include "tst_discovery_objects.moc"
