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
/// A request has "do": "code", "list", "revoke" or "rename"; the last two also "browser", a name or
/// an id, and "rename" the new "name". The answer has "link", "browsers" or nothing, or an "error",
/// a sentence for people.
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

    WebProgram &_program;
    std::unique_ptr<SocketListener> _listener;
    std::list<Request> _requests;
};

} // namespace clipmule
