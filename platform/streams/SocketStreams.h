// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "platform/streams/Stream.h"

#include <QHostAddress>
#include <QList>

namespace clipmule {

/// Where to connect to. A link-local IPv6 address carries its scope.
struct SocketEndpoint {
    QHostAddress address;
    quint16 port = 0;
    friend bool operator==(const SocketEndpoint &, const SocketEndpoint &) = default;
};

/// Send and receive buffers of an accepted connection, in bytes: clips with images are large. The
/// kernel may grant less.
inline constexpr int socketBufferSize = 524288;

// A peer that vanishes without a word (out of range, battery empty) is given up within a minute of
// the next write and within two minutes of silence. The kernel ends a silent connection at the
// first probe that finds the unacknowledged time used up, so the idle time and the probes lie below
// it: three probes may get lost. The end then comes 55 s after a write and after 60 s of silence.

/// Unacknowledged data ends the connection after this long, in milliseconds.
inline constexpr int unacknowledgedTimeLimit = 55000;
/// Silence after which the kernel asks whether the peer is there, in seconds.
inline constexpr int keepAliveIdleTime = 30;
/// Time between its questions, in seconds.
inline constexpr int keepAliveInterval = 10;
/// Questions without an answer that end the connection; the limit above comes first.
inline constexpr int keepAliveProbes = 6;

/// Turns on keep-alive and the limits above. False when the descriptor is no TCP socket.
bool noticeVanishedPeer(int descriptor);

/// What an accepted connection gets: both buffers, keep-alive, and noticeVanishedPeer.
void setAcceptedSocketOptions(int descriptor);

/// Both directions of a connected socket. The streams do not own the descriptor, which must stay
/// open until they are closed; it is made non-blocking. No streams when it is not an open socket.
[[nodiscard]] StreamPair streamPairForSocket(int descriptor);

/// Streams that connect when the first of them is opened. The addresses are tried in the order
/// given, each with an equal share of the time that is left, all of them within the one time limit;
/// then both report OpenCompleted, or ErrorOccurred. No streams when there is no address.
[[nodiscard]] StreamPair connectingStreamPair(const QList<SocketEndpoint> &endpoints,
                                              RunLoop::Seconds timeout);

} // namespace clipmule
