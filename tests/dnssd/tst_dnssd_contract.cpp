// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/Discovery.h"
#include "platform/dnssd/FixedAddresses.h"
#include "platform/dnssd/LocalAndNetwork.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/LocalSockets.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/TestCase.h"

#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

const auto local = QStringLiteral("local");

// With room for a machine that does other things as well; the usual times are a tenth of it.
constexpr int patience = 20000;

// Without any address, and so as what is below it.
struct FixedOverFake final : Backend {
    FakeDnsSd below;
    FixedAddresses fixed{below};
    std::unique_ptr<Publisher> makePublisher() override { return fixed.makePublisher(); }
    std::unique_ptr<Browser> makeBrowser() override { return fixed.makeBrowser(); }
    std::unique_ptr<Resolver> makeResolver() override { return fixed.makeResolver(); }
    std::unique_ptr<TxtWatch> makeTxtWatch() override { return fixed.makeTxtWatch(); }
    StreamPair connectTo(const Resolved &resolved) override { return fixed.connectTo(resolved); }
    QString description() const override { return fixed.description(); }
};

quint16 portIn(const Resolved &resolved) {
    return resolved.localPort ? *resolved.localPort : resolved.endpoints[0].port;
}

std::unique_ptr<Backend> makeBackend(const QString &kind, const QByteArray &runtimeFolder) {
    if (kind == u"local")
        return makeLocalBackend(runtimeFolder);
    if (kind == u"both")
        return std::make_unique<LocalAndNetwork>(makeLocalBackend(runtimeFolder),
                                                 std::make_unique<FakeDnsSd>());
    if (kind == u"fixed")
        return std::make_unique<FixedOverFake>();
    if (kind == u"bus")
        return std::make_unique<Discovery>(makeAvahiBusResponder());
    if (kind == u"core")
        return std::make_unique<Discovery>(makeAvahiCoreResponder());
    if (kind == u"auto")
        return dnssd::makeBackend();
    return std::make_unique<FakeDnsSd>();
}

} // namespace

// What every source of services does. Which one is chosen by CLIPMULE_DNSSD_BACKEND (fake, fixed,
// local, both, bus, core, auto); the last three on a private network with avahi-daemon.
class DnsSdContractTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _backend = makeBackend(_kind, _runtimeFolder.path().toLocal8Bit());
        ++_testCount;
        _type = QStringLiteral("_clipmule-s%1._tcp").arg(_testCount);
        _otherType = QStringLiteral("_clipmule-c%1._tcp").arg(_testCount);
    }

    void end() override { _backend.reset(); }

    QtRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    QString _kind;
    QTemporaryDir _runtimeFolder;
    std::unique_ptr<Backend> _backend;

    // Every test has types of its own: a service that has said goodbye stays in caches for a
    // second.
    int _testCount = 0;
    QString _type;
    QString _otherType;

    [[nodiscard]] bool isFake() const {
        return _kind == u"fake" || _kind == u"fixed" || _kind == u"both";
    }
    [[nodiscard]] bool isLocal() const { return _kind == u"local"; }
    [[nodiscard]] ServiceName named(const QString &name) const { return {name, _type, local}; }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _kind = qEnvironmentVariable("CLIPMULE_DNSSD_BACKEND", QStringLiteral("fake"));
        qInfo("backend: %s", qPrintable(_kind));
    }
    void aServiceIsPublishedFoundResolvedAndRemoved() {
        Publication publication(*_backend);
        Browse browse(*_backend);
        browse.browser->start(_type);
        publication.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        QVERIFY(publication.names.isEmpty()); // nothing from inside start()
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{QStringLiteral("Anna")}, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        QCOMPARE(browse.last, named(QStringLiteral("Anna")));

        Resolution resolution(*_backend);
        resolution.resolver->start(browse.last, RunLoop::Seconds(10));
        QCOMPARE(resolution.count, 0);
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(portIn(*resolution.resolved), quint16(4711));
        QCOMPARE(resolution.resolved->endpoints.isEmpty(), isLocal());
        if (!isLocal()) {
            QCOMPARE(resolution.resolved->endpoints[0].address,
                     QHostAddress(QHostAddress::LocalHost));
            QVERIFY(resolution.resolved->hostName.endsWith(QStringLiteral(".local")));
        }

        publication.publisher->stop();
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(),
                                  (QStringList{QStringLiteral("+Anna"), QStringLiteral("-Anna")}),
                                  patience);
        QCOMPARE(publication.errors, QStringList());
        QCOMPARE(resolution.count, 1);
    }

    void destructionWithdrawsLikeStop() {
        std::optional<Publication> publication(std::in_place, *_backend);
        Browse browse(*_backend);
        browse.browser->start(_type);
        publication->publisher->start(named(QStringLiteral("Brief")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Brief")},
                                  patience);
        publication.reset();
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().last(), QStringLiteral("-Brief"), patience);
    }

    void aLateBrowserFindsWhatIsThereThenSaysSo() {
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Early")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        Browse browse(*_backend);
        browse.browser->start(_type);
        QCOMPARE(browse.events, QStringList());
        QTRY_VERIFY_WITH_TIMEOUT(browse.events.contains(QStringLiteral(".")), patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Early")},
                                  patience);
    }

    void onlyTheBrowsedTypeIsReported() {
        Publication wanted(*_backend);
        Publication other(*_backend);
        Browse browse(*_backend);
        browse.browser->start(_otherType);
        other.publisher->start(named(QStringLiteral("Other")), 4711, QByteArray());
        wanted.publisher->start({QStringLiteral("Wanted"), _otherType, local}, 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(wanted.names.size() + other.names.size(), 2, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Wanted")},
                                  patience);
    }

    void onlyTheWantedNameIsReported() {
        Publication wanted(*_backend);
        Publication other(*_backend);
        Browse browse(*_backend);
        browse.browser->wantedName = QStringLiteral("Wanted");
        browse.browser->start(_type);
        Browse all(*_backend);
        all.browser->start(_type);
        other.publisher->start(named(QStringLiteral("Other")), 4711, QByteArray());
        wanted.publisher->start(named(QStringLiteral("Wanted")), 4712, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(all.changes().size(), 2, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Wanted")},
                                  patience);
    }

    void namesArriveByteForByte_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("spaces") << QStringLiteral("Anna and Bert's phone");
        QTest::newRow("dots") << QStringLiteral("Phone v1.2.");
        QTest::newRow("backslash and quotes") << QStringLiteral("C:\\\"x\" 'y'");
        QTest::newRow("emoji") << QStringLiteral("Anna 🐴📱");
        QTest::newRow("composed") << QStringLiteral("Zoë");
        QTest::newRow("decomposed") << QStringLiteral("Zoe\u0308");
        QTest::newRow("space at the end") << QStringLiteral("Anna ");
        QTest::newRow("looks like a type") << QStringLiteral("_http._tcp.local");
        QTest::newRow("63 bytes") << QString(63, u'x');
        QTest::newRow("63 bytes, emoji")
            << QStringLiteral("🐴").repeated(15) + QStringLiteral("abc");
    }
    void namesArriveByteForByte() {
        QFETCH(QString, name);
        Publication publication(*_backend);
        Browse browse(*_backend);
        browse.browser->start(_type);
        publication.publisher->start(named(name), 4711, "\3a=1");
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{name}, patience);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{u'+' + name}, patience);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        resolution.resolver->start(named(name), RunLoop::Seconds(10));
        txt.watch->start(named(name));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, QList<QByteArray>{"\3a=1"}, patience);
    }

    void whatCannotBePublishedIsAnError_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("txtRecord");
        QTest::newRow("64 bytes") << QString(64, u'x') << QByteArray();
        QTest::newRow("no name") << QString() << QByteArray();
        QTest::newRow("1301 bytes of record") << QStringLiteral("Long") << txtRecordOfSize(1301);
        QTest::newRow("broken record") << QStringLiteral("Broken") << QByteArray("\4a=1");
    }
    void whatCannotBePublishedIsAnError() {
        QFETCH(QString, name);
        QFETCH(QByteArray, txtRecord);
        Publication publication(*_backend);
        publication.publisher->start(named(name), 4711, txtRecord);
        QCOMPARE(publication.errors, QStringList());
        QTRY_COMPARE_WITH_TIMEOUT(publication.errors.size(), 1, patience);
        // It can still be used.
        publication.publisher->start(named(QStringLiteral("Good")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{QStringLiteral("Good")}, patience);
        QCOMPARE(publication.errors.size(), 1);
    }

    void aRecordArrivesByteForByte_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QByteArray>("arrives");
        QTest::newRow("none") << QByteArray() << QByteArray("\0", 1);
        QTest::newRow("empty") << QByteArray("\0", 1) << QByteArray("\0", 1);
        QTest::newRow("order and repetition")
            << QByteArray("\3b=1\3a=2\3b=3") << QByteArray("\3b=1\3a=2\3b=3");
        QTest::newRow("null and no UTF-8")
            << QByteArray("\6a=\0\xff\xfe\n\4flag", 12) << QByteArray("\6a=\0\xff\xfe\n\4flag", 12);
        QTest::newRow("255 bytes of entry") << txtRecordOfSize(256) << txtRecordOfSize(256);
        QTest::newRow("1300 bytes") << txtRecordOfSize(1300) << txtRecordOfSize(1300);
    }
    void aRecordArrivesByteForByte() {
        QFETCH(QByteArray, record);
        QFETCH(QByteArray, arrives);
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Record")), 4711, record);
        TxtRecords txt(*_backend);
        txt.watch->start(named(QStringLiteral("Record")));
        QCOMPARE(txt.records, QList<QByteArray>());
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, QList<QByteArray>{arrives}, patience);
    }

    void aChangedRecordIsReportedOnce() {
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Changing")), 4711, "\3a=1");
        TxtRecords txt(*_backend);
        txt.watch->start(named(QStringLiteral("Changing")));
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, QList<QByteArray>{"\3a=1"}, patience);
        publication.publisher->setTxtRecord("\3a=2");
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, (QList<QByteArray>{"\3a=1", "\3a=2"}), patience);
        publication.publisher->setTxtRecord("\3a=2");
        publication.publisher->setTxtRecord("\3a=3");
        QTRY_COMPARE_WITH_TIMEOUT(txt.records, (QList<QByteArray>{"\3a=1", "\3a=2", "\3a=3"}),
                                  patience);
        publication.publisher->setTxtRecord(txtRecordOfSize(1301));
        QTRY_COMPARE_WITH_TIMEOUT(publication.errors.size(), 1, patience);
        QCOMPARE(publication.names.size(), 1);
    }

    void aRecordChangedBeforeItIsOutIsTheOneThatCounts() {
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Hasty")), 4711, "\3a=1");
        publication.publisher->setTxtRecord("\3a=2");
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        TxtRecords txt(*_backend);
        txt.watch->start(named(QStringLiteral("Hasty")));
        QTRY_VERIFY_WITH_TIMEOUT(!txt.records.isEmpty(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(txt.records.last(), QByteArray("\3a=2"), patience);
    }

    void resolvingWhatIsNotThereTakesItsTime() {
        Resolution resolution(*_backend);
        const auto start = _loop.now();
        RunLoop::Seconds taken{0};
        resolution.resolver->onFailed = [&](const QString &reason) {
            resolution.failure = reason;
            taken = _loop.now() - start;
        };
        resolution.resolver->start(named(QStringLiteral("Nobody")), RunLoop::Seconds(0.8));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.failure, patience);
        QCOMPARE(*resolution.failure, QStringLiteral("timed out"));
        QVERIFY2(taken >= RunLoop::Seconds(0.79), qPrintable(QString::number(taken.count())));
    }

    void resolvingAnImpossibleNameFailsAtOnce() {
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QString(64, u'x')), RunLoop::Seconds(3600));
        QCOMPARE(resolution.count, 0);
        QTRY_VERIFY_WITH_TIMEOUT(resolution.failure, patience);
        QCOMPARE(*resolution.failure,
                 QStringLiteral("the service name has 64 bytes, more than 63"));
    }

    void aServiceThatMovesIsResolvedAfresh() {
        Publication first(*_backend);
        first.publisher->start(named(QStringLiteral("Mover")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(first.names.size(), 1, patience);
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Mover")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(portIn(*resolution.resolved), quint16(4711));
        first.publisher->start(named(QStringLiteral("Mover")), 4712, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(first.names.size(), 2, patience);
        resolution.resolved.reset();
        resolution.resolver->start(named(QStringLiteral("Mover")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(portIn(*resolution.resolved), quint16(4712));
    }

    void aTakenNameIsNumbered() {
        Publication first(*_backend);
        Publication second(*_backend);
        Publication third(*_backend);
        first.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(first.names.size(), 1, patience);
        second.publisher->start(named(QStringLiteral("Anna")), 4712, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(second.names, QStringList{QStringLiteral("Anna (2)")}, patience);
        third.publisher->start(named(QStringLiteral("Anna")), 4713, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(third.names, QStringList{QStringLiteral("Anna (3)")}, patience);
        QCOMPARE(first.names, QStringList{QStringLiteral("Anna")});
    }

    void twoTypesShareAName() {
        Publication announcement(*_backend);
        Publication server(*_backend);
        announcement.publisher->start({QStringLiteral("Anna"), _otherType, local}, 1, QByteArray());
        server.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(announcement.names, QStringList{QStringLiteral("Anna")},
                                  patience);
        QTRY_COMPARE_WITH_TIMEOUT(server.names, QStringList{QStringLiteral("Anna")}, patience);
    }

    void nothingIsReportedAfterStop() {
        Publication publication(*_backend);
        Publication stopped(*_backend);
        Browse browse(*_backend);
        Browse stoppedBrowse(*_backend);
        Resolution resolution(*_backend);
        Resolution impossible(*_backend);
        TxtRecords txt(*_backend);
        stoppedBrowse.browser->start(_type);
        impossible.resolver->start(named(QString(64, u'x')), RunLoop::Seconds(10));
        resolution.resolver->start(named(QStringLiteral("Anna")), RunLoop::Seconds(0.1));
        txt.watch->start(named(QStringLiteral("Anna")));
        stopped.publisher->start(named(QString(64, u'x')), 1, QByteArray());
        stoppedBrowse.browser->stop();
        resolution.resolver->stop();
        impossible.resolver->stop();
        txt.watch->stop();
        stopped.publisher->stop();
        browse.browser->start(_type);
        publication.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        QTRY_VERIFY_WITH_TIMEOUT(browse.events.contains(QStringLiteral("+Anna")), patience);
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        QCOMPARE(stoppedBrowse.events, QStringList());
        QCOMPARE(resolution.count, 0);
        QCOMPARE(impossible.count, 0);
        QCOMPARE(txt.records, QList<QByteArray>());
        QCOMPARE(stopped.errors, QStringList());
    }

    void aBrowserCanBeStartedAgain() {
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        Browse browse(*_backend);
        browse.browser->start(_otherType);
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Anna")}, patience);
        browse.browser->stop();
        browse.browser->start(_type);
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(),
                                  (QStringList{QStringLiteral("+Anna"), QStringLiteral("+Anna")}),
                                  patience);
    }

    void aCallbackMayDestroyItsSender() {
        auto publisher = _backend->makePublisher();
        auto browser = _backend->makeBrowser();
        auto resolver = _backend->makeResolver();
        auto failing = _backend->makeResolver();
        auto watch = _backend->makeTxtWatch();
        auto refused = _backend->makePublisher();
        Publication keeper(*_backend); // the others need something to find
        keeper.publisher->start(named(QStringLiteral("Keeper")), 4711, QByteArray());
        publisher->onPublished = [&](const QString &) { publisher.reset(); };
        browser->onFound = [&](const ServiceName &) { browser.reset(); };
        resolver->onResolved = [&](const Resolved &) { resolver.reset(); };
        failing->onFailed = [&](const QString &) { failing.reset(); };
        watch->onTxtRecord = [&](const QByteArray &) { watch.reset(); };
        refused->onError = [&](const QString &) { refused.reset(); };
        publisher->start(named(QStringLiteral("Gone")), 4711, QByteArray());
        browser->start(_type);
        resolver->start(named(QStringLiteral("Keeper")), RunLoop::Seconds(10));
        failing->start(named(QStringLiteral("Nobody")), RunLoop::Seconds(0.1));
        watch->start(named(QStringLiteral("Keeper")));
        refused->start(named(QString()), 1, QByteArray());
        QTRY_VERIFY_WITH_TIMEOUT(
            !publisher && !browser && !resolver && !failing && !watch && !refused, patience);
    }

    void aCallbackMayDestroyItsSenderAtTheEndOfTheFirstAnswers() {
        auto browser = _backend->makeBrowser();
        browser->onAllForNow = [&] { browser.reset(); };
        browser->start(_type);
        QTRY_VERIFY_WITH_TIMEOUT(!browser, patience);
    }

    void thirtyServicesAtOnce() {
        std::vector<std::unique_ptr<Publication>> publications;
        std::vector<std::unique_ptr<Resolution>> resolutions;
        Browse browse(*_backend);
        browse.browser->start(_type);
        for (int number = 0; number < 30; ++number) {
            const ServiceName service = named(QStringLiteral("Phone %1").arg(number));
            publications.push_back(std::make_unique<Publication>(*_backend));
            publications.back()->publisher->start(service, quint16(5000 + number), QByteArray());
        }
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().size(), 30, patience);
        for (int number = 0; number < 30; ++number) {
            resolutions.push_back(std::make_unique<Resolution>(*_backend));
            resolutions.back()->resolver->start(named(QStringLiteral("Phone %1").arg(number)),
                                                RunLoop::Seconds(10));
        }
        for (int number = 0; number < 30; ++number) {
            QTRY_VERIFY_WITH_TIMEOUT(resolutions[size_t(number)]->resolved, patience);
            QCOMPARE(portIn(*resolutions[size_t(number)]->resolved), quint16(5000 + number));
        }
    }

    void connectsToWhatItResolved() {
        if (isFake())
            QSKIP("the fake's streams are the test's own");
        const auto listener =
            SocketListener::open(isLocal() ? localPortCalls(_runtimeFolder.path().toLocal8Bit())
                                           : SocketListener::systemCalls());
        QVERIFY(listener);
        FileHandle accepted;
        (*listener)->acceptInBackground([&](FileHandle socket) { accepted = std::move(socket); });
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Listener")), (*listener)->port(),
                                     QByteArray());
        Resolution resolution(*_backend);
        resolution.resolver->start(named(QStringLiteral("Listener")), RunLoop::Seconds(10));
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        StreamPair streams = _backend->connectTo(*resolution.resolved);
        QVERIFY(streams.input && streams.output);
        bool opened = false;
        streams.input->setEventHandler(
            [&](StreamEvent event) { opened |= event == StreamEvent::OpenCompleted; });
        streams.input->open();
        streams.output->open();
        QTRY_VERIFY_WITH_TIMEOUT(opened, patience);
        QTRY_VERIFY_WITH_TIMEOUT(accepted.isOpen(), patience);
        streams.input->close();
        streams.output->close();
    }

    void othersFindWhatWePublish() {
        if (isFake() || isLocal())
            QSKIP("it has no network");
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Ours")), 4711, "\3a=1");
        QTRY_COMPARE_WITH_TIMEOUT(publication.names.size(), 1, patience);
        Witness browser(QStringLiteral("avahi-browse"), {QStringLiteral("-rptk"), _type});
        QTRY_VERIFY_WITH_TIMEOUT(browser.hasEnded(), patience);
        const QByteArray line = browser.output();
        QVERIFY2(line.contains("=;lo;IPv4;Ours;" + _type.toUtf8() + ";local;"), line.constData());
        QVERIFY2(line.contains(";4711;\"a=1\"\n"), line.constData());
    }

    void weFindWhatOthersPublish() {
        if (isFake() || isLocal())
            QSKIP("it has no network");
        Browse browse(*_backend);
        browse.browser->start(_type);
        Witness theirs(QStringLiteral("avahi-publish"),
                       {QStringLiteral("-s"), QStringLiteral("Their phöne"), _type,
                        QStringLiteral("4712"), QStringLiteral("b=2"), QStringLiteral("a=1")});
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes(), QStringList{QStringLiteral("+Their phöne")},
                                  patience);
        Resolution resolution(*_backend);
        TxtRecords txt(*_backend);
        resolution.resolver->start(browse.last, RunLoop::Seconds(10));
        txt.watch->start(browse.last);
        QTRY_VERIFY_WITH_TIMEOUT(resolution.resolved, patience);
        QCOMPARE(portIn(*resolution.resolved), quint16(4712));
        QTRY_VERIFY_WITH_TIMEOUT(!txt.records.isEmpty(), patience);
        QVERIFY(txt.records[0].contains("\3a=1") && txt.records[0].contains("\3b=2"));
        theirs.end();
        QTRY_COMPARE_WITH_TIMEOUT(browse.changes().last(), QStringLiteral("-Their phöne"),
                                  patience);
    }

    void aNameTakenByAnotherProgramIsNumbered() {
        if (isFake() || isLocal())
            QSKIP("it has no network");
        Browse browse(*_backend);
        browse.browser->start(_type);
        Witness theirs(
            QStringLiteral("avahi-publish"),
            {QStringLiteral("-s"), QStringLiteral("Anna"), _type, QStringLiteral("4712")});
        QTRY_VERIFY_WITH_TIMEOUT(browse.events.contains(QStringLiteral("+Anna")), patience);
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Anna")), 4711, QByteArray());
        QTRY_COMPARE_WITH_TIMEOUT(publication.names, QStringList{QStringLiteral("Anna (2)")},
                                  patience);
    }

    void saysWhoAnswers() { QVERIFY(!_backend->description().isEmpty()); }
};

QTEST_GUILESS_MAIN(DnsSdContractTest)
#include "tst_dnssd_contract.moc"
