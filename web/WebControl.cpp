// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/WebControl.h"

#include "platform/foundation/Callbacks.h"
#include "platform/streams/LocalRequest.h"
#include "web/QrPicture.h"
#include "web/WebProgram.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <array>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace clipmule {

namespace {

constexpr const char *socketName = LocalRequest::pageControl;

QJsonObject errorOf(const Failure &failure) {
    return {{QStringLiteral("error"), failure.reason}};
}

QJsonArray rowsOf(const QString &link) {
    QJsonArray rows;
    for (const QList<bool> &modules : QrPicture::modules(link)) {
        QString row;
        for (const bool isDark : modules)
            row += isDark ? u'1' : u'0';
        rows.append(row);
    }
    return rows;
}

QByteArray lineOf(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

void send(int socket, const QByteArray &line) {
    // An answer fits into the socket's buffer, which nothing else is in.
    (void)::send(socket, line.constData(), size_t(line.size()), MSG_NOSIGNAL);
}

} // namespace

struct WebControl::Request {
    FileHandle socket;
    QByteArray line = {};
    RunLoop::Timer deadline = {};
    bool watches = false;
    // The notifier stands after the socket it watches, so that it is destroyed first.
    std::unique_ptr<SocketNotifier> notifier = {};
};

WebControl::WebControl(WebProgram &program)
    : _program(program) {
    _program.onCode = [this](const QJsonObject &news) { tellWatchers(news); };
}

WebControl::~WebControl() {
    _program.onCode = {};
}

Result<void> WebControl::start(const QByteArray &runtimeFolder) {
    const auto folder = LocalFolder::open(runtimeFolder);
    if (!folder)
        return tl::unexpected(folder.error());
    auto [claim, name] = LocalName::claim(*folder, socketName);
    if (claim != LocalName::Claim::Claimed)
        return failure(QStringLiteral("the socket for other programs is taken"));
    auto listener = SocketListener::open(callsFor(name, SOCK_STREAM));
    if (!listener)
        return tl::unexpected(listener.error());
    _listener = std::move(*listener);
    acceptNext();
    return {};
}

void WebControl::acceptNext() {
    _listener->acceptInBackground([this](FileHandle socket) {
        if (_requests.size() < mostRequests) {
            _requests.push_back({std::move(socket)});
            const auto request = std::prev(_requests.end());
            request->deadline = RunLoop::current().performAfter(
                patience, [this, request] { _requests.erase(request); });
            request->notifier = std::make_unique<SocketNotifier>(
                request->socket.descriptor(), QSocketNotifier::Read,
                [this, request] { read(request); });
        }
        acceptNext();
    });
}

void WebControl::read(std::list<Request>::iterator request) {
    // Who watches has nothing more to say.
    if (request->watches) {
        _requests.erase(request);
        return;
    }
    std::array<char, largestRequest> bytes;
    const ssize_t count =
        ::recv(request->socket.descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count > 0)
        request->line.append(bytes.data(), count);
    const qsizetype end = request->line.indexOf('\n');
    if (count > 0 && end < 0 && request->line.size() < largestRequest)
        return;
    bool stops = false;
    if (end >= 0 && end < largestRequest) {
        const QJsonObject asked = QJsonDocument::fromJson(request->line.first(end)).object();
        stops = asked[QStringLiteral("do")] == QStringLiteral("stop");
        const QJsonObject answer = stops ? QJsonObject() : perform(_program, asked);
        send(request->socket.descriptor(), lineOf(answer));
        request->watches =
            answer.contains(QStringLiteral("link")) && asked[QStringLiteral("watch")].toBool();
    }
    if (request->watches)
        request->deadline.cancel();
    else
        _requests.erase(request);
    if (stops)
        callCopyOf(onStop);
}

void WebControl::tellWatchers(const QJsonObject &news) {
    const bool isLast = news[QStringLiteral("code")] != QStringLiteral("fetched");
    for (auto request = _requests.begin(); request != _requests.end();) {
        const auto next = std::next(request);
        if (request->watches) {
            send(request->socket.descriptor(), lineOf(news));
            if (isLast)
                _requests.erase(request);
        }
        request = next;
    }
}

QJsonObject WebControl::perform(WebProgram &program, const QJsonObject &request) {
    const QString wanted = request[QStringLiteral("do")].toString();
    const QString browser = request[QStringLiteral("browser")].toString();
    const auto answer = [](const Result<void> &result) {
        return result ? QJsonObject() : errorOf(result.error());
    };
    if (wanted == QStringLiteral("code")) {
        const auto link = program.makeLink();
        if (!link) {
            QJsonObject error = errorOf(link.error());
            error.insert(QStringLiteral("why"), QStringLiteral("network"));
            return error;
        }
        return {{QStringLiteral("link"), *link},
                {QStringLiteral("rows"), rowsOf(*link)},
                {QStringLiteral("seconds"), PairingCode::lifetime.count()}};
    }
    if (wanted == QStringLiteral("list"))
        return {{QStringLiteral("browsers"), program.list()}};
    if (wanted == QStringLiteral("revoke"))
        return answer(program.revokeNamed(browser));
    if (wanted == QStringLiteral("rename"))
        return answer(program.renameNamed(browser, request[QStringLiteral("name")].toString()));
    return errorOf({QStringLiteral("no such request")});
}

std::optional<QJsonObject> WebControl::ask(const QByteArray &runtimeFolder,
                                           const QJsonObject &request) {
    const auto folder = LocalFolder::open(runtimeFolder);
    if (!folder)
        return std::nullopt;
    const auto [answer, socket] = (*folder)->connect(socketName, SOCK_STREAM);
    if (answer != LocalFolder::Answer::Connected)
        return std::nullopt;
    send(socket.descriptor(), lineOf(request));
    QByteArray line;
    std::array<char, 65536> bytes;
    pollfd poll{socket.descriptor(), POLLIN, 0};
    // It answers at once, or has hung up.
    while (!line.endsWith('\n') && ::poll(&poll, 1, int(1000 * patience.count())) == 1) {
        const ssize_t count = ::recv(socket.descriptor(), bytes.data(), bytes.size(), 0);
        if (count <= 0)
            break;
        line.append(bytes.data(), count);
    }
    const QJsonDocument document = QJsonDocument::fromJson(line);
    return document.isObject()
               ? document.object()
               : errorOf({QStringLiteral("the clipmule-web that serves does not answer")});
}

} // namespace clipmule
