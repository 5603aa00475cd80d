// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/FixedAddresses.h"
#include "platform/foundation/QtRunLoop.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

const auto type = QStringLiteral("_clipmule._tcp");
const ServiceName anna{QStringLiteral("Anna"), type, QStringLiteral("local")};
const ServiceName bert{QStringLiteral("Bert"), type, QStringLiteral("local")};
const ServiceName other{QStringLiteral("Anna"), QStringLiteral("_other._tcp"),
                        QStringLiteral("local")};
const QHostAddress four(QStringLiteral("192.0.2.7"));
const QHostAddress six(QStringLiteral("2001:db8::7"));
const HostAndPort literal{QStringLiteral("192.0.2.7"), 4711};
const HostAndPort named{QStringLiteral("phone.lan"), 4711};

/// The system's resolver, as a test directs it.
struct Question {
    QString host;
    FixedAddresses::LookUpAnswer answer;
};

} // namespace

class FixedAddressesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _questions.clear();
        _backend.emplace(_below, [this](const QString &host, FixedAddresses::LookUpAnswer answer) {
            _questions.push_back({host, std::move(answer)});
        });
        for (const ServiceName &service : {anna, bert})
            _below.vanish(service);
    }

    void end() override { _backend.reset(); }

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    FakeDnsSd _below;
    std::vector<Question> _questions;
    std::optional<FixedAddresses> _backend;

private Q_SLOTS:
    void aServiceWithAnAddressIsThereWithoutDiscovery() {
        _backend->setAddresses({{anna, literal}, {other, literal}});
        Browse browse(*_backend);
        browse.browser->start(type);
        QCOMPARE(browse.changes(), QStringList());
        _loop.advance(0);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QCOMPARE(browse.last, anna);
        QVERIFY(_backend->hasAddress(anna));
        QVERIFY(!_backend->hasAddress(bert));
    }

    void theOthersAreDiscoveredAsBefore() {
        _backend->setAddresses({{anna, literal}});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(0);
        _below.appear(bert, {{four, 1}});
        _loop.advance(0);
        _below.vanish(bert);
        _loop.advance(0);
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Bert"),
                                                QStringLiteral("-Bert")}));
        QVERIFY(browse.events.contains(QStringLiteral(".")));
    }

    void discoveryNeitherDoublesNorRemovesIt() {
        _backend->setAddresses({{anna, literal}});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(0);
        _below.appear(anna, {{four, 1}});
        _loop.advance(0);
        _below.vanish(anna);
        _loop.advance(0);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void addressesMayComeAndGoAndMove() {
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(0);
        _backend->setAddresses({{anna, literal}});
        QCOMPARE(browse.changes(), QStringList()); // not from inside the call
        _loop.advance(0);
        _backend->setAddresses({{anna, literal}});
        _loop.advance(0);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        _backend->setAddresses({{anna, named}, {bert, literal}});
        _loop.advance(0);
        QCOMPARE(browse.changes().sliced(1),
                 (QStringList{QStringLiteral("-Anna"), QStringLiteral("+Anna"),
                              QStringLiteral("+Bert")}));
        _backend->setAddresses({});
        _loop.advance(0);
        QCOMPARE(browse.changes().sliced(4),
                 (QStringList{QStringLiteral("-Anna"), QStringLiteral("-Bert")}));
    }

    void whatIsDiscoveredAsWellStaysWithoutItsAddress() {
        _below.appear(anna, {{four, 1}});
        _backend->setAddresses({{anna, literal}});
        Browse browse(*_backend);
        browse.browser->start(type);
        _loop.advance(0);
        _backend->setAddresses({});
        _loop.advance(0);
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Anna"), QStringLiteral("-Anna"),
                                                QStringLiteral("+Anna")}));
        _below.vanish(anna);
        _loop.advance(0);
        QCOMPARE(browse.changes().last(), QStringLiteral("-Anna"));
    }

    void onlyTheWantedNameIsReported() {
        _backend->setAddresses({{anna, literal}, {bert, literal}});
        Browse browse(*_backend);
        browse.browser->wantedName = bert.name;
        browse.browser->start(type);
        _below.appear({QStringLiteral("Carl"), type, QStringLiteral("local")}, {{four, 1}});
        _loop.advance(0);
        _backend->setAddresses({{anna, named}});
        _loop.advance(0);
        QCOMPARE(browse.changes(), (QStringList{QStringLiteral("+Bert"), QStringLiteral("-Bert")}));
    }

    void aStoppedBrowserTellsNothing() {
        _backend->setAddresses({{anna, literal}});
        Browse browse(*_backend);
        browse.browser->start(type);
        browse.browser->stop();
        _backend->setAddresses({{bert, literal}});
        _loop.advance(0);
        QCOMPARE(browse.changes(), QStringList());
        browse.browser->start(type);
        _loop.advance(0);
        QCOMPARE(browse.changes(), QStringList{QStringLiteral("+Bert")});
    }

    void aCallbackMayStopOrDestroyTheBrowser() {
        _backend->setAddresses({{anna, literal}, {bert, literal}});
        for (const bool destroys : {false, true}) {
            auto browser = _backend->makeBrowser();
            int found = 0;
            browser->onFound = [&](const ServiceName &) {
                ++found;
                if (destroys)
                    browser.reset();
                else
                    browser->stop();
            };
            browser->start(type);
            _loop.advance(0);
            QCOMPARE(found, 1);
        }
    }

    void anAddressIsItsOwnAnswer() {
        _backend->setAddresses({{anna, literal}, {bert, {QStringLiteral("fe80::1%lo"), 9}}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QCOMPARE(resolution.count, 0);
        _loop.advance(0);
        QCOMPARE(resolution.count, 1);
        QCOMPARE(resolution.resolved->hostName, literal.host);
        QCOMPARE(resolution.resolved->endpoints, (QList<Endpoint>{{four, 4711}}));
        QVERIFY(_questions.empty());
        QCOMPARE(_below.resolveCount(anna), 0);

        resolution.resolver->start(bert, RunLoop::Seconds(10));
        _loop.advance(0);
        const Endpoint scoped = resolution.resolved->endpoints.first();
        QCOMPARE(scoped.address.scopeId(), QStringLiteral("lo"));
        QVERIFY(scoped.address.isLinkLocal());
    }

    void aHostNameIsLookedUp() {
        _backend->setAddresses({{anna, named}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(9.9);
        QCOMPARE(resolution.count, 0);
        QCOMPARE(_questions.size(), size_t(1));
        QCOMPARE(_questions[0].host, QStringLiteral("phone.lan"));
        _questions[0].answer({six, four}, {});
        QCOMPARE(resolution.resolved->endpoints, (QList<Endpoint>{{four, 4711}, {six, 4711}}));
        _loop.advance(1);
        QCOMPARE(resolution.count, 1);
    }

    void aHostNameWithoutAnAddressFails() {
        _backend->setAddresses({{anna, named}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _questions[0].answer({}, QStringLiteral("Host not found"));
        QCOMPARE(resolution.failure,
                 QStringLiteral("the host phone.lan has no address: Host not found"));
        QCOMPARE(resolution.count, 1);
    }

    void aLookUpThatTakesTooLongFails() {
        _backend->setAddresses({{anna, named}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _loop.advance(9.9);
        QCOMPARE(resolution.count, 0);
        _loop.advance(0.2);
        QCOMPARE(resolution.failure, QStringLiteral("no answer about the host phone.lan"));
        _questions[0].answer({four}, {});
        QCOMPARE(resolution.count, 1);
    }

    void aStoppedOrDestroyedResolverTellsNothing() {
        _backend->setAddresses({{anna, named}, {bert, literal}});
        std::optional<Resolution> resolution(std::in_place, *_backend);
        resolution->resolver->start(anna, RunLoop::Seconds(10));
        resolution->resolver->stop();
        _questions[0].answer({four}, {});
        resolution->resolver->start(bert, RunLoop::Seconds(10));
        resolution->resolver->stop();
        _loop.advance(20);
        QCOMPARE(resolution->count, 0);
        resolution->resolver->start(anna, RunLoop::Seconds(10));
        resolution.reset();
        _questions[1].answer({four}, {});
        _loop.advance(20);
    }

    void anAnswerToAnEarlierQuestionDoesNotCount() {
        _backend->setAddresses({{anna, named}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        _questions[0].answer({four}, {});
        QCOMPARE(resolution.count, 0);
        _questions[1].answer({six}, {});
        QCOMPARE(resolution.resolved->endpoints, (QList<Endpoint>{{six, 4711}}));
    }

    void nobodysAddressesAreLeftOut() {
        const QHostAddress group(QStringLiteral("224.0.0.251"));
        _backend->setAddresses({{anna, named}, {bert, {QStringLiteral("0.0.0.0"), 80}}});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        // Somebody who names this computer means it.
        _questions[0].answer({group, QHostAddress(QHostAddress::LocalHost)}, {});
        QCOMPARE(resolution.resolved->endpoints,
                 (QList<Endpoint>{{QHostAddress(QHostAddress::LocalHost), 4711}}));
        resolution.resolver->start(bert, RunLoop::Seconds(10));
        _loop.advance(0);
        QCOMPARE(resolution.failure, QStringLiteral("0.0.0.0 is not the address of one computer"));
    }

    void sixteenAddressesAreEnough() {
        _backend->setAddresses({{anna, named}});
        for (const int count : {15, 16, 17}) {
            QList<QHostAddress> addresses;
            for (int number = 1; number <= count; ++number)
                addresses.append(QHostAddress(0xC0000200U + quint32(number)));
            Resolution resolution(*_backend);
            resolution.resolver->start(anna, RunLoop::Seconds(10));
            _questions.back().answer(addresses, {});
            QCOMPARE(int(resolution.resolved->endpoints.size()), std::min(count, 16));
        }
    }

    void servicesWithoutAnAddressAreResolvedBelow() {
        _backend->setAddresses({{anna, literal}});
        _below.appear(bert, {{six, 5}});
        Resolution resolution(*_backend);
        resolution.resolver->start(bert, RunLoop::Seconds(10));
        _loop.advance(0);
        QCOMPARE(resolution.resolved->endpoints, (QList<Endpoint>{{six, 5}}));
        resolution.resolver->start({QStringLiteral("Dora"), type, QStringLiteral("local")},
                                   RunLoop::Seconds(10));
        _loop.advance(10.1);
        QCOMPARE(resolution.failure, QStringLiteral("timed out"));
    }

    // With the system's own resolver and event loop.
    void theSystemKnowsItsOwnName() {
        QtRunLoop loop;
        const RunLoop::Installation installation(loop);
        FixedAddresses backend(_below);
        backend.setAddresses({{anna, {QStringLiteral("localhost"), 80}}});
        Resolution resolution(backend);
        resolution.resolver->start(anna, RunLoop::Seconds(60));
        QTRY_COMPARE_WITH_TIMEOUT(resolution.count, 1, 60000);
        QVERIFY(resolution.resolved);
        QVERIFY(resolution.resolved->endpoints.first().address.isLoopback());
        QCOMPARE(resolution.resolved->endpoints.first().port, quint16(80));
    }
};

QTEST_GUILESS_MAIN(FixedAddressesTest)
#include "tst_fixedaddresses.moc"
