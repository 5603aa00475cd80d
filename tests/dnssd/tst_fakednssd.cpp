// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

const auto type = QStringLiteral("_clipmule-s2._tcp");
const auto local = QStringLiteral("local");
const ServiceName anna{QStringLiteral("Anna"), type, local};
const Endpoint address{QHostAddress(QStringLiteral("192.0.2.7")), 4711};

} // namespace

// What only the fake can do; what it has in common with the others is in the contract.
class FakeDnsSdTest final : public kit::TestCase {
    Q_OBJECT

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};

private Q_SLOTS:
    void saysWhatTheProgramDoesWithIt() {
        FakeDnsSd backend;
        const auto browser = backend.makeBrowser();
        const auto resolver = backend.makeResolver();
        const auto watch = backend.makeTxtWatch();
        QVERIFY(!backend.isWatched());
        browser->start(type);
        resolver->start(anna, RunLoop::Seconds(10));
        watch->start(anna);
        QVERIFY(backend.isWatched());
        QCOMPARE(backend.browsedTypes(), QStringList{type});
        QCOMPARE(backend.resolving(), QList<ServiceName>{anna});
        QCOMPARE(backend.watchedTxtRecords(), QList<ServiceName>{anna});
        browser->stop();
        resolver->stop();
        watch->stop();
        QCOMPARE(backend.browsedTypes(), QStringList());
        QCOMPARE(backend.resolving(), QList<ServiceName>());
        QCOMPARE(backend.watchedTxtRecords(), QList<ServiceName>());
        QCOMPARE(backend.resolveCount(anna), 1);
    }

    void changedAnswersReachRunningResolves() {
        FakeDnsSd backend;
        backend.appear(anna, {address});
        backend.setAnswer(anna, FakeDnsSd::Answer::Never);
        const auto resolver = backend.makeResolver();
        int resolved = 0;
        QString failure;
        resolver->onResolved = [&](const Resolved &) { ++resolved; };
        resolver->onFailed = [&](const QString &reason) { failure = reason; };
        resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(9);
        QCOMPARE(resolved, 0);
        backend.setAnswer(anna, FakeDnsSd::Answer::Normal);
        _loop.runOnce();
        QCOMPARE(resolved, 1);
        backend.setAnswer(anna, FakeDnsSd::Answer::Failure);
        resolver->start(anna, RunLoop::Seconds(10));
        _loop.runOnce();
        QCOMPARE(failure, QStringLiteral("the responder refused"));
    }

    void serviceWithoutEndpointsIsFoundButNotResolved() {
        FakeDnsSd backend;
        backend.appear(anna, {});
        const auto browser = backend.makeBrowser();
        const auto resolver = backend.makeResolver();
        int found = 0;
        QString failure;
        browser->onFound = [&](const ServiceName &) { ++found; };
        resolver->onFailed = [&](const QString &reason) { failure = reason; };
        browser->start(type);
        resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(20);
        QCOMPARE(found, 1);
        QCOMPARE(failure, QStringLiteral("timed out"));
    }

    void aServiceThatMovesIsNotFoundTwiceUnlessTheTestSaysSo() {
        FakeDnsSd backend;
        const auto browser = backend.makeBrowser();
        int found = 0;
        browser->onFound = [&](const ServiceName &) { ++found; };
        browser->start(type);
        backend.appear(anna, {address});
        _loop.runOnce();
        backend.appear(anna, {{address.address, 4712}});
        _loop.runOnce();
        QCOMPARE(found, 1);
        backend.reportAgain(anna);
        _loop.runOnce();
        QCOMPARE(found, 2);
    }

    void twoHostsTakeNamesFromEachOtherTwoRespondersOfOneHostDoNot() {
        const auto network = std::make_shared<FakeNetwork>();
        FakeDnsSd desk(network, QStringLiteral("desk"));
        FakeDnsSd sameDesk(network, QStringLiteral("desk"));
        FakeDnsSd laptop(network, QStringLiteral("laptop"));
        const auto first = desk.makePublisher();
        const auto second = sameDesk.makePublisher();
        const auto third = laptop.makePublisher();
        for (const auto &publisher : {first.get(), second.get(), third.get()})
            publisher->start(anna, 1, QByteArray());
        _loop.advance(0.1);
        QCOMPARE(desk.published()[0].service.name, QStringLiteral("Anna"));
        QCOMPARE(sameDesk.published()[0].service.name, QStringLiteral("Anna"));
        QCOMPARE(laptop.published()[0].service.name, QStringLiteral("Anna (2)"));
        // Announced by one of the two, it is still there.
        const auto browser = laptop.makeBrowser();
        QStringList events;
        browser->onFound = [&](const ServiceName &s) { events += u'+' + s.name; };
        browser->onRemoved = [&](const ServiceName &s) { events += u'-' + s.name; };
        browser->start(type);
        _loop.advance(1);
        first->stop();
        _loop.advance(1);
        QCOMPARE(events, (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Anna (2)")}));
        second->stop();
        _loop.advance(1);
        QCOMPARE(events.last(), QStringLiteral("-Anna"));
    }

    void aNameClaimedLaterMakesThePublisherMoveOn() {
        FakeDnsSd backend;
        const auto publisher = backend.makePublisher();
        QStringList names;
        publisher->onPublished = [&](const QString &name) { names += name; };
        publisher->start(anna, 1, QByteArray());
        _loop.runOnce();
        backend.appear(anna, {address});
        _loop.advance(0.1);
        QCOMPARE(names, (QStringList{QStringLiteral("Anna"), QStringLiteral("Anna (2)")}));
    }

    void gaveUpWhenEveryNameIsTaken() {
        FakeDnsSd backend;
        backend.appear(anna, {address});
        for (int attempt = 2; attempt <= 50; ++attempt)
            backend.appear({QStringLiteral("Anna (%1)").arg(attempt), type, local}, {address});
        const auto publisher = backend.makePublisher();
        QString error;
        publisher->onError = [&](const QString &reason) { error = reason; };
        publisher->start(anna, 1, QByteArray());
        _loop.advance(0.1);
        QCOMPARE(error, QStringLiteral("every name is taken"));
    }

    void aResolveWaitsForTheResponder() {
        FakeDnsSd backend;
        backend.setAvailability(Availability::Absent);
        backend.appear(anna, {address});
        const auto resolver = backend.makeResolver();
        int resolved = 0;
        resolver->onResolved = [&](const Resolved &) { ++resolved; };
        resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(9);
        QCOMPARE(resolved, 0);
        backend.setAvailability(Availability::Starting);
        _loop.runOnce();
        QCOMPARE(resolved, 1);
    }
};

QTEST_GUILESS_MAIN(FakeDnsSdTest)
#include "tst_fakednssd.moc"
