// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKNotificationCenter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/support/TestStores.h"

#include <QRegularExpression>
#include <QTest>
#include <QUuid>

#include <limits>

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

// Reading, writing, and what two processes hear of each other.
class UserDefaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _runLoop.advance(60.0); // what the test before left undone
        _session = std::make_unique<kit::UserSession>();
        _agent = std::make_unique<kit::Process>(*_session);
        _panel = std::make_unique<kit::Process>(*_session);
    }

    // Reading.

    void aStoreBeginsWithWhatTheDomainHolds() {
        _session->database.setValue(domain, key, true);
        const auto store = _agent->open(domain);
        QCOMPARE(store->identifier(), domain);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(true)));
        QCOMPARE(store->objectForKey(otherKey), std::nullopt);
    }

    void aMissingDomainIsEmpty() {
        QVERIFY(_agent->open(domain)->dictionaryRepresentation().isEmpty());
    }

    void valuesAreReturnedWhateverTheirKind() {
        const auto store = _agent->open(domain);
        store->setObjectForKey(PropertyList(7), key);
        const std::optional<PropertyList> seven = PropertyList(7);
        QCOMPARE(store->stringForKey(key), seven);
        QCOMPARE(store->arrayForKey(key), seven);
        QCOMPARE(store->dictionaryForKey(key), seven);
        QCOMPARE(store->dataForKey(key), seven);
        QCOMPARE(store->stringArrayForKey(key), seven);
        QCOMPARE(store->stringForKey(otherKey), std::nullopt);
    }

    void numbersAreReadFromValues_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<qint32>("integer");
        QTest::addColumn<float>("real");
        QTest::addColumn<bool>("truth");
        QTest::newRow("true") << PropertyList(true) << 1 << 1.0F << true;
        QTest::newRow("false") << PropertyList(false) << 0 << 0.0F << false;
        QTest::newRow("integer") << PropertyList(-7) << -7 << -7.0F << true;
        QTest::newRow("largest 32 bits")
            << PropertyList(2147483647) << 2147483647 << 2147483647.0F << true;
        QTest::newRow("wider than 32 bits")
            << PropertyList(qint64(4294967298)) << 2 << 4294967298.0F << true;
        QTest::newRow("unsigned 64 bits")
            << PropertyList(~quint64(0)) << -1 << 18446744073709551615.0F << true;
        QTest::newRow("real") << PropertyList(2.75) << 2 << 2.75F << true;
        QTest::newRow("large real")
            << PropertyList(1e12) << std::numeric_limits<qint32>::max() << 1e12F << true;
        QTest::newRow("digits") << PropertyList(QStringLiteral("12 apples")) << 12 << 12.0F << true;
        QTest::newRow("too many digits")
            << PropertyList(QStringLiteral("99999999999")) << std::numeric_limits<qint32>::max()
            << 99999999999.0F << true;
        QTest::newRow("YES") << PropertyList(QStringLiteral("YES")) << 0 << 0.0F << true;
        QTest::newRow("a word") << PropertyList(QStringLiteral("no")) << 0 << 0.0F << false;
        // Somebody edited the file by hand: no number, no harm.
        QTest::newRow("list") << PropertyList(PropertyList::List{1}) << 0 << 0.0F << false;
        QTest::newRow("data") << PropertyList(QByteArray("1")) << 0 << 0.0F << false;
        QTest::newRow("date") << PropertyList(Date{1}) << 0 << 0.0F << false;
    }
    void numbersAreReadFromValues() {
        QFETCH(PropertyList, value);
        const auto store = _agent->open(domain);
        store->setObjectForKey(value, key);
        QTEST(store->integerForKey(key), "integer");
        QTEST(store->floatForKey(key), "real");
        QTEST(store->boolForKey(key), "truth");
    }

    void whatIsMissingReadsAsZero() {
        const auto store = _agent->open(domain);
        QCOMPARE(store->integerForKey(key), 0);
        QCOMPARE(store->floatForKey(key), 0.0F);
        QCOMPARE(store->boolForKey(key), false);
        QVERIFY(!store->colorForKey(key));
        QVERIFY(!store->fontForKey(key));
        QVERIFY(!store->selectorForKey(key).isValid());
        QVERIFY(store->selectorForKey(key).name().isEmpty());
    }

    void readsDoNotTouchTheDatabase() {
        const auto store = _agent->open(domain);
        QCOMPARE(_session->database.readCount(), 1);
        static_cast<void>(store->objectForKey(key));
        static_cast<void>(store->boolForKey(key));
        static_cast<void>(store->dictionaryRepresentation());
        store->setObjectForKey(true, key);
        QCOMPARE(_session->database.readCount(), 1);
        store->reset();
        QCOMPARE(_session->database.readCount(), 2);
    }

    void coloursAreReadFromTextsAndDictionaries_data() {
        QTest::addColumn<PropertyList>("value");
        QTest::addColumn<QList<float>>("color"); // red, green, blue, alpha; empty for none
        using Dictionary = PropertyList::Dictionary;
        QTest::newRow("opaque red")
            << PropertyList(QStringLiteral("1 0 0 1")) << QList<float>{1, 0, 0, 1};
        QTest::newRow("fractions") << PropertyList(QStringLiteral("0.25 0.5 0.75 1.0"))
                                   << QList<float>{0.25F, 0.5F, 0.75F, 1};
        QTest::newRow("only the first four")
            << PropertyList(QStringLiteral("0 1 0 1 0.5")) << QList<float>{0, 1, 0, 1};
        QTest::newRow("two spaces are an empty part")
            << PropertyList(QStringLiteral("1  1 1")) << QList<float>{1, 0, 1, 1};
        QTest::newRow("words are zero")
            << PropertyList(QStringLiteral("red green blue 1")) << QList<float>{0, 0, 0, 1};
        QTest::newRow("bounded") << PropertyList(QStringLiteral("7 -1 0 1"))
                                 << QList<float>{1, 0, 0, 1};
        QTest::newRow("three parts") << PropertyList(QStringLiteral("1 0 0")) << QList<float>{};
        QTest::newRow("empty text") << PropertyList(QString()) << QList<float>{};
        QTest::newRow("dictionary")
            << PropertyList(Dictionary{{QStringLiteral("Red"), 0.5},
                                       {QStringLiteral("Green"), 1},
                                       {QStringLiteral("Blue"), QStringLiteral("0.25")},
                                       {QStringLiteral("Alpha"), true}})
            << QList<float>{0.5F, 1, 0.25F, 1};
        QTest::newRow("missing entries are zero")
            << PropertyList(Dictionary{{QStringLiteral("Red"), 1},
                                       {QStringLiteral("Green"), PropertyList::List{}}})
            << QList<float>{1, 0, 0, 0};
        QTest::newRow("no number")
            << PropertyList(QStringLiteral("nan inf 0 1")) << QList<float>{0, 1, 0, 1};
        QTest::newRow("no archive") << PropertyList(QByteArray("1 0 0 1")) << QList<float>{};
        QTest::newRow("number") << PropertyList(1) << QList<float>{};
        QTest::newRow("list") << PropertyList(PropertyList::List{1, 0, 0, 1}) << QList<float>{};
    }
    void coloursAreReadFromTextsAndDictionaries() {
        QFETCH(PropertyList, value);
        QFETCH(QList<float>, color);
        const auto store = _agent->open(domain);
        store->setObjectForKey(value, key);
        const auto found = store->colorForKey(key);
        QCOMPARE(found.has_value(), !color.isEmpty());
        if (found)
            QCOMPARE(*found, (ArchivedColor{color[0], color[1], color[2], color[3]}));
    }

    void coloursAndFontsAreKeptAsArchives() {
        const auto store = _agent->open(domain);
        const ArchivedColor color{0.25F, 0.5F, 1.5F, 0.75F};
        store->setColorForKey(color, key);
        QCOMPARE(store->objectForKey(key),
                 std::optional(PropertyList(ColorArchive::archivedData(color))));
        QVERIFY(store->colorForKey(key) == color);
        QVERIFY(!store->fontForKey(key)); // a colour is no font
        const ArchivedFont font{QStringLiteral("Menlo-Regular"), 11};
        store->setFontForKey(font, key);
        QCOMPARE(store->objectForKey(key),
                 std::optional(PropertyList(FontArchive::archivedData(font))));
        QVERIFY(store->fontForKey(key) == font);
        QVERIFY(!store->colorForKey(key));
        store->setObjectForKey(QByteArray("no archive"), key);
        QVERIFY(!store->fontForKey(key));
        store->setObjectForKey(QStringLiteral("Menlo-Regular"), key);
        QVERIFY(!store->fontForKey(key));
    }

    void selectorsAreKeptByName() {
        const auto store = _agent->open(domain);
        store->setSelectorForKey(selector<&kit::ChangeLog::changed>("changed"), key);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(QStringLiteral("changed"))));
        QVERIFY(store->selectorForKey(key) == selector<&kit::ChangeLog::changed>("changed"));
        store->setObjectForKey(PropertyList(7), key);
        QVERIFY(store->selectorForKey(key).name().isEmpty());
    }

    // Writing.

    void aWriteIsInTheDatabaseAtOnce() {
        const auto store = _agent->open(domain);
        store->setObjectForKey(QStringLiteral("value"), key);
        QCOMPARE(_session->database.copyMultiple(domain).value(key),
                 PropertyList(QStringLiteral("value")));
        store->setObjectForKey(std::nullopt, key);
        QVERIFY(_session->database.copyMultiple(domain).isEmpty());
        QCOMPARE(store->objectForKey(key), std::nullopt);
    }

    void numbersAreWrittenAsSuch() {
        const auto store = _agent->open(domain);
        store->setBoolForKey(true, key);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(true)));
        store->setFloatForKey(0.1F, key);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(double(0.1F))));
        store->setIntegerForKey(-7, key);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(-7)));
        store->setIntegerForKey(2147483647, key);
        QCOMPARE(store->integerForKey(key), 2147483647);
        store->setIntegerForKey(2147483648, key); // one above 32 bits
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(-2147483647 - 1)));
    }

    void aWriteIsAnnouncedAtOnce() {
        const auto store = _agent->open(domain);
        store->setObjectForKey(true, key);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        const Notification &change = _agent->changes.notifications[0];
        QCOMPARE(change.name, QStringLiteral("ZRKUserDefaultsDidChangeNotification"));
        QVERIFY(change.object == store);
        QCOMPARE(change.userInfo.size(), 3);
        QCOMPARE(change.userInfo.value(keyEntry), PropertyList(key));
        QCOMPARE(change.userInfo.value(valueEntry), PropertyList(true));
        const QString id = change.userInfo.value(idEntry).string();
        QVERIFY(!QUuid::fromString(id).isNull());
        QCOMPARE(id, QUuid::fromString(id).toString(QUuid::WithoutBraces).toUpper());

        QCOMPARE(_agent->distributed.posted().size(), 1);
        const auto &posted = _agent->distributed.posted()[0];
        QCOMPARE(posted.name, distributedName);
        QCOMPARE(posted.object, QStringLiteral("ZRKUserDefaultsDidChangeNotification"));
        QCOMPARE(posted.userInfo, change.userInfo);
    }

    // A bus that was gone for a while told nobody.
    void whatChangedUnheardIsReadAgain() {
        const QString added = QStringLiteral("added");
        const QString removed = QStringLiteral("removed");
        const QString same = QStringLiteral("same");
        for (const QString &each : {key, removed, same})
            _session->database.setValue(domain, each, 1);
        const auto store = _agent->open(domain);
        _agent->distributed.comeBack(); // not listening yet
        store->listenForChanges();
        _session->database.setValue(domain, key, 2);
        _session->database.setValue(domain, added, 3);
        _session->database.setValue(domain, removed, std::nullopt);
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
            _session->database.setValue(domain, each, 1);
        _agent->changes.then = [&store] { store.reset(); };
        _agent->distributed.comeBack();
        QCOMPARE(_agent->changes.notifications.size(), 2);
        QVERIFY(!store);
    }

    void theIdIsTheStoresOwn() {
        _agent->open(domain)->setObjectForKey(1, key);
        const auto store = _agent->open(domain);
        store->setObjectForKey(2, key);
        store->setObjectForKey(3, key);
        const auto id = [this](int index) {
            return _agent->changes.notifications[index].userInfo.value(idEntry);
        };
        QVERIFY(id(0) != id(1));
        QCOMPARE(id(1), id(2));
    }

    void theLocalObserverSeesTheNewValueBeforeOthersAreTold() {
        const auto store = _agent->open(domain);
        std::optional<PropertyList> seen;
        PropertyList::Dictionary inDatabase;
        qsizetype postedBefore = -1;
        _agent->changes.then = [&] {
            seen = store->objectForKey(key);
            inDatabase = _session->database.copyMultiple(domain);
            postedBefore = _agent->distributed.posted().size();
        };
        store->setObjectForKey(true, key);
        QCOMPARE(seen, std::optional(PropertyList(true)));
        // Who hears of it may read it there at once.
        QCOMPARE(inDatabase.value(key), PropertyList(true));
        QCOMPARE(postedBefore, 0);
        QCOMPARE(_agent->distributed.posted().size(), 1);
    }

    void aRemovalCarriesTheKeyAlone() {
        const auto store = _agent->open(domain);
        store->setObjectForKey(true, key);
        store->removeObjectForKey(key);
        const PropertyList::Dictionary keyAlone{{keyEntry, key}};
        QCOMPARE(_agent->changes.notifications.last().userInfo, keyAlone);
        QCOMPARE(_agent->distributed.posted().last().userInfo, keyAlone);
    }

    void twoWritesAreFlushedTogether() {
        const auto store = _agent->open(domain);
        store->setObjectForKey(1, key);
        _runLoop.advance(4.0);
        store->setObjectForKey(2, key);
        _runLoop.advance(4.9);
        QCOMPARE(_session->database.synchronized(), QStringList());
        _runLoop.advance(0.1);
        QCOMPARE(_session->database.synchronized(), QStringList{domain});
        _runLoop.advance(60.0);
        QCOMPARE(_session->database.synchronized().size(), 1);
    }

    void synchronizeAnswersWhetherItWorked() {
        const auto store = _agent->open(domain);
        QVERIFY(store->synchronize());
        QCOMPARE(_session->database.synchronized(), QStringList{domain});
        _session->database.setFailsToSynchronize(true);
        QVERIFY(!store->synchronize());
    }

    void theEndOfTheApplicationFlushesWhatIsUnflushed() {
        const auto application = std::make_shared<kit::ChangeLog>();
        const auto another = std::make_shared<kit::ChangeLog>();
        _agent->environment.application = application;
        const auto written = _agent->open(domain);
        const auto untouched = _agent->open(QStringLiteral("com.zendrik.Untouched"));
        written->setObjectForKey(true, key);
        auto &center = ZRKNotificationCenter::platformDefault();
        center.postNotificationName(NSApplicationWillTerminateNotification, another);
        QCOMPARE(_session->database.synchronized(), QStringList());
        center.postNotificationName(NSApplicationWillTerminateNotification, application);
        QCOMPARE(_session->database.synchronized(), QStringList{domain});
        center.postNotificationName(NSApplicationWillTerminateNotification, application);
        QCOMPARE(_session->database.synchronized().size(), 1);
    }

    void anObserverMayLetGoOfTheStore() {
        auto store = _agent->open(domain);
        const std::weak_ptr<ZRKUserDefaults> watched = store;
        auto *const raw = store.get();
        _agent->changes.then = [&] {
            _agent->changes.notifications.clear();
            store.reset();
        };
        raw->setObjectForKey(true, key);
        QVERIFY(watched.expired());
        QCOMPARE(_agent->distributed.posted().size(), 1);
        QCOMPARE(_runLoop.pendingCount(), 1); // the delivery to other processes
    }

    void aStoreThatIsGoneHearsNothing() {
        auto store = _agent->open(domain);
        store->listenForChanges();
        store->setObjectForKey(true, key);
        store.reset();
        _agent->changes.notifications.clear();
        _panel->open(domain)->setObjectForKey(false, key);
        _panel->changes.notifications.clear(); // which keep the panel's store
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
        _runLoop.advance(10.0);
        QCOMPARE(_agent->changes.notifications.size(), 0);
        QCOMPARE(_session->database.synchronized(), QStringList());
    }

    void withoutServicesAStoreForgets() {
        ZRKUserDefaults::Environment nothing;
        nothing.localCenter = _agent->center.get();
        nothing.bundles = _agent->bundles;
        const auto store = ZRKUserDefaults::initWithIdentifier(domain, nothing);
        store->listenForChanges();
        store->setObjectForKey(true, key);
        QVERIFY(store->boolForKey(key));
        QVERIFY(!store->synchronize());
        store->reset();
        QVERIFY(!store->boolForKey(key));
    }

    // Two processes.

    void aWriteReachesTheOtherProcessAfterATwentiethOfASecond() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        agent->listenForChanges();
        panel->listenForChanges();
        panel->setObjectForKey(QStringLiteral("on"), key);
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
        panel->setObjectForKey(true, key);
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
        _session->database.setValue(domain, key, 2);
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
        agent->setObjectForKey(1, key);
        agent->removeObjectForKey(key);
        agent->setObjectForKey(2, key);
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(2)));
    }

    void crossingWritesEndAlike() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        agent->listenForChanges();
        panel->listenForChanges();
        agent->setObjectForKey(1, key);
        panel->setObjectForKey(2, key);
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::optional(PropertyList(2)));
        QCOMPARE(panel->objectForKey(key), std::optional(PropertyList(2)));
    }

    void aRemovalReachesTheWriterASecondTime() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        panel->setObjectForKey(true, key);
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
        panel->setObjectForKey(1, key);
        _runLoop.advance(0.04);
        panel->setObjectForKey(2, otherKey);
        _runLoop.advance(0.04);
        panel->setObjectForKey(3, key);
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
        agent->setObjectForKey(1, otherKey);
        _runLoop.advance(1.0);
        panel->setObjectForKey(2, key);
        _runLoop.advance(60.0);
        // The panel's own flush, and not the agent's.
        QCOMPARE(_session->database.synchronized(), QStringList{domain});
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSApplicationWillTerminateNotification);
        QCOMPARE(_session->database.synchronized().size(), 2);
        // The next write has its flush as ever.
        agent->setObjectForKey(3, otherKey);
        _runLoop.advance(5.0);
        QCOMPARE(_session->database.synchronized().size(), 3);
    }

    void aWriteOfOurOwnDoesNotPutOffTheRemoteChange() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        const auto panel = _panel->open(domain);
        panel->setObjectForKey(1, key);
        _runLoop.advance(0.04);
        agent->setObjectForKey(2, otherKey);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        _runLoop.advance(0.02);
        QCOMPARE(_agent->changes.notifications.size(), 2);
    }

    void whoDoesNotListenHearsNothing() {
        const auto agent = _agent->open(domain);
        const auto panel = _panel->open(domain);
        panel->setObjectForKey(1, key);
        _runLoop.advance(1.0);
        QCOMPARE(agent->objectForKey(key), std::nullopt);
        QCOMPARE(_agent->changes.notifications.size(), 0);
        agent->listenForChanges();
        agent->listenForChanges();
        panel->setObjectForKey(2, key);
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        agent->stopListening();
        panel->setObjectForKey(3, key);
        _runLoop.advance(1.0);
        QCOMPARE(agent->integerForKey(key), 2);
        QCOMPARE(_agent->changes.notifications.size(), 1);
        agent->reset();
        QCOMPARE(agent->integerForKey(key), 3);
    }

    void domainsDoNotHearEachOther() {
        const auto agent = _agent->open(domain);
        agent->listenForChanges();
        _panel->open(domain + QStringLiteral(".stats"))->setObjectForKey(1, key);
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
        _session->database.setValue(domain, key, 1);
        _panel->distributed.post(distributedName, QString(), userInfo.dictionary());
        _runLoop.advance(1.0);
        QCOMPARE(_agent->changes.notifications.size(), notifications);
        QCOMPARE(agent->dictionaryRepresentation().size(), notifications);
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<kit::UserSession> _session;
    std::unique_ptr<kit::Process> _agent;
    std::unique_ptr<kit::Process> _panel;
};

QTEST_GUILESS_MAIN(UserDefaultsTest)
#include "tst_userdefaults.moc"
