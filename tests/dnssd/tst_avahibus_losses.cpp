// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/dnssd/AvahiBusFixture.h"
#include "tests/kit/TestCase.h"

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

// A daemon that comes, goes, hangs, dies and is replaced, and a bus that does.
class AvahiBusLossesTest final : public kit::TestCase, AvahiBusFixture {
    Q_OBJECT

    void begin() override { AvahiBusFixture::begin(); }

    void end() override { AvahiBusFixture::end(); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(setUpBus()); }
    void cleanupTestCase() { endBus(); }
    void whatWaitsForItsTurnEndsWithTheDaemon() {
        _daemon->holds = true;
        std::vector<std::unique_ptr<Publication>> publications;
        for (int number = 0; number < 40; ++number) {
            publications.push_back(std::make_unique<Publication>(*_backend));
            publications.back()->publisher->start({QString::number(number), type, local}, 1,
                                                  QByteArray());
        }
        QVERIFY(until([&] { return _daemon->held.size() == 32; }));
        _daemon->vanish();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        _daemon->holds = false;
        // The bus waits for answers of this process, which has not ended, and nobody else does.
        _daemon->release(32);
        _daemon->calls.clear();
        _daemon->callPaths.clear();
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 40; }));
        QCOMPARE(_daemon->count(QStringLiteral("EntryGroupNew")), 40);
    }

    void aDaemonThatIsStartingBrowsesButDoesNotPublishYet() {
        _daemon->state = starting;
        _daemon->afterCall = [&](const QString &member, const QString &path) {
            if (member == QStringLiteral("Commit"))
                _daemon->groupState(path, established);
        };
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(type);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        QVERIFY(roundTrip());
        QCOMPARE(_responder->availability(), Availability::Starting);
        QCOMPARE(_daemon->count(QStringLiteral("EntryGroupNew")), 0);
        _daemon->setState(running);
        QVERIFY(until([&] { return publication.names.size() == 1; }));
        // Its host name is taken: it looks for another, and what named the host is put up again.
        const QString group = lastPath();
        _daemon->setState(starting);
        QVERIFY(until([&] { return _daemon->calls.last() == QStringLiteral("Free"); }));
        QCOMPARE(_daemon->callPaths.last(), group);
        _daemon->setState(running);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 2; }));
        QVERIFY(roundTrip());
        QCOMPARE(publication.names, QStringList{anna.name});
        QCOMPARE(browse.changes(), QStringList());
    }

    void afterALossNothingOfTheFormerDaemonIsFreedInTheNext() {
        Browse browse(*_backend);
        Publication publication(*_backend);
        browse.browser->start(type);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 1; }));
        _daemon->found(_daemon->paths[0], QStringLiteral("Bert"));
        QVERIFY(until([&] { return browse.changes().size() == 1; }));
        _daemon->vanish();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Bert")});
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it has ended")),
                 qPrintable(_backend->description()));
        // The next one counts its objects from the start.
        _daemon->objects = 0;
        _daemon->paths.clear();
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 2; }));
        QVERIFY(roundTrip());
        QCOMPARE(_daemon->calls.mid(0, _daemon->calls.lastIndexOf(QStringLiteral("Commit")))
                     .count(QStringLiteral("Free")),
                 0);
        _daemon->found(_daemon->paths[0], QStringLiteral("Bert"));
        _daemon->found(_daemon->paths[0], QStringLiteral("Carl"));
        QVERIFY(until([&] { return browse.changes().size() == 2; }));
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Bert"), QStringLiteral("+Carl")}));
    }

    void whatAFormerDaemonSaidIsForgotten() {
        Browse browse(*_backend);
        _daemon->holds = true;
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->held.size() == 1; }));
        // Perhaps for the object to come.
        _daemon->found(QStringLiteral("/Client0/Object1"), QStringLiteral("Old"));
        _daemon->vanish();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        _daemon->held.clear();
        _daemon->holds = false;
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        QCOMPARE(lastPath(), QStringLiteral("/Client0/Object1"));
        _daemon->found(lastPath(), QStringLiteral("New"));
        QVERIFY(until([&] { return !browse.changes().isEmpty(); }));
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+New")});
        // No object is to come now, so that this is for nobody.
        _daemon->found(QStringLiteral("/Client0/Object2"), QStringLiteral("Nobody's"));
        _daemon->found(lastPath(), QStringLiteral("Newer"));
        QVERIFY(until([&] { return browse.changes().size() == 2; }));
        Browse other(*_backend);
        other.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 2; }));
        QCOMPARE(lastPath(), QStringLiteral("/Client0/Object2"));
        _daemon->found(lastPath(), QStringLiteral("New"));
        QVERIFY(until([&] { return !other.changes().isEmpty(); }));
        QCOMPARE(other.changes(), QStringList{QStringLiteral("+New")});
    }

    // The bus tells of the end first, and then answers in the daemon's place.
    void aDaemonThatDiesWithACallOpenDoesNotHang() {
        _daemon->holds = true;
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->held.size() == 1; }));
        _daemon.reset();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        _daemon = std::make_unique<FakeAvahiDaemon>(_address);
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
    }

    void aDaemonThatHangsIsLeft() {
        _daemon->holds = true;
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->held.size() == 1; }));
        const QString us = _daemon->held[0].service();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it does not answer")),
                 qPrintable(_backend->description()));
        _daemon->holds = false;
        _loop.advance(0.9);
        QCOMPARE(_daemon->stateAsked.service(), us);
        _loop.advance(0.2);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        QVERIFY(_daemon->stateAsked.service() != us); // it keeps nothing for us
    }

    void aDaemonThatFailedIsUsedWhenItRunsAgain() {
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        _daemon->setState(4); // failed
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it has failed")),
                 qPrintable(_backend->description()));
        _daemon->setState(running);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 2; }));
    }

    void oneDaemonMayTakeTheOthersPlace() {
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        FakeAvahiDaemon next(_address, QStringLiteral("next"));
        next.isMute = true;
        next.appear();
        QVERIFY(until([&] { return next.count(QStringLiteral("GetState")) == 1; }));
        QCOMPARE(_responder->availability(), Availability::Absent);
        FakeAvahiDaemon last(_address, QStringLiteral("last"));
        last.appear();
        QVERIFY(until([&] { return last.count(QStringLiteral("Start")) == 1; }));
        // Too late.
        next.tellState();
        last.found(last.paths[0], anna.name);
        QVERIFY(until([&] { return !browse.changes().isEmpty(); }));
        next.found(QStringLiteral("/Client0/Object1"), QStringLiteral("Mallory"));
        last.found(last.paths[0], QStringLiteral("Bert"));
        QVERIFY(until([&] { return browse.changes().size() == 2; }));
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert")}));
    }

    void aDaemonThatIsNotThereIsNoticedWhenItComes() {
        _daemon->vanish();
        Browse browse(*_backend);
        browse.browser->start(type);
        QCOMPARE(_responder->availability(), Availability::Unknown);
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": it is not running")),
                 qPrintable(_backend->description()));
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        QCOMPARE(_responder->availability(), Availability::Running);
    }

    void aDaemonThatRefusesUsIsNotThere() {
        _daemon->errors.insert(QStringLiteral("GetState"), QStringLiteral("NotPermitted"));
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": NotPermitted")),
                 qPrintable(_backend->description()));
        _daemon->errors.clear();
        _daemon->vanish();
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
    }

    void whatItTellsOfItselfIsNewerThanItsAnswer() {
        _daemon->isMute = true;
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("GetState")) == 1; }));
        _daemon->setState(running);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        _daemon->state = starting;
        QVERIFY(_daemon->tellState());
        _daemon->found(_daemon->paths[0], anna.name);
        QVERIFY(until([&] { return !browse.changes().isEmpty(); }));
        QCOMPARE(_responder->availability(), Availability::Running);
    }

    void theNextOnesAnswerIsNotTakenForAnOldOne() {
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        _daemon->setState(running);
        QVERIFY(roundTrip());
        _daemon->vanish();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        _daemon->appear();
        QVERIFY(
            until([&] { return _daemon->count(QStringLiteral("ServiceBrowserPrepare")) == 2; }));
    }

    void oneThatEndsBeforeItHasAnsweredIsNotThere() {
        _daemon->isMute = true;
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("GetState")) == 1; }));
        _daemon->vanish();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        _daemon->isMute = false;
        _daemon->appear();
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
    }

    void aBusThatComesBackIsUsedASecondLater() {
        QVERIFY(roundTrip());
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 5; }));
        _bus.terminate();
        QVERIFY(until([&] { return _responder->availability() == Availability::Absent; }));
        QVERIFY2(_backend->description().endsWith(QStringLiteral(": the system bus is gone")),
                 qPrintable(_backend->description()));
        QVERIFY(until([&] { return _bus.state() == QProcess::NotRunning; }));
        _daemon.reset();
        (void)_bus.readAll();
        startBus();
        QVERIFY(until([&] { return _bus.canReadLine(); }));
        _daemon = std::make_unique<FakeAvahiDaemon>(_address);
        _daemon->appear();
        _loop.advance(0.9);
        QCOMPARE(_daemon->calls, QStringList());
        _loop.advance(0.2);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
    }
};

QTEST_GUILESS_MAIN(AvahiBusLossesTest)
#include "tst_avahibus_losses.moc"
