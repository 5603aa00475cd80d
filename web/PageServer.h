// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"
#include "platform/foundation/RunLoop.h"
#include "web/OwnNetworks.h"
#include "web/PageFiles.h"
#include "web/PageTab.h"

#include <memory>
#include <unordered_map>
#include <vector>

struct _GMainLoop;
struct lws;
struct lws_context;
class QTcpServer;

namespace clipmule {

/// Serves the page, and the connection that each page keeps, on one TCP port, in Qt's event loop.
///
/// It listens on addresses of networks that the computer is directly connected to, and takes
/// connections from devices of these alone. Whoever asks for it by another name, or from another
/// page, gets nothing.
class PageServer final {
public:
    /// At once, of all kinds.
    static constexpr int mostConnections = 32;
    /// Of one address, which two phones may share, behind a router or a computer that passes them
    /// on: four pages each, and for both together what follows. The rest is for other devices.
    static constexpr int mostOfOnePeer = 20;
    /// Of these, connections that are no paired browser's page: a browser opens six for the files.
    static constexpr int mostUnprovedOfOnePeer = 12;
    /// Bytes of the head of a request. Browsers send some 700.
    static constexpr unsigned short largestHead = 4096;
    /// How long a half request, and a connection without one, is waited for, in seconds.
    static constexpr unsigned patience = 10;
    /// How long a connection may be there that has not become a page's own, whatever it does.
    static constexpr RunLoop::Seconds longestFetching{60.0};
    /// A page that is silent for so long, in seconds, is asked whether it is there, and given up
    /// after the second time.
    static constexpr quint16 askAfter = 150;
    static constexpr quint16 giveUpAfter = 200;

    struct Options {
        quint16 port = 0;
        /// PEM files for HTTPS, read at the start; both empty for plain HTTP.
        QString certificate = {};
        QString key = {};
        /// Names that the computer is asked for by as well, beside its addresses and the names of
        /// the certificate; its own name is the first.
        QStringList names = {};
    };

    PageServer(PageTab::Host &host, const PageFiles &files, Options options);
    ~PageServer();
    Q_DISABLE_COPY_MOVE(PageServer)

    /// Another device than this computer fetched the page.
    std::function<void()> onPageFetched;

    /// Gets ready to serve; a failure says what is missing. Call it once.
    [[nodiscard]] Result<void> start();
    /// Listens on these from now on, and no more on others, whose connections end. The failure
    /// names the addresses that it cannot listen on; it listens on the rest.
    [[nodiscard]] Result<void> listenOn(const QList<OwnNetwork> &networks);

    [[nodiscard]] bool isSecure() const { return !_options.certificate.isEmpty(); }
    /// The port that it listens on, also where the system chose it; 0 when it does not listen.
    [[nodiscard]] quint16 port() const;
    /// The addresses of listenOn() that it does listen on, in that order.
    [[nodiscard]] QList<QHostAddress> addresses() const;
    /// "http://192.168.1.2:8080"; without a port where that is the usual one, as browsers say it.
    [[nodiscard]] QString origin(const QHostAddress &address) const;
    /// The same for a link: by a name where the certificate is for names and not for the address.
    [[nodiscard]] QString originOfLink(const QHostAddress &address) const;
    [[nodiscard]] qsizetype connections() const { return qsizetype(_connections.size()); }

private:
    struct Listener;
    struct Connection;
    friend struct PageServerCallbacks;

    void accept(qintptr descriptor, const OwnNetwork &network);
    void readCertificate();
    [[nodiscard]] QString portOfOrigin() const;
    [[nodiscard]] bool hasRoomFor(const QHostAddress &peer) const;
    [[nodiscard]] Connection *connection(lws *socket);
    // After so many seconds.
    void close(lws *socket, int seconds = 0);
    [[nodiscard]] bool isOurHost(const QByteArray &host) const;
    [[nodiscard]] int answer(lws *socket, const QByteArray &path);
    [[nodiscard]] int answerEmpty(lws *socket, unsigned status);
    [[nodiscard]] int writeHead(lws *socket, unsigned status, const PageFiles::File *file,
                                bool isZipped);
    [[nodiscard]] int writeBody(lws *socket);
    [[nodiscard]] bool isOurPage(lws *socket) const;
    void open(lws *socket);
    [[nodiscard]] int receive(lws *socket, QByteArrayView bytes);
    [[nodiscard]] int write(lws *socket);

    PageTab::Host &_host;
    const PageFiles &_files;
    Options _options;
    // What the certificate is for.
    QStringList _certifiedNames;
    QList<QHostAddress> _certifiedAddresses;
    struct LoopEnd {
        void operator()(_GMainLoop *loop) const;
    };
    std::unique_ptr<_GMainLoop, LoopEnd> _loop;
    lws_context *_context = nullptr;
    std::vector<std::unique_ptr<Listener>> _listeners;
    std::unordered_map<lws *, Connection> _connections;
    QByteArray _writeBuffer;
};

} // namespace clipmule
