// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/ZRKNotificationCenter.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/support/TestStores.h"

#include <QTest>
#include <QUuid>

#include <limits>

using namespace clipmule;
using namespace Qt::StringLiterals;

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

// Reading and writing. What two processes hear of each other is in tst_userdefaults_processes.cpp.
class UserDefaultsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _runLoop.advance(60.0); // what the test before left undone
        _session = std::make_unique<kit::UserSession>();
        _agent = std::make_unique<kit::Process>(*_session);
        _panel = std::make_unique<kit::Process>(*_session);
    }

private Q_SLOTS:
    // Reading.

    void aStoreBeginsWithWhatTheDomainHolds() {
        QVERIFY(_session->database.setValue(domain, key, true));
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
        QVERIFY(store->setObjectForKey(PropertyList(7), key));
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
        QVERIFY(store->setObjectForKey(value, key));
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
        QVERIFY(store->setObjectForKey(true, key));
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
        QVERIFY(store->setObjectForKey(value, key));
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
        QVERIFY(store->setObjectForKey(QByteArray("no archive"), key));
        QVERIFY(!store->fontForKey(key));
        QVERIFY(store->setObjectForKey(QStringLiteral("Menlo-Regular"), key));
        QVERIFY(!store->fontForKey(key));
    }

    void selectorsAreKeptByName() {
        const auto store = _agent->open(domain);
        store->setSelectorForKey(selector<&kit::ChangeLog::changed>("changed"), key);
        QCOMPARE(store->objectForKey(key), std::optional(PropertyList(QStringLiteral("changed"))));
        QVERIFY(store->selectorForKey(key) == selector<&kit::ChangeLog::changed>("changed"));
        QVERIFY(store->setObjectForKey(PropertyList(7), key));
        QVERIFY(store->selectorForKey(key).name().isEmpty());
    }

    // Writing.

    void aWriteIsInTheDatabaseAtOnce() {
        const auto store = _agent->open(domain);
        QVERIFY(store->setObjectForKey(QStringLiteral("value"), key));
        QCOMPARE(_session->database.copyMultiple(domain).value(key),
                 PropertyList(QStringLiteral("value")));
        QVERIFY(store->setObjectForKey(std::nullopt, key));
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
        QVERIFY(store->setObjectForKey(true, key));
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

    void theIdIsTheStoresOwn() {
        QVERIFY(_agent->open(domain)->setObjectForKey(1, key));
        const auto store = _agent->open(domain);
        QVERIFY(store->setObjectForKey(2, key));
        QVERIFY(store->setObjectForKey(3, key));
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
        QVERIFY(store->setObjectForKey(true, key));
        QCOMPARE(seen, std::optional(PropertyList(true)));
        // Who hears of it may read it there at once.
        QCOMPARE(inDatabase.value(key), PropertyList(true));
        QCOMPARE(postedBefore, 0);
        QCOMPARE(_agent->distributed.posted().size(), 1);
    }

    void aRemovalCarriesTheKeyAlone() {
        const auto store = _agent->open(domain);
        QVERIFY(store->setObjectForKey(true, key));
        store->removeObjectForKey(key);
        const PropertyList::Dictionary keyAlone{{keyEntry, key}};
        QCOMPARE(_agent->changes.notifications.last().userInfo, keyAlone);
        QCOMPARE(_agent->distributed.posted().last().userInfo, keyAlone);
    }

    void twoWritesAreFlushedTogether() {
        const auto store = _agent->open(domain);
        QVERIFY(store->setObjectForKey(1, key));
        _runLoop.advance(4.0);
        QVERIFY(store->setObjectForKey(2, key));
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

    void aFlushThatFailsIsInTheLog() {
        const auto store = _agent->open(domain);
        _session->database.setFailsToSynchronize(true);
        QVERIFY(store->setObjectForKey(1, key));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^a power failure may lose settings: ."_s));
        _runLoop.advance(5.0);
    }

    void theEndOfTheApplicationFlushesWhatIsUnflushed() {
        const auto application = std::make_shared<kit::ChangeLog>();
        const auto another = std::make_shared<kit::ChangeLog>();
        _agent->environment.application = application;
        const auto written = _agent->open(domain);
        const auto untouched = _agent->open(QStringLiteral("com.zendrik.Untouched"));
        QVERIFY(written->setObjectForKey(true, key));
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
        QVERIFY(raw->setObjectForKey(true, key));
        QVERIFY(watched.expired());
        QCOMPARE(_agent->distributed.posted().size(), 1);
        QCOMPARE(_runLoop.pendingCount(), 1); // the delivery to other processes
    }

    void aStoreThatIsGoneHearsNothing() {
        auto store = _agent->open(domain);
        store->listenForChanges();
        QVERIFY(store->setObjectForKey(true, key));
        store.reset();
        _agent->changes.notifications.clear();
        QVERIFY(_panel->open(domain)->setObjectForKey(false, key));
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
        QVERIFY(store->setObjectForKey(true, key));
        QVERIFY(store->boolForKey(key));
        QVERIFY(!store->synchronize());
        store->reset();
        QVERIFY(!store->boolForKey(key));
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
