// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/backends/local/LocalServices.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

namespace clipmule::dnssd {

namespace {

bool wants(const LocalServices::Follower &follower, const QByteArray &file) {
    const auto wanted = follower.wantedFile();
    return !wanted || *wanted == file;
}

} // namespace

LocalServices::LocalServices(QByteArray runtimeFolder)
    : _runtimeFolder(std::move(runtimeFolder))
    , _blames([](int leftOut) {
        qCWarning(logDnsSd, "%d more lines about this session's services were left out", leftOut);
    }) {}

LocalServices::~LocalServices() = default;

Result<std::shared_ptr<const LocalFolder>> LocalServices::folder() {
    if (_folder && _folder->isThere())
        return _folder;
    _changes.reset();
    _inotify.close();
    _folder.reset();
    auto opened = LocalFolder::open(_runtimeFolder);
    if (opened) {
        _folder = *opened;
        _complaint.clear();
    } else if (const QString reason = opened.error().reason;
               std::exchange(_complaint, reason) != reason) {
        const QString line =
            QStringLiteral("there are no services of this session alone: %1").arg(reason);
        // A session without the folder is nothing bad; one with a bad folder is.
        if (_runtimeFolder.isEmpty())
            qCInfo(logDnsSd).noquote() << line;
        else
            qCWarning(logDnsSd).noquote() << line;
    }
    return opened;
}

void LocalServices::follow(Follower &follower) {
    _followers.push_back(&follower);
    _newcomers.push_back(&follower);
    lookSoon();
}

void LocalServices::unfollow(Follower &follower) {
    std::erase(_followers, &follower);
    std::erase(_newcomers, &follower);
    lookSoon();
}

bool LocalServices::isFollowing(const Follower *follower) const {
    return std::find(_followers.begin(), _followers.end(), follower) != _followers.end();
}

void LocalServices::lookSoon() {
    if (!_look.isPending())
        _look = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { look(); });
}

void LocalServices::lookAgainAt(RunLoop::Seconds time) {
    if (_again.isPending() && _againAt <= time)
        return;
    RunLoop &runLoop = RunLoop::current();
    _againAt = time;
    _again = runLoop.performAfter(std::max(time - runLoop.now(), RunLoop::Seconds(0)),
                                  [this] { look(); });
}

// Tells who is new what is known, and connects to what is wanted and there.
void LocalServices::look() {
    tellNewcomers();
    std::erase_if(_sightings, [this](const auto &entry) {
        return std::none_of(_followers.begin(), _followers.end(),
                            [&](const Follower *one) { return wants(*one, entry.first); });
    });
    if (!_followers.empty() && folder()) {
        watchFolder();
        for (const QByteArray &file : wantedFiles())
            attempt(file);
    }
    tellSettled();
}

std::set<QByteArray> LocalServices::wantedFiles() {
    std::set<QByteArray> files;
    bool wantsAll = false;
    for (const Follower *follower : _followers) {
        if (const auto file = follower->wantedFile())
            files.insert(*file);
        else
            wantsAll = true;
    }
    if (!wantsAll)
        return files;
    qsizetype places = mostFollowed;
    for (const auto &[file, sighting] : _sightings)
        places -= files.contains(file) ? 0 : 1;
    for (const QByteArray &file : _folder->names(fileBeginning)) {
        if (files.contains(file) || _sightings.contains(file))
            continue;
        if (places-- > 0)
            files.insert(file);
        else if (!std::exchange(_saidFull, true))
            qCWarning(logDnsSd, "more than %lld services of this session are not looked at",
                      qlonglong(mostFollowed));
    }
    // Of those already there one may have to be connected to again.
    for (const auto &[file, sighting] : _sightings)
        files.insert(file);
    return files;
}

// New files are moved to their names. That one goes is told by its program's connection.
void LocalServices::watchFolder() {
    if (_changes)
        return;
    _inotify = FileHandle(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (::inotify_add_watch(_inotify.descriptor(), _folder->pathOf("").constData(), IN_MOVED_TO) <
        0) {
        qCWarning(logDnsSd, "new services of this session will not be noticed");
        return;
    }
    _changes =
        std::make_unique<SocketNotifier>(_inotify.descriptor(), QSocketNotifier::Read, [this] {
            // Which file it is does not matter; the next look sees them all.
            std::array<char, 4096> events;
            while (::read(_inotify.descriptor(), events.data(), events.size()) > 0) {
            }
            lookSoon();
        });
}

void LocalServices::attempt(const QByteArray &file) {
    RunLoop &runLoop = RunLoop::current();
    Sighting &sighting = _sightings[file];
    if (sighting.socket.isOpen())
        return;
    if (runLoop.now() < sighting.notBefore)
        return lookAgainAt(sighting.notBefore);
    sighting.notBefore = runLoop.now() + sighting.pause;
    auto [answer, socket] = _folder->connect(file, SOCK_SEQPACKET);
    switch (answer) {
    case LocalFolder::Answer::Connected:
        sighting.pause = std::min(2 * sighting.pause, longestPause);
        sighting.socket = std::move(socket);
        sighting.notifier =
            std::make_unique<SocketNotifier>(sighting.socket.descriptor(), QSocketNotifier::Read,
                                             [this, file] { receive(QByteArray(file)); });
        return;
    case LocalFolder::Answer::Busy:
        return lookAgainAt(sighting.notBefore);
    case LocalFolder::Answer::Refused:
        return blame(sighting, file, QStringLiteral("it is no socket of this user alone"));
    case LocalFolder::Answer::Nobody:
        _sightings.erase(file);
        // What was left over may have taken the place of another.
        if (_folder->cleanUp(file))
            lookSoon();
        return;
    }
}

void LocalServices::receive(const QByteArray &file) {
    Sighting &sighting = _sightings[file];
    QByteArray packet(longestPacket + 1, Qt::Uninitialized);
    const ssize_t count =
        ::recv(sighting.socket.descriptor(), packet.data(), size_t(packet.size()), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        return ended(file);
    packet.truncate(count);
    auto told = announcementIn(packet);
    if (told && fileOf(told->service.name, told->service.type) != file)
        told = failure(QStringLiteral("it is another's name"));
    if (!told)
        blame(sighting, file, told.error().reason);
    sighting.pause = shortestPause;
    const auto now = told ? std::optional(*told) : std::nullopt;
    if (std::exchange(sighting.announcement, now) != now)
        tell(file, now ? &*now : nullptr);
    tellSettled();
}

void LocalServices::ended(const QByteArray &file) {
    Sighting &sighting = _sightings[file];
    sighting.notifier.reset();
    sighting.socket.close();
    // It may have been published anew already, or has left its file.
    lookSoon();
    if (std::exchange(sighting.announcement, std::nullopt))
        tell(file, nullptr);
}

void LocalServices::blame(Sighting &sighting, const QByteArray &file, const QString &what) {
    if (!std::exchange(sighting.isBlamed, true) && _blames.allows())
        qCWarning(logDnsSd).noquote()
            << QStringLiteral("a service of this session is not shown, %1: %2")
                   .arg(cutForLog(QString::fromLatin1(file)), what);
}

void LocalServices::tell(const QByteArray &file, const Announcement *now) {
    const auto followers = _followers;
    for (Follower *follower : followers) {
        // What was told before may have ended this one.
        if (isFollowing(follower) && wants(*follower, file))
            follower->changed(file, now);
    }
}

void LocalServices::tellNewcomers() {
    const auto newcomers = std::exchange(_newcomers, {});
    std::vector<std::pair<QByteArray, Announcement>> known;
    for (const auto &[file, sighting] : _sightings) {
        if (sighting.announcement)
            known.emplace_back(file, *sighting.announcement);
    }
    for (Follower *follower : newcomers) {
        for (const auto &[file, announcement] : known) {
            if (isFollowing(follower) && wants(*follower, file))
                follower->changed(file, &announcement);
        }
    }
}

void LocalServices::tellSettled() {
    const bool isSettled =
        std::none_of(_sightings.begin(), _sightings.end(), [](const auto &entry) {
            const Sighting &sighting = entry.second;
            return sighting.socket.isOpen() && !sighting.announcement && !sighting.isBlamed;
        });
    if (!isSettled || !_newcomers.empty())
        return;
    const auto followers = _followers;
    for (Follower *follower : followers) {
        if (isFollowing(follower))
            follower->settled();
    }
}

} // namespace clipmule::dnssd
