// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/LocalSockets.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/Await.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace clipmule;
using Answer = LocalFolder::Answer;
using Claim = LocalName::Claim;

namespace {

constexpr uid_t somebodyElse = 65534;

mode_t modeOf(const QByteArray &path) {
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

void touch(const QByteArray &path) {
    QFile file(QFile::decodeName(path));
    QVERIFY(file.open(QIODevice::WriteOnly));
}

/// Runs in a process of its own and gives its exit status; -1 when it was killed.
int inChild(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(work());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A listener under the name, kept by what it returns.
std::unique_ptr<SocketListener> listenAs(const std::shared_ptr<LocalName> &name,
                                         int type = SOCK_STREAM) {
    return kit::valueOf(SocketListener::open(callsFor(name, type)));
}

} // namespace

class LocalSocketsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _place.emplace();
        _runtime = _place->path().toLocal8Bit();
    }

    QtRunLoop _loop;
    const RunLoop::Installation _installation{_loop};
    std::optional<QTemporaryDir> _place;
    QByteArray _runtime;

    [[nodiscard]] QByteArray own() const { return _runtime + "/clipmule-sync"; }
    [[nodiscard]] QByteArray services() const { return own() + "/services"; }
    [[nodiscard]] std::shared_ptr<const LocalFolder> folder() const {
        return kit::valueOf(LocalFolder::open(_runtime));
    }
    [[nodiscard]] QString refusal() const { return kit::reasonOf(LocalFolder::open(_runtime)); }

private Q_SLOTS:
    // The folder.

    void onlyTheUserEntersIt() {
        const mode_t mask = ::umask(0);
        const auto made = folder();
        ::umask(mask);
        QCOMPARE(made->path(), services());
        QCOMPARE(modeOf(own()), mode_t(0700));
        QCOMPARE(modeOf(services()), mode_t(0700));
        QCOMPARE(folder()->path(), services()); // and once more, where it is there
    }

    void aSessionWithoutRuntimeFolderHasNone_data() {
        QTest::addColumn<QByteArray>("runtime");
        QTest::newRow("not set") << QByteArray();
        QTest::newRow("relative") << QByteArray("run/user/1000");
    }
    void aSessionWithoutRuntimeFolderHasNone() {
        QFETCH(QByteArray, runtime);
        QCOMPARE(kit::reasonOf(LocalFolder::open(runtime)),
                 QStringLiteral("the session has no runtime folder"));
    }

    void aRuntimeFolderThatIsNotThereIsNotMade() {
        _runtime += "/none";
        QVERIFY2(refusal().endsWith(QStringLiteral(": No such file or directory")),
                 qPrintable(refusal()));
        QCOMPARE(modeOf(_runtime), mode_t(0));
    }

    void aFolderOpenToOthersIsRefused_data() {
        QTest::addColumn<QByteArray>("below");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isFine");
        QTest::newRow("runtime, read") << QByteArray("") << 0755 << true;
        QTest::newRow("runtime, group writes") << QByteArray("") << 0720 << false;
        QTest::newRow("runtime, others write") << QByteArray("") << 0702 << false;
        QTest::newRow("own, read") << QByteArray("/clipmule-sync") << 0755 << true;
        QTest::newRow("own, group writes") << QByteArray("/clipmule-sync") << 0720 << false;
        QTest::newRow("own, others write") << QByteArray("/clipmule-sync") << 0702 << false;
        for (const int mode : {0740, 0720, 0710, 0704, 0702, 0701})
            QTest::addRow("services, %o", mode)
                << QByteArray("/clipmule-sync/services") << mode << false;
        QTest::newRow("services, less") << QByteArray("/clipmule-sync/services") << 0700 << true;
    }
    void aFolderOpenToOthersIsRefused() {
        QFETCH(QByteArray, below);
        QFETCH(int, mode);
        QFETCH(bool, isFine);
        (void)folder();
        const QByteArray path = _runtime + below;
        QCOMPARE(::chmod(path.constData(), mode_t(mode)), 0);
        QCOMPARE(refusal(), isFine ? QString()
                                   : QStringLiteral("%1 is open to other users, its mode is 0%2")
                                         .arg(QString::fromLocal8Bit(path))
                                         .arg(mode, 0, 8));
    }

    void aSymbolicLinkIsRefused_data() {
        QTest::addColumn<QByteArray>("below");
        QTest::newRow("runtime") << QByteArray("");
        QTest::newRow("own") << QByteArray("/clipmule-sync");
        QTest::newRow("services") << QByteArray("/clipmule-sync/services");
    }
    void aSymbolicLinkIsRefused() {
        QFETCH(QByteArray, below);
        _runtime += "/runtime";
        QCOMPARE(::mkdir(_runtime.constData(), 0700), 0);
        (void)folder();
        const QByteArray path = _runtime + below;
        QCOMPARE(::rename(path.constData(), (path + "-moved").constData()), 0);
        QCOMPARE(::symlink((path + "-moved").constData(), path.constData()), 0);
        QCOMPARE(refusal(),
                 QStringLiteral("%1 is a symbolic link").arg(QString::fromLocal8Bit(path)));
    }

    void aFileInItsPlaceIsRefused() {
        touch(own());
        QVERIFY2(refusal().endsWith(QStringLiteral(": Not a directory")), qPrintable(refusal()));
    }

    void anotherUsersFolderIsRefused() {
        if (::geteuid() != 0)
            QSKIP("only root can give a folder away");
        (void)folder();
        for (const QByteArray &path : {services(), own(), _runtime}) {
            QCOMPARE(::chown(path.constData(), somebodyElse, somebodyElse), 0);
            QCOMPARE(
                refusal(),
                QStringLiteral("%1 belongs to another user").arg(QString::fromLocal8Bit(path)));
        }
        for (const QByteArray &path : {services(), own(), _runtime})
            QCOMPARE(::chown(path.constData(), 0, 0), 0);
        QCOMPARE(refusal(), QString());
    }

    void aFolderPutInItsPlaceIsNoticed() {
        const auto opened = folder();
        QVERIFY(opened->isThere());
        QVERIFY(QDir(QFile::decodeName(own()))
                    .rename(QStringLiteral("services"), QStringLiteral("old")));
        QVERIFY(!opened->isThere());
        const auto other = folder();
        QVERIFY(other->isThere());
        QVERIFY(!opened->isThere());
    }

    // Names and sockets.

    void aSocketIsItsUsersAlone() {
        const mode_t mask = ::umask(0);
        const auto listener = listenAs(LocalName::claim(folder(), "a").second);
        ::umask(mask);
        QCOMPARE(modeOf(services() + "/a"), mode_t(0600));
    }

    void isReachedHoweverLongTheWayIs() {
        for (int level = 0; level < 3; ++level) {
            _runtime += '/' + QByteArray(100, 'x');
            QCOMPARE(::mkdir(_runtime.constData(), 0700), 0);
        }
        const auto there = folder();
        const auto listener = listenAs(LocalName::claim(there, "a").second);
        const auto [answer, socket] = there->connect("a", SOCK_STREAM);
        QCOMPARE(answer, Answer::Connected);
        QVERIFY((::fcntl(socket.descriptor(), F_GETFL) & O_NONBLOCK) != 0);
        QVERIFY((::fcntl(socket.descriptor(), F_GETFD) & FD_CLOEXEC) != 0);
        QCOMPARE(peerOfSocket(socket.descriptor()), QStringLiteral("localhost"));
    }

    void aNameIsThereWhenItCanBeConnectedTo() {
        const auto there = folder();
        const auto [claim, name] = LocalName::claim(there, "a");
        QCOMPARE(claim, Claim::Claimed);
        const auto calls = callsFor(name, SOCK_STREAM);
        const FileHandle socket(calls.socket());
        QCOMPARE(calls.bind(socket.descriptor()), 0);
        QCOMPARE(there->names(QByteArray()), QByteArrayList());
        QCOMPARE(there->connect("a", SOCK_STREAM).first, Answer::Nobody);
        QCOMPARE(calls.listen(socket.descriptor(), 8), 0);
        QCOMPARE(there->names(QByteArray()), QByteArrayList{"a"});
        QCOMPARE(there->connect("a", SOCK_STREAM).first, Answer::Connected);
    }

    void aNameBelongsToOneAtATime() {
        const auto there = folder();
        auto first = LocalName::claim(there, "a").second;
        // Nothing answers yet, so that it may just be cleaned up.
        QCOMPARE(LocalName::claim(there, "a").first, Claim::InFlux);
        QCOMPARE(LocalName::claim(folder(), "a").first, Claim::InFlux);
        QCOMPARE(LocalName::claim(there, "b").first, Claim::Claimed);
        auto listener = listenAs(first);
        first.reset();
        QCOMPARE(LocalName::claim(there, "a").first, Claim::Taken);
        QVERIFY(!LocalName::claim(there, "a").second);
        listener.reset();
        QCOMPARE(modeOf(services() + "/a"), mode_t(0));
        QCOMPARE(LocalName::claim(there, "a").first, Claim::Claimed);
    }

    void aListenerOfAnotherKindHasTheName() {
        const auto listener = listenAs(LocalName::claim(folder(), "a").second, SOCK_SEQPACKET);
        QCOMPARE(LocalName::claim(folder(), "a").first, Claim::Taken);
        QCOMPARE(folder()->connect("a", SOCK_STREAM).first, Answer::Refused);
        QCOMPARE(folder()->connect("a", SOCK_SEQPACKET).first, Answer::Connected);
    }

    void whoAnswersHasTheNameEvenWithoutTheLock() {
        const auto listener = listenAs(LocalName::claim(folder(), "a").second);
        QCOMPARE(::unlink((services() + "/locks").constData()), 0);
        QCOMPARE(LocalName::claim(folder(), "a").first, Claim::Taken);
        QVERIFY(!folder()->cleanUp("a"));
        QCOMPARE(folder()->connect("a", SOCK_STREAM).first, Answer::Connected);
    }

    void whatAKilledProgramLeftIsCleanedUp() {
        const auto there = folder();
        QCOMPARE(inChild([&] {
                     const auto listener = listenAs(LocalName::claim(there, "a").second);
                     return there->connect("a", SOCK_STREAM).first == Answer::Connected &&
                                    !there->cleanUp("a") && ::kill(::getpid(), SIGKILL) == 0
                                ? 0
                                : 1;
                 }),
                 -1);
        QCOMPARE(there->names(QByteArray()), QByteArrayList{"a"});
        QCOMPARE(there->connect("a", SOCK_STREAM).first, Answer::Nobody);
        QVERIFY(there->cleanUp("a"));
        QCOMPARE(there->names(QByteArray()), QByteArrayList());
        QVERIFY(!there->cleanUp("a"));
    }

    void theNameOfAKilledProgramCanBeUsedAtOnce() {
        const auto there = folder();
        QCOMPARE(inChild([&] {
                     const auto listener = listenAs(LocalName::claim(there, "a").second);
                     return ::kill(::getpid(), SIGKILL);
                 }),
                 -1);
        touch(services() + "/a.new");
        const auto listener = listenAs(LocalName::claim(there, "a").second);
        QCOMPARE(there->connect("a", SOCK_STREAM).first, Answer::Connected);
        QCOMPARE(modeOf(services() + "/a.new"), mode_t(0));
    }

    void whatIsNoSocketIsLeftAlone() {
        const auto there = folder();
        touch(services() + "/file");
        QCOMPARE(::mkdir((services() + "/folder").constData(), 0700), 0);
        QCOMPARE(::mkfifo((services() + "/pipe").constData(), 0600), 0);
        const auto listener = listenAs(LocalName::claim(there, "a").second);
        QCOMPARE(::symlink("a", (services() + "/link").constData()), 0);
        for (const QByteArray name : {"file", "folder", "pipe", "link"}) {
            QCOMPARE(there->connect(name, SOCK_STREAM).first, Answer::Refused);
            QCOMPARE(LocalName::claim(there, name).first, Claim::Refused);
            QVERIFY(!there->cleanUp(name));
            QVERIFY(modeOf(services() + '/' + name) != 0);
        }
        QCOMPARE(there->names(QByteArray()), QByteArrayList{"a"});
        QCOMPARE(there->names("b"), QByteArrayList());
    }

    void aSocketThatOthersMayUseIsRefused() {
        const auto listener = listenAs(LocalName::claim(folder(), "a").second);
        for (const mode_t mode : {0620, 0602, 0640, 0604, 0610, 0601}) {
            QCOMPARE(::chmod((services() + "/a").constData(), mode), 0);
            QCOMPARE(folder()->connect("a", SOCK_STREAM).first, Answer::Refused);
        }
        QCOMPARE(::chmod((services() + "/a").constData(), 0600), 0);
        QCOMPARE(folder()->connect("a", SOCK_STREAM).first, Answer::Connected);
    }

    void whoHasNoRoomIsBusy() {
        const auto listener = listenAs(LocalName::claim(folder(), "a").second);
        std::vector<FileHandle> waiting;
        Answer answer = Answer::Connected;
        while (answer == Answer::Connected && waiting.size() < 100) {
            auto [now, socket] = folder()->connect("a", SOCK_STREAM);
            answer = now;
            waiting.push_back(std::move(socket));
        }
        QCOMPARE(answer, Answer::Busy);
        QVERIFY(waiting.size() > 64);
        QCOMPARE(LocalName::claim(folder(), "a").first, Claim::Taken);
    }

    // Other users, should the folder be opened to them after we looked.

    void anotherUsersConnectionIsEnded() {
        if (::geteuid() != 0)
            QSKIP("only root can be somebody else");
        const auto there = folder();
        const auto listener = listenAs(LocalName::claim(there, "a").second);
        for (const QByteArray &path : {_runtime, own(), services()})
            QCOMPARE(::chmod(path.constData(), 0755), 0);
        QCOMPARE(::chmod((services() + "/a").constData(), 0666), 0);
        bool isAccepted = false;
        listener->acceptInBackground([&](FileHandle) { isAccepted = true; });
        QTest::ignoreMessage(QtWarningMsg, "another user's connection was refused");
        QCOMPARE(inChild([&] {
                     sockaddr_un address{AF_UNIX, {}};
                     const QByteArray path = there->pathOf("a");
                     std::copy(path.begin(), path.end(), address.sun_path);
                     const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
                     if (::seteuid(somebodyElse) != 0)
                         return 1;
                     return ::connect(socket, reinterpret_cast<sockaddr *>(&address),
                                      sizeof address) == 0
                                ? 0
                                : 2;
                 }),
                 0);
        // The next one is ours: when it has come, the other has been dealt with.
        QCOMPARE(::chmod((services() + "/a").constData(), 0600), 0);
        const auto ours = there->connect("a", SOCK_STREAM);
        QCOMPARE(ours.first, Answer::Connected);
        QVERIFY(kit::await([&] { return isAccepted; }));
        char byte = 0;
        QCOMPARE(::recv(ours.second.descriptor(), &byte, 1, MSG_DONTWAIT), ssize_t(0)); // let go of
    }

    void anotherUsersListenerIsRefused() {
        if (::geteuid() != 0)
            QSKIP("only root can be somebody else");
        const auto there = folder();
        const auto name = LocalName::claim(there, "a").second;
        const auto calls = callsFor(name, SOCK_STREAM);
        const FileHandle socket(calls.socket());
        QCOMPARE(calls.bind(socket.descriptor()), 0);
        QCOMPARE(::rename((services() + "/a.new").constData(), (services() + "/a").constData()), 0);
        // The system keeps who began to listen.
        QCOMPARE(::seteuid(somebodyElse), 0);
        const int result = ::listen(socket.descriptor(), 1);
        QCOMPARE(::seteuid(0), 0);
        QCOMPARE(result, 0);
        QCOMPARE(there->connect("a", SOCK_STREAM).first, Answer::Refused);
    }

    // Ports.

    void aPortIsASocketInTheFolder() {
        const auto first = kit::valueOf(SocketListener::open(localPortCalls(_runtime)));
        const auto second = kit::valueOf(SocketListener::open(localPortCalls(_runtime)));
        QVERIFY(first->port() >= 1024 && first->port() != second->port());
        FileHandle accepted;
        first->acceptInBackground([&](FileHandle socket) { accepted = std::move(socket); });
        auto [answer, socket] = folder()->connect(nameOfLocalPort(first->port()), SOCK_STREAM);
        QCOMPARE(answer, Answer::Connected);
        QVERIFY(kit::await([&] { return accepted.isOpen(); }));
        StreamPair streams = streamPairOwning(std::move(socket));
        QCOMPARE(::send(accepted.descriptor(), "x", 1, MSG_NOSIGNAL), ssize_t(1));
        bool hasCome = false;
        streams.input->setEventHandler([&](StreamEvent event) {
            hasCome = hasCome || event == StreamEvent::HasBytesAvailable;
        });
        streams.input->open();
        QVERIFY(kit::await([&] { return hasCome; }));
        // The socket is theirs, and closed with the last of the two.
        char byte = 0;
        streams.input.reset();
        QCOMPARE(::recv(accepted.descriptor(), &byte, 1, MSG_DONTWAIT), ssize_t(-1));
        streams.output.reset();
        QVERIFY(
            kit::await([&] { return ::recv(accepted.descriptor(), &byte, 1, MSG_DONTWAIT) == 0; }));
    }

    void aPortGoesWithItsListener() {
        auto calls = localPortCalls(_runtime);
        auto listener = kit::valueOf(SocketListener::open(calls));
        const QByteArray name = nameOfLocalPort(listener->port());
        calls = {};
        listener.reset();
        QCOMPARE(folder()->names(QByteArray()), QByteArrayList());
        QCOMPARE(folder()->connect(name, SOCK_STREAM).first, Answer::Nobody);
    }

    void theSameCallsServeAnotherListenerLater() {
        const auto calls = localPortCalls(_runtime);
        for (int round = 0; round < 2; ++round) {
            const auto listener = kit::valueOf(SocketListener::open(calls));
            QCOMPARE(folder()->connect(nameOfLocalPort(listener->port()), SOCK_STREAM).first,
                     Answer::Connected);
            QCOMPARE(folder()->names("port-").size(), 1);
        }
    }

    void portsOfKilledProgramsAreCleanedUp() {
        QCOMPARE(inChild([&] {
                     const auto listener = SocketListener::open(localPortCalls(_runtime));
                     return ::kill(::getpid(), SIGKILL);
                 }),
                 -1);
        QCOMPARE(folder()->names("port-").size(), 1);
        const auto other = listenAs(LocalName::claim(folder(), "other").second);
        const auto listener = kit::valueOf(SocketListener::open(localPortCalls(_runtime)));
        QCOMPARE(folder()->names("port-"), QByteArrayList{nameOfLocalPort(listener->port())});
        QCOMPARE(folder()->connect("other", SOCK_STREAM).first, Answer::Connected);
    }

    void aPortThatCannotBeHadIsAFailure() {
        QTest::ignoreMessage(QtWarningMsg, "the session has no runtime folder");
        QCOMPARE(kit::reasonOf(SocketListener::open(localPortCalls(QByteArray()))),
                 QStringLiteral("BIND FAILED -1"));
    }

    void whatIsNoSocketGivesNoStreams() {
        QVERIFY(!streamPairOwning(FileHandle()).input);
        QVERIFY(!streamPairOwning(FileHandle(::open("/dev/null", O_RDONLY))).output);
    }
};

QTEST_GUILESS_MAIN(LocalSocketsTest)
#include "tst_localsockets.moc"
