// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

// The agent's network without the agent.
class PhoneLinksTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _desk = std::make_unique<AgentFixture>();
        _links = std::make_unique<PhoneLinks>(_desk->backend, nullptr);
        _opened.clear();
        _links->onNewClient = [this](ZRKNetServiceClient &client) {
            client.onOpen = [this](NetService &service) { _opened += service.name(); };
        };
    }

    void end() override {
        _links.reset();
        _desk.reset();
    }

private Q_SLOTS:
    void aPhoneIsAnnouncedToAndConnectedToOnce() {
        _links->connect(phones({u"Anna"_s}));
        _links->connect(phones({u"Anna"_s, u"Ben"_s}));
        _desk->settle();
        QCOMPARE(_desk->announced(), (QStringList{u"Anna"_s, u"Ben"_s}));
        QCOMPARE(_links->count(), 2);
        QVERIFY(!_links->isConnected());
        QCOMPARE(_links->state(u"Anna"_s), AgentStatus::PhoneState::NotSeen);
        const auto anna = _desk->appear(u"Anna"_s);
        QCOMPARE(_opened, QStringList{u"Anna"_s});
        QCOMPARE(anna->connections.size(), 1);
        QVERIFY(_links->isConnected());
    }

    void onlyWhatBelongsToOthersIsStopped() {
        _links->connect(phones({u"Anna"_s, u"Ben"_s}));
        const auto anna = _desk->appear(u"Anna"_s);
        const auto ben = _desk->appear(u"Ben"_s);
        QCOMPARE(_links->keepOnly(phones({u"Ben"_s, u"Carl"_s})), QStringList{u"Anna"_s});
        _desk->settle();
        QCOMPARE(_desk->announced(), QStringList{u"Ben"_s});
        QCOMPARE(_links->count(), 1);
        _links->sendToAll(object());
        _desk->settle();
        QCOMPARE(ben->received().size(), 1);
        QVERIFY(_links->keepOnly(phones({u"Ben"_s})).isEmpty());
    }

    void aRelayPassesItsSenderBy() {
        _links->connect(phones({u"Anna"_s, u"Ben"_s, u"Carl"_s}));
        const auto anna = _desk->appear(u"Anna"_s);
        const auto ben = _desk->appear(u"Ben"_s);
        _links->relay(u"Anna"_s, object());
        _desk->settle();
        QVERIFY(anna->received().isEmpty());
        QCOMPARE(ben->received().size(), 1);
        // Nothing waits for a phone that is not there.
        QVERIFY(_desk->appear(u"Carl"_s)->received().isEmpty());
    }

    void recordsOutliveADisconnection() {
        _links->connect(phones({u"Anna"_s}));
        _links->setRecord(u"Anna"_s, record(u"Anna's phone"_s));
        _links->setRecord(u"Ben"_s, PropertyList(PropertyList::Dictionary{{u"name"_s, 1}}));
        _links->disconnect();
        QCOMPARE(_links->count(), 0);
        QCOMPARE(_links->namesInRecords(), QStringList{u"Anna's phone"_s});
        _links->removeRecord(u"Anna"_s);
        QVERIFY(_links->namesInRecords().isEmpty());
    }

    void allPhonesHearOfAllRecords() {
        _links->connect(phones({u"Anna"_s, u"Ben"_s}));
        const auto anna = _desk->appear(u"Anna"_s);
        const auto ben = _desk->appear(u"Ben"_s);
        _links->setRecord(u"Anna"_s, record(u"Anna's phone"_s));
        _links->sendRecords();
        _desk->settle();
        const PropertyList told(PropertyList::Dictionary{{u"Anna"_s, record(u"Anna's phone"_s)}});
        QCOMPARE(*anna->received().constFirst().find(u"3"_s), told);
        QCOMPARE(*ben->received().constFirst().find(u"3"_s), told);
    }

private:
    static QList<RegisteredPhones::Phone> phones(const QStringList &names) {
        QList<RegisteredPhones::Phone> list;
        for (const QString &name : names)
            list.append({.service = name, .name = name});
        return list;
    }
    static PropertyList record(const QString &name) {
        return PropertyList(PropertyList::Dictionary{{u"name"_s, name}});
    }
    static OutputObject object() {
        return OutputObject::fixed(PropertyList(PropertyList::Dictionary{{u"1"_s, u"x"_s}}));
    }

    std::unique_ptr<AgentFixture> _desk;
    std::unique_ptr<PhoneLinks> _links;
    QStringList _opened;
};

QTEST_GUILESS_MAIN(PhoneLinksTest)
#include "tst_phonelinks.moc"
