// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSSystemCategories.h"
#include "tests/kit/TestCase.h"

#include <QRegularExpression>
#include <QTest>

#include <dlfcn.h>
#include <ifaddrs.h>

using namespace clipmule;
using namespace clipmule::ZRKNSHostCategory;

namespace {

bool canListInterfaces = true;
int timesListed = 0;

} // namespace

// The system's function as the program sees it.
extern "C" int getifaddrs(ifaddrs **first) {
    using Function = int (*)(ifaddrs **);
    static const auto own = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getifaddrs"));
    ++timesListed;
    return canListInterfaces ? own(first) : -1;
}

namespace {

LinkInterface ethernet(const QString &name, const char *address) {
    return {name, true, false, QByteArray::fromHex(address)};
}

} // namespace

class HostCategoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void formOfTheAddress() {
        QCOMPARE(addressOfMainInterface({ethernet(QStringLiteral("eth0"), "001A2B3C4D5E")}),
                 QStringLiteral("00:1a:2b:3c:4d:5e"));
    }

    void wiredBeforeWirelessBeforeTheRest() {
        const LinkInterface bridge = ethernet(QStringLiteral("docker0"), "020000000003");
        const LinkInterface wireless = ethernet(QStringLiteral("wlp3s0"), "020000000002");
        const LinkInterface wired = ethernet(QStringLiteral("enp0s31f6"), "020000000001");
        QCOMPARE(addressOfMainInterface({bridge, wireless, wired}),
                 QStringLiteral("02:00:00:00:00:01"));
        QCOMPARE(addressOfMainInterface({bridge, wireless}), QStringLiteral("02:00:00:00:00:02"));
        QCOMPARE(addressOfMainInterface({bridge}), QStringLiteral("02:00:00:00:00:03"));
    }

    void firstInTheSystemsOrderOfOneKind() {
        QCOMPARE(addressOfMainInterface({ethernet(QStringLiteral("eth1"), "020000000001"),
                                         ethernet(QStringLiteral("eth0"), "020000000002")}),
                 QStringLiteral("02:00:00:00:00:01"));
    }

    void whatHasNoUsableAddressIsPassedOver() {
        const LinkInterface loopback{QStringLiteral("lo"), true, true,
                                     QByteArray::fromHex("020000000009")};
        const LinkInterface tunnel{QStringLiteral("tun0"), false, false,
                                   QByteArray::fromHex("020000000008")};
        const LinkInterface zero = ethernet(QStringLiteral("eth0"), "000000000000");
        const LinkInterface infiniband = ethernet(QStringLiteral("eth1"), "0200000000070000");
        const LinkInterface wireless = ethernet(QStringLiteral("wlan0"), "020000000001");
        QCOMPARE(addressOfMainInterface({loopback, tunnel, zero, infiniband, wireless}),
                 QStringLiteral("02:00:00:00:00:01"));
    }

    void emptyWithoutAnInterface() { QCOMPARE(addressOfMainInterface({}), QString()); }

    void answerForThisMachine() {
        // What could not be found out is not kept.
        canListInterfaces = false;
        QCOMPARE(currentHostMAC(), std::nullopt);
        canListInterfaces = true;
        const std::optional<QString> address = currentHostMAC();
        QVERIFY(address);
        const QRegularExpression form(QStringLiteral("^([0-9a-f]{2}(:[0-9a-f]{2}){5})?$"));
        QVERIFY2(form.match(*address).hasMatch(), qPrintable(*address));
        // A second time the system is not asked.
        canListInterfaces = false;
        const int times = timesListed;
        QCOMPARE(currentHostMAC(), address);
        QCOMPARE(timesListed, times);
        canListInterfaces = true;
    }
};

QTEST_GUILESS_MAIN(HostCategoryTest)
#include "tst_hostcategory.moc"
