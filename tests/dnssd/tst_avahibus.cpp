// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/backends/bus/AvahiBus.h"
#include "platform/dnssd/backends/bus/AvahiBusResponder.h"
#include "tests/dnssd/FakeAvahiDaemon.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/ManualRunLoop.h"

#include <QDBusMetaType>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::dnssd;
using namespace clipmule::dnssd::test;

namespace {

constexpr int patience = 20000;

} // namespace

// What the daemon says and when, in cases that a real one seldom makes or never; and what others
// say in its name. On a bus of its own, with a manual run loop.
class AvahiBusTest : public QObject {
    Q_OBJECT

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    QTemporaryDir _folder;
    const QString _configuration = _folder.filePath(QStringLiteral("bus.conf"));
    QProcess _bus;
    // Without the identity that each bus gives itself.
    const QString _address = QStringLiteral("unix:path=") + _folder.filePath(QStringLiteral("bus"));
    std::unique_ptr<FakeAvahiDaemon> _daemon;
    AvahiBusResponder *_responder = nullptr;
    std::unique_ptr<Discovery> _backend;

    /// Lets the bus and the run loop work until something is so. No time passes.
    [[nodiscard]] bool until(const std::function<bool()> &condition) {
        return QTest::qWaitFor(
            [&] {
                _loop.runOnce();
                return condition();
            },
            patience);
    }

    /// Until the daemon has been asked for something more, after all that was under way.
    [[nodiscard]] bool roundTrip() {
        Resolution probe(*_backend);
        const qsizetype before = _daemon->calls.size();
        probe.resolver->start({QStringLiteral("Probe"), type, local}, RunLoop::Seconds(1000));
        return until(
            [&] { return _daemon->calls.mid(before).count(QStringLiteral("Start")) == 4; });
    }

    void startBus() {
        _bus.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--config-file=") + _configuration, QStringLiteral("--nofork"),
                    QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    }

    /// The path of the object that was made last.
    [[nodiscard]] QString lastPath() const { return _daemon->paths.value(_daemon->objects - 1); }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qDBusRegisterMetaType<QByteArrayList>();
        QFile configuration(_configuration);
        QVERIFY(configuration.open(QIODevice::WriteOnly));
        configuration.write("<!DOCTYPE busconfig PUBLIC "
                            "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
                            "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
                            "<busconfig><listen>" +
                            _address.toUtf8() +
                            "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                            "<allow user=\"*\"/><allow own=\"*\"/>"
                            "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                            "<allow eavesdrop=\"true\"/></policy>"
                            "<limit name=\"max_replies_per_connection\">" +
                            QByteArray::number(AvahiBus::maximumOpenCalls) +
                            "</limit></busconfig>");
        configuration.close();
        startBus();
        QTRY_VERIFY_WITH_TIMEOUT(_bus.canReadLine(), patience);
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", _address.toUtf8());
    }

    void cleanupTestCase() {
        _bus.terminate();
        _bus.waitForFinished();
    }

    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _daemon = std::make_unique<FakeAvahiDaemon>(_address);
        _daemon->appear();
        auto responder = std::make_unique<AvahiBusResponder>();
        _responder = responder.get();
        _backend = std::make_unique<Discovery>(std::move(responder));
    }

    void cleanup() {
        _backend.reset();
        _daemon.reset();
    }

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
        static_assert(AvahiBus::maximumHeldSignals == 4000);
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
        QCOMPARE(AvahiBus::maximumOpenCalls, 32);
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

    void fiftyNamesAreTried() {
        _daemon->errors.insert(QStringLiteral("AddService"), QStringLiteral("CollisionError"));
        Publication publication(*_backend);
        publication.publisher->start(anna, 1, QByteArray());
        QVERIFY(until([&] { return !publication.errors.isEmpty(); }));
        QCOMPARE(publication.errors, QStringList{QStringLiteral("every name is taken")});
        QCOMPARE(_daemon->count(QStringLiteral("AddService")), 50);
        QVERIFY(until([&] { return _daemon->count(QStringLiteral("Free")) == 50; }));
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

    void refusedBrowsingIsTriedAgainTenSecondsLater_data() {
        QTest::addColumn<QString>("member");
        QTest::newRow("browser") << QStringLiteral("ServiceBrowserPrepare");
        QTest::newRow("TXT watch") << QStringLiteral("RecordBrowserPrepare");
    }
    void refusedBrowsingIsTriedAgainTenSecondsLater() {
        QFETCH(QString, member);
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
