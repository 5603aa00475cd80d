// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/DiscoveryAnswers.h"
#include "platform/dnssd/EventQueue.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::dnssd;

namespace {

const auto host = QStringLiteral("phone.local");
const Endpoint four{QHostAddress(QStringLiteral("192.0.2.7")), 4711};
const Endpoint six{QHostAddress(QStringLiteral("2001:db8::7")), 4711};
constexpr AddressQuestion ipv4OverIpv4{false, false};
constexpr AddressQuestion ipv6OverIpv6{true, true};
constexpr AddressQuestion ipv6OverIpv4{false, true};
constexpr AddressQuestion ipv4OverIpv6{true, false};

} // namespace

// The parts that the real responders share.
class GatheringTest final : public kit::TestCase {
    Q_OBJECT

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};

private Q_SLOTS:
    void bothKindsOverTheirOwnTransportAreEnough() {
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.add(ipv6OverIpv6, host, six);
        QVERIFY(!resolved);
        gatherer.add(ipv4OverIpv4, host, four);
        QVERIFY(resolved);
        QCOMPARE(resolved->hostName, host);
        QCOMPARE(resolved->endpoints, (QList<Endpoint>{four, six}));
    }

    void otherAnswersWaitForCompany_data() {
        QTest::addColumn<bool>("overIpv6");
        QTest::addColumn<bool>("forIpv6");
        QTest::addColumn<double>("patience");
        QTest::newRow("IPv4 over IPv4") << false << false << 0.25;
        QTest::newRow("IPv4 over IPv6") << true << false << 0.25;
        QTest::newRow("IPv6 over IPv6") << true << true << 1.5;
        QTest::newRow("IPv6 over IPv4") << false << true << 1.5;
    }
    void otherAnswersWaitForCompany() {
        QFETCH(bool, overIpv6);
        QFETCH(bool, forIpv6);
        QFETCH(double, patience);
        EndpointGatherer gatherer;
        int completed = 0;
        gatherer.onComplete = [&](const Resolved &) { ++completed; };
        gatherer.add({overIpv6, forIpv6}, host, forIpv6 ? six : four);
        _loop.advance(patience - 0.01);
        QCOMPARE(completed, 0);
        _loop.advance(0.02);
        QCOMPARE(completed, 1);
        _loop.advance(5);
        QCOMPARE(completed, 1);
    }

    void anIpv4AddressShortensTheWaitButNothingProlongsIt() {
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.add(ipv6OverIpv4, host, six);
        _loop.advance(0.5);
        gatherer.add(ipv4OverIpv6, host, four);
        _loop.advance(0.2);
        gatherer.add(ipv6OverIpv4, host, {QHostAddress(QStringLiteral("2001:db8::8")), 4711});
        QVERIFY(!resolved);
        _loop.advance(0.06);
        QVERIFY(resolved);
        QCOMPARE(resolved->endpoints.size(), 3);
        QCOMPARE(resolved->endpoints[0], four);
    }

    void sameAddressCountsOnceAndSixteenAreEnough() {
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.add(ipv4OverIpv4, host, four);
        gatherer.add(ipv4OverIpv6, host, four);
        for (quint32 number = 1; number <= 15; ++number)
            gatherer.add(ipv4OverIpv4, host, {QHostAddress(0xC0000264U + number), 4711});
        const Endpoint seventeenth{QHostAddress(QStringLiteral("198.51.100.1")), 4711};
        gatherer.add(ipv4OverIpv4, host, seventeenth);
        _loop.advance(1);
        QVERIFY(resolved);
        QCOMPARE(resolved->endpoints.size(), 16);
        QVERIFY(!resolved->endpoints.contains(seventeenth));
    }

    void answersWithoutAnAddressOrPortAreNone() {
        EndpointGatherer gatherer;
        int completed = 0;
        gatherer.onComplete = [&](const Resolved &) { ++completed; };
        gatherer.add(ipv4OverIpv4, host, {QHostAddress(), 4711});
        gatherer.add(ipv4OverIpv4, host, {four.address, 0});
        _loop.advance(5);
        QCOMPARE(completed, 0);
    }

    void whenNoQuestionIsOpenNothingIsWaitedFor_data() {
        QTest::addColumn<int>("answerAt");
        for (int place = 0; place < 4; ++place)
            QTest::addRow("answer at place %d", place + 1) << place;
    }
    void whenNoQuestionIsOpenNothingIsWaitedFor() {
        QFETCH(int, answerAt);
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.onFailed = [&](const QString &reason) { QFAIL(qPrintable(reason)); };
        for (int place = 0; place < 4; ++place) {
            QVERIFY(!resolved);
            const AddressQuestion question = addressQuestions[size_t(place)];
            if (place == answerAt)
                gatherer.add(question, host, question.forIpv6 ? six : four);
            else
                gatherer.refused(question, QStringLiteral("switched off"));
        }
        QVERIFY(resolved);
        QCOMPARE(resolved->endpoints.size(), 1);
    }

    void failsWhenAllFourQuestionsAreRefused() {
        EndpointGatherer gatherer;
        QStringList failures;
        gatherer.onFailed = [&](const QString &reason) { failures += reason; };
        for (int round = 1; round <= 2; ++round) {
            for (const AddressQuestion &question : addressQuestions) {
                QCOMPARE(failures.size(), round - 1);
                gatherer.refused(question, QStringLiteral("busy"));
                if (!question.forIpv6)
                    gatherer.refused(question, QStringLiteral("still busy")); // counts once
            }
            QCOMPARE(failures.size(), round);
            gatherer.clear();
        }
    }

    void aLoopbackAddressCountsOnlyOverLoopback() {
        const Endpoint ours{QHostAddress(QHostAddress::LocalHost), 4711};
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.add(ipv4OverIpv4, host, ours, false);
        _loop.advance(5);
        QVERIFY(!resolved);
        gatherer.add(ipv4OverIpv4, host, ours, true);
        _loop.advance(5);
        QCOMPARE(resolved->endpoints, (QList<Endpoint>{ours}));
    }

    void nobodysAddressDoesNotHideAGoodOne() {
        EndpointGatherer gatherer;
        std::optional<Resolved> resolved;
        gatherer.onComplete = [&](const Resolved &r) { resolved = r; };
        gatherer.add(ipv4OverIpv4, host, {QHostAddress(QStringLiteral("224.0.0.1")), 4711}, true);
        gatherer.add(ipv4OverIpv4, host, four, true);
        _loop.advance(5);
        QCOMPARE(resolved->endpoints, (QList<Endpoint>{four}));
    }

    void clearForgetsWhatWasGathered() {
        EndpointGatherer gatherer;
        int completed = 0;
        gatherer.onComplete = [&](const Resolved &) { ++completed; };
        gatherer.add(ipv4OverIpv4, host, four);
        gatherer.clear();
        gatherer.add(ipv6OverIpv6, host, six);
        QCOMPARE(completed, 0);
        _loop.advance(1);
        QCOMPARE(completed, 0);
    }

    void aNameIsFoundOnceAndRemovedWithItsLastSighting() {
        SeenInstances seen;
        const auto name = QStringLiteral("Anna");
        QVERIFY(seen.add(name, 2, 0));
        QVERIFY(!seen.add(name, 2, 0)); // the same once more
        QVERIFY(!seen.add(name, 2, 1));
        QVERIFY(!seen.add(name, 3, 0));
        QVERIFY(!seen.remove(name, 2, 0));
        QVERIFY(!seen.remove(name, 2, 0));
        QVERIFY(!seen.remove(name, 3, 0));
        QVERIFY(seen.remove(name, 2, 1));
        QVERIFY(!seen.remove(name, 2, 1)); // it is not there any more
        QVERIFY(seen.add(name, 2, 1));
    }

    void containsWhatIsSeen() {
        SeenInstances seen;
        const auto name = QStringLiteral("Anna");
        QVERIFY(!seen.contains(name));
        QVERIFY(seen.add(name, 2, 0));
        QVERIFY(seen.contains(name));
        seen.clear();
        QVERIFY(!seen.contains(name));
    }

    void noMoreThanAThousandNames() {
        SeenInstances seen;
        for (int number = 1; number <= 999; ++number)
            QVERIFY(seen.add(QString::number(number), 1, 0));
        QVERIFY(!seen.isFull());
        QVERIFY(seen.add(QStringLiteral("1000"), 1, 0));
        QVERIFY(seen.isFull());
        QTest::ignoreMessage(QtWarningMsg,
                             "more than 1000 services of one type; the others are left out");
        QVERIFY(!seen.add(QStringLiteral("1001"), 1, 0));
        QVERIFY(!seen.add(QStringLiteral("1002"), 1, 0)); // said once
        QVERIFY(!seen.remove(QStringLiteral("1001"), 1, 0));
        QVERIFY(seen.remove(QStringLiteral("7"), 1, 0));
        QVERIFY(seen.add(QStringLiteral("1001"), 1, 0));
    }

    void aWantedNameIsSeenHoweverManyOthersThereAre() {
        SeenInstances seen;
        const auto name = QStringLiteral("Anna");
        seen.setWanted(name);
        for (int number = 1; number <= 1001; ++number)
            QVERIFY(!seen.add(QString::number(number), 1, 0));
        QVERIFY(!seen.isFull());
        QVERIFY(seen.add(name, 1, 0));
        QVERIFY(seen.remove(name, 1, 0));
        seen.setWanted(std::nullopt);
        QVERIFY(seen.add(QStringLiteral("1"), 1, 0));
    }

    void eventsAreDeliveredLaterInOrder() {
        EventQueue queue;
        QString order;
        queue.post([&] {
            order += u'a';
            queue.post([&] { order += u'c'; });
        });
        queue.post([&] { order += u'b'; });
        QCOMPARE(order, QString());
        _loop.runOnce();
        QCOMPARE(order, QStringLiteral("ab"));
        _loop.runOnce();
        QCOMPARE(order, QStringLiteral("abc"));
    }

    void anEventMayClearOrDestroyItsQueue() {
        auto queue = std::make_unique<EventQueue>();
        int delivered = 0;
        queue->post([&] {
            ++delivered;
            queue->clear();
            queue->post([&] {
                ++delivered;
                queue.reset();
            });
            queue->post([&] { ++delivered; });
        });
        queue->post([&] { ++delivered; });
        _loop.advance(1);
        QCOMPARE(delivered, 2);
        QVERIFY(!queue);
    }
};

QTEST_GUILESS_MAIN(GatheringTest)
#include "tst_gathering.moc"
