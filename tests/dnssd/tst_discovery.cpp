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

// Longer than any wait of the switch.
constexpr double longTime = 60;

} // namespace

// Two fakes of one host stand for the daemon and for the responder in the process.
class DiscoveryTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _network = std::make_shared<FakeNetwork>();
        _observer = std::make_unique<FakeDnsSd>(_network, QStringLiteral("observer"));
        _fallbackHost = QStringLiteral("desk");
        _made = 0;
        auto preferred = std::make_unique<FakeResponder>(_network, QStringLiteral("desk"));
        _preferred = preferred.get();
        _backend = std::make_unique<Discovery>(std::move(preferred), [this] {
            auto fallback = std::make_unique<FakeResponder>(_network, _fallbackHost);
            _fallback = fallback.get();
            ++_made;
            return fallback;
        });
    }

    void end() override {
        _backend.reset();
        _observer.reset();
    }

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::shared_ptr<FakeNetwork> _network;
    std::unique_ptr<FakeDnsSd> _observer; // another host
    QString _fallbackHost;
    FakeResponder *_preferred = nullptr;
    FakeResponder *_fallback = nullptr; // the one made last
    int _made = 0;
    std::unique_ptr<Discovery> _backend;

    /// Beside the preferred one and that of the observer.
    [[nodiscard]] bool fallbackIsAlive() const { return _network->responders.size() == 3; }

    void lose() { _preferred->setAvailability(Availability::Absent); }
    void comeBack() { _preferred->setAvailability(Availability::Running); }

private Q_SLOTS:
    void looksForNothingUntilItIsUsed() {
        _loop.advance(longTime);
        QVERIFY(!_preferred->isBegun());
        QCOMPARE(_made, 0);
    }

    void staysWithThePreferredOneWhileItRuns() {
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(longTime);
        QCOMPARE(_made, 0);
        QCOMPARE(_preferred->browsedTypes(), QStringList{type});
        QCOMPARE(browse.events, QStringList{QStringLiteral(".")});
    }

    void absentAtTheStartTheFallbackIsUsedAtOnce() {
        lose();
        _observer->appear(anna, {address}, "\3a=1");
        Browse browse(*_backend);
        Publication publication(*_backend);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        browse.browser->start(type);
        publication.publisher->start(desk, 1, QByteArray());
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        txt.watch->start(anna);
        _loop.advance(0.1);
        QCOMPARE(_made, 1);
        QCOMPARE(browse.events, (QStringList{QStringLiteral("+Anna"), QStringLiteral(".")}));
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
        QVERIFY(resolution.resolved);
        QCOMPARE(txt.records, QList<QByteArray>{"\3a=1"});
        QCOMPARE(_preferred->browsedTypes(), QStringList());
        // What is asked for once is not asked again without a reason.
        const int asked = _fallback->operationCount();
        _loop.advance(longTime);
        _preferred->setAvailability(Availability::Starting);
        lose();
        _loop.advance(longTime);
        QCOMPARE(_fallback->operationCount(), asked);
    }

    void oneThatSaysNothingIsWaitedFor() {
        _preferred->setAvailability(Availability::Unknown);
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(2.9);
        QCOMPARE(_made, 0);
        _loop.advance(0.2);
        QCOMPARE(_made, 1);
    }

    void oneThatIsStartingIsWaitedFor() {
        _preferred->setAvailability(Availability::Starting);
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(longTime);
        QCOMPARE(_made, 0);
    }

    void aRestartIsNotNoticed() {
        _observer->appear(anna, {address}, "\3a=1");
        Browse browse(*_backend);
        Publication publication(*_backend);
        TxtRecords txt(*_backend);
        browse.browser->start(type);
        publication.publisher->start(desk, 1, QByteArray());
        txt.watch->start(anna);
        _loop.advance(1);
        lose();
        _loop.advance(2.9);
        QCOMPARE(_preferred->published().size(), 0);
        _preferred->setAvailability(Availability::Starting);
        _loop.advance(1);
        comeBack();
        _loop.advance(longTime);
        QCOMPARE(_made, 0);
        QCOMPARE(browse.events, (QStringList{QStringLiteral("+Anna"), QStringLiteral(".")}));
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
        QCOMPARE(txt.records, QList<QByteArray>{"\3a=1"});
        QCOMPARE(_preferred->published().size(), 1);
    }

    void whatLeftDuringARestartIsRemovedFiveSecondsAfterTheFirstAnswers() {
        _observer->appear(anna, {address});
        _observer->appear(bert, {address});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        lose();
        _loop.advance(1);
        _observer->vanish(bert);
        comeBack();
        _loop.advance(4.9);
        QCOMPARE(browse.changes().size(), 2);
        _loop.advance(0.2);
        QCOMPARE(browse.changes().size(), 3);
        QCOMPARE(browse.changes().last(), QStringLiteral("-Bert"));
    }

    void theFallbackTakesOverAfterThreeSeconds() {
        _observer->appear(anna, {address});
        _observer->appear(bert, {address});
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(type);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        lose();
        _loop.advance(2.9);
        QCOMPARE(_made, 0);
        _observer->vanish(bert);
        _observer->appear({QStringLiteral("Carl"), type, local}, {address});
        _loop.advance(0.2);
        QCOMPARE(_made, 1);
        QCOMPARE(_fallback->published().size(), 1);
        QCOMPARE(_fallback->published()[0].service, desk);
        QCOMPARE(_fallback->browsedTypes(), QStringList{type});
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert"),
                                                QStringLiteral("+Carl")}));
        _loop.advance(4.7);
        QCOMPARE(browse.changes().size(), 3);
        _loop.advance(0.4);
        QCOMPARE(browse.changes().last(), QStringLiteral("-Bert"));
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
    }

    void goingBackLeavesNoGap() {
        lose();
        Publication publication(*_backend);
        Browse browse(*_backend);
        Browse seenByOthers(*_observer);
        browse.browser->start(type);
        seenByOthers.browser->start(desk.type);
        publication.publisher->start(desk, 1, "\3a=1");
        _observer->appear(anna, {address});
        _loop.advance(1);
        QCOMPARE(_fallback->published().size(), 1);
        _preferred->setAvailability(Availability::Starting);
        _loop.advance(longTime);
        QCOMPARE(_preferred->published().size(), 0); // not before it runs
        comeBack();
        _loop.advance(3.9);
        QCOMPARE(_preferred->published().size(), 1);
        QCOMPARE(_fallback->published().size(), 1);
        publication.publisher->setTxtRecord("\3a=2"); // both say the same
        QCOMPARE(_preferred->published()[0].txtRecord, QByteArray("\3a=2"));
        QCOMPARE(_fallback->published()[0].txtRecord, QByteArray("\3a=2"));
        _loop.advance(0.2);
        QCOMPARE(_fallback->published().size(), 0);
        QVERIFY(fallbackIsAlive());
        _loop.advance(1.8);
        QVERIFY(fallbackIsAlive());
        _loop.advance(0.2);
        QVERIFY(!fallbackIsAlive());
        _loop.advance(longTime);
        QCOMPARE(seenByOthers.changes(), QStringList{QStringLiteral("+Desk")});
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
    }

    void lostAgainWhileGoingBackTheFallbackIsKept() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(2);
        lose();
        _loop.advance(3.5); // the release would have been due by now or soon
        QCOMPARE(_made, 1);
        QCOMPARE(_fallback->published().size(), 1);
        _loop.advance(longTime);
        QVERIFY(fallbackIsAlive());
        QCOMPARE(_fallback->published().size(), 1);
    }

    void afterTheReleaseAnotherFallbackIsMade() {
        lose();
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        comeBack();
        _loop.advance(longTime);
        QVERIFY(!fallbackIsAlive());
        lose();
        _loop.advance(longTime);
        QCOMPARE(_made, 2);
        QCOMPARE(_fallback->browsedTypes(), QStringList{type});
    }

    void respondersThatDisagreeAboutTheHostsNameEndWithTheRightServiceName() {
        _fallbackHost = QStringLiteral("desk-2");
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        QCOMPARE(_preferred->published()[0].service.name, QStringLiteral("Desk (2)"));
        _loop.advance(longTime);
        QCOMPARE(_preferred->published()[0].service.name, QStringLiteral("Desk"));
    }

    void aRunningResolveIsAskedAgainWithinItsTime() {
        _observer->appear(anna, {address});
        _preferred->setAnswer(anna, FakeResponder::Answer::Never);
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(2);
        lose();
        _loop.advance(2.9);
        QCOMPARE(resolution.count, 0);
        _loop.advance(0.2);
        QVERIFY(resolution.resolved);
        _loop.advance(longTime);
        QCOMPARE(resolution.count, 1);
    }

    void aSwitchDoesNotProlongAResolve() {
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(2);
        lose();
        _loop.advance(7.9);
        QCOMPARE(_made, 1);
        QCOMPARE(resolution.count, 0);
        _loop.advance(0.2);
        QCOMPARE(resolution.count, 1);
        QCOMPARE(resolution.failure, QStringLiteral("timed out"));
    }

    void stoppedObjectsAreNotMoved() {
        Browse browse(*_backend);
        Publication publication(*_backend);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        browse.browser->start(type);
        publication.publisher->start(desk, 1, QByteArray());
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        txt.watch->start(anna);
        _loop.advance(1);
        browse.browser->stop();
        publication.publisher->stop();
        resolution.resolver->stop();
        txt.watch->stop();
        lose();
        _loop.advance(longTime);
        QCOMPARE(_made, 1);
        QVERIFY(!_fallback->isBegun());
        QCOMPARE(_fallback->browsedTypes(), QStringList());
        QCOMPARE(_fallback->published().size(), 0);
        QCOMPARE(_fallback->resolving(), QList<ServiceName>());
        QCOMPARE(_fallback->watchedTxtRecords(), QList<ServiceName>());
    }

    void aClientMayDestroyItsBrowserWhenTheFirstOfTheLostIsRemoved() {
        _observer->appear(anna, {address});
        _observer->appear(bert, {address});
        auto browser = _backend->makeBrowser();
        int removed = 0;
        browser->onRemoved = [&](const ServiceName &) {
            ++removed;
            browser.reset();
        };
        browser->start(type);
        _loop.advance(1);
        lose();
        _loop.advance(1);
        _observer->vanish(anna);
        _observer->vanish(bert);
        _loop.advance(longTime);
        QCOMPARE(removed, 1);
        QVERIFY(!browser);
    }

    void lostAgainBeforeTheAnswersAreInNothingIsRemovedYet() {
        _observer->appear(anna, {address});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        lose();
        _loop.advance(1);
        _observer->vanish(anna);
        comeBack();
        _loop.advance(4);
        lose();
        _observer->appear(anna, {address});
        _loop.advance(2.5);
        QCOMPARE(browse.changes().size(), 1);
        comeBack();
        _loop.advance(longTime);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void saysWhichOneItUses() {
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        QCOMPARE(_backend->description(), _preferred->description());
        lose();
        _loop.advance(longTime);
        QCOMPARE(_backend->description(), QStringLiteral("%1 (%2)").arg(_fallback->description(),
                                                                        _preferred->description()));
    }

    void tellsWhenItUsesAnotherOne() {
        QStringList told;
        _backend->onDescriptionChange = [&] { told += _backend->description(); };
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        QVERIFY(!told.isEmpty());
        QCOMPARE(told.constLast(), _preferred->description());
        told.clear();
        lose();
        _loop.advance(longTime);
        QVERIFY(!told.isEmpty());
        QCOMPARE(told.constLast(), _backend->description());
        QVERIFY(told.constLast() != _preferred->description());
        told.clear();
        comeBack();
        _loop.advance(longTime);
        QVERIFY(!told.isEmpty());
        QCOMPARE(told.constLast(), _preferred->description());
    }

    // The daemon does not come back, and nobody reports that again.
    void tellsWhenItHasGivenUpWaiting() {
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(1);
        browse.browser->stop();
        lose();
        _loop.advance(0.1);
        QStringList told;
        _backend->onDescriptionChange = [&] { told += _backend->description(); };
        _loop.advance(2.8);
        QCOMPARE(told, QStringList());
        _loop.advance(longTime);
        QCOMPARE(told, QStringList{_backend->description()});
        QVERIFY(told.constFirst().startsWith(_fallback->description()));
    }

    void aRestartOfTheFallbackIsNotNoticed() {
        lose();
        _observer->appear(anna, {address});
        _observer->appear(bert, {address});
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(type);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        _fallback->setAvailability(Availability::Absent);
        QCOMPARE(_fallback->published().size(), 0);
        _observer->vanish(bert);
        _loop.advance(longTime); // nobody knows who is there
        QCOMPARE(browse.changes().size(), 2);
        _fallback->setAvailability(Availability::Running);
        _loop.advance(longTime);
        QCOMPARE(_made, 1);
        QCOMPARE(_fallback->published().size(), 1);
        QCOMPARE(browse.changes().sliced(2), QStringList{QStringLiteral("-Bert")});
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk")});
    }

    void aStoppedAnnouncementDoesNotGoOnInTheOverlap() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        QCOMPARE(_fallback->published().size(), 1);
        publication.publisher->stop();
        QCOMPARE(_fallback->published().size(), 0);
        QCOMPARE(_preferred->published().size(), 0);
    }

    void theFormerOnesTroublesConcernNobody() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        _fallback->failAll(QStringLiteral("too late"));
        _loop.advance(1);
        QCOMPARE(_preferred->published().size(), 1);
        QCOMPARE(publication.errors, QStringList());
    }

    void aNameTakenInTheOverlapIsChangedOnce() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        _observer->appear(desk, {address});
        _loop.advance(0.1);
        QCOMPARE(_preferred->published().size(), 1);
        QCOMPARE(_preferred->published()[0].service.name, QStringLiteral("Desk (2)"));
    }

    void aNumberedNameStaysThroughASwitch() {
        _observer->appear(desk, {address});
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        const int asked = _preferred->operationCount();
        _loop.advance(longTime);
        QCOMPARE(publication.names, QStringList{QStringLiteral("Desk (2)")});
        QCOMPARE(_preferred->operationCount(), asked);
        QCOMPARE(_preferred->published().size(), 1);
    }

    void theOverlapEndsWithTheFormerOne() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(1);
        _fallback->setAvailability(Availability::Starting);
        QCOMPARE(_fallback->published().size(), 0);
        QCOMPARE(_preferred->published().size(), 1);
    }

    void lostAtOnceWhileGoingBackItIsAnnouncedOnce() {
        lose();
        Publication publication(*_backend);
        publication.publisher->start(desk, 1, QByteArray());
        _loop.advance(1);
        comeBack();
        _loop.advance(0.5);
        lose();
        QCOMPARE(_fallback->published().size(), 1);
        _loop.advance(3.1);
        QCOMPARE(_fallback->published().size(), 1);
        QCOMPARE(_fallback->published()[0].service, desk);
    }
};

QTEST_GUILESS_MAIN(DiscoveryTest)
#include "tst_discovery.moc"
