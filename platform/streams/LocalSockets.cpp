// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/streams/LocalSockets.h"

#include "platform/foundation/Log.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace clipmule {

namespace {

constexpr mode_t folderMode = 0700;
constexpr mode_t socketMode = 0600;
constexpr mode_t ofOthers = 0077;
constexpr mode_t writableByOthers = 0022;
constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
const QByteArray locksName = QByteArrayLiteral("locks");
const QByteArray portPrefix = QByteArrayLiteral("port-");
const QByteArray unfinishedSuffix = QByteArrayLiteral(".new");

// A user has a handful of services; whoever puts more files there does not hold us up for long.
constexpr int mostEntries = 10'000;
// Ports that are tried: with a thousand in use one in sixty is taken.
constexpr int mostPortAttempts = 100;
// Below it a number could be taken for a well-known port.
constexpr int firstPort = 1024;
// All programs of a session may ask at once who is there.
constexpr int localBacklog = 64;

QString textOf(const QByteArray &path) {
    return cutForLog(QString::fromLocal8Bit(path));
}

tl::unexpected<Failure> lastError(const char *what, const QByteArray &path) {
    return failure(
        QStringLiteral("cannot %1 %2: %3")
            .arg(QLatin1String(what), textOf(path), QString::fromLocal8Bit(std::strerror(errno))));
}

// A folder that belongs to this user, none of whose forbidden permissions is set.
Result<FileHandle> checkedFolder(int parent, const QByteArray &name, const QByteArray &path,
                                 mode_t forbidden) {
    struct stat status {};
    FileHandle folder(::openat(parent, name.constData(), openFolder));
    if (!folder.isOpen()) {
        const int error = errno;
        if (::fstatat(parent, name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISLNK(status.st_mode))
            return failure(QStringLiteral("%1 is a symbolic link").arg(textOf(path)));
        errno = error;
        return lastError("open", path);
    }
    if (::fstat(folder.descriptor(), &status) != 0)
        return lastError("look at", path);
    if (status.st_uid != ::geteuid())
        return failure(QStringLiteral("%1 belongs to another user").arg(textOf(path)));
    if ((status.st_mode & forbidden) != 0)
        return failure(QStringLiteral("%1 is open to other users, its mode is %2")
                           .arg(textOf(path))
                           .arg(status.st_mode & 07777, 4, 8, QLatin1Char('0')));
    return folder;
}

Result<FileHandle> madeFolder(const FileHandle &parent, const QByteArray &name,
                              const QByteArray &path, mode_t forbidden) {
    if (::mkdirat(parent.descriptor(), name.constData(), folderMode) != 0 && errno != EEXIST)
        return lastError("make", path);
    return checkedFolder(parent.descriptor(), name, path, forbidden);
}

FileHandle newSocket(int type) {
    return FileHandle(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// Where the name's lock is in the file of locks: names do not share one but by a chance in 2^62.
off_t placeOfLock(const QByteArray &name) {
    const QByteArray hash = QCryptographicHash::hash(name, QCryptographicHash::Sha256);
    return off_t(qFromBigEndian<quint64>(hash.constData()) >> 2);
}

int callWithPath(int descriptor, const QByteArray &path,
                 int (*call)(int, const sockaddr *, socklen_t)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    return call(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

int acceptOfThisUser(int descriptor) {
    FileHandle accepted(::accept4(descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!accepted.isOpen())
        return -errno;
    if (isOfThisUser(accepted.descriptor()))
        return accepted.release();
    qCWarning(logStreams) << "another user's connection was refused";
    return -ECONNABORTED;
}

} // namespace

Result<std::shared_ptr<const LocalFolder>> LocalFolder::open(const QByteArray &runtimeFolder) {
    if (!runtimeFolder.startsWith('/'))
        return failure(QStringLiteral("the session has no runtime folder"));
    const QByteArray ownPath = runtimeFolder + "/clipmule-sync";
    const QByteArray path = ownPath + "/services";
    // What lies in the upper two is not ours to judge, as long as nobody else can move it.
    auto folder = checkedFolder(AT_FDCWD, runtimeFolder, runtimeFolder, writableByOthers)
                      .and_then([&](const FileHandle &runtime) {
                          return madeFolder(runtime, "clipmule-sync", ownPath, writableByOthers);
                      })
                      .and_then([&](const FileHandle &own) {
                          return madeFolder(own, "services", path, ofOthers);
                      });
    if (!folder)
        return tl::unexpected(folder.error());
    return std::make_shared<const LocalFolder>(Private(), path, std::move(*folder));
}

LocalFolder::LocalFolder(Private, QByteArray path, FileHandle folder)
    : _path(std::move(path))
    , _folder(std::move(folder)) {}

QByteArray LocalFolder::pathOf(const QByteArray &name) const {
    return "/proc/self/fd/" + QByteArray::number(_folder.descriptor()) + '/' + name;
}

bool LocalFolder::isThere() const {
    struct stat ours {};
    struct stat there {};
    return ::fstat(_folder.descriptor(), &ours) == 0 && ::lstat(_path.constData(), &there) == 0 &&
           ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

QByteArrayList LocalFolder::names(const QByteArray &prefix) const {
    QByteArrayList result;
    // One of its own, as reading moves a position that all copies of a descriptor share.
    FileHandle reader(::openat(_folder.descriptor(), ".", openFolder));
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::fdopendir(reader.descriptor()),
                                                       ::closedir);
    if (!entries)
        return result;
    // It is closed with the entries from now on.
    (void)reader.release();
    for (int looked = 0; looked < mostEntries; ++looked) {
        const dirent *const entry = ::readdir(entries.get());
        if (!entry)
            break;
        const QByteArray name(entry->d_name);
        if (entry->d_type == DT_SOCK && name.startsWith(prefix) && !name.endsWith(unfinishedSuffix))
            result.append(name);
    }
    return result;
}

std::pair<LocalFolder::Answer, FileHandle> LocalFolder::connect(const QByteArray &name,
                                                                int type) const {
    struct stat status {};
    if (::fstatat(_folder.descriptor(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return {errno == ENOENT ? Answer::Nobody : Answer::Refused, FileHandle()};
    if (!S_ISSOCK(status.st_mode) || status.st_uid != ::geteuid() ||
        (status.st_mode & ofOthers) != 0)
        return {Answer::Refused, FileHandle()};
    FileHandle socket = newSocket(type);
    if (!socket.isOpen())
        return {Answer::Busy, FileHandle()};
    if (callWithPath(socket.descriptor(), pathOf(name), ::connect) == 0) {
        if (isOfThisUser(socket.descriptor()))
            return {Answer::Connected, std::move(socket)};
        return {Answer::Refused, FileHandle()};
    }
    switch (errno) {
    case ECONNREFUSED:
    case ENOENT:
        return {Answer::Nobody, FileHandle()};
    case EAGAIN:
    case EINTR:
        return {Answer::Busy, FileHandle()};
    default:
        return {Answer::Refused, FileHandle()};
    }
}

FileHandle LocalFolder::lockOf(const QByteArray &name) const {
    FileHandle locks(::openat(_folder.descriptor(), locksName.constData(),
                              O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, socketMode));
    // Of this open file, not of the process: two of one process exclude each other, and no other
    // descriptor gives it up when it is closed. A killed process lets go of it.
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = placeOfLock(name);
    lock.l_len = 1;
    if (::fcntl(locks.descriptor(), F_OFD_SETLK, &lock) != 0)
        locks.close();
    return locks;
}

bool LocalFolder::cleanUp(const QByteArray &name) const {
    const FileHandle lock = lockOf(name);
    // Before we had the lock its owner may have come back.
    return lock.isOpen() && connect(name, SOCK_STREAM).first == Answer::Nobody &&
           ::unlinkat(_folder.descriptor(), name.constData(), 0) == 0;
}

std::pair<LocalName::Claim, std::shared_ptr<LocalName>>
LocalName::claim(const std::shared_ptr<const LocalFolder> &folder, const QByteArray &name) {
    FileHandle lock = folder->lockOf(name);
    switch (folder->connect(name, SOCK_STREAM).first) {
    case LocalFolder::Answer::Connected:
    case LocalFolder::Answer::Busy:
        return {Claim::Taken, nullptr};
    case LocalFolder::Answer::Refused:
        // Who has the lock has a socket of another type there.
        return {lock.isOpen() ? Claim::Refused : Claim::Taken, nullptr};
    case LocalFolder::Answer::Nobody:
        break;
    }
    if (!lock.isOpen())
        return {Claim::InFlux, nullptr};
    return {Claim::Claimed, std::make_shared<LocalName>(Private(), folder, name, std::move(lock))};
}

LocalName::LocalName(Private, std::shared_ptr<const LocalFolder> folder, QByteArray name,
                     FileHandle lock)
    : _folder(std::move(folder))
    , _name(std::move(name))
    , _lock(std::move(lock)) {}

LocalName::~LocalName() {
    for (const QByteArray &file : {_name, QByteArray(_name + unfinishedSuffix)})
        ::unlinkat(_folder->_folder.descriptor(), file.constData(), 0);
}

int LocalName::bind(int descriptor) const {
    const QByteArray unfinished = _name + unfinishedSuffix;
    // Left by a program that was killed just then.
    ::unlinkat(_folder->_folder.descriptor(), unfinished.constData(), 0);
    // The socket's own permissions are those that its file gets.
    if (::fchmod(descriptor, socketMode) != 0)
        return -1;
    return callWithPath(descriptor, _folder->pathOf(unfinished), ::bind);
}

int LocalName::listen(int descriptor, int backlog) const {
    if (::listen(descriptor, std::max(backlog, localBacklog)) != 0)
        return -1;
    const int folder = _folder->_folder.descriptor();
    return ::renameat(folder, QByteArray(_name + unfinishedSuffix).constData(), folder,
                      _name.constData());
}

bool isOfThisUser(int descriptor) {
    ucred peer{};
    socklen_t length = sizeof peer;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 &&
           length == sizeof peer && peer.uid == ::geteuid();
}

SocketListener::Calls callsFor(const std::shared_ptr<LocalName> &name, int type) {
    return {
        .socket = [type] { return newSocket(type).release(); },
        .bind = [name](int descriptor) { return name->bind(descriptor); },
        .getsockname =
            [](int, quint16 &port) {
                port = 0;
                return 0;
            },
        .listen = [name](int descriptor, int backlog) { return name->listen(descriptor, backlog); },
        .accept = acceptOfThisUser,
    };
}

SocketListener::Calls localPortCalls(const QByteArray &runtimeFolder) {
    struct Port {
        quint16 number = 0;
        std::shared_ptr<LocalName> name;
    };
    const auto bound = std::make_shared<Port>();
    SocketListener::Calls calls = callsFor(nullptr, SOCK_STREAM);
    calls.bind = [bound, runtimeFolder](int descriptor) {
        const auto folder = LocalFolder::open(runtimeFolder);
        if (!folder) {
            qCWarning(logStreams).noquote() << folder.error().reason;
            return -1;
        }
        for (const QByteArray &name : (*folder)->names(portPrefix))
            (void)(*folder)->cleanUp(name);
        for (int attempt = 0; attempt < mostPortAttempts && !bound->name; ++attempt) {
            bound->number = quint16(QRandomGenerator::global()->bounded(firstPort, 65536));
            bound->name = LocalName::claim(*folder, nameOfLocalPort(bound->number)).second;
        }
        return bound->name ? bound->name->bind(descriptor) : -1;
    };
    calls.getsockname = [bound](int, quint16 &port) {
        port = bound->number;
        return 0;
    };
    calls.listen = [bound](int descriptor, int backlog) {
        return bound->name->listen(descriptor, backlog);
    };
    return calls;
}

QByteArray nameOfLocalPort(quint16 port) {
    return portPrefix + QByteArray::number(port);
}

} // namespace clipmule
