// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
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

// A peer that vanishes without a word (out of range, battery empty) is given up about a minute
// after the last word of its computer. A program that does not read is another matter: its computer
// goes on answering, and the connection stays for as long as it likes. The kernel's own limit for
// unacknowledged data (TCP_USER_TIMEOUT) does not tell the two apart, so it is not used: keep-alive
// watches a silent connection, and silentTimeLimit one with data on the way, on which the kernel
// sends no keep-alive.

/// Silence after which the kernel asks whether the peer is there, in seconds.
inline constexpr int keepAliveIdleTime = 30;
/// Time between its questions, in seconds.
inline constexpr int keepAliveInterval = 10;
/// Questions without an answer that end the connection: a minute after the last word in all.
inline constexpr int keepAliveProbes = 3;

/// With data on the way, so long without any word of the peer's computer ends the connection, in
/// milliseconds, when so many of our attempts to reach it had no answer. The kernel makes them at
/// growing intervals, so that a long silence alone says nothing.
inline constexpr quint32 silentTimeLimit = 55000;
inline constexpr int unansweredAttempts = 3;
/// How often that is looked at, while data is on the way.
inline constexpr RunLoop::Seconds silenceCheckInterval{10.0};

/// What the kernel knows of a connection.
struct PeerFacts {
    /// Whether data that was written has not arrived yet.
    bool isWaiting = false;
    /// Attempts in a row, to send or to ask for room, that were not answered.
    int attempts = 0;
    /// Milliseconds since the peer's computer said anything.
    quint32 silence = 0;
};
using PeerFactsSource = PeerFacts (*)(int descriptor);
/// From the kernel; all zero for what is no TCP connection.
[[nodiscard]] PeerFacts peerFacts(int descriptor);
/// Whether the peer's computer has gone.
[[nodiscard]] bool isGone(const PeerFacts &facts);

/// Turns on keep-alive with the times above. False when the descriptor is no TCP socket.
bool noticeVanishedPeer(int descriptor);

/// What an accepted connection gets: both buffers, keep-alive, and noticeVanishedPeer.
void setAcceptedSocketOptions(int descriptor);

/// The address of the other end of a connected socket, without its port; "localhost" for that of a
/// Unix socket, empty when there is none.
[[nodiscard]] QString peerOfSocket(int descriptor);

/// Both directions of a connected socket. The streams do not own the descriptor, which must stay
/// open until they are closed; it is made non-blocking. No streams when it is not an open socket.
/// The output stream reports ErrorOccurred when the peer's computer has gone.
[[nodiscard]] StreamPair streamPairForSocket(int descriptor, PeerFactsSource facts = peerFacts);

/// The same of a connected socket that the streams own.
[[nodiscard]] StreamPair streamPairOwning(FileHandle socket);

/// Streams that connect when the first of them is opened. The addresses are tried in the order
/// given, each with an equal share of the time that is left, all of them within the one time limit;
/// then both report OpenCompleted, or ErrorOccurred. No streams when there is no address.
[[nodiscard]] StreamPair connectingStreamPair(const QList<SocketEndpoint> &endpoints,
                                              RunLoop::Seconds timeout);

} // namespace clipmule
