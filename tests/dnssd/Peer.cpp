// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/dnssd/Peer.h"

#include "platform/foundation/QtRunLoop.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTcpServer>

#include <cstdio>
#include <unistd.h>

namespace clipmule::kit {

namespace {

void say(const QByteArray &line) {
    std::puts(line.constData());
    std::fflush(stdout);
}

} // namespace

Peer::Peer(const QString &backendKind) {
    _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    _process.start(QStringLiteral("on"),
                   {QStringLiteral("b"), QCoreApplication::applicationFilePath(),
                    QStringLiteral("--peer"), backendKind});
}

Peer::~Peer() {
    // It ends with its input, after its goodbyes.
    _process.closeWriteChannel();
    if (!_process.waitForFinished() || _process.exitStatus() != QProcess::NormalExit ||
        _process.exitCode() != 0)
        qWarning("the peer did not end well");
}

void Peer::order(const QByteArrayList &words) {
    QByteArrayList encoded;
    for (const QByteArray &word : words)
        encoded += word.toHex();
    _lastLine.clear();
    _process.write(encoded.join(' ') + '\n');
}

void Peer::publish(const ServiceName &service, quint16 port, const QByteArray &txtRecord) {
    order({"publish", service.name.toUtf8(), service.type.toUtf8(), QByteArray::number(port),
           txtRecord});
}

void Peer::setTxtRecord(const QByteArray &txtRecord) {
    order({"txt", txtRecord});
}

void Peer::withdraw() {
    order({"withdraw"});
}

void Peer::listen(const QString &family) {
    order({"listen", family.toUtf8()});
}

QByteArray Peer::lastLine() {
    while (_process.canReadLine())
        _lastLine = _process.readLine().trimmed();
    return _lastLine;
}

int runPeer(const std::function<std::unique_ptr<Backend>()> &makeBackend) {
    QtRunLoop loop;
    const RunLoop::Installation installation(loop);
    QTcpServer server;
    const auto backend = makeBackend();
    const auto publisher = backend->makePublisher();
    publisher->onPublished = [](const QString &name) { say("published " + name.toUtf8()); };
    publisher->onError = [](const QString &reason) { say("failed " + reason.toUtf8()); };
    QObject::connect(&server, &QTcpServer::newConnection, &server, [] { say("accepted"); });

    const auto obey = [&](const QByteArrayList &words) {
        if (words[0] == "publish" && words.size() == 5)
            publisher->start(
                {QString::fromUtf8(words[1]), QString::fromUtf8(words[2]), QStringLiteral("local")},
                quint16(words[3].toUInt()), words[4]);
        else if (words[0] == "txt" && words.size() == 2)
            publisher->setTxtRecord(words[1]);
        else if (words[0] == "withdraw")
            publisher->stop();
        else if (words[0] == "listen" && words.size() == 2) {
            server.listen(words[1] == "ipv4" ? QHostAddress::AnyIPv4 : QHostAddress::AnyIPv6);
            say("listening " + QByteArray::number(server.serverPort()));
        }
    };
    QByteArray input;
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [&] {
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            notifier.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        input.append(buffer, count);
        for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            QByteArrayList words;
            for (const QByteArray &word : input.first(end).split(' '))
                words += QByteArray::fromHex(word);
            input.remove(0, end + 1);
            obey(words);
        }
    });
    return QCoreApplication::exec();
}

} // namespace clipmule::kit
