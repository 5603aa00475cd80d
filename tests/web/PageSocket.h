// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/web/PageClient.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSslSocket>
#include <QTest>

#include <memory>

namespace clipmule::web_test {

/// A browser's socket: one request over HTTP, or a connection that a page keeps, in messages.
class PageSocket final {
public:
    struct Answer {
        int status = 0;
        QMap<QByteArray, QByteArray> headers;
        QByteArray body;
        bool isComplete = false;
    };

    explicit PageSocket(quint16 port, const QHostAddress &address = QHostAddress::LocalHost) {
        _host = address.toString().toLatin1() + ':' + QByteArray::number(port);
        _socket.connectToHost(address, port);
    }
    /// Over TLS, to a server of this very certificate. Nothing is sent to another.
    PageSocket(quint16 port, const QSslCertificate &certificate)
        : _scheme("https://") {
        const QHostAddress address = QHostAddress::LocalHost;
        _host = address.toString().toLatin1() + ':' + QByteArray::number(port);
        QSslConfiguration configuration = _socket.sslConfiguration();
        configuration.setCaCertificates({certificate});
        configuration.setAllowedNextProtocols({"h2", "http/1.1"});
        _socket.setSslConfiguration(configuration);
        _socket.connectToHostEncrypted(address.toString(), port);
    }

    [[nodiscard]] QSslSocket &socket() { return _socket; }
    [[nodiscard]] const QByteArray &host() const { return _host; }
    [[nodiscard]] bool isClosed() const {
        return _socket.state() == QAbstractSocket::UnconnectedState;
    }
    void write(const QByteArray &bytes) { _socket.write(bytes); }

    /// The answer to a request, once it is whole or the connection has ended.
    [[nodiscard]] Answer ask(const QByteArray &request) {
        _input.clear();
        write(request);
        Answer answer;
        (void)QTest::qWaitFor([&] {
            _input += _socket.readAll();
            answer = parsed();
            return answer.isComplete || (isClosed() && _socket.bytesAvailable() == 0);
        });
        return answer;
    }
    [[nodiscard]] Answer get(const QByteArray &path, const QByteArray &headers = {}) {
        return ask("GET " + path + " HTTP/1.1\r\nHost: " + _host + "\r\n" + headers + "\r\n");
    }

    [[nodiscard]] QByteArray upgradeRequest(const QByteArray &origin, const QByteArray &host,
                                            const QByteArray &path = "/socket",
                                            const QByteArray &protocol = "clipmule-page-1") const {
        return "GET " + path + " HTTP/1.1\r\nHost: " + host +
               "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: "
               "MDEyMzQ1Njc4OWFiY2RlZg==\r\nSec-WebSocket-Version: 13\r\nOrigin: " +
               origin + "\r\nSec-WebSocket-Protocol: " + protocol + "\r\n\r\n";
    }
    /// True once messages can be exchanged.
    [[nodiscard]] bool upgrade() {
        write(upgradeRequest(_scheme + _host, _host));
        (void)QTest::qWaitFor([&] {
            _input += _socket.readAll();
            return _input.contains("\r\n\r\n") || isClosed();
        });
        const bool isUpgraded = _input.startsWith("HTTP/1.1 101");
        _input.remove(0, _input.indexOf("\r\n\r\n") + 4);
        return isUpgraded;
    }

    /// A frame; a message of several begins with its kind, goes on with 0 and ends with isLast.
    void sendFrame(const QByteArray &bytes, char kind = 2, bool isLast = true) {
        QByteArray frame(1, char((isLast ? 0x80 : 0) | kind));
        const qsizetype size = bytes.size();
        if (size < 126)
            frame += char(0x80 | size);
        else if (size < 65536)
            frame += char(0x80 | 126) + QByteArray(1, char(size >> 8)) + char(size & 0xff);
        else
            frame += char(0x80 | 127) + QByteArray(4, '\0') + char(size >> 24) +
                     QByteArray(1, char(size >> 16)) + char(size >> 8) + char(size & 0xff);
        // A mask of zeros leaves the bytes as they are.
        write(frame + QByteArray(4, '\0') + bytes);
    }
    /// The next binary message; nothing when the connection ends, or says that it will.
    [[nodiscard]] std::optional<QByteArray> receive() {
        std::optional<QByteArray> message;
        (void)QTest::qWaitFor([&] {
            _input += _socket.readAll();
            message = takeFrame();
            return message || (isClosed() && _socket.bytesAvailable() == 0);
        });
        return message;
    }
    [[nodiscard]] bool closes() {
        return QTest::qWaitFor([&] {
            (void)_socket.readAll();
            return isClosed();
        });
    }

private:
    [[nodiscard]] Answer parsed() const {
        Answer answer;
        const qsizetype end = _input.indexOf("\r\n\r\n");
        if (end < 0)
            return answer;
        QList<QByteArray> lines = _input.first(end).split('\n');
        answer.status = lines.takeFirst().mid(9, 3).toInt();
        for (const QByteArray &line : lines) {
            const qsizetype colon = line.indexOf(':');
            answer.headers[line.first(colon).toLower()] = line.sliced(colon + 1).trimmed();
        }
        answer.body = _input.sliced(end + 4);
        answer.isComplete = answer.body.size() >= answer.headers["content-length"].toLongLong();
        return answer;
    }

    std::optional<QByteArray> takeFrame() {
        if (_input.size() < 2)
            return std::nullopt;
        const int kind = _input[0] & 0x0f;
        qsizetype head = 2;
        quint64 size = quint8(_input[1]);
        const auto longSize = [&](int bytes) {
            head += bytes;
            size = 0;
            for (int at = 0; at < bytes && _input.size() >= head; ++at)
                size = size << 8 | quint8(_input[2 + at]);
        };
        if (size == 126)
            longSize(2);
        else if (size == 127)
            longSize(8);
        if (kind == 8 || _input.size() < head || quint64(_input.size() - head) < size)
            return std::nullopt;
        QByteArray payload = _input.mid(head, qsizetype(size));
        _input.remove(0, head + qsizetype(size));
        if (kind != 2)
            return takeFrame();
        return payload;
    }

    QSslSocket _socket;
    QByteArray _scheme = "http://";
    QByteArray _host;
    QByteArray _input;
};

/// A page: a socket, and the sealed channel on it.
class Page final {
public:
    Page(quint16 port, const PageClient::Secrets &secrets)
        : _socket(port)
        , _client(secrets) {}
    Page(quint16 port, const PageClient::Secrets &secrets, const QSslCertificate &certificate)
        : _socket(port, certificate)
        , _client(secrets) {}

    /// False when the program does not answer the hello as it should.
    [[nodiscard]] bool shakeHands() {
        if (!_socket.upgrade())
            return false;
        _socket.sendFrame(_client.hello());
        const auto answer = _socket.receive();
        return answer && _client.takeAnswer(*answer);
    }
    void say(const QJsonObject &message) {
        _socket.sendFrame(
            _client.seal('\0' + QJsonDocument(message).toJson(QJsonDocument::Compact)));
    }
    void sendPiece(quint32 transfer, const QByteArray &bytes) {
        QByteArray plain(5, '\1');
        for (int at = 0; at < 4; ++at)
            plain[1 + at] = char(transfer >> (24 - 8 * at));
        _socket.sendFrame(_client.seal(plain + bytes));
    }
    /// What was sealed, opened; nothing when the connection ends.
    [[nodiscard]] std::optional<QByteArray> next() {
        const auto message = _socket.receive();
        return message ? _client.open(*message) : std::nullopt;
    }
    /// The next message of that name, whatever comes before; empty when none comes.
    [[nodiscard]] QJsonObject hear(const QString &name) {
        while (const auto plain = next()) {
            QJsonObject object = QJsonDocument::fromJson(plain->sliced(1)).object();
            if (plain->startsWith('\0') && object[QStringLiteral("is")].toString() == name)
                return object;
        }
        return {};
    }
    /// The bytes of the transfer that answers the request of that number.
    [[nodiscard]] QByteArray hearData(quint32 request) {
        const QJsonObject head = hear(QStringLiteral("data"));
        if (head[QStringLiteral("for")].toInteger() != request)
            return {};
        QByteArray bytes;
        while (bytes.size() < head[QStringLiteral("size")].toInteger()) {
            const auto plain = next();
            if (!plain)
                return {};
            if (plain->startsWith('\1'))
                bytes += plain->sliced(5);
        }
        return bytes;
    }

    [[nodiscard]] PageSocket &socket() { return _socket; }
    [[nodiscard]] PageClient &client() { return _client; }

private:
    PageSocket _socket;
    PageClient _client;
};

/// Sends a text whole, as the transfer of that number.
inline void sendText(Page &page, int transfer, const QByteArray &text, bool isForOthers = false) {
    page.say({{QStringLiteral("is"), QStringLiteral("send")},
              {QStringLiteral("transfer"), transfer},
              {QStringLiteral("size"), text.size()},
              {QStringLiteral("kind"), QStringLiteral("text")},
              {QStringLiteral("relay"), isForOthers}});
    page.sendPiece(quint32(transfer), text);
}

/// What a page that was paired comes back with.
[[nodiscard]] inline PageClient::Secrets resuming(const std::unique_ptr<Page> &page) {
    return {.kind = 'R', .id = page->client().browserId(), .key = page->client().browserKey()};
}

} // namespace clipmule::web_test
