// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/mutter/MutterConnection.h"

namespace clipmule {

/// A session with GNOME's compositor, in which a program may do what a user does. There is one
/// whenever the compositor gives one: it closes all of them when the screen is locked, and refuses
/// new ones meanwhile.
///
/// The compositor shows the user a mark while a session is started; one that is not started shows
/// nothing, and its clipboard works all the same.
class MutterSession final : public QObject {
    Q_OBJECT

public:
    /// Between two requests for a session: that the screen was unlocked is not told here.
    static constexpr RunLoop::Seconds retryInterval{2.0};

    /// A compositor that has not answered for so long hangs; one that works takes a millisecond. It
    /// is not asked again, since it would give all those sessions when it works again.
    static constexpr RunLoop::Seconds answerLimit{5.0};

    explicit MutterSession(std::shared_ptr<MutterConnection> connection);

    /// Asks for the first. Callbacks are to be in place.
    void start() { ask(); }
    /// Whether methods can be called.
    [[nodiscard]] bool isOpen() const { return !_path.isEmpty(); }
    /// Whether there is one or one may come soon.
    [[nodiscard]] bool isExpected() const { return _connection->isThere(); }
    /// Forgets the session, which is used up, and asks for another at once.
    void renew();

    /// Calls a method of the session while it is open. The answer, which may be an error, comes
    /// from the run loop; not when the
    /// session was taken from us meanwhile.
    void call(const QString &method, const QVariantList &arguments = {},
              const MutterConnection::Answer &answer = {});

    std::function<void()> onOpened;
    /// It was taken from us.
    std::function<void()> onClosed;
    /// What the compositor says about it, but the closing.
    std::function<void(const QDBusMessage &signal)> onSignal;

private:
    void ask();
    void answered(const QDBusMessage &answer);
    void hear(const QDBusMessage &signal);
    void close();
    void askLater();

    std::shared_ptr<MutterConnection> _connection;
    QString _path;        // while it is open
    quint64 _request = 0; // for a session, the last one; the answers to others are nobody's
    quint64 _life = 0;    // how often one was taken from us
    bool _wasRefused = false;
    RunLoop::Timer _retry;
};

} // namespace clipmule
