// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/NetService.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const auto type = QStringLiteral("_clipmule-s2._tcp");
const dnssd::ServiceName phone{QStringLiteral("Anna's phone"), type, QStringLiteral("local")};
const dnssd::Endpoint address{QHostAddress(QStringLiteral("192.0.2.7")), 4711};

class SilentInput final : public InputStream {
public:
    void setEventHandler(EventHandler) override {}
    void open() override {}
    void close() override {}
    qint64 read(char *, qint64) override { return -1; }
};

class SilentOutput final : public OutputStream {
public:
    void setEventHandler(EventHandler) override {}
    void open() override {}
    void close() override {}
    bool hasSpaceAvailable() override { return false; }
    qint64 write(const char *, qint64) override { return 0; }
};

StreamPair silentPair() {
    return {std::make_unique<SilentInput>(), std::make_unique<SilentOutput>()};
}

} // namespace

class NetServiceTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _backend = std::make_unique<FakeDnsSd>(); }

    kit::ManualRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::unique_ptr<FakeDnsSd> _backend;

    std::shared_ptr<NetService> service(quint16 port = 0) {
        return NetService::initWithDomainTypeNamePort(*_backend, phone.domain, phone.type,
                                                      phone.name, port);
    }

private Q_SLOTS:
    void emptyDomainStandsForLocalAndFinalDotsAreDropped() {
        const auto service = NetService::initWithDomainTypeNamePort(
            *_backend, QString(), QStringLiteral("_clipmule-c2._tcp."), QStringLiteral("A"), 1);
        QCOMPARE(service->domain(), QStringLiteral("local"));
        QCOMPARE(service->type(), QStringLiteral("_clipmule-c2._tcp"));
        const auto other = NetService::initWithDomainTypeNamePort(
            *_backend, QStringLiteral("local."), QStringLiteral("_clipmule-c2._tcp"),
            QStringLiteral("A"), 2);
        QVERIFY(service->isEqual(*other));
    }

    void servicesAreEqualByNameTypeAndDomain() {
        QVERIFY(service()->isEqual(*service(7)));
        const auto named = NetService::initWithDomainTypeNamePort(
            *_backend, phone.domain, phone.type, QStringLiteral("anna's phone"), 0);
        QVERIFY(!service()->isEqual(*named));
        const auto typed = NetService::initWithDomainTypeNamePort(
            *_backend, phone.domain, QStringLiteral("_clipmule-c2._tcp"), phone.name, 0);
        QVERIFY(!service()->isEqual(*typed));
        const auto elsewhere = NetService::initWithDomainTypeNamePort(
            *_backend, QStringLiteral("example.com"), phone.type, phone.name, 0);
        QVERIFY(!service()->isEqual(*elsewhere));
    }

    void publishesWithAnEmptyRecordUnlessGivenOne() {
        const auto announcement = service(1);
        announcement->publish();
        _loop.runOnce();
        QCOMPARE(_backend->published().size(), 1);
        QCOMPARE(_backend->published()[0].service, phone);
        QCOMPARE(_backend->published()[0].port, quint16(1));
        QCOMPARE(_backend->published()[0].txtRecord, QByteArray("\0", 1));
    }

    void recordSetBeforePublishingIsPublishedAndChangedLive() {
        const auto announcement = service(1);
        announcement->setTXTRecordData("\3a=1");
        announcement->publish();
        _loop.runOnce();
        QCOMPARE(_backend->published()[0].txtRecord, QByteArray("\3a=1"));
        announcement->setTXTRecordData("\3a=2");
        _loop.runOnce();
        QCOMPARE(_backend->published()[0].txtRecord, QByteArray("\3a=2"));
    }

    void aRecordThatIsTooLongDoesNotCostTheService() {
        for (const qsizetype size : {1299, 1300, 1301}) {
            const auto announcement = service(1);
            const QByteArray record = kit::txtRecordOfSize(size);
            announcement->setTXTRecordData(record);
            const bool fits = size <= 1300;
            if (!fits)
                QTest::ignoreMessage(QtWarningMsg,
                                     qPrintable(announcement->description() +
                                                QStringLiteral(" is published without its TXT "
                                                               "record: the TXT record has 1301 "
                                                               "bytes, more than 1300")));
            announcement->publish();
            _loop.runOnce();
            QCOMPARE(_backend->published().size(), 1);
            QCOMPARE(_backend->published()[0].txtRecord, fits ? record : QByteArray("\0", 1));
        }
    }

    void stopAndDestructionWithdrawThePublication() {
        auto announcement = service(1);
        announcement->publish();
        _loop.runOnce();
        announcement->stop();
        QCOMPARE(_backend->published().size(), 0);
        announcement->publish();
        _loop.runOnce();
        QCOMPARE(_backend->published().size(), 1);
        announcement.reset();
        QCOMPARE(_backend->published().size(), 0);
    }

    void publicationErrorIsOnlyLogged() {
        const auto announcement = NetService::initWithDomainTypeNamePort(
            *_backend, QString(), phone.type, QString(64, u'x'), 1);
        announcement->publish();
        QTest::ignoreMessage(QtWarningMsg,
                             "cannot publish "
                             "\"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\" "
                             "(_clipmule-s2._tcp.local): "
                             "the service name has 64 bytes, more than 63");
        _loop.runOnce();
        QCOMPARE(_backend->published().size(), 0);
    }

    void takenNameIsChangedButTheServiceKeepsItsOwn() {
        _backend->appear(phone, {address});
        const auto announcement = service(1);
        announcement->publish();
        _loop.advance(0.1);
        QCOMPARE(_backend->published().size(), 1);
        QCOMPARE(_backend->published()[0].service.name, QStringLiteral("Anna's phone (2)"));
        QCOMPARE(announcement->name(), phone.name);
    }

    void resolvesAndGivesStreams() {
        _backend->appear(phone, {address});
        _backend->connector = [](const dnssd::Resolved &) { return silentPair(); };
        const auto found = service();
        QVERIFY(!found->streams());
        int resolved = 0;
        found->onResolved = [&](NetService &sender) {
            QCOMPARE(&sender, found.get());
            ++resolved;
        };
        found->resolveWithTimeout(RunLoop::Seconds(10));
        QCOMPARE(resolved, 0);
        _loop.advance(20);
        QCOMPARE(resolved, 1);
        QVERIFY(found->streams());
        QCOMPARE(_backend->connections().size(), 1);
        QCOMPARE(_backend->connections()[0].endpoints, QList<dnssd::Endpoint>{address});
    }

    void noStreamsWhenNoSocketCouldBeMade() {
        _backend->appear(phone, {address});
        const auto found = service();
        found->resolveWithTimeout(RunLoop::Seconds(10));
        _loop.runOnce();
        QVERIFY(!found->streams());
        QCOMPARE(_backend->connections().size(), 1);
    }

    void resolveTimesOut() {
        const auto found = service();
        int failures = 0;
        found->onNotResolved = [&](NetService &) { ++failures; };
        found->resolveWithTimeout(RunLoop::Seconds(10));
        _loop.advance(9.9);
        QCOMPARE(failures, 0);
        _loop.advance(0.2);
        QCOMPARE(failures, 1);
        _loop.advance(60);
        QCOMPARE(failures, 1);
    }

    void eachResolveAsksAfresh() {
        _backend->appear(phone, {address});
        const auto found = service();
        found->resolveWithTimeout(RunLoop::Seconds(10));
        _loop.runOnce();
        const dnssd::Endpoint moved{QHostAddress(QStringLiteral("192.0.2.8")), 4712};
        _backend->appear(phone, {moved});
        found->resolveWithTimeout(RunLoop::Seconds(10));
        QVERIFY(!found->streams());
        QCOMPARE(_backend->connections().size(), 0); // nothing is known until it has answered
        _loop.runOnce();
        QVERIFY(!found->streams());
        QCOMPARE(_backend->connections().last().endpoints, QList<dnssd::Endpoint>{moved});
        QCOMPARE(_backend->resolveCount(phone), 2);
    }

    void nothingIsToldAfterStop() {
        _backend->appear(phone, {address});
        const auto found = service();
        int calls = 0;
        found->onResolved = [&](NetService &) { ++calls; };
        found->onNotResolved = found->onResolved;
        found->onTxtRecord = [&](NetService &, const QByteArray &) { ++calls; };
        found->resolveWithTimeout(RunLoop::Seconds(10));
        found->startMonitoring();
        found->stop();
        _loop.advance(20);
        QCOMPARE(calls, 0);
        QCOMPARE(_backend->resolving().size(), 0);
        QCOMPARE(_backend->watchedTxtRecords().size(), 0);
    }

    void delegateMayReleaseTheService_data() {
        QTest::addColumn<QString>("event");
        QTest::newRow("resolved") << QStringLiteral("resolved");
        QTest::newRow("failed") << QStringLiteral("failed");
        QTest::newRow("record") << QStringLiteral("record");
    }
    void delegateMayReleaseTheService() {
        QFETCH(QString, event);
        _backend->appear(phone, {address});
        if (event == u"failed")
            _backend->setAnswer(phone, FakeDnsSd::Answer::Failure);
        auto found = service();
        const std::weak_ptr<NetService> observed = found;
        int calls = 0;
        const auto release = [&](NetService &sender) {
            ++calls;
            found.reset();
            QCOMPARE(sender.name(), phone.name); // alive until the call returns
        };
        found->onResolved = release;
        found->onNotResolved = release;
        found->onTxtRecord = [&](NetService &sender, const QByteArray &) { release(sender); };
        if (event == u"record")
            found->startMonitoring();
        else
            found->resolveWithTimeout(RunLoop::Seconds(10));
        _loop.runOnce();
        QCOMPARE(calls, 1);
        QVERIFY(observed.expired());
        _loop.advance(20);
        QCOMPARE(calls, 1);
    }

    void reportsTheRecordAndItsChanges() {
        _backend->appear(phone, {address}, "\3a=1");
        const auto found = service();
        QVERIFY(!found->txtRecordData());
        QList<QByteArray> seen;
        found->onTxtRecord = [&](NetService &, const QByteArray &record) { seen += record; };
        found->startMonitoring();
        _loop.runOnce();
        _backend->changeTxtRecord(phone, "\3a=1");
        _loop.runOnce();
        _backend->changeTxtRecord(phone, "\3a=2");
        _loop.runOnce();
        QCOMPARE(seen, (QList<QByteArray>{"\3a=1", "\3a=2"}));
        QVERIFY(found->txtRecordData());
        QCOMPARE(*found->txtRecordData(), QByteArray("\3a=2"));
    }

    void browserHandsOutServicesToResolve() {
        NetServiceBrowser browser(*_backend);
        std::shared_ptr<NetService> found;
        std::shared_ptr<NetService> removed;
        browser.onFound = [&](const auto &service) { found = service; };
        browser.onRemoved = [&](const auto &service) { removed = service; };
        browser.searchForServicesOfTypeInDomain(type, QStringLiteral("local."));
        QCOMPARE(_backend->browsedTypes(), QStringList{type});
        _backend->appear(phone, {address});
        _loop.runOnce();
        QVERIFY(found);
        QCOMPARE(found->name(), phone.name);
        QVERIFY(found->isEqual(*service()));
        _backend->vanish(phone);
        _loop.runOnce();
        QVERIFY(removed);
        QVERIFY(removed != found);
        QVERIFY(removed->isEqual(*found));
    }

    void browserIsSilentAfterStopAndMayBeStoppedInItsCallback() {
        NetServiceBrowser browser(*_backend);
        int found = 0;
        browser.onFound = [&](const auto &) {
            ++found;
            browser.stop();
        };
        _backend->appear(phone, {address});
        _backend->appear({QStringLiteral("Bert"), type, phone.domain}, {address});
        browser.searchForServicesOfTypeInDomain(type, QString());
        _loop.runOnce();
        _loop.advance(1);
        QCOMPARE(found, 1);
        QCOMPARE(_backend->browsedTypes(), QStringList());
    }

    void delegateMayDestroyTheBrowser() {
        auto browser = std::make_unique<NetServiceBrowser>(*_backend);
        int found = 0;
        browser->onFound = [&](const auto &) {
            ++found;
            browser.reset();
        };
        _backend->appear(phone, {address});
        browser->searchForServicesOfTypeInDomain(type, QString());
        _loop.advance(1);
        QCOMPARE(found, 1);
    }

    void otherDomainsAreRefused() {
        NetServiceBrowser browser(*_backend);
        QTest::ignoreMessage(QtWarningMsg, "cannot search in the domain \"example.com.\"");
        browser.searchForServicesOfTypeInDomain(type, QStringLiteral("example.com."));
        QCOMPARE(_backend->browsedTypes(), QStringList());
    }
};

QTEST_GUILESS_MAIN(NetServiceTest)
#include "tst_netservice.moc"
