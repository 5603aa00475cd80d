// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/streams/LocalSockets.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/Await.h"
#include "tests/web/PageSocket.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/socket.h>

namespace clipmule::web_test {

/// The real program, with folders of its own, as a user starts it.
class WebProcess final {
public:
    WebProcess() {
        QDir(_home.path()).mkpath(QStringLiteral("config/clipmule-sync"));
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), _home.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_STATE_HOME"), path(QStringLiteral("state")));
        // Of the temporary folder alone it is sure that nobody else can write to it.
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), _home.path());
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:"));
        _process.setProcessEnvironment(environment);
    }
    ~WebProcess() { kill(); }
    Q_DISABLE_COPY_MOVE(WebProcess)

    [[nodiscard]] QString path(const QString &name) const { return _home.filePath(name); }
    [[nodiscard]] QProcess &process() { return _process; }

    /// True when it serves.
    [[nodiscard]] bool start(const QStringList &options = {}) {
        _output.clear();
        _complaint.clear();
        _process.start(QStringLiteral(CLIPMULE_BIN "/clipmule-web"),
                       QStringList{QStringLiteral("--address"), QStringLiteral("127.0.0.1"),
                                   QStringLiteral("--port"), QStringLiteral("0")} +
                           options);
        return kit::await([&] {
                   _output += _process.readAllStandardOutput();
                   return link().endsWith(u'\n') || _process.state() == QProcess::NotRunning;
               }) &&
               _process.state() == QProcess::Running;
    }
    /// What it has said of what went wrong.
    [[nodiscard]] QByteArray complaint() {
        _complaint += _process.readAllStandardError();
        return _complaint;
    }
    /// Without a chance to do anything more.
    void kill() {
        _process.kill();
        _process.waitForFinished();
    }

    [[nodiscard]] bool isSecure() const { return link().startsWith(QStringLiteral("https://")); }
    /// "desk:24736": where the printed link leads.
    [[nodiscard]] QString place() const { return link().section(u'/', 2, 2); }
    [[nodiscard]] quint16 port() const { return place().section(u':', 1).toUShort(); }
    [[nodiscard]] PageClient::Secrets code() const {
        return PageClient::withCode(QByteArray::fromBase64(
            link().section(u'#', 1).trimmed().toLatin1(), QByteArray::Base64UrlEncoding));
    }

    /// Connects as the desk does to the only browser's phone; no streams when there is none.
    [[nodiscard]] StreamPair connectDesk() const {
        const auto folder = LocalFolder::open(_home.path().toLocal8Bit());
        if (!folder)
            return {};
        for (const QByteArray &name : (*folder)->names("port-")) {
            auto [answer, socket] = (*folder)->connect(name, SOCK_STREAM);
            if (answer == LocalFolder::Answer::Connected)
                return streamPairOwning(std::move(socket));
        }
        return {};
    }

private:
    // With its line end once the line is whole.
    [[nodiscard]] QString link() const {
        const qsizetype begin = _output.indexOf("http");
        return begin < 0 ? QString() : QString::fromLatin1(_output.sliced(begin));
    }

    QTemporaryDir _home;
    QProcess _process;
    QByteArray _output;
    QByteArray _complaint;
};

} // namespace clipmule::web_test
