// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/backends/local/Announcement.h"
#include "platform/foundation/LogLimit.h"
#include "platform/streams/LocalSockets.h"
#include "platform/streams/SocketNotifier.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace clipmule::dnssd {

/// The services of this session as one process sees them. It is connected to each that somebody
/// here wants, so that it hears from its program what changes, and from the system when that ends;
/// the system also tells of new files in the folder. Nothing is looked at again and again.
class LocalServices {
public:
    /// Of all services so many are followed, as of those on the network. One that somebody wants by
    /// its name is followed in any case.
    static constexpr qsizetype mostFollowed = 200;
    /// A program that has no room for a connection, or ends it while its file stays, is tried again
    /// after so long at the earliest, and after twice as long each time that it tells nothing.
    static constexpr RunLoop::Seconds shortestPause{1.0};
    static constexpr RunLoop::Seconds longestPause{64.0};

    /// Somebody who wants one service, or all.
    class Follower {
    public:
        Follower() = default;
        virtual ~Follower() = default;
        Q_DISABLE_COPY_MOVE(Follower)
        /// The service's file; none for all services.
        [[nodiscard]] virtual std::optional<QByteArray> wantedFile() const = 0;
        /// A wanted service appeared or changed; null when it is gone, which is told of known ones
        /// only. May do anything.
        virtual void changed(const QByteArray &file, const Announcement *now) = 0;
        /// All that was there has been told.
        virtual void settled() {}
    };

    explicit LocalServices(QByteArray runtimeFolder);
    ~LocalServices();
    Q_DISABLE_COPY_MOVE(LocalServices)

    /// The folder, opened if it can be now; the reason why not is logged once.
    [[nodiscard]] Result<std::shared_ptr<const LocalFolder>> folder();
    /// From now on it is told of what it wants, beginning with what is known, on later turns.
    void follow(Follower &follower);
    void unfollow(Follower &follower);

private:
    struct Sighting {
        FileHandle socket;
        // The notifier stands after the socket it watches, so that it is destroyed first.
        std::unique_ptr<SocketNotifier> notifier;
        std::optional<Announcement> announcement;
        RunLoop::Seconds notBefore{0};
        RunLoop::Seconds pause = shortestPause;
        bool isBlamed = false;
    };

    void lookSoon();
    void lookAgainAt(RunLoop::Seconds time);
    void look();
    [[nodiscard]] std::set<QByteArray> wantedFiles();
    void watchFolder();
    void attempt(const QByteArray &file);
    void receive(const QByteArray &file);
    void ended(const QByteArray &file);
    void blame(Sighting &sighting, const QByteArray &file, const QString &what);
    void tell(const QByteArray &file, const Announcement *now);
    void tellNewcomers();
    void tellSettled();
    [[nodiscard]] bool isFollowing(const Follower *follower) const;

    const QByteArray _runtimeFolder;
    std::shared_ptr<const LocalFolder> _folder;
    QString _complaint;
    FileHandle _inotify;
    std::unique_ptr<SocketNotifier> _changes;
    std::map<QByteArray, Sighting> _sightings;
    std::vector<Follower *> _followers;
    std::vector<Follower *> _newcomers;
    bool _saidFull = false;
    LogLimit _blames;
    RunLoop::Timer _look;
    RunLoop::Timer _again;
    RunLoop::Seconds _againAt{0};
};

} // namespace clipmule::dnssd
