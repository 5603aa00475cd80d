// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/desktop/DesktopNotifications.h"
#include "platform/session/Session.h"
#include "platform/session/SessionPrograms.h"
#include "platform/tray/StatusItem.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/services/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

/// Somebody with a name on the bus who says what a test tells it to.
class Peer final : public QDBusVirtualObject {
public:
    [[nodiscard]] bool start(const QString &name) {
        return _bus.open() &&
               QDBusConnection(_bus.connection())
                   .registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath) &&
               _bus.connection().interface()->registerService(name).isValid();
    }
    void stop() { _bus.close(); }
    void emitSignal(const QString &name) {
        QDBusConnection(_bus.connection())
            .send(QDBusMessage::createSignal(watcherPath, watcherName, name));
    }

    [[nodiscard]] QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &bus) override {
        if (message.member() == u"GetCapabilities") {
            ++timesAsked;
            QDBusConnection(bus).send(
                knowsItself ? message.createReply(capabilities)
                            : message.createErrorReply(QDBusError::UnknownMethod, QString()));
            return true;
        }
        messages.append(message);
        if (message.member() == u"Notify")
            QDBusConnection(bus).send(message.createReply(uint(messages.size() + 6)));
        else if (!silent)
            QDBusConnection(bus).send(
                message.createReply(QVariant::fromValue(QDBusVariant(hostIsThere))));
        return true;
    }

    bool hostIsThere = false;
    bool silent = false;
    QList<QDBusMessage> messages;
    // Of a server of notifications; without them it does not know the question.
    QStringList capabilities;
    bool knowsItself = true;
    int timesAsked = 0;

private:
    BusConnection _bus{BusConnection::Bus::Session};
};

} // namespace

class NotifierHostWatchTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QVERIFY(_bus.start());
        _watch = makeNotifierHostWatch();
        _changes = 0;
    }

    void end() override {
        _watch.reset();
        _bus.stop();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        qputenv("DBUS_SESSION_BUS_ADDRESS", _bus.address().toUtf8());
    }
    void findsAHostThatIsThere() {
        Peer watcher;
        watcher.hostIsThere = true;
        QVERIFY(watcher.start(watcherName));
        start();
        QVERIFY(!_watch->isPresent());
        QTRY_VERIFY(_watch->isPresent());
        QCOMPARE(_changes, 1);
    }

    void findsAHostThatComesLater() {
        start();
        Peer watcher;
        watcher.hostIsThere = true;
        QVERIFY(watcher.start(watcherName));
        QTRY_VERIFY(_watch->isPresent());
    }

    void aWatcherWithoutAHostIsNotEnough() {
        Peer watcher;
        QVERIFY(watcher.start(watcherName));
        start();
        QTRY_COMPARE(watcher.messages.size(), 1);
        QTRY_VERIFY(_runLoop.pendingCount() > 0);
        QVERIFY(!_watch->isPresent());
        watcher.hostIsThere = true;
        watcher.emitSignal(QStringLiteral("StatusNotifierHostRegistered"));
        QTRY_VERIFY(_watch->isPresent());
    }

    // Not every watcher announces its hosts: it is asked again, every quarter of a second, for
    // five seconds.
    void aWatcherThatDoesNotAnnounceItsHostIsAskedAgain() {
        Peer watcher;
        QVERIFY(watcher.start(watcherName));
        start();
        QTRY_VERIFY(_runLoop.pendingCount() > 0);
        watcher.hostIsThere = true;
        _runLoop.advance(0.25);
        QTRY_VERIFY(_watch->isPresent());
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void thenNoTimerIsLeft() {
        Peer watcher;
        QVERIFY(watcher.start(watcherName));
        start();
        for (int question = 1; question < 20; ++question) {
            QTRY_VERIFY(_runLoop.pendingCount() > 0);
            _runLoop.advance(0.25);
        }
        QTRY_COMPARE(watcher.messages.size(), 20);
        watcher.emitSignal(QStringLiteral("StatusNotifierHostRegistered"));
        // The signal's question follows those before it, so that there is none between them.
        QTRY_COMPARE(watcher.messages.size(), 21);
    }

    void nobodyIsAskedAgainWhereThereIsNoWatcher() {
        start();
        // A watcher that comes and goes: by the news of that the first answer has come as well.
        Peer watcher;
        watcher.hostIsThere = true;
        QVERIFY(watcher.start(watcherName));
        QTRY_VERIFY(_watch->isPresent());
        watcher.stop();
        QTRY_VERIFY(!_watch->isPresent());
        QCOMPARE(_runLoop.pendingCount(), 0);
        // And one that was never there: its answer comes before that of a question put later.
        auto second = makeNotifierHostWatch();
        second->start([] {});
        BusConnection later{BusConnection::Bus::Session};
        QVERIFY(later.open());
        QVERIFY(!later.connection().interface()->isServiceRegistered(watcherName).value());
        QCoreApplication::processEvents();
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void aHostThatHangsIsNoHost() {
        Peer watcher;
        watcher.silent = true;
        QVERIFY(watcher.start(watcherName));
        start();
        QTRY_COMPARE(watcher.messages.size(), 1);
        QVERIFY(!_watch->isPresent());
        QCOMPARE(_changes, 0);
    }

    void noticesThatItGoesAndComesBack() {
        auto watcher = std::make_unique<Peer>();
        watcher->hostIsThere = true;
        QVERIFY(watcher->start(watcherName));
        start();
        QTRY_VERIFY(_watch->isPresent());
        watcher.reset();
        QTRY_VERIFY(!_watch->isPresent());
        watcher = std::make_unique<Peer>();
        watcher->hostIsThere = true;
        QVERIFY(watcher->start(watcherName));
        QTRY_VERIFY(_watch->isPresent());
        QCOMPARE(_changes, 3);
    }

    void noticesThatTheBusGoesAndComesBack() {
        auto watcher = std::make_unique<Peer>();
        watcher->hostIsThere = true;
        QVERIFY(watcher->start(watcherName));
        start();
        QTRY_VERIFY(_watch->isPresent());
        _bus.stop();
        QTRY_VERIFY(!_watch->isPresent());
        QVERIFY(_bus.start());
        watcher = std::make_unique<Peer>();
        watcher->hostIsThere = true;
        QVERIFY(watcher->start(watcherName));
        _runLoop.advance(BusConnection::retryInterval);
        QTRY_VERIFY(_watch->isPresent());
    }

    void noConnectionIsNoWatch() { QVERIFY(!makeEmbeddingTrayWatch({})); }

    void aProgramIsActivatedByItsName() {
        const auto programs = makeSessionPrograms();
        Peer program;
        QVERIFY(program.start(QStringLiteral("org.example.Some-Program")));
        programs->activate(QStringLiteral("org.example.Some-Program"), {});
        QTRY_COMPARE(program.messages.size(), 1);
        const QDBusMessage &call = program.messages.constFirst();
        QCOMPARE(call.path(), QStringLiteral("/org/example/Some_Program"));
        QCOMPARE(call.interface(), QStringLiteral("org.freedesktop.Application"));
        QCOMPARE(call.member(), QStringLiteral("Activate"));
        QCOMPARE(call.signature(), QStringLiteral("a{sv}"));
    }

    // The arguments are: who, the number of the one to replace, icon, title, text, buttons, hints,
    // and how long, in milliseconds.
    void aMessageIsShownByTheDesktopInPlaceOfTheLastOne() {
        Peer desktop;
        desktop.capabilities = {QStringLiteral("body"), QStringLiteral("body-markup")};
        QVERIFY(desktop.start(QStringLiteral("org.freedesktop.Notifications")));
        const auto notifications = makeDesktopNotifications();
        notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("<b> & more"));
        QTRY_COMPARE(desktop.messages.size(), 1);
        const QDBusMessage first = desktop.messages.constFirst();
        QCOMPARE(first.path(), QStringLiteral("/org/freedesktop/Notifications"));
        QCOMPARE(first.signature(), QStringLiteral("susssasa{sv}i"));
        QCOMPARE(first.arguments().at(1).toUInt(), 0U);
        QCOMPARE(first.arguments().at(3).toString(), QStringLiteral("Clipmule Sync"));
        QCOMPARE(first.arguments().at(4).toString(), QStringLiteral("&lt;b&gt; &amp; more"));
        QCOMPARE(first.arguments().at(7).toInt(), 5000);
        // The desktop's answer to the first one, which may take its time.
        const auto isReplaced = [&notifications, &desktop] {
            notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("next"));
            const qsizetype before = desktop.messages.size();
            return QTest::qWaitFor([&] { return desktop.messages.size() > before; }) &&
                   desktop.messages.constLast().arguments().at(1).toUInt() >= 7U;
        };
        QTRY_VERIFY(isReplaced());
        QCOMPARE(desktop.timesAsked, 1);
    }

    void aDesktopWithoutMarkupGetsTheTextAsItIs() {
        Peer desktop;
        desktop.capabilities = {QStringLiteral("body")};
        QVERIFY(desktop.start(QStringLiteral("org.freedesktop.Notifications")));
        const auto notifications = makeDesktopNotifications();
        notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("<b> & more"));
        QTRY_COMPARE(desktop.messages.size(), 1);
        QCOMPARE(desktop.messages.constFirst().arguments().at(4).toString(),
                 QStringLiteral("<b> & more"));
    }

    void aDesktopThatDoesNotTellWhatItCanGetsTheMessageToo() {
        Peer desktop;
        desktop.knowsItself = false;
        QVERIFY(desktop.start(QStringLiteral("org.freedesktop.Notifications")));
        const auto notifications = makeDesktopNotifications();
        notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("<b>"));
        QTRY_COMPARE(desktop.messages.size(), 1);
        QCOMPARE(desktop.messages.constFirst().arguments().at(4).toString(),
                 QStringLiteral("&lt;b&gt;"));
        notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("more"));
        QTRY_COMPARE(desktop.messages.size(), 2);
        QCOMPARE(desktop.timesAsked, 2);
    }

    void withoutADesktopAMessageIsLost() {
        const auto notifications = makeDesktopNotifications();
        notifications->notify(QStringLiteral("Clipmule Sync"), QStringLiteral("nobody reads this"));
        _bus.stop();
        makeDesktopNotifications()->notify(QStringLiteral("Clipmule Sync"), QString());
    }

    void aProgramThatTheBusDoesNotKnowIsStarted() {
        const QTemporaryDir folder;
        const QString executable = folder.filePath(QStringLiteral("program"));
        QFile script(executable);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nmkdir \"$0-was-started\"\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        const auto programs = makeSessionPrograms();
        programs->activate(QStringLiteral("org.example.Unknown"), executable);
        QTRY_VERIFY(QFile::exists(executable + QStringLiteral("-was-started")));
    }

private:
    void start() {
        _watch->start([this] { ++_changes; });
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::PrivateBus _bus;
    std::unique_ptr<TrayWatch> _watch;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(NotifierHostWatchTest)
#include "tst_notifierhostwatch.moc"
