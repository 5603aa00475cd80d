// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneList.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"

#include <QHostAddress>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

using Presence = PhoneList::Presence;

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
const QString ownDomain = QStringLiteral("com.zendrik.ClipmuleSync.Preferences");
const QString serverServices = QStringLiteral("serverServices");
const QString anna = QStringLiteral("Anna's Phone");
const QString bert = QStringLiteral("Bert's Phone");

PropertyList entry(const QString &service, const QString &name) {
    return PropertyList::Dictionary{{QStringLiteral("serverService"), service},
                                    {QStringLiteral("serverName"), name}};
}

dnssd::ServiceName phone(const QString &name) {
    return {name, QStringLiteral("_clipmule-s2._tcp"), QStringLiteral("local")};
}

} // namespace

class PhoneListTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _database = std::make_unique<MemoryPreferencesDatabase>();
        _hub = std::make_shared<MemoryDistributedNotifications::Hub>();
        _notifications = std::make_unique<MemoryDistributedNotifications>(_hub);
        _dnssd = std::make_unique<FakeDnsSd>();
        _changes = 0;
    }

    void end() override {
        _list.reset();
        ZRKUserDefaults::setEnvironment({});
    }

private Q_SLOTS:
    // What is listed.

    void aPhoneThatAppearsIsAvailable() {
        start();
        QCOMPARE(_list->available().size(), 0);
        appear(anna);
        QCOMPARE(_list->available().size(), 1);
        QCOMPARE(_list->available()[0].service, anna);
        QCOMPARE(_list->available()[0].name, anna);
        QCOMPARE(_list->available()[0].presence, Presence::Seen);
        QVERIFY(!_list->available()[0].isRegistered);
    }

    void aPhoneThatLeavesIsGone() {
        start();
        appear(anna);
        const int before = _changes;
        vanish(anna);
        QCOMPARE(_list->available().size(), 0);
        QVERIFY(_changes > before);
    }

    void availablePhonesAreSortedByName() {
        start();
        appear(QStringLiteral("b"));
        appear(QStringLiteral("C"));
        appear(QStringLiteral("a"));
        QCOMPARE(names(_list->available()),
                 (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("C")}));
    }

    void aRegisteredPhoneKeepsItsPlaceAndItsName() {
        store({entry(bert, QStringLiteral("Work")), entry(anna, QStringLiteral("Anna"))});
        start();
        appear(anna);
        QCOMPARE(names(_list->registered()),
                 (QStringList{QStringLiteral("Work"), QStringLiteral("Anna")}));
        QCOMPARE(_list->registered()[0].presence, Presence::NotSeen);
        QCOMPARE(_list->registered()[1].presence, Presence::Seen);
        QCOMPARE(_list->available().size(), 0);
    }

    void aPhoneThatIsListedTwiceIsShownOnce() {
        store({entry(anna, QStringLiteral("Anna")), entry(anna, QStringLiteral("Anna again"))});
        start();
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Anna")});
    }

    void aNameOfSeveralLinesIsShownOnOne() {
        start();
        appear(QStringLiteral("two\nlines"));
        QCOMPARE(_list->available()[0].name, QStringLiteral("two\\nlines"));
        QCOMPARE(_list->available()[0].service, QStringLiteral("two\nlines"));
    }

    void whatThePhoneTellsIsShownAndFollowed() {
        start();
        appear(anna, QByteArray("\x0amodel=Zeta"));
        QCOMPARE(_list->available()[0].details.value(QStringLiteral("model")),
                 PropertyList(QStringLiteral("Zeta")));
        _dnssd->changeTxtRecord(phone(anna), QByteArray("\x0amodel=Beta"));
        settle();
        QCOMPARE(_list->available()[0].details.value(QStringLiteral("model")),
                 PropertyList(QStringLiteral("Beta")));
    }

    void onlySoManyPhonesAreLookedAt() {
        start();
        for (int i = 0; i < PhoneList::mostOnNetwork - 1; ++i)
            appear(QString::number(i));
        QCOMPARE(_list->available().size(), PhoneList::mostOnNetwork - 1);
        appear(QStringLiteral("the last"));
        QCOMPARE(_list->available().size(), PhoneList::mostOnNetwork);
        appear(QStringLiteral("one more"));
        QCOMPARE(_list->available().size(), PhoneList::mostOnNetwork);
    }

    // What the agent tells.

    void theAgentTellsOfConnections() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        appear(anna);
        tell(AgentStatus::PhoneState::Connected);
        QCOMPARE(_list->registered()[0].presence, Presence::Connected);
        tell(AgentStatus::PhoneState::Seen, QStringLiteral("no address answers"));
        QCOMPARE(_list->registered()[0].presence, Presence::Seen);
        QCOMPARE(_list->registered()[0].lastError, QStringLiteral("no address answers"));
        _list->setAgentStatus(std::nullopt);
        QCOMPARE(_list->registered()[0].presence, Presence::Seen);
        QCOMPARE(_list->registered()[0].lastError, QString());
    }

    void anErrorFromBeforeIsNotShownOfAConnectedPhone() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        tell(AgentStatus::PhoneState::Connected, QStringLiteral("no address answers"));
        QCOMPARE(_list->registered()[0].lastError, QString());
    }

    // When a phone was seen.

    void whenARegisteredPhoneLeftIsRemembered() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        QCOMPARE(_list->registered()[0].lastSeen, std::nullopt);
        QVERIFY(_list->missesPhones());
        appear(anna);
        QVERIFY(!_list->missesPhones());
        _runLoop.advance(60);
        vanish(anna);
        QVERIFY(_list->missesPhones());
        const Date left = Date::now();
        _runLoop.advance(60);
        QCOMPARE(_list->registered()[0].presence, Presence::NotSeen);
        QCOMPARE(_list->registered()[0].lastSeen, std::optional(left));

        restart();
        QCOMPARE(_list->registered()[0].lastSeen, std::optional(left));
        // Seen yesterday, and missed today.
        QVERIFY(_list->missesPhones());
    }

    void aProgramOnThisComputerSaysNothingOfTheNetwork() {
        const QString pixel = QStringLiteral("local/Pixel");
        start();
        appear(pixel);
        QCOMPARE(_list->available().size(), 1);
        QVERIFY(_list->available()[0].isLocal());
        QCOMPARE(_list->available()[0].name, QStringLiteral("Pixel"));
        // Somebody who has it paired needs no network; who has another one paired does.
        QVERIFY(_list->change(pixel));
        restart();
        QVERIFY(!_list->missesPhones());
        QCOMPARE(_list->registered()[0].name, QStringLiteral("Pixel"));
        QVERIFY(_list->rename(pixel, QStringLiteral("Mine")));
        QVERIFY(_list->rename(pixel, QString()));
        QCOMPARE(_list->registered()[0].name, QStringLiteral("Pixel"));
        QVERIFY(_list->change(anna));
        QVERIFY(!_list->registered()[1].isLocal());
        QVERIFY(_list->missesPhones());
        appear(pixel);
        QVERIFY(_list->missesPhones());
        appear(anna);
        QVERIFY(!_list->missesPhones());
    }

    void phonesAreMissedWhereNoneIsSeen() {
        start();
        QVERIFY(_list->missesPhones());
        appear(anna);
        QVERIFY(!_list->missesPhones());
        vanish(anna);
        // Nobody is waited for.
        QVERIFY(!_list->missesPhones());
        store({entry(anna, QStringLiteral("Anna"))});
        restart();
        QVERIFY(_list->missesPhones());
        // One that the agent reaches is there, however it is found.
        AgentStatus status;
        status.phones.append({.service = anna,
                              .name = anna,
                              .state = AgentStatus::PhoneState::Seen,
                              .lastSeen = {},
                              .lastError = {},
                              .lastErrorDate = {}});
        _list->setAgentStatus(status);
        QVERIFY(!_list->missesPhones());
        _list->setAgentStatus(std::nullopt);
        QVERIFY(_list->missesPhones());
        // Where somebody's phone is seen, phones are found.
        appear(QStringLiteral("Carl"));
        QVERIFY(!_list->missesPhones());
    }

    void aPhoneThatIsThereAtTheEndWasSeenThen() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        appear(anna);
        _runLoop.advance(60);
        _dnssd->vanish(phone(anna));
        const Date end = Date::now();
        _list->stop();
        _runLoop.advance(60);
        restart();
        QCOMPARE(_list->registered()[0].lastSeen, std::optional(end));
    }

    void othersAreNotRemembered() {
        start();
        appear(anna);
        vanish(anna);
        _list->stop();
        QCOMPARE(_database->copyMultiple(ownDomain).size(), 0);
    }

    void theLaterOfTwoMemoriesCounts() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        appear(anna);
        vanish(anna);
        const Date left = Date::now();
        tell(AgentStatus::PhoneState::NotSeen, QString(), Date{left.secondsSinceReference - 5});
        QCOMPARE(_list->registered()[0].lastSeen, std::optional(left));
        const Date later{left.secondsSinceReference + 5};
        tell(AgentStatus::PhoneState::NotSeen, QString(), later);
        QCOMPARE(_list->registered()[0].lastSeen, std::optional(later));
    }

    // Changes.

    void aPhoneIsAdded() {
        start();
        appear(anna);
        QVERIFY(_list->change(anna));
        settle();
        QCOMPARE(names(_list->registered()), QStringList{anna});
        QCOMPARE(_list->available().size(), 0);
        QCOMPARE(stored(), (PropertyList::List{entry(anna, anna)}));
        // A running agent is told.
        QCOMPARE(_notifications->posted()[0].userInfo.value(QStringLiteral("gUserDefaultsKey")),
                 PropertyList(serverServices));
    }

    void aPhoneIsRenamed() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        QVERIFY(_list->rename(anna, QStringLiteral("  Mum ")));
        QCOMPARE(stored(), (PropertyList::List{entry(anna, QStringLiteral("Mum"))}));
        QVERIFY(_list->rename(anna, QStringLiteral(" ")));
        QCOMPARE(stored(), (PropertyList::List{entry(anna, anna)}));
    }

    void aRemovedPhoneComesBackAsItWas() {
        PropertyList withMore = entry(anna, QStringLiteral("Anna"));
        withMore.dictionary().insert(QStringLiteral("colour"), QStringLiteral("red"));
        const PropertyList::List before{entry(bert, QStringLiteral("Bert")), withMore,
                                        entry(QStringLiteral("third"), QStringLiteral("3")),
                                        entry(anna, QStringLiteral("again"))};
        store(before);
        start();
        QCOMPARE(_list->undoableRemoval(), std::nullopt);
        QVERIFY(_list->remove(anna));
        QCOMPARE(names(_list->registered()),
                 (QStringList{QStringLiteral("Bert"), QStringLiteral("3")}));
        QCOMPARE(_list->undoableRemoval(), std::optional(QStringLiteral("Anna")));
        QVERIFY(_list->undoRemoval());
        QCOMPARE(stored(), before);
        QCOMPARE(_list->undoableRemoval(), std::nullopt);
    }

    void removalsAreUndoneInTurn() {
        store({entry(anna, QStringLiteral("Anna")), entry(bert, QStringLiteral("Bert"))});
        start();
        QVERIFY(_list->remove(anna));
        QVERIFY(_list->remove(bert));
        QVERIFY(_list->undoRemoval());
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Bert")});
        QVERIFY(_list->undoRemoval());
        QCOMPARE(names(_list->registered()),
                 (QStringList{QStringLiteral("Anna"), QStringLiteral("Bert")}));
        QVERIFY(_list->undoRemoval());
    }

    void aPhoneThatWasAddedAgainIsNotDoubled() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        QVERIFY(_list->remove(anna));
        // By the command line, for example.
        storeByAnotherProcess({entry(anna, QStringLiteral("New"))});
        QVERIFY(_list->undoRemoval());
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("New")});
        QCOMPARE(_list->undoableRemoval(), std::nullopt);
    }

    void addingAPhoneForgetsItsRemoval() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        QVERIFY(_list->remove(anna));
        QVERIFY(_list->change(anna));
        QCOMPARE(_list->undoableRemoval(), std::nullopt);
    }

    void whatOthersChangeIsFollowed() {
        start();
        const int before = _changes;
        storeByAnotherProcess({entry(anna, QStringLiteral("Anna"))});
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Anna")});
        QVERIFY(_changes > before);
    }

    void aBurstIsToldOnce() {
        start();
        const int before = _changes;
        _dnssd->appear(phone(anna), {});
        _dnssd->appear(phone(bert), {});
        settle();
        // Found, and what they tell.
        QVERIFY2(_changes - before <= 2, qPrintable(QString::number(_changes - before)));
    }

    // When writing fails.

    void whatCouldNotBeWrittenIsNotShown() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        _database->setFailsToWrite(QStringLiteral("no space"));
        const QString reason = QStringLiteral("The settings could not be written: no space");
        QCOMPARE(_list->remove(anna).error().reason, reason);
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Anna")});
        QCOMPARE(_list->undoableRemoval(), std::nullopt);
        QCOMPARE(_list->change(bert).error().reason, reason);
        QCOMPARE(_list->rename(anna, QStringLiteral("Mum")).error().reason, reason);
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Anna")});
    }

    void anUndoThatCouldNotBeWrittenCanBeTriedAgain() {
        store({entry(anna, QStringLiteral("Anna"))});
        start();
        QVERIFY(_list->remove(anna));
        _database->setFailsToWrite(QStringLiteral("no space"));
        QVERIFY(!_list->undoRemoval());
        _database->setFailsToWrite({});
        QVERIFY(_list->undoRemoval());
        QCOMPARE(names(_list->registered()), QStringList{QStringLiteral("Anna")});
    }

    void aListThatIsNoneIsNotOverwritten() {
        QVERIFY(
            _database->setValue(sharedDomain, serverServices, QStringLiteral("something else")));
        start();
        QCOMPARE(_list->change(anna).error().reason,
                 QStringLiteral("The stored list of phones is damaged. Nothing was changed."));
        QCOMPARE(_database->copyMultiple(sharedDomain).value(serverServices),
                 PropertyList(QStringLiteral("something else")));
    }

private:
    void store(const PropertyList::List &list) {
        QVERIFY(_database->setValue(sharedDomain, serverServices, list));
    }
    PropertyList::List stored() {
        return _database->copyMultiple(sharedDomain).value(serverServices).list();
    }
    void storeByAnotherProcess(const PropertyList::List &list) {
        MemoryDistributedNotifications notifications(_hub);
        ZRKNotificationCenter center;
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = &notifications;
        environment.localCenter = &center;
        QVERIFY(ZRKUserDefaults::initWithIdentifier(sharedDomain, environment)
                    ->setObjectForKey(PropertyList(list), serverServices));
        _runLoop.advance(1);
        settle();
    }
    void start() {
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        environment.distributedNotifications = _notifications.get();
        _stores = SettingsStores::open(environment);
        QVERIFY(_stores);
        _stores->start();
        _list = std::make_unique<PhoneList>(*_dnssd, *_stores);
        _list->onChange = [this] { ++_changes; };
        _list->start();
        settle();
    }
    void restart() {
        _list.reset();
        start();
    }
    void settle() { QVERIFY(kit::settle(_runLoop)); }
    void appear(const QString &name, const QByteArray &txt = QByteArray(1, '\0')) {
        _dnssd->appear(phone(name), {{QHostAddress(QStringLiteral("10.0.0.1")), 7000}}, txt);
        settle();
    }
    void vanish(const QString &name) {
        _dnssd->vanish(phone(name));
        settle();
    }
    void tell(AgentStatus::PhoneState state, const QString &error = QString(),
              std::optional<Date> lastSeen = std::nullopt) {
        AgentStatus status;
        status.phones.append({.service = anna,
                              .name = QStringLiteral("Anna"),
                              .state = state,
                              .lastSeen = lastSeen,
                              .lastError = error,
                              .lastErrorDate = std::nullopt});
        _list->setAgentStatus(status);
        settle();
    }
    static QStringList names(const QList<PhoneList::Phone> &phones) {
        QStringList result;
        for (const auto &one : phones)
            result.append(one.name);
        return result;
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<MemoryPreferencesDatabase> _database;
    std::shared_ptr<MemoryDistributedNotifications::Hub> _hub;
    std::unique_ptr<MemoryDistributedNotifications> _notifications;
    std::unique_ptr<FakeDnsSd> _dnssd;
    std::unique_ptr<SettingsStores> _stores;
    std::unique_ptr<PhoneList> _list;
    int _changes = 0;
};

QTEST_GUILESS_MAIN(PhoneListTest)
#include "tst_phonelist.moc"
