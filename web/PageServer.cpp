// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageServer.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/FileHandle.h"
#include "platform/streams/LocalRequest.h"

#include <QAbstractEventDispatcher>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QTcpServer>

#include <algorithm>
#include <array>

// In GLib's headers, and a word of Qt's.
#undef signals
#include <glib.h>
#include <libwebsockets.h>

namespace clipmule {

namespace {

Q_LOGGING_CATEGORY(logWeb, "clipmule.web")

constexpr const char *pageProtocol = "clipmule-page-1";
// A closing message that a peer does not take holds a connection no longer than this, in seconds.
constexpr int closingTime = 5;
// In bytes, of a certificate with those that it follows from, and of a key: some kilobytes.
constexpr qint64 largestPem = 1024 * 1024;

struct Header {
    const char *name;
    const char *value;
};

constexpr std::array securityHeaders{
    Header{
        "content-security-policy:",
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
        "connect-src 'self' blob: data:; worker-src 'self'; manifest-src 'self'; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; "
        "trusted-types clipmule-page"},
    Header{"x-content-type-options:", "nosniff"},
    Header{"referrer-policy:", "no-referrer"},
    Header{"cross-origin-resource-policy:", "same-origin"},
    // A photo is taken by the phone's own program, which asks for itself.
    Header{"permissions-policy:", "camera=(), display-capture=(), geolocation=(), microphone=()"},
    Header{"cache-control:", "no-cache"},
};

QByteArray header(lws *socket, lws_token_indexes token) {
    const int length = lws_hdr_total_length(socket, token);
    if (length <= 0)
        return {};
    QByteArray value(length + 1, '\0');
    return lws_hdr_copy(socket, value.data(), int(value.size()), token) == length
               ? value.first(length)
               : QByteArray();
}

bool isWaitingForPeer(lws *socket) {
    return lws_send_pipe_choked(socket) != 0;
}

// The library does not say which file is in the way, or how.
Result<void> checkPem(const QString &path) {
    const auto bytes = RegularFile::read(path, largestPem, RegularFile::Links::Follow);
    if (!bytes)
        return failure(QStringLiteral("%1: %2").arg(path, bytes.error().reason));
    if (!*bytes)
        return failure(QStringLiteral("%1: there is no such file").arg(path));
    return {};
}

// It is served all the same: a page that asks for a click more is better than none.
void warnOfExpiry(const QString &path, const QDateTime &expiry) {
    if (expiry <= Date::now().toDateTime())
        qCWarning(logWeb).noquote()
            << QStringLiteral("%1 expired on %2; browsers will warn of the page")
                   .arg(path, expiry.toUTC().toString(Qt::ISODate));
}

// As a link can have it; anything else is for no computer.
bool isHostName(const QString &name) {
    static const QRegularExpression form(
        QStringLiteral("\\A[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)*\\z"));
    return name.size() <= 253 && form.match(name).hasMatch();
}

// Why it does not listen.
QString failureOf(const QTcpServer &listener, const QHostAddress &address, quint16 port) {
    if (listener.serverError() == QAbstractSocket::AddressInUseError)
        return QStringLiteral("port %1 of %2: %3")
            .arg(QString::number(port), address.toString(),
                 QLatin1String(LocalRequest::portIsTaken));
    return QStringLiteral("%1: %2").arg(address.toString(), listener.errorString());
}

QHostAddress peerOf(qintptr descriptor) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    if (::getpeername(int(descriptor), reinterpret_cast<sockaddr *>(&peer), &size) != 0)
        return {};
    QHostAddress address(reinterpret_cast<const sockaddr *>(&peer));
    address.setScopeId({});
    return address;
}

} // namespace

struct PageServer::Listener final : public QTcpServer {
    Listener(PageServer &server, const OwnNetwork &served)
        : owner(server)
        , network(served) {}

    void incomingConnection(qintptr descriptor) override { owner.accept(descriptor, network); }

    PageServer &owner;
    OwnNetwork network;
};

struct PageServer::Connection {
    QHostAddress peer;
    QHostAddress local;
    // A request that is being answered.
    QByteArray body = {};
    // A page's own connection.
    std::unique_ptr<PageTab> tab = {};
    QByteArray message = {};
    RunLoop::Timer deadline = {};
};

struct PageServerCallbacks {
    static int call(lws *socket, lws_callback_reasons reason, void *, void *in, size_t length) {
        const auto server = [socket] {
            return static_cast<PageServer *>(lws_context_user(lws_get_context(socket)));
        };
        const QByteArrayView bytes(static_cast<const char *>(in), qsizetype(length));
        switch (reason) {
        case LWS_CALLBACK_HTTP:
            return server()->answer(socket, QByteArray(static_cast<const char *>(in)));
        case LWS_CALLBACK_HTTP_WRITEABLE:
            return server()->writeBody(socket);
        case LWS_CALLBACK_HTTP_BODY:
        case LWS_CALLBACK_HTTP_BODY_COMPLETION:
            return -1;
        case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION:
            return server()->isOurPage(socket) ? 0 : -1;
        case LWS_CALLBACK_ESTABLISHED:
            server()->open(socket);
            return 0;
        case LWS_CALLBACK_RECEIVE:
            return server()->receive(socket, bytes);
        case LWS_CALLBACK_SERVER_WRITEABLE:
            return server()->write(socket);
        case LWS_CALLBACK_CLOSED:
            if (auto *const connection = server()->connection(socket))
                connection->tab.reset();
            return 0;
        case LWS_CALLBACK_WSI_DESTROY:
            server()->_connections.erase(socket);
            return 0;
        default:
            return 0;
        }
    }

    static void log(int, const char *line) { qDebug("%s", QByteArray(line).trimmed().constData()); }

    // The first one is taken where a browser names none, and serves files alone.
    static inline const std::array<lws_protocols, 3> protocols{
        lws_protocols{"files", call, 0, 0, 0, nullptr, 0},
        lws_protocols{pageProtocol, call, 0, size_t(PageChannel::largest), 0, nullptr, 0},
        lws_protocols{nullptr, nullptr, 0, 0, 0, nullptr, 0},
    };
};

PageServer::PageServer(PageTab::Host &host, const PageFiles &files, Options options)
    : _host(host)
    , _files(files)
    , _options(std::move(options))
    , _writeBuffer(LWS_PRE + PageChannel::largest, '\0') {}

void PageServer::LoopEnd::operator()(_GMainLoop *loop) const {
    g_main_loop_unref(loop);
}

PageServer::~PageServer() {
    _listeners.clear();
    if (_context)
        lws_context_destroy(_context);
}

Result<void> PageServer::start() {
    // The library's way into Qt's loop is through GLib's.
    const auto *const dispatcher = QAbstractEventDispatcher::instance();
    if (!dispatcher || !dispatcher->inherits("QEventDispatcherGlib"))
        return failure(QStringLiteral("Qt does not run on GLib's event loop; is QT_NO_GLIB set?"));
    lws_set_log_level(LLL_ERR | LLL_WARN, PageServerCallbacks::log);
    static const lws_retry_bo_t keepAlive{.secs_since_valid_ping = askAfter,
                                          .secs_since_valid_hangup = giveUpAfter};
    lws_context_creation_info info{};
    // It stands for the context that Qt runs, and is never run itself. The library goes on using
    // it.
    _loop.reset(g_main_loop_new(nullptr, FALSE));
    void *loops[] = {_loop.get()};
    info.foreign_loops = loops;
    info.options = LWS_SERVER_OPTION_GLIB;
    info.port = CONTEXT_PORT_NO_LISTEN_SERVER;
    info.protocols = PageServerCallbacks::protocols.data();
    info.user = this;
    info.server_string = "clipmule";
    info.max_http_header_data = largestHead;
    info.timeout_secs = patience;
    info.keepalive_timeout = int(patience);
    info.retry_and_idle_policy = &keepAlive;
    info.pt_serv_buf_size = unsigned(PageChannel::largest) + LWS_PRE;
    const QByteArray certificate = _options.certificate.toLocal8Bit();
    const QByteArray key = _options.key.toLocal8Bit();
    if (isSecure()) {
        for (const QString &path : {_options.certificate, _options.key}) {
            if (auto checked = checkPem(path); !checked)
                return checked;
        }
        info.options |= LWS_SERVER_OPTION_DO_SSL_GLOBAL_INIT;
        info.ssl_cert_filepath = certificate.constData();
        info.ssl_private_key_filepath = key.constData();
        // What comes over HTTP/2 has no Host header to check.
        info.alpn = "http/1.1";
    }
    _context = lws_create_context(&info);
    if (!_context)
        return failure(isSecure() ? QStringLiteral("%1 and %2 are not a certificate and its key")
                                        .arg(_options.certificate, _options.key)
                                  : QStringLiteral("the web server cannot be started; is "
                                                   "libwebsockets-evlib-glib installed?"));
    if (isSecure())
        readCertificate();
    return {};
}

// No authority vouches for the address of a computer at home, but some do for a name of it.
void PageServer::readCertificate() {
    const QSslCertificate certificate = QSslCertificate::fromPath(_options.certificate).value(0);
    warnOfExpiry(_options.certificate, certificate.expiryDate());
    const auto given = certificate.subjectAlternativeNames();
    for (const QString &address : given.values(QSsl::IpAddressEntry))
        _certifiedAddresses.append(QHostAddress(address));
    // The map has the last one first.
    QStringList names = given.values(QSsl::DnsEntry);
    std::reverse(names.begin(), names.end());
    const QString own = _options.names.value(0).section(u'.', 0, 0);
    for (QString &name : names) {
        if (name.startsWith(QStringLiteral("*.")))
            name.replace(0, 1, own);
        if (isHostName(name))
            _certifiedNames.append(name.toLower());
    }
    _options.names += _certifiedNames;
}

Result<void> PageServer::listenOn(const QList<OwnNetwork> &networks) {
    std::vector<std::unique_ptr<Listener>> kept;
    QStringList failed;
    const quint16 port = _listeners.empty() ? _options.port : this->port();
    for (const OwnNetwork &network : networks) {
        const auto same = std::find_if(_listeners.begin(), _listeners.end(), [&](const auto &one) {
            return one && one->network == network;
        });
        if (same != _listeners.end()) {
            kept.push_back(std::move(*same));
            continue;
        }
        auto listener = std::make_unique<Listener>(*this, network);
        const quint16 wanted = port != 0 || kept.empty() ? port : kept.front()->serverPort();
        if (listener->listen(network.address, wanted))
            kept.push_back(std::move(listener));
        else
            failed += failureOf(*listener, network.address, wanted);
    }
    _listeners = std::move(kept);
    const QList<QHostAddress> served = addresses();
    for (const auto &[socket, connection] : _connections) {
        if (!served.contains(connection.local))
            close(socket);
    }
    if (!failed.isEmpty())
        return failure(failed.join(QStringLiteral("; ")));
    return {};
}

quint16 PageServer::port() const {
    return _listeners.empty() ? quint16(0) : _listeners.front()->serverPort();
}

QList<QHostAddress> PageServer::addresses() const {
    QList<QHostAddress> addresses;
    for (const auto &listener : _listeners)
        addresses.append(listener->network.address);
    return addresses;
}

QString PageServer::origin(const QHostAddress &address) const {
    const bool isIPv6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    return (isSecure() ? QStringLiteral("https://") : QStringLiteral("http://")) +
           (isIPv6 ? u'[' + address.toString() + u']' : address.toString()) + portOfOrigin();
}

QString PageServer::originOfLink(const QHostAddress &address) const {
    return _certifiedNames.isEmpty() || _certifiedAddresses.contains(address)
               ? origin(address)
               : QStringLiteral("https://") + _certifiedNames[0] + portOfOrigin();
}

QString PageServer::portOfOrigin() const {
    return port() == (isSecure() ? 443 : 80) ? QString() : u':' + QString::number(port());
}

bool PageServer::hasRoomFor(const QHostAddress &peer) const {
    int ofPeer = 0;
    int unproved = 0;
    for (const auto &[socket, connection] : _connections) {
        if (connection.peer != peer)
            continue;
        ++ofPeer;
        if (!connection.tab || !connection.tab->connection().channel().isProved())
            ++unproved;
    }
    return _connections.size() < mostConnections && ofPeer < mostOfOnePeer &&
           unproved < mostUnprovedOfOnePeer;
}

void PageServer::accept(qintptr descriptor, const OwnNetwork &network) {
    const QHostAddress peer = peerOf(descriptor);
    if (!network.holds(peer) || !hasRoomFor(peer)) {
        ::close(int(descriptor));
        return;
    }
    lws *const socket =
        lws_adopt_socket_vhost(lws_get_vhost_by_name(_context, "default"), int(descriptor));
    if (!socket)
        return;
    Connection &made =
        _connections.emplace(socket, Connection{peer, network.address}).first->second;
    made.deadline =
        RunLoop::current().performAfter(longestFetching, [this, socket] { close(socket); });
}

PageServer::Connection *PageServer::connection(lws *socket) {
    const auto found = _connections.find(socket);
    return found == _connections.end() ? nullptr : &found->second;
}

// On a later turn of the loop, for it may be called from inside the library.
void PageServer::close(lws *socket, int seconds) {
    lws_set_timeout(socket, PENDING_TIMEOUT_USER_REASON_BASE,
                    seconds == 0 ? LWS_TO_KILL_ASYNC : seconds);
    // It looks at its timers when it has served something, and would wait for that.
    lws_cancel_service(_context);
}

bool PageServer::isOurHost(const QByteArray &host) const {
    const auto is = [&](const QString &origin) { return origin.toUtf8().endsWith("://" + host); };
    const QList<QHostAddress> served = addresses();
    const QByteArray lower = host.toLower();
    return !host.isEmpty() &&
           (std::any_of(served.begin(), served.end(),
                        [&](const QHostAddress &address) { return is(origin(address)); }) ||
            std::any_of(_options.names.begin(), _options.names.end(), [&](const QString &name) {
                return lower == (name.toLower() + portOfOrigin()).toUtf8();
            }));
}

int PageServer::answer(lws *socket, const QByteArray &path) {
    Connection *const connected = connection(socket);
    const bool isGet = lws_hdr_total_length(socket, WSI_TOKEN_GET_URI) > 0;
    const bool isHead = lws_hdr_total_length(socket, WSI_TOKEN_HEAD_URI) > 0;
    if (!connected || !isOurHost(header(socket, WSI_TOKEN_HOST)))
        return answerEmpty(socket, 421);
    if (!isGet && !isHead)
        return answerEmpty(socket, 405);
    const PageFiles::File *const file = _files.find(path);
    if (!file)
        return answerEmpty(socket, 404);
    const bool isZipped =
        !file->zipped.isEmpty() && header(socket, WSI_TOKEN_HTTP_ACCEPT_ENCODING).contains("gzip");
    const QByteArray &tag = isZipped ? file->zippedTag : file->plainTag;
    const bool isKnown = header(socket, WSI_TOKEN_HTTP_IF_NONE_MATCH).contains(tag);
    if (writeHead(socket, isKnown ? 304 : 200, file, isZipped) != 0)
        return -1;
    if (path == "/" && connected->peer != connected->local)
        callCopyOf(onPageFetched);
    if (isKnown || isHead)
        return lws_http_transaction_completed(socket) != 0 ? -1 : 0;
    connected->body = isZipped ? file->zipped : file->plain;
    lws_callback_on_writable(socket);
    return 0;
}

int PageServer::answerEmpty(lws *socket, unsigned status) {
    if (writeHead(socket, status, nullptr, false) != 0)
        return -1;
    // A body that comes with it is not read.
    if (status == 405)
        return -1;
    return lws_http_transaction_completed(socket) != 0 ? -1 : 0;
}

int PageServer::writeHead(lws *socket, unsigned status, const PageFiles::File *file,
                          bool isZipped) {
    std::array<unsigned char, LWS_PRE + 2048> buffer;
    unsigned char *const start = buffer.data() + LWS_PRE;
    unsigned char *at = start;
    unsigned char *const end = buffer.data() + buffer.size();
    const auto add = [&](const char *name, const QByteArray &value) {
        return lws_add_http_header_by_name(socket, reinterpret_cast<const unsigned char *>(name),
                                           reinterpret_cast<const unsigned char *>(value.data()),
                                           int(value.size()), &at, end) == 0;
    };
    bool isWritten = lws_add_http_header_status(socket, status, &at, end) == 0;
    for (const Header &one : securityHeaders)
        isWritten = isWritten && add(one.name, one.value);
    // Over plain HTTP browsers ignore it, and complain.
    if (isSecure())
        isWritten = isWritten && add("cross-origin-opener-policy:", "same-origin");
    const bool hasBody = file && status == 200;
    if (file)
        isWritten = isWritten && add("etag:", isZipped ? file->zippedTag : file->plainTag) &&
                    add("vary:", "accept-encoding");
    if (hasBody)
        isWritten = isWritten && add("content-type:", file->type) &&
                    (!isZipped || add("content-encoding:", "gzip"));
    const qsizetype length =
        hasBody ? (isZipped ? file->zipped.size() : file->plain.size()) : qsizetype(0);
    isWritten = isWritten &&
                lws_add_http_header_content_length(socket, lws_filepos_t(length), &at, end) == 0;
    return isWritten ? lws_finalize_write_http_header(socket, start, &at, end) : -1;
}

int PageServer::writeBody(lws *socket) {
    Connection *const connected = connection(socket);
    if (!connected || connected->body.isNull())
        return 0;
    const QByteArray body = std::exchange(connected->body, {});
    QByteArray buffer(LWS_PRE, '\0');
    buffer += body;
    const int written =
        lws_write(socket, reinterpret_cast<unsigned char *>(buffer.data()) + LWS_PRE,
                  size_t(body.size()), LWS_WRITE_HTTP_FINAL);
    if (written < int(body.size()))
        return -1;
    return lws_http_transaction_completed(socket) != 0 ? -1 : 0;
}

// A page of another origin cannot leave out where it comes from, and a browser that was led here
// by another name says so.
bool PageServer::isOurPage(lws *socket) const {
    const QByteArray host = header(socket, WSI_TOKEN_HOST);
    const QByteArray scheme = isSecure() ? "https://" : "http://";
    return lws_get_protocol(socket)->name == QByteArrayView(pageProtocol) && isOurHost(host) &&
           header(socket, WSI_TOKEN_ORIGIN) == scheme + host &&
           header(socket, WSI_TOKEN_GET_URI) == "/socket";
}

void PageServer::open(lws *socket) {
    Connection *const connected = connection(socket);
    if (!connected)
        return close(socket);
    connected->deadline.cancel();
    connected->tab = std::make_unique<PageTab>(_host);
    PageConnection &page = connected->tab->connection();
    page.onWrite = [this, socket, &page] {
        lws_callback_on_writable(socket);
        // A page that does not read what is left for it ends all the same.
        if (page.isOver())
            close(socket, closingTime);
    };
}

int PageServer::receive(lws *socket, QByteArrayView bytes) {
    Connection *const connected = connection(socket);
    if (!connected || !connected->tab || lws_frame_is_binary(socket) == 0)
        return -1;
    PageConnection &page = connected->tab->connection();
    const qsizetype limit =
        page.channel().isProved() ? PageChannel::largest : PageChannel::largestUnproved;
    if (connected->message.size() + bytes.size() > limit)
        return -1;
    connected->message.append(bytes);
    if (lws_is_final_fragment(socket) == 0 || lws_remaining_packet_payload(socket) != 0)
        return 0;
    const QByteArray message = std::exchange(connected->message, {});
    page.receive(message);
    return 0;
}

int PageServer::write(lws *socket) {
    Connection *const connected = connection(socket);
    if (!connected || !connected->tab)
        return -1;
    PageConnection &page = connected->tab->connection();
    // Until the system has enough; the rest is sealed when there is room again.
    while (const auto message = page.next()) {
        char *const start = _writeBuffer.data() + LWS_PRE;
        std::copy(message->begin(), message->end(), start);
        if (lws_write(socket, reinterpret_cast<unsigned char *>(start), size_t(message->size()),
                      LWS_WRITE_BINARY) < int(message->size()))
            return -1;
        if (isWaitingForPeer(socket))
            break;
    }
    if (page.hasNext())
        lws_callback_on_writable(socket);
    else if (page.isOver())
        return -1;
    return 0;
}

} // namespace clipmule
