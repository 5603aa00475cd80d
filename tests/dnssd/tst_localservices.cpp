// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/ServiceRules.h"
#include "platform/dnssd/backends/local/LocalServices.h"
#include "platform/foundation/QtRunLoop.h"
#include "tests/dnssd/Observers.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace clipmule;
using namespace clipmule::kit;
using namespace clipmule::dnssd;

namespace {

const auto phones = QStringLiteral("_clipmule-s2._tcp");

ServiceName named(const QString &name) {
    return {name, phones, QStringLiteral("local")};
}

const ServiceName anna = named(QStringLiteral("Anna"));

QByteArray fileOf(const ServiceName &service) {
    return dnssd::fileOf(service.name, service.type);
}

/// Publishes Anna and waits for its end.
int publishAnna() {
    QtRunLoop loop;
    const RunLoop::Installation installation(loop);
    const auto backend = makeLocalBackend();
    const auto publisher = backend->makePublisher();
    publisher->onPublished = [](const QString &name) {
        std::puts(qPrintable(name));
        std::fflush(stdout);
    };
    publisher->start(anna, 4711, "\3a=1");
    return QCoreApplication::exec();
}

/// A program of its own that publishes Anna.
class OtherProgram {
public:
    explicit OtherProgram(const QString &runtimeFolder) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeFolder);
        _process.setProcessEnvironment(environment);
        _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        _process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--publish")});
    }
    ~OtherProgram() { kill(); }
    Q_DISABLE_COPY_MOVE(OtherProgram)

    /// The name that it got.
    [[nodiscard]] QByteArray publishedName() {
        (void)kit::await([this] { return _process.canReadLine(); });
        return _process.readLine().trimmed();
    }
    void kill() {
        _process.kill();
        _process.waitForFinished();
    }

private:
    QProcess _process;
};

} // namespace

// What the contract does not say: files that are odd, and programs that end, hang or lie.
class LocalServicesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _place.emplace();
        _backend = makeLocalBackend(runtime());
    }
    void end() override { _backend.reset(); }

    QtRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::optional<QTemporaryDir> _place;
    std::unique_ptr<Backend> _backend;

    [[nodiscard]] QByteArray runtime() const { return _place->path().toLocal8Bit(); }
    [[nodiscard]] QByteArray services() const { return runtime() + "/clipmule-sync/services"; }
    [[nodiscard]] std::shared_ptr<const LocalFolder> folder() const {
        return kit::valueOf(LocalFolder::open(runtime()));
    }

    /// A listener in the place of a service's file, which says what it likes.
    struct Liar {
        std::unique_ptr<SocketListener> listener;
        std::vector<FileHandle> clients;

        void say(const QByteArray &packet) const {
            for (const FileHandle &client : clients)
                QCOMPARE(::send(client.descriptor(), packet.constData(), size_t(packet.size()),
                                MSG_NOSIGNAL),
                         packet.size());
        }
        /// Says it to each who comes.
        void sayAlways(const QByteArray &packet) {
            listener->acceptInBackground([this, packet](FileHandle socket) {
                (void)::send(socket.descriptor(), packet.constData(), size_t(packet.size()),
                             MSG_NOSIGNAL);
                clients.push_back(std::move(socket));
                sayAlways(packet);
            });
        }
        /// Takes each connection and ends it.
        void hangUpAlways(int &count) {
            listener->acceptInBackground([this, &count](FileHandle) {
                ++count;
                hangUpAlways(count);
            });
        }
    };
    [[nodiscard]] Liar liarAt(const QByteArray &file) const {
        return {kit::valueOf(SocketListener::open(
                    callsFor(LocalName::claim(folder(), file).second, SOCK_SEQPACKET))),
                {}};
    }

private Q_SLOTS:
    void anotherProgramIsFoundAndMissedWhenItIsKilled() {
        Browse browse(*_backend);
        browse.browser->start(phones);
        OtherProgram other(_place->path());
        QCOMPARE(other.publishedName(), QByteArray("Anna"));
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        Resolution resolution(*_backend);
        resolution.resolver->start(anna, RunLoop::Seconds(10));
        QTRY_VERIFY(resolution.resolved);
        QCOMPARE(resolution.resolved->localPort, std::optional<quint16>(4711));
        QCOMPARE(folder()->names(QByteArray()), QByteArrayList{fileOf(anna)});
        other.kill();
        QTRY_COMPARE(browse.changes().last(), QStringLiteral("-Anna"));
        // Nothing of it stays.
        QTRY_COMPARE(folder()->names(QByteArray()), QByteArrayList());
        OtherProgram again(_place->path());
        QCOMPARE(again.publishedName(), QByteArray("Anna"));
        QTRY_COMPARE(browse.changes().last(), QStringLiteral("+Anna"));
    }

    void whatAKilledProgramLeftIsNotShown() {
        {
            OtherProgram other(_place->path());
            QCOMPARE(other.publishedName(), QByteArray("Anna"));
        }
        QCOMPARE(folder()->names(QByteArray()), QByteArrayList{fileOf(anna)});
        Browse browse(*_backend);
        browse.browser->start(phones);
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
        QCOMPARE(folder()->names(QByteArray()), QByteArrayList());
    }

    void aNameThatIsInFluxIsWaitedFor() {
        // Somebody cleans up after a program that was killed.
        auto cleaner = LocalName::claim(folder(), fileOf(anna)).second;
        ManualRunLoop clock;
        const RunLoop::Installation installation(clock);
        const auto backend = makeLocalBackend(runtime());
        Publication publication(*backend);
        publication.publisher->start(anna, 4711, QByteArray());
        clock.advance(0.05);
        QCOMPARE(publication.names, QStringList());
        cleaner.reset();
        clock.advance(0.06);
        QCOMPARE(publication.names, QStringList{QStringLiteral("Anna")});
    }

    void aNameThatStaysInFluxIsTaken() {
        const auto holder = LocalName::claim(folder(), fileOf(anna)).second;
        ManualRunLoop clock;
        const RunLoop::Installation installation(clock);
        const auto backend = makeLocalBackend(runtime());
        Publication publication(*backend);
        publication.publisher->start(anna, 4711, QByteArray());
        for (int tenth = 0; tenth < 19; ++tenth)
            clock.advance(0.1);
        clock.advance(0.05);
        QCOMPARE(publication.names, QStringList());
        clock.advance(0.1);
        QCOMPARE(publication.names, QStringList{QStringLiteral("Anna (2)")});
    }

    void whatIsInItsPlaceIsAnError() {
        QVERIFY(QDir(QString::fromLocal8Bit(folder()->path()))
                    .mkdir(QString::fromLatin1(fileOf(anna))));
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.errors,
                     QStringList{QStringLiteral("something else lies in its place in %1")
                                     .arg(QString::fromLocal8Bit(services()))});
        QCOMPARE(publication.names, QStringList());
    }

    void everyNameTakenIsAnError() {
        std::vector<std::unique_ptr<Publication>> holders;
        for (int count = 0; count < maximumNameAttempts; ++count) {
            holders.push_back(std::make_unique<Publication>(*_backend));
            holders.back()->publisher->start(anna, 4711, QByteArray());
        }
        QTRY_COMPARE(holders.back()->names, QStringList{QStringLiteral("Anna (50)")});
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.errors, QStringList{QStringLiteral("every name is taken")});
    }

    void aBadFolderIsSaidOnceAndUsedWhenItIsGood() {
        (void)folder();
        QCOMPARE(::chmod(services().constData(), 0755), 0);
        const QString reason = QStringLiteral("%1 is open to other users, its mode is 0755")
                                   .arg(QString::fromLocal8Bit(services()));
        QTest::ignoreMessage(
            QtWarningMsg,
            qPrintable(QStringLiteral("there are no services of this session alone: ") + reason));
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.errors, QStringList{reason});
        Browse browse(*_backend);
        browse.browser->start(phones);
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
        QVERIFY(!_backend->connectTo({.localPort = 4711}).input);
        QCOMPARE(::chmod(services().constData(), 0700), 0);
        publication.publisher->start(anna, 4711, QByteArray());
        browse.browser->start(phones);
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
    }

    void withoutARuntimeFolderThereIsNothing() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        _backend = makeLocalBackend(QByteArray());
        Browse browse(*_backend);
        browse.browser->start(phones);
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.errors,
                     QStringList{QStringLiteral("the session has no runtime folder")});
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
    }

    void aFolderThatWasReplacedIsLookedForAnew() {
        Browse browse(*_backend);
        browse.browser->start(phones);
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
        QVERIFY(QDir(QString::fromLocal8Bit(services())).removeRecursively());
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.names, QStringList{QStringLiteral("Anna")});
        browse.browser->start(phones);
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        Publication another(*_backend);
        another.publisher->start(named(QStringLiteral("Bert")), 4711, QByteArray());
        QTRY_COMPARE(browse.changes().last(), QStringLiteral("+Bert"));
    }

    // Programs that lie.

    void whatIsNotAnAnnouncementIsNotShown_data() {
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<QString>("what");
        const QByteArray good = packetOf({anna, 4711, emptyTxtRecord()});
        QByteArray otherVersion = good;
        otherVersion[3] = '2';
        QTest::newRow("version") << otherVersion << QStringLiteral("it is of another version");
        QTest::newRow("another's name")
            << packetOf({named(QStringLiteral("Bert")), 4711, emptyTxtRecord()})
            << QStringLiteral("it is another's name");
        QTest::newRow("another's type")
            << packetOf({{anna.name, QStringLiteral("_x._tcp"), anna.domain}, 1, emptyTxtRecord()})
            << QStringLiteral("it is another's name");
        QTest::newRow("cut off") << good.first(12) << QStringLiteral("it is cut off, or no text");
        QTest::newRow("too long") << packetOf({anna, 4711, txtRecordOfSize(1301)})
                                  << QStringLiteral(
                                         "the TXT record has 1301 bytes, more than 1300");
        QTest::newRow("much too long")
            << good + QByteArray(100'000, '\0')
            << QStringLiteral("the TXT record has %1 bytes, more than 1300")
                   .arg(longestPacket + 1 - good.size() + 1);
    }
    void whatIsNotAnAnnouncementIsNotShown() {
        QFETCH(QByteArray, packet);
        QFETCH(QString, what);
        Browse browse(*_backend);
        browse.browser->start(phones);
        Liar liar = liarAt(fileOf(anna));
        liar.sayAlways(packet);
        QTest::ignoreMessage(
            QtWarningMsg,
            qPrintable(QStringLiteral("a service of this session is not shown, %1: %2")
                           .arg(QString::fromLatin1(fileOf(anna)), what)));
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
        QTRY_COMPARE(liar.clients.size(), size_t(1));
        // It may think better of it, and worse again.
        liar.say(packetOf({anna, 4711, emptyTxtRecord()}));
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        liar.say(packet);
        QTRY_COMPARE(browse.changes().last(), QStringLiteral("-Anna"));
        QCOMPARE(liar.clients.size(), size_t(1));
    }

    void whoSaysNothingIsNotShown() {
        Browse browse(*_backend);
        browse.browser->start(phones);
        Liar liar = liarAt(fileOf(anna));
        liar.listener->acceptInBackground(
            [&](FileHandle socket) { liar.clients.push_back(std::move(socket)); });
        Publication publication(*_backend);
        publication.publisher->start(named(QStringLiteral("Bert")), 4711, QByteArray());
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Bert")});
        QTRY_COMPARE(liar.clients.size(), size_t(1));
    }

    void whoEndsEachConnectionIsAskedLessAndLess() {
        ManualRunLoop clock;
        const RunLoop::Installation installation(clock);
        const auto backend = makeLocalBackend(runtime());
        Liar liar = liarAt(fileOf(anna));
        int count = 0;
        liar.hangUpAlways(count);
        Browse browse(*backend);
        browse.browser->start(phones);
        // Times at which it is asked once more, after the first.
        double due = 0;
        for (const double pause : {0.0, 1.0, 2.0, 4.0, 8.0, 16.0, 32.0, 64.0, 64.0}) {
            const int before = count;
            if (pause > 0) {
                clock.advance(pause - 0.01);
                QCoreApplication::processEvents();
                clock.advance(0.0);
                QCOMPARE(count, before);
            }
            clock.advance(pause > 0 ? 0.01 : 0.0);
            due += pause;
            QVERIFY2(kit::await([&] { return count == before + 1; }),
                     qPrintable(QString::number(due)));
            // It hears of the end, and would ask again at once.
            for (int turn = 0; turn < 10; ++turn) {
                QCoreApplication::processEvents();
                clock.advance(0.0);
            }
            QCOMPARE(count, before + 1);
        }
        QCOMPARE(browse.changes(), QStringList());
    }

    void whoToldSomethingIsAskedSoonAgain() {
        ManualRunLoop clock;
        const RunLoop::Installation installation(clock);
        const auto backend = makeLocalBackend(runtime());
        Liar liar = liarAt(fileOf(anna));
        liar.sayAlways(packetOf({anna, 4711, emptyTxtRecord()}));
        Browse browse(*backend);
        browse.browser->start(phones);
        clock.advance(0.0);
        for (int round = 1; round <= 3; ++round) {
            const auto comesTo = [&](qsizetype changes) {
                return kit::await([&] {
                    clock.advance(0.0);
                    return browse.changes().size() == changes;
                });
            };
            QVERIFY(comesTo(2 * round - 1));
            liar.clients.clear();
            QVERIFY(comesTo(2 * round));
            clock.advance(LocalServices::shortestPause);
        }
    }

    void aPublisherThatIsStartedAnewBeginsAnew() {
        Publication first(*_backend);
        Publication second(*_backend);
        first.publisher->start(anna, 4711, QByteArray());
        second.publisher->start(anna, 4712, QByteArray());
        QTRY_COMPARE(second.names, QStringList{QStringLiteral("Anna (2)")});
        first.publisher->stop();
        // A stopped one refuses nothing.
        first.publisher->setTxtRecord(txtRecordOfSize(1301));
        second.publisher->start(anna, 4712, QByteArray());
        QTRY_COMPARE(second.names.last(), QStringLiteral("Anna"));
        QCOMPARE(first.errors, QStringList());
    }

    void aSocketThatOthersMayUseIsNotShown() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTRY_COMPARE(publication.names.size(), 1);
        QCOMPARE(::chmod((services() + '/' + fileOf(anna)).constData(), 0660), 0);
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("a service of this session is not shown, "
                                                       "%1: it is no socket of this user alone")
                                            .arg(QString::fromLatin1(fileOf(anna)))));
        Browse browse(*_backend);
        browse.browser->start(phones);
        QTRY_COMPARE(browse.events, QStringList{QStringLiteral(".")});
        // Said once, though it is looked at again with each that comes.
        Publication another(*_backend);
        another.publisher->start(named(QStringLiteral("Bert")), 4711, QByteArray());
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Bert")});
    }

    // Great numbers.

    void aWantedServiceIsFoundAmongAnyNumber() {
        std::vector<std::unique_ptr<Publication>> crowd;
        for (qsizetype number = 0; number <= LocalServices::mostFollowed; ++number) {
            crowd.push_back(std::make_unique<Publication>(*_backend));
            crowd.back()->publisher->start(named(QStringLiteral("Phone %1").arg(number)), 4711,
                                           QByteArray());
        }
        QTRY_COMPARE(crowd.back()->names.size(), 1);
        const auto backend = makeLocalBackend(runtime());
        Browse all(*backend);
        QTest::ignoreMessage(QtWarningMsg,
                             "more than 200 services of this session are not looked at");
        all.browser->start(phones);
        QTRY_VERIFY(all.events.contains(QStringLiteral(".")));
        QCOMPARE(all.changes().size(), LocalServices::mostFollowed);
        // One of them is not among those.
        QString missing;
        for (qsizetype number = 0; number <= LocalServices::mostFollowed; ++number) {
            const QString name = QStringLiteral("Phone %1").arg(number);
            if (!all.events.contains(u'+' + name))
                missing = name;
        }
        Browse one(*backend);
        one.browser->wantedName = missing;
        one.browser->start(phones);
        QTRY_COMPARE(one.changes(), QStringList{u'+' + missing});
    }

    void whatIsLeftOverTakesNobodysPlace() {
        const auto there = folder();
        for (int number = 0; number < 1000; ++number) {
            const FileHandle socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
            QCOMPARE(::fchmod(socket.descriptor(), 0600), 0);
            sockaddr_un address{AF_UNIX, {}};
            const QByteArray path = there->pathOf(dnssd::fileOf(QString::number(number), phones));
            std::copy(path.begin(), path.end(), address.sun_path);
            QCOMPARE(
                ::bind(socket.descriptor(), reinterpret_cast<sockaddr *>(&address), sizeof address),
                0);
        }
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        QTest::ignoreMessage(QtWarningMsg,
                             "more than 200 services of this session are not looked at");
        Browse browse(*_backend);
        browse.browser->start(phones);
        QTRY_COMPARE(browse.changes(), QStringList{QStringLiteral("+Anna")});
        QTRY_COMPARE(there->names(QByteArray()), QByteArrayList{fileOf(anna)});
    }

    // The publisher's side.

    void whoTalksBackIsShownTheDoor() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        const auto [answer, socket] = folder()->connect(fileOf(anna), SOCK_SEQPACKET);
        QCOMPARE(answer, LocalFolder::Answer::Connected);
        QByteArray packet(longestPacket, Qt::Uninitialized);
        ssize_t count = -1;
        const auto receives = [&, descriptor = socket.descriptor()] {
            count = ::recv(descriptor, packet.data(), size_t(packet.size()), MSG_DONTWAIT);
            return count >= 0;
        };
        QVERIFY(kit::await(receives));
        QCOMPARE(kit::valueOf(announcementIn(packet.first(count))),
                 (Announcement{anna, 4711, emptyTxtRecord()}));
        QCOMPARE(::send(socket.descriptor(), "x", 1, MSG_NOSIGNAL), ssize_t(1));
        QVERIFY(kit::await(receives));
        QCOMPARE(count, ssize_t(0));
        QCOMPARE(publication.errors, QStringList());
    }

    void whoDoesNotReadGetsTheLatestRecord() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        const auto [answer, socket] = folder()->connect(fileOf(anna), SOCK_SEQPACKET);
        QCOMPARE(answer, LocalFolder::Answer::Connected);
        TxtRecords txt(*_backend);
        txt.watch->start(anna);
        QTRY_COMPARE(txt.records.size(), 1);
        for (int number = 0; number < 2000; ++number)
            publication.publisher->setTxtRecord(txtRecordOfSize(1000) +
                                                "\4n=" + QByteArray::number(number % 90 + 10));
        publication.publisher->setTxtRecord("\6last=1");
        // Those who read have it by and by.
        QTRY_COMPARE(txt.records.last(), QByteArray("\6last=1"));
        Announcement last;
        int packets = 0;
        QVERIFY(kit::await([&, descriptor = socket.descriptor()] {
            QByteArray packet(longestPacket, Qt::Uninitialized);
            ssize_t count = 0;
            while ((count = ::recv(descriptor, packet.data(), size_t(packet.size()),
                                   MSG_DONTWAIT)) > 0) {
                last = kit::valueOf(announcementIn(packet.first(count)));
                ++packets;
            }
            return last.txtRecord == "\6last=1";
        }));
        QVERIFY(packets < 2000);
    }

    void anAudienceIsBounded() {
        Publication publication(*_backend);
        publication.publisher->start(anna, 4711, QByteArray());
        std::vector<FileHandle> sockets;
        const auto tells = [](const FileHandle &socket) {
            char byte = 0;
            ssize_t count = -1;
            (void)kit::await([&] {
                count = ::recv(socket.descriptor(), &byte, 1, MSG_DONTWAIT);
                return count >= 0;
            });
            return count > 0;
        };
        for (int number = 0; number < 64; ++number) {
            sockets.push_back(folder()->connect(fileOf(anna), SOCK_SEQPACKET).second);
            QVERIFY(tells(sockets.back()));
        }
        QVERIFY(!tells(folder()->connect(fileOf(anna), SOCK_SEQPACKET).second));
        sockets.pop_back();
        QTRY_VERIFY(tells(folder()->connect(fileOf(anna), SOCK_SEQPACKET).second));
    }
};

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    if (application.arguments().contains(QStringLiteral("--publish")))
        return publishAnna();
    LocalServicesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_localservices.moc"
