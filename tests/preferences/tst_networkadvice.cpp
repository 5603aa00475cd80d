// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/Doctor.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

using Kind = NetworkAdvice::Kind;
using Multicast = dnssd::NetworkFacts::Multicast;

dnssd::NetworkFacts working() {
    dnssd::NetworkFacts facts;
    facts.hasSystemBus = true;
    facts.avahiRuns = true;
    facts.interfaces.append({.name = QStringLiteral("eth0"),
                             .addresses = {QStringLiteral("10.0.0.1")},
                             .isLoopback = false,
                             .isUp = true,
                             .canMulticast = true});
    facts.multicast = Multicast::OthersAnswer;
    return facts;
}

} // namespace

class NetworkAdviceTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void whereNothingIsWrongThePhoneIsToBeLookedAt() {
        const auto advice = adviceFor(working());
        QCOMPARE(advice.kind, Kind::NothingWrong);
        QVERIFY(advice.whatToTry.contains(QStringLiteral("app is open")));
    }

    void onlyThisComputerAnswers() {
        auto facts = working();
        facts.multicast = Multicast::OnlyOwn;
        const auto advice = adviceFor(facts);
        QCOMPARE(advice.kind, Kind::NothingWrong);
        QVERIFY(advice.whatToTry.contains(QStringLiteral("Guest networks")));
    }

    void aComputerWithoutANetworkIsTold() {
        auto facts = working();
        facts.interfaces[0].isLoopback = true;
        QCOMPARE(adviceFor(facts).kind, Kind::NoInterface);
        facts = working();
        facts.interfaces[0].isUp = false;
        QCOMPARE(adviceFor(facts).kind, Kind::NoInterface);
        facts = working();
        facts.interfaces[0].addresses.clear();
        QCOMPARE(adviceFor(facts).kind, Kind::NoInterface);
    }

    void aMissingDaemonIsTold() {
        auto facts = working();
        facts.avahiRuns = false;
        const auto advice = adviceFor(facts);
        QCOMPARE(advice.kind, Kind::NoAvahi);
        QVERIFY(advice.whatToTry.contains(QStringLiteral("avahi-daemon")));
    }

    void multicastThatDoesNotGetOutIsTold() {
        auto facts = working();
        facts.multicast = Multicast::Refused;
        facts.multicastError = QStringLiteral("Operation not permitted");
        const auto advice = adviceFor(facts);
        QCOMPARE(advice.kind, Kind::MulticastFails);
        QVERIFY(advice.reason.contains(QStringLiteral("Operation not permitted")));
        QVERIFY(advice.whatToTry.contains(QStringLiteral("5353")));
    }

    void aNetworkWithoutMulticastIsTold() {
        auto facts = working();
        facts.interfaces[0].canMulticast = false;
        facts.multicast = Multicast::Untried;
        const auto advice = adviceFor(facts);
        QCOMPARE(advice.kind, Kind::MulticastFails);
        QVERIFY(advice.whatToTry.contains(QStringLiteral("ip link set eth0 multicast on")));
        // One that does is enough.
        facts.interfaces.append(working().interfaces[0]);
        QCOMPARE(adviceFor(facts).kind, Kind::NothingWrong);
    }

    void whereNobodyCouldBeAskedNobodyIsSaidToAnswer() {
        auto facts = working();
        facts.multicast = Multicast::Untried;
        QVERIFY(!adviceFor(facts).reason.contains(QStringLiteral("Other devices answer")));
    }

    void silenceIsTold() {
        auto facts = working();
        facts.multicast = Multicast::NoAnswer;
        QCOMPARE(adviceFor(facts).kind, Kind::NoAnswer);
    }
};

QTEST_GUILESS_MAIN(NetworkAdviceTest)
#include "tst_networkadvice.moc"
