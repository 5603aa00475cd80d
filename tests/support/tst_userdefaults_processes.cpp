// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKNotificationCenter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QTest>

using namespace clipmule;

namespace {

const QString domain = QStringLiteral("com.zendrik.Test");
const QString key = QStringLiteral("showStatus");
const QString otherKey = QStringLiteral("serverServices");
const QString keyEntry = QStringLiteral("gUserDefaultsKey");
const QString valueEntry = QStringLiteral("gUserDefaultsValue");
const QString idEntry = QStringLiteral("gUUIDDefaultsKey");
const QString distributedName =
    QStringLiteral("ZRKUserDefaultsDidChangeNotification.com.zendrik.Test");

} // namespace

// What two processes hear of each other.
class UserDefaultsProcessesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop.advance(60.0); // what the test before left undone
        _session = std::make_unique<kit::UserSession>();
        _agent = std::make_unique<kit::Process>(*_session);
        _panel = std::make_unique<kit::Process>(*_session);
    }

private Q_SLOTS:
    void aWriteReachesTheOtherProcessAfterATwentiethOfASecond() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        agent->listenForChanges();
        panel->listenForChanges();
        QVERIFY(panel->setObjectForKey(QStringLiteral("on"), key));
        QCOMPARE(_panel->changes.notifications.size(), 1);
        _runLoop.advance(0.04);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(QStringLiteral("on"))));
        QCOMPARE(_agent->changes.notifications.size(), 0);
        _runLoop.advance(0.02);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        const Notification &change = _agent->changes.notifications[0];
        QVERIFY(change.object == agent);
        QCOMPARE(change.userInfo, _panel->changes.notifications[0].userInfo);
        // The writer has heard its own and passed it over.
        _runLoop.advance(1.0);
        QCOMPARE(_panel->changes.notifications.size(), 1);
        QCOMPARE(_agent->changes.notifications.size(), 1);
    }

    void aReceiverReadsTheDatabaseAndWritesNothing() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        const auto panel = _panel->open(domain);
        const int reads = _session->database.readCount();
        QVERIFY(panel->setObjectForKey(true, key));
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_session->database.readCount(), reads + 1);
        QCOMPARE(_agent->distributed.posted().size(), 0);
    }

    void whatNoFileHoldsIsNotSet() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        _panel->distributed.post(
            distributedName, ZRKUserDefaultsDidChangeNotification,
            {{keyEntry, key}, {valueEntry, 1}, {idEntry, QStringLiteral("X")}});
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::nullopt);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_agent->changes.notifications[0].userInfo,
                 (PropertyList::Dictionary{{keyEntry, key}}));
    }

    void whatAFileHoldsIsSetWhateverTheSignalSays_data() {
        QTest::addColumn<bool>("hasValue");
        QTest::newRow("another value") << true;
        QTest::newRow("a removal") << false;
    }
    void whatAFileHoldsIsSetWhateverTheSignalSays() {
        QFETCH(bool, hasValue);
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        QVERIFY(_session->database.setValue(domain, key, 2));
        PropertyList::Dictionary userInfo{{keyEntry, key}};
        if (hasValue)
            userInfo.insert(valueEntry, 1);
        _panel->distributed.post(distributedName, ZRKUserDefaultsDidChangeNotification, userInfo);
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(2)));
        QCOMPARE(_agent->changes.notifications[0].userInfo,
                 (PropertyList::Dictionary{{keyEntry, key}, {valueEntry, 2}}));
    }

    void aRemovalFollowedByAWriteKeepsTheWrite() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        QVERIFY(agent->setObjectForKey(1, key));
        agent->removeObjectForKey(key);
        QVERIFY(agent->setObjectForKey(2, key));
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(2)));
    }

    void crossingWritesEndAlike() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        agent->listenForChanges();
        panel->listenForChanges();
        QVERIFY(agent->setObjectForKey(1, key));
        QVERIFY(panel->setObjectForKey(2, key));
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(2)));
        QCOMPARE(panel->objectForKey(key), std::optional(PropertyList(2)));
    }

    void aRemovalReachesTheWriterASecondTime() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        QVERIFY(panel->setObjectForKey(true, key));
        agent->reset();
        agent->listenForChanges();
        panel->listenForChanges();
        _runLoop.advance(1.0);
        _panel->changes.notifications.clear();
        panel->removeObjectForKey(key);
        QCOMPARE(_panel->changes.notifications.size(), 1);
        _runLoop.advance(0.1);
        QCOMPARE(agent->objectForKey(key), std::nullopt);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_panel->changes.notifications.size(), 2);
        const PropertyList::Dictionary keyAlone{{keyEntry, key}};
        QCOMPARE(_panel->changes.notifications[1].userInfo, keyAlone);
        QVERIFY(_panel->changes.notifications[1].object == panel);
    }

    void aBurstGivesOneNotificationWithTheLastChange() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        const auto panel = _panel->open(domain);
        QVERIFY(panel->setObjectForKey(1, key));
        _runLoop.advance(0.04);
        QVERIFY(panel->setObjectForKey(2, otherKey));
        _runLoop.advance(0.04);
        QVERIFY(panel->setObjectForKey(3, key));
        _runLoop.advance(0.04);
        QCOMPARE(_agent->changes.notifications.size(), 0);
        _runLoop.advance(0.02);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        QCOMPARE(_agent->changes.notifications[0].userInfo.value(valueEntry), PropertyList(3));
        QCOMPARE(agent->integerForKey(key), 3);
        QCOMPARE(agent->integerForKey(otherKey), 2);
    }

    void aRemoteChangePutsOffOurOwnFlush() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        const auto panel = _panel->open(domain);
        QVERIFY(agent->setObjectForKey(1, otherKey));
        _runLoop.advance(1.0);
        QVERIFY(panel->setObjectForKey(2, key));
        _runLoop.advance(60.0);
        // The panel's own flush, and not the agent's.
        QCOMPARE(_session->database.synchronized(), QStringList{domain});
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
        QCOMPARE(_session->database.synchronized().size(), 2);
        // The next write has its flush as ever.
        QVERIFY(agent->setObjectForKey(3, otherKey));
        _runLoop.advance(5.0);
        QCOMPARE(_session->database.synchronized().size(), 3);
    }

    void aWriteOfOurOwnDoesNotPutOffTheRemoteChange() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        const auto panel = _panel->open(domain);
        QVERIFY(panel->setObjectForKey(1, key));
        _runLoop.advance(0.04);
        QVERIFY(agent->setObjectForKey(2, otherKey));
        QCOMPARE(_agent->changes.notifications.size(), 1);
        _runLoop.advance(0.02);
        QCOMPARE(_agent->changes.notifications.size(), 2);
    }

    void whoDoesNotListenHearsNothing() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        QVERIFY(panel->setObjectForKey(1, key));
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::nullopt);
        QCOMPARE(_agent->changes.notifications.size(), 0);
        agent->listenForChanges();
        agent->listenForChanges();
        QVERIFY(panel->setObjectForKey(2, key));
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        agent->stopListening();
        QVERIFY(panel->setObjectForKey(3, key));
        _runLoop.advance(1.0);
        QCOMPARE(agent->integerForKey(key), 2);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        agent->reset();
        QCOMPARE(agent->integerForKey(key), 3);
    }

    void domainsDoNotHearEachOther() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        QVERIFY(_panel->open(domain + QStringLiteral(".stats"))->setObjectForKey(1, key));
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::nullopt);
        QCOMPARE(_agent->changes.notifications.size(), 0);
    }

    void foreignUserInfoIsChecked_data() {
        QTest::addColumn<PropertyList>("userInfo");
        QTest::addColumn<int>("notifications");
        using Dictionary = PropertyList::Dictionary;
        QTest::newRow("nothing") << PropertyList(Dictionary{}) << 0;
        QTest::newRow("no key") << PropertyList(Dictionary{{valueEntry, 1}}) << 0;
        QTest::newRow("a key that is no text")
            << PropertyList(Dictionary{{keyEntry, 7}, {valueEntry, 1}}) << 0;
        QTest::newRow("an id that is no text")
            << PropertyList(Dictionary{{keyEntry, key}, {valueEntry, 1}, {idEntry, 7}}) << 1;
        QTest::newRow("no id") << PropertyList(Dictionary{{keyEntry, key}, {valueEntry, 1}}) << 1;
    }
    void foreignUserInfoIsChecked() {
        QFETCH(PropertyList, userInfo);
        QFETCH(int, notifications);
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        QVERIFY(_session->database.setValue(domain, key, 1));
        _panel->distributed.post(distributedName, QString(), userInfo.dictionary());
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), notifications);
        QCOMPARE(agent->dictionaryRepresentation().size(), notifications);
    }

    // A bus that was gone for a while told nobody.
    void whatChangedUnheardIsReadAgain() {
        const QString added = QStringLiteral("added");
        const QString removed = QStringLiteral("removed");
        const QString same = QStringLiteral("same");
        for (const QString &each : {key, removed, same})
            QVERIFY(_session->database.setValue(domain, each, 1));
        const auto store = _agent->open(domain);
        _agent->distributed.comeBack(); // not listening yet
        store->listenForChanges();
        QVERIFY(_session->database.setValue(domain, key, 2));
        QVERIFY(_session->database.setValue(domain, added, 3));
        QVERIFY(_session->database.setValue(domain, removed, std::nullopt));
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(1)));
        _agent->distributed.comeBack();
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(2)));
        QCOMPARE(store->objectForKey(added), std::optional(PropertyList(3)));
        QCOMPARE(store->objectForKey(removed), std::nullopt);
        PropertyList::List told;
        for (const Notification &change : _agent->changes.notifications) {
            QVERIFY(change.object == store);
            told.append(change.userInfo);
        }
        const PropertyList::List expected{
            PropertyList::Dictionary{{keyEntry, added}, {valueEntry, 3}},
            PropertyList::Dictionary{{keyEntry, key}, {valueEntry, 2}},
            PropertyList::Dictionary{{keyEntry, removed}}};
        QCOMPARE(told.size(), 3);
        for (const PropertyList &each : expected)
            QVERIFY(told.contains(each));
        QCOMPARE(_agent->distributed.posted().size(), 0);
        _agent->distributed.comeBack();
        QCOMPARE(_agent->changes.notifications.size(), 3);
    }

    void anObserverMayLetGoOfAStoreThatReadsAgain() {
        auto store = _agent->open(domain);
        store->listenForChanges();
        const QString other = QStringLiteral("other");
        for (const QString &each : {key, other})
            QVERIFY(_session->database.setValue(domain, each, 1));
        _agent->changes.then = [&store] { store.reset(); };
        _agent->distributed.comeBack();
        QCOMPARE(_agent->changes.notifications.size(), 2);
        QVERIFY(!store);
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _agent;
    std::unique_ptr<kit::Process> _panel;
};

QTEST_GUILESS_MAIN(UserDefaultsProcessesTest)
#include "tst_userdefaults_processes.moc"
