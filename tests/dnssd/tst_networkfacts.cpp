// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/NetworkFacts.h"
#include "platform/foundation/QtRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QProcess>
#include <QTest>

#include <algorithm>

using namespace clipmule;
using dnssd::NetworkFacts;

namespace {
// In milliseconds: for another process, on a machine that is busy.
constexpr int patience = 30000;
} // namespace

// On the first of two hosts, with real daemons; the network is taken away piece by piece.
class NetworkFactsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void anotherDeviceAnswers() {
        QProcess publisher;
        publisher.start(QStringLiteral("on"), {QStringLiteral("b"), QStringLiteral("avahi-publish"),
                                               QStringLiteral("-s"), QStringLiteral("Something"),
                                               QStringLiteral("_http._tcp"), QStringLiteral("80")});
        QVERIFY(publisher.waitForStarted());
        // Until it has been published.
        QTRY_COMPARE_WITH_TIMEOUT(look().multicast, NetworkFacts::Multicast::OthersAnswer,
                                  patience);
        QVERIFY(_facts.hasSystemBus);
        QVERIFY(_facts.avahiRuns);
        QVERIFY2(_facts.avahiVersion.startsWith(u"avahi 0."), qPrintable(_facts.avahiVersion));
        QVERIFY(_facts.hasUsableInterface());
        QVERIFY(interface().isUp);
        QVERIFY(interface().canMulticast);
        QVERIFY(interface().addresses.contains(QStringLiteral("10.77.0.1")));
        publisher.terminate();
        QVERIFY(publisher.waitForFinished(patience));
    }

    void nobodyElseAnswers() {
        run({QStringLiteral("cable"), QStringLiteral("b"), QStringLiteral("out")});
        QCOMPARE(look().multicast, NetworkFacts::Multicast::OnlyOwn);
    }

    void nobodyAnswers() {
        run({QStringLiteral("daemon"), QStringLiteral("a"), QStringLiteral("stop")});
        QCOMPARE(look().multicast, NetworkFacts::Multicast::NoAnswer);
        QVERIFY(_facts.hasSystemBus);
        QVERIFY(!_facts.avahiRuns);
        QCOMPARE(_facts.avahiVersion, QString());
    }

    void theInterfaceDoesNoMulticast() {
        run({QStringLiteral("ip"), QStringLiteral("link"), QStringLiteral("set"),
             QStringLiteral("eth0"), QStringLiteral("multicast"), QStringLiteral("off")});
        QCOMPARE(look().multicast, NetworkFacts::Multicast::Untried);
        QVERIFY(!interface().canMulticast);
        QVERIFY(_facts.hasUsableInterface());
    }

    void thereIsNoNetwork() {
        run({QStringLiteral("ip"), QStringLiteral("link"), QStringLiteral("set"),
             QStringLiteral("eth0"), QStringLiteral("down")});
        look();
        QVERIFY(!_facts.hasUsableInterface());
        QVERIFY(!interface().isUp);
        QVERIFY(!_facts.interfaces.isEmpty());
    }

    void thereIsNoSystemBus() {
        run({QStringLiteral("bus"), QStringLiteral("a"), QStringLiteral("stop")});
        _probe = dnssd::makeNetworkProbe();
        look();
        QVERIFY(!_facts.hasSystemBus);
        QVERIFY(!_facts.avahiRuns);
    }

    void aSecondLookReplacesTheFirst() {
        int first = 0;
        int second = 0;
        _probe->look([&first](const NetworkFacts &) { ++first; });
        _probe->look([&second](const NetworkFacts &) { ++second; });
        QTRY_COMPARE_WITH_TIMEOUT(second, 1, patience);
        QCOMPARE(first, 0);
    }

private:
    const NetworkFacts &look() {
        bool done = false;
        _probe->look([&](const NetworkFacts &facts) {
            _facts = facts;
            done = true;
        });
        [&done] { QTRY_VERIFY_WITH_TIMEOUT(done, patience); }();
        return _facts;
    }
    NetworkFacts::Interface interface() const {
        const auto found = std::find_if(_facts.interfaces.begin(), _facts.interfaces.end(),
                                        [](const auto &one) { return one.name == u"eth0"; });
        return found == _facts.interfaces.end() ? NetworkFacts::Interface() : *found;
    }
    static void run(QStringList command) {
        QProcess process;
        const QString program = command.takeFirst();
        process.start(program, command);
        QVERIFY(process.waitForFinished(patience));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<dnssd::NetworkProbe> _probe = dnssd::makeNetworkProbe();
    NetworkFacts _facts;
};

QTEST_GUILESS_MAIN(NetworkFactsTest)
#include "tst_networkfacts.moc"
