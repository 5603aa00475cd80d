// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "platform/streams/SocketListener.h"

#include <QByteArrayList>

#include <memory>
#include <utility>

namespace clipmule {

/// The folder in which this user's programs have their sockets for one another. Nobody else can
/// enter it. It is checked when it is opened and then held open, so that a folder put in its place
/// later, by whomever, is not used.
///
/// Names in it are file names that the program has made itself; what else lies there is never shown
/// or touched.
class LocalFolder final {
    struct Private {
        explicit Private() = default;
    };

public:
    /// What came of an attempt to connect. Unix sockets answer at once.
    enum class Answer {
        Connected,
        Nobody,  ///< nothing is there, or it is left over from a program that has ended
        Busy,    ///< somebody is there and has no room for one more just now
        Refused, ///< what is there is not to be used: no socket of this user's, or not private
    };

    /// Opens "clipmule-sync/services" below the session's runtime folder, and makes what is missing
    /// of it. Fails when the session has no such folder, and when one of the three is a symbolic
    /// link, is another user's, or is open to others.
    [[nodiscard]] static Result<std::shared_ptr<const LocalFolder>>
    open(const QByteArray &runtimeFolder = qgetenv("XDG_RUNTIME_DIR"));
    LocalFolder(Private, QByteArray path, FileHandle folder);

    [[nodiscard]] const QByteArray &path() const { return _path; }
    /// A path to a file of it that is short enough for a socket's address, however long the
    /// folder's own is.
    [[nodiscard]] QByteArray pathOf(const QByteArray &name) const;
    /// Whether it is still the one that its path leads to.
    [[nodiscard]] bool isThere() const;
    /// The sockets whose names begin so, in no particular order; where a great many files lie, some
    /// are missing.
    [[nodiscard]] QByteArrayList names(const QByteArray &prefix) const;
    /// Connects to a socket of SOCK_STREAM or SOCK_SEQPACKET, non-blocking. The socket is closed
    /// unless the answer is Connected; then its owner is this user.
    [[nodiscard]] std::pair<Answer, FileHandle> connect(const QByteArray &name, int type) const;
    /// Deletes the socket that a program that was killed has left under this name, and tells
    /// whether there was one. Nothing happens while somebody uses the name.
    bool cleanUp(const QByteArray &name) const;

private:
    friend class LocalName;

    // Its name's lock, closed when somebody else has it.
    [[nodiscard]] FileHandle lockOf(const QByteArray &name) const;

    QByteArray _path;
    FileHandle _folder;
};

/// A name in the folder that is this object's until it is destroyed, or the program ends in
/// whatever way. Then its socket is gone from the folder.
class LocalName final {
    struct Private {
        explicit Private() = default;
    };

public:
    enum class Claim {
        Claimed,
        Taken,   ///< somebody answers under it
        InFlux,  ///< somebody is about to use it, or is cleaning up: to be tried again soon
        Refused, ///< something else is in its place, or the system refuses
    };
    [[nodiscard]] static std::pair<Claim, std::shared_ptr<LocalName>>
    claim(const std::shared_ptr<const LocalFolder> &folder, const QByteArray &name);
    LocalName(Private, std::shared_ptr<const LocalFolder> folder, QByteArray name, FileHandle lock);
    ~LocalName();
    Q_DISABLE_COPY_MOVE(LocalName)

    // As the system calls of the same names. The file appears under its name with listen(), so that
    // whoever sees it can connect.
    [[nodiscard]] int bind(int descriptor) const;
    [[nodiscard]] int listen(int descriptor, int backlog) const;

private:
    std::shared_ptr<const LocalFolder> _folder;
    QByteArray _name;
    FileHandle _lock;
};

/// Whether the process at the other end of a Unix socket is this user's.
[[nodiscard]] bool isOfThisUser(int descriptor);

/// The calls of a listener on a socket of this type under the name. Other users' connections are
/// ended before anybody sees them.
[[nodiscard]] SocketListener::Calls callsFor(const std::shared_ptr<LocalName> &name, int type);

/// The calls of a listener whose port is one of this user's alone: not of the network, but a socket
/// in the folder, with a number that no other there has. For one listener at a time.
[[nodiscard]] SocketListener::Calls
localPortCalls(const QByteArray &runtimeFolder = qgetenv("XDG_RUNTIME_DIR"));
/// The name of such a port's socket.
[[nodiscard]] QByteArray nameOfLocalPort(quint16 port);

} // namespace clipmule
