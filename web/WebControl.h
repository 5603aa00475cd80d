// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"
#include "platform/foundation/RunLoop.h"
#include "platform/streams/SocketListener.h"

#include <QJsonObject>

#include <list>
#include <memory>
#include <optional>

namespace clipmule {

class WebProgram;

/// What other programs of this user ask of the one that serves: a line of JSON each way, over a
/// socket that nobody else can reach.
///
/// A request has "do": "code", "list", "revoke", "rename" or "stop"; "revoke" and "rename" also
/// "browser", a name or an id, and "rename" the new "name". The answer has "browsers" or nothing,
/// or an "error", a sentence for people; "why" is "network" where it is in none. To "code" it has
/// the "link"; the "rows" of its picture without the zone around it, "1" for a dark module; and the
/// "seconds" that the code holds.
///
/// Who asks for the code with "watch" set stays connected, and is told in further lines with "code"
/// what becomes of it: "fetched", when another device has fetched the page, and then, as the last
/// line, "used", with "name" and "service" of the browser; "refused", with an "error", when the
/// browser could not be paired; "expired"; "replaced" by a newer one; or "moved", when the link
/// leads nowhere any more.
class WebControl final {
public:
    /// Bytes of a request, with its line end.
    static constexpr qsizetype largestRequest = 4096;
    /// Whoever connects is answered by then, or let go of.
    static constexpr RunLoop::Seconds patience{5.0};
    /// Requests at once; each is answered in the turn in which it comes.
    static constexpr size_t mostRequests = 8;

    /// The program outlives it.
    explicit WebControl(WebProgram &program);
    ~WebControl();
    Q_DISABLE_COPY_MOVE(WebControl)

    /// Somebody asked the program to end.
    std::function<void()> onStop;

    /// A failure, and the program can serve all the same, when there is no such socket to be had.
    [[nodiscard]] Result<void> start(const QByteArray &runtimeFolder);

    [[nodiscard]] static QJsonObject perform(WebProgram &program, const QJsonObject &request);
    /// Asks the program that serves, waiting for the answer; nothing when none does.
    [[nodiscard]] static std::optional<QJsonObject> ask(const QByteArray &runtimeFolder,
                                                        const QJsonObject &request);

private:
    struct Request;

    void acceptNext();
    void read(std::list<Request>::iterator request);
    void tellWatchers(const QJsonObject &news);

    WebProgram &_program;
    std::unique_ptr<SocketListener> _listener;
    std::list<Request> _requests;
};

} // namespace clipmule
