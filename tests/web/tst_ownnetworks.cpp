// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/LocalRequest.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/web/WebTestCase.h"
#include "web/WebControl.h"

#include <QProcess>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::PageSocket;

namespace {

// As an administrator's "ip" with these words. What it does is done when it returns.
void ip(const QString &words) {
    QVERIFY2(QProcess::execute(u"ip"_s, words.split(u' ')) == 0, qPrintable(words));
}

QStringList addressesOf(const QList<OwnNetwork> &networks) {
    QStringList addresses;
    for (const OwnNetwork &network : networks)
        addresses += network.address.toString() + u'/' + QString::number(network.prefixLength);
    return addresses;
}

} // namespace

// On a network of its own, whose addresses come and go.
class OwnNetworksTest final : public kit::WebTestCase {
    Q_OBJECT

    void begin() override {
        WebTestCase::begin();
        ip(u"link add d0 type veth peer name d1"_s);
        ip(u"link set d1 up"_s);
        // Those that it gives itself come some time later.
        ip(u"link set d0 addrgenmode none"_s);
        ip(u"link set d1 addrgenmode none"_s);
    }
    void end() override {
        WebTestCase::end();
        ip(u"link del d0"_s);
    }

private Q_SLOTS:
    void whatIsUpIsThere() {
        QCOMPARE(addressesOf(OwnNetworks::toServe()), QStringList());
        ip(u"addr add 10.77.0.1/24 dev d0"_s);
        QVERIFY(!addressesOf(OwnNetworks::all()).contains(u"10.77.0.1/24"_s));
        ip(u"link set d0 up"_s);
        ip(u"addr add 203.0.113.5/28 dev d0"_s);
        ip(u"addr add fd00:1::7/64 dev d0 nodad"_s);
        ip(u"addr add fe80::7/64 dev d0 nodad"_s);
        const QStringList all = addressesOf(OwnNetworks::all());
        for (const QString &address :
             {u"127.0.0.1/8"_s, u"10.77.0.1/24"_s, u"203.0.113.5/28"_s, u"fe80::7/64"_s})
            QVERIFY2(all.contains(address), qPrintable(all.join(u' ')));
        // Neither of the internet's, nor of what a link cannot have.
        QCOMPARE(addressesOf(OwnNetworks::toServe()),
                 (QStringList{u"10.77.0.1/24"_s, u"fd00:1::7/64"_s}));
    }

    void theWayToTheOthersIsFirst() {
        ip(u"link set d0 up"_s);
        for (const QString &address : {u"10.1.0.1/24"_s, u"10.2.0.1/24"_s, u"10.3.0.1/24"_s})
            ip(u"addr add "_s + address + u" dev d0"_s);
        const auto order = [] { return addressesOf(OwnNetworks::toServe()); };
        QCOMPARE(order(), (QStringList{u"10.1.0.1/24"_s, u"10.2.0.1/24"_s, u"10.3.0.1/24"_s}));
        ip(u"route add default via 10.2.0.2 dev d0"_s);
        QCOMPARE(order(), (QStringList{u"10.2.0.1/24"_s, u"10.1.0.1/24"_s, u"10.3.0.1/24"_s}));
        ip(u"route replace default via 10.3.0.2 dev d0"_s);
        QCOMPARE(order(), (QStringList{u"10.3.0.1/24"_s, u"10.1.0.1/24"_s, u"10.2.0.1/24"_s}));
    }

    void changesAreToldTogether_data() {
        QTest::addColumn<QString>("address");
        QTest::newRow("IPv4") << u"10.77.0.1/24"_s;
        QTest::newRow("IPv6") << u"fd00:1::7/64"_s;
    }
    void changesAreToldTogether() {
        QFETCH(QString, address);
        // It watches as well.
        WebTestCase::end();
        ip(u"link set d0 up"_s);
        kit::ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        AddressWatch watch;
        int changes = 0;
        watch.onChange = [&] { ++changes; };
        ip(u"addr add "_s + address + u" dev d0"_s);
        QTRY_COMPARE(runLoop.pendingCount(), 1);
        runLoop.advance(0.9);
        // Another that comes meanwhile puts nothing off.
        ip(u"addr add 10.78.0.1/24 dev d0"_s);
        QCoreApplication::processEvents();
        QCOMPARE(changes, 0);
        runLoop.advance(0.1);
        QCOMPARE(changes, 1);
        QCOMPARE(runLoop.pendingCount(), 0);
        ip(u"addr del "_s + address + u" dev d0"_s);
        QTRY_COMPARE(runLoop.pendingCount(), 1);
        runLoop.advance(1.0);
        QCOMPARE(changes, 2);
        // Nothing of what was read comes again.
        QCoreApplication::processEvents();
        QCOMPARE(runLoop.pendingCount(), 0);
    }

    void aProgramFollowsItsAddresses() {
        WebTestCase::end();
        start(true, {});
        int changes = 0;
        _web->onAddressesChange = [&] { ++changes; };
        // A computer that is on no network yet.
        QVERIFY(!_web->makeLink());
        QCOMPARE(port(), 0);
        ip(u"link set d0 up"_s);
        ip(u"addr add 10.77.0.1/24 dev d0"_s);
        QTRY_COMPARE(changes, 1);
        const quint16 served = port();
        QCOMPARE(_web->makeLink()->section(u'#', 0, 0), u"http://10.77.0.1:%1/"_s.arg(served));
        QList<QJsonObject> news;
        _web->onCode = [&](const QJsonObject &one) { news.append(one); };
        PageSocket goes(served, QHostAddress(u"10.77.0.1"_s));
        QCOMPARE(goes.get("/").status, 200);
        ip(u"addr add 192.168.7.1/24 dev d0"_s);
        QTRY_COMPARE(changes, 2);
        PageSocket stays(served, QHostAddress(u"192.168.7.1"_s));
        QCOMPARE(stays.get("/").status, 200);
        // The code's link leads there still.
        QCOMPARE(news.size(), 0);
        ip(u"addr del 10.77.0.1/24 dev d0"_s);
        QTRY_COMPARE(changes, 3);
        QCOMPARE(news, QList{QJsonObject({{u"code"_s, u"moved"_s}})});
        QCOMPARE(_web->server().addresses(), QList{QHostAddress(u"192.168.7.1"_s)});
        QTRY_COMPARE(_web->server().connections(), 1);
        QCOMPARE(port(), served);
        QCOMPARE(stays.get("/").status, 200);
        // One of the internet changes nothing.
        ip(u"addr add 203.0.113.5/28 dev d0"_s);
        QTRY_COMPARE(changes, 4);
        QCOMPARE(_web->server().addresses(), QList{QHostAddress(u"192.168.7.1"_s)});
    }

    void whoShowsTheCodeIsToldThatItLeadsNowhere() {
        WebTestCase::end();
        ip(u"link set d0 up"_s);
        ip(u"addr add 10.77.0.1/24 dev d0"_s);
        start(true, {});
        WebControl control(*_web);
        QFile::setPermissions(_folder->path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QByteArray folder = _folder->path().toLocal8Bit();
        QVERIFY(control.start(folder));
        LocalRequest watcher;
        QByteArrayList heard;
        bool hungUp = false;
        watcher.onLine = [&](const QByteArray &line) { heard.append(line); };
        watcher.onEnd = [&] { hungUp = true; };
        QVERIFY(
            watcher.start(folder, LocalRequest::pageControl, "{\"do\":\"code\",\"watch\":true}") ==
            LocalFolder::Answer::Connected);
        QTRY_COMPARE(heard.size(), 1);
        QVERIFY(heard[0].contains("http://10.77.0.1:"));
        // Another address beside it is no news.
        ip(u"addr add 192.168.7.1/24 dev d0"_s);
        QTRY_COMPARE(_web->server().addresses().size(), 2);
        QVERIFY(!hungUp);
        ip(u"addr del 10.77.0.1/24 dev d0"_s);
        QTRY_VERIFY(hungUp);
        QCOMPARE(heard.sliced(1), QByteArrayList{"{\"code\":\"moved\"}"});
    }
};

QTEST_GUILESS_MAIN(OwnNetworksTest)
#include "tst_ownnetworks.moc"
