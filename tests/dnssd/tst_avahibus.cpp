// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/dnssd/AvahiBusFixture.h"
#include "tests/kit/TestCase.h"

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

// What the daemon says and when, in cases that a real one seldom makes or never; and what others
// say in its name.
class AvahiBusTest final : public kit::TestCase, AvahiBusFixture {
    Q_OBJECT

    void begin() override { AvahiBusFixture::begin(); }

    void end() override { AvahiBusFixture::end(); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(setUpBus()); }
    void cleanupTestCase() { endBus(); }
    void aSignalBeforeTheAnswerThatNamesItsObjectIsNotLost() {
        _daemon->beforeReply = [&](const QString &, const QString &path) {
            _daemon->resolved(path, QStringLiteral("192.0.2.7"), 4711);
        };
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 4; }));
        QVERIFY(roundTrip());
        _loop.advance(1);
        QVERIFY(resolution.resolved);
        QCOMPARE(resolution.resolved->endpoints,
                 (QList<Endpoint>{{QHostAddress(QStringLiteral("192.0.2.7")), 4711}}));
    }

    void soManySignalsAreKeptForAnObjectToCome_data() {
        QTest::addColumn<int>("before");
        QTest::addColumn<bool>("kept");
        QTest::newRow("one below") << 3998 << true;
        QTest::newRow("at the limit") << 3999 << true;
        QTest::newRow("above") << 4000 << false;
    }
    void soManySignalsAreKeptForAnObjectToCome() {
        QFETCH(int, before);
        QFETCH(bool, kept);
        static_assert(AvahiBusResponder::maximumHeldSignals == 4000);
        _daemon->beforeReply = [&](const QString &, const QString &path) {
            for (int number = 0; number < before; ++number)
                _daemon->found(path, anna.name);
            _daemon->emitSignal(path, QStringLiteral("ServiceBrowser"), QStringLiteral("AllForNow"),
                                {});
            _daemon->beforeReply = {};
        };
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        QVERIFY(roundTrip());
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(browse.events.contains(QStringLiteral(".")), kept);
    }

    void whatIsKeptForAnObjectToComeIsNotForLaterOnes() {
        const auto later = QStringLiteral("/Client0/Object2");
        _daemon->beforeReply = [&](const QString &, const QString &) {
            _daemon->found(later, QStringLiteral("Early"));
            _daemon->beforeReply = {};
        };
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        Browse other(*_backend);
        other.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 2; }));
        QCOMPARE(lastPath(), later);
        _daemon->found(later, anna.name);
        QVERIFY(until([&] { return !other.changes().isEmpty(); }));
        QCOMPARE(other.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void whatIsSaidAfterTheEndReachesNobody() {
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        const QString path = lastPath();
        browse.browser->stop();
        _daemon->found(path, anna.name);
        QVERIFY(roundTrip());
        QCOMPARE(browse.events, QStringList());
    }

    void whatOthersSayInItsNameIsNotHeard() {
        Browse browse(*_backend);
        browse.browser->start(type);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        const QString path = lastPath();
        {
            QDBusConnection stranger =
                QDBusConnection::connectToBus(_address, QStringLiteral("stranger"));
            QDBusMessage item = QDBusMessage::createSignal(
                path, avahi + QStringLiteral(".ServiceBrowser"), QStringLiteral("ItemNew"));
            item.setArguments(
                {2, 0, QStringLiteral("Mallory"), type, local, QVariant::fromValue(uint(0))});
            stranger.send(item);
            QDBusMessage state =
                QDBusMessage::createSignal(QStringLiteral("/"), avahi + QStringLiteral(".Server"),
                                           QStringLiteral("StateChanged"));
            state.setArguments({4, QString()}); // failed
            stranger.send(state);
            // Answered after both have passed the bus.
            (void)stranger.call(QDBusMessage::createMethodCall(
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("stranger"));
        _daemon->found(path, anna.name);
        QVERIFY(until([&] { return !browse.changes().isEmpty(); }));
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(_responder->availability(), Availability::Running);
    }

    void signalsOfAnotherFormAreIgnored() {
        Browse browse(*_backend);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        browse.browser->start(type);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        txt.watch->start(anna);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 6; }));
        for (const QString &path : QStringList(_daemon->paths)) {
            for (const QVariantList &arguments :
                 {QVariantList{}, QVariantList{1}, QVariantList{QStringLiteral("Mallory")},
                  QVariantList{2, 0, 7, type, local, QVariant::fromValue(uint(0))}}) {
                _daemon->emitSignal(path, QStringLiteral("ServiceBrowser"),
                                    QStringLiteral("ItemNew"), arguments);
                _daemon->emitSignal(path, QStringLiteral("ServiceResolver"),
                                    QStringLiteral("Found"), arguments);
                _daemon->emitSignal(path, QStringLiteral("RecordBrowser"),
                                    QStringLiteral("ItemNew"), arguments);
            }
        }
        _daemon->found(_daemon->paths[0], anna.name);
        QVERIFY(until([&] { return !browse.changes().isEmpty(); }));
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(resolution.count, 0);
        QCOMPARE(txt.records, QList<QByteArray>());
    }

    void theDaemonsOwnTimeLimitIsNotOurs() {
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 4; }));
        for (const QString &path : QStringList(_daemon->paths))
            _daemon->emitSignal(path, QStringLiteral("ServiceResolver"), QStringLiteral("Failure"),
                                {avahi + QStringLiteral(".TimeoutError")});
        QVERIFY(roundTrip());
        QCOMPARE(resolution.count, 0);
        _daemon->resolved(_daemon->paths[0], QStringLiteral("192.0.2.7"), 4711);
        QVERIFY(roundTrip());
        _loop.advance(0.3);
        QVERIFY(resolution.resolved);
    }

    void eachTransportIsAskedForEachKindOfAddress() {
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 4; }));
        QStringList asked;
        for (qsizetype call = 0; call < _daemon->calls.size(); ++call) {
            const QVariantList &arguments = _daemon->callArguments[call];
            if (_daemon->calls[call] == QStringLiteral("ServiceResolverPrepare"))
                asked += arguments[1].toString() + u'>' + arguments[5].toString();
        }
        asked.sort();
        QCOMPARE(asked, (QStringList{QStringLiteral("0>0"), QStringLiteral("0>1"),
                                     QStringLiteral("1>0"), QStringLiteral("1>1")}));
    }

    void aStoppedResolveForgetsWhatItHas() {
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 4; }));
        _daemon->resolved(_daemon->paths[0], QStringLiteral("192.0.2.7"), 4711);
        QVERIFY(roundTrip());
        resolution.resolver->stop();
        _loop.advance(20);
        QCOMPARE(resolution.count, 0);
    }

    void aResolveFailsWhenAllFourQuestionsAreRefused() {
        _daemon->errors.insert(QStringLiteral("ServiceResolverPrepare"),
                               QStringLiteral("TooManyObjectsError"));
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QVERIFY(until([&] { return resolution.count == 1; }));
        QCOMPARE(resolution.failure, QStringLiteral("TooManyObjectsError"));
    }

    void aRefusedPublicationIsAnErrorOnce_data() {
        QTest::addColumn<QString>("member");
        QTest::newRow("no group") << QStringLiteral("EntryGroupNew");
        QTest::newRow("no service") << QStringLiteral("AddService");
        QTest::newRow("no commit") << QStringLiteral("Commit");
    }
    void aRefusedPublicationIsAnErrorOnce() {
        QFETCH(QString, member);
        _daemon->errors.insert(member, QStringLiteral("NotPermittedError"));
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return !publication.errors.isEmpty(); }));
        _loop.advance(60);
        QVERIFY(roundTrip());
        QCOMPARE(publication.errors, QStringList{QStringLiteral("NotPermittedError")});
    }

    void aRefusedPublicationIsTriedAgainTenSecondsLater_data() {
        aRefusedPublicationIsAnErrorOnce_data();
    }
    void aRefusedPublicationIsTriedAgainTenSecondsLater() {
        QFETCH(QString, member);
        _daemon->errors.insert(member, QStringLiteral("NotPermittedError"));
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return !publication.errors.isEmpty(); }));
        _daemon->errors.clear();
        _daemon->afterCall = [&](const QString &called, const QString &path) {
            if (called == QStringLiteral("Commit"))
                _daemon->groupState(path, established);
        };
        _loop.advance(9.9);
        QVERIFY(roundTrip());
        QCOMPARE(_daemon->count(member), 1);
        _loop.advance(0.2);
        QVERIFY(until([&] { return !publication.names.isEmpty(); }));
        QCOMPARE(_daemon->count(member), 2);
        // What fails after a success is said again.
        _daemon->errors.insert(QStringLiteral("EntryGroupNew"), QStringLiteral("OtherError"));
        _daemon->groupState(
            _daemon->callPaths.at(_daemon->calls.lastIndexOf(QStringLiteral("Commit"))), 4);
        QVERIFY(until([&] { return publication.errors.size() == 2; }));
    }

    void aStoppedPublicationIsNotTriedAgain() {
        _daemon->errors.insert(QStringLiteral("AddService"), QStringLiteral("NotPermittedError"));
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return !publication.errors.isEmpty(); }));
        publication.publisher->stop();
        _loop.advance(60);
        QVERIFY(roundTrip());
        QCOMPARE(_daemon->count(QStringLiteral("AddService")), 1);
    }

    // The bus of this test refuses one more.
    void noMoreThanThirtyTwoCallsAreOpenAtOnce() {
        QCOMPARE(AvahiBusResponder::maximumOpenCalls, 32);
        _daemon->holds = true;
        std::vector<std::unique_ptr<Publication>> publications;
        for (int number = 0; number < 50; ++number) {
            publications.push_back(std::make_unique<Publication>(*_backend));
            publications.back()->publisher->start({QString::number(number), type, local}, 1,
                                                  QByteArray());
        }
        QVERIFY(until([&] { return _daemon->held.size() == 32; }));
        // Each answer lets one of those that wait go.
        _daemon->release(5);
        QVERIFY(until([&] { return _daemon->held.size() == 32; }));
        QCOMPARE(_daemon->count(QStringLiteral("EntryGroupNew")), 37);
        _daemon->afterCall = [&](const QString &called, const QString &path) {
            if (called == QStringLiteral("Commit"))
                _daemon->groupState(path, established);
        };
        _daemon->holds = false;
        _daemon->release(32);
        QVERIFY(until([&] {
            return std::all_of(publications.begin(), publications.end(), [](const auto &each) {
                return each->names.size() + each->errors.size() == 1;
            });
        }));
        for (int number = 0; number < 50; ++number) {
            QCOMPARE(publications[size_t(number)]->errors, QStringList());
            QCOMPARE(publications[size_t(number)]->names, QStringList{QString::number(number)});
        }
    }

    void aNameThatIsTakenLaterIsNumbered() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 1; }));
        _daemon->groupState(lastPath(), established);
        _daemon->groupState(lastPath(), 3); // a collision
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 2; }));
        _daemon->groupState(lastPath(), established);
        QVERIFY(until([&] { return publication.names.size() == 2; }));
        QCOMPARE(publication.names, (QStringList{anna.name, anna.name + QStringLiteral(" (2)")}));
    }

    void aRecordIsChangedOnceItsServiceIsOut() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, "\3a=1");
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Commit")) == 1; }));
        publication.publisher->setTxtRecord("\3a=2");
        QVERIFY(roundTrip());
        QCOMPARE(_daemon->count(QStringLiteral("UpdateServiceTxt")), 0);
        _daemon->groupState(_daemon->paths[0], established);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("UpdateServiceTxt")) == 1; }));
        publication.publisher->setTxtRecord("\3a=3");
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("UpdateServiceTxt")) == 2; }));
    }

    void fiftyNamesAreTried() {
        _daemon->errors.insert(QStringLiteral("AddService"), QStringLiteral("CollisionError"));
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return !publication.errors.isEmpty(); }));
        QCOMPARE(publication.errors, QStringList{QStringLiteral("every name is taken")});
        QCOMPARE(_daemon->count(QStringLiteral("AddService")), 50);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Free")) == 50; }));
    }

    void anObjectNotWantedAnyMoreWhenItComesIsFreed() {
        Browse browse(*_backend);
        QVERIFY(roundTrip());
        _daemon->beforeReply = [&](const QString &, const QString &) { browse.browser->stop(); };
        const qsizetype before = _daemon->paths.size();
        browse.browser->start(type);
        QVERIFY(until([&] {
            return _daemon->paths.size() == before + 1 && _daemon->callPaths.contains(lastPath());
        }));
        QCOMPARE(_daemon->callPaths.count(lastPath()), 1);
        QCOMPARE(_daemon->calls[_daemon->callPaths.indexOf(lastPath())], QStringLiteral("Free"));
    }

    void refusedBrowsingIsTriedAgainTenSecondsLater_data() {
        QTest::addColumn<QString>("member");
        QTest::newRow("browser") << QStringLiteral("ServiceBrowserPrepare");
        QTest::newRow("TXT watch") << QStringLiteral("RecordBrowserPrepare");
    }
    void refusedBrowsingIsTriedAgainTenSecondsLater() {
        QFETCH(QString, member);
        const auto kind = member.chopped(7); // without "Prepare"
        _daemon->errors.insert(member, QStringLiteral("TooManyObjectsError"));
        Browse browse(*_backend);
        TxtRecords txt(*_backend);
        const bool browsing = member == QStringLiteral("ServiceBrowserPrepare");
        QTest::ignoreMessage(QtWarningMsg,
                             browsing ? "cannot look for _clipmule-s2._tcp: TooManyObjectsError"
                                      : "cannot watch a TXT record: TooManyObjectsError");
        if (browsing)
            browse.browser->start(type);
        else
            txt.watch->start(anna);
        QVERIFY(until([&] { return _daemon->count(member) == 1; }));
        QVERIFY(roundTrip());
        _daemon->errors.clear();
        _loop.advance(9.9);
        QVERIFY(roundTrip());
        QCOMPARE(_daemon->count(member), 1);
        _loop.advance(0.2);
        QVERIFY(until([&] { return _daemon->count(member) == 2; }));
        QVERIFY(until([&] { return lastPath() == _daemon->callPaths.last(); }));
        QCOMPARE(_daemon->calls.last(), QStringLiteral("Start"));
        // The daemon may give up later as well.
        const QByteArray warning = browsing ? "cannot look for _clipmule-s2._tcp: gone"
                                            : "cannot watch a TXT record: gone";
        QTest::ignoreMessage(QtWarningMsg, warning.constData());
        _daemon->emitSignal(lastPath(), kind, QStringLiteral("Failure"), {QStringLiteral("gone")});
        QVERIFY(until([&] { return _daemon->calls.last() == QStringLiteral("Free"); }));
        _loop.advance(10.1);
        QVERIFY(until([&] { return _daemon->count(member) == 3; }));
    }

    void theFirstRecordIsReportedAndEachChange() {
        TxtRecords txt(*_backend);
        txt.watch->start(anna);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Start")) == 1; }));
        const auto record = [&](const QByteArray &data, int interface) {
            _daemon->emitSignal(lastPath(), QStringLiteral("RecordBrowser"),
                                QStringLiteral("ItemNew"),
                                {interface, 0, QStringLiteral("Anna._clipmule-s2._tcp.local"),
                                 QVariant::fromValue(ushort(1)), QVariant::fromValue(ushort(16)),
                                 data, QVariant::fromValue(uint(0))});
        };
        record("\3a=1", 2);
        record("\3a=1", 3);
        record("\3a=2", 2);
        record("\3a=2", 3);
        QVERIFY(until([&] { return txt.records.size() == 2; }));
        QVERIFY(until([&] { return true; }));
        QCOMPARE(txt.records, (QList<QByteArray>{"\3a=1", "\3a=2"}));
    }
};

QTEST_GUILESS_MAIN(AvahiBusTest)
#include "tst_avahibus.moc"
