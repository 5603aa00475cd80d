// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/pasteboard/clients/ClientProcess.h"

#include "tests/kit/Await.h"

namespace clipmule::kit {

ClientProcess::ClientProcess(const QString &toolkit, const QString &display) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!display.isEmpty())
        environment.insert(QStringLiteral("DISPLAY"), display);
    // Accessibility would look for a bus and say so.
    environment.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    _process.setProcessEnvironment(environment);
    _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QObject::connect(&_process, &QProcess::readyReadStandardOutput, &_process,
                     [this] { readLines(); });
    if (toolkit == u"gtk")
        _process.start(QStringLiteral("/usr/bin/python3"),
                       {QStringLiteral(CLIPMULE_CLIENTS "/gtk_client.py")});
    else
        _process.start(QStringLiteral(CLIPMULE_QT_CLIENT), {});
}

ClientProcess::~ClientProcess() {
    _process.closeWriteChannel();
    if (!_process.waitForFinished(5000)) {
        _process.kill();
        _process.waitForFinished();
    }
}

bool ClientProcess::isReady() {
    return await([this] { return _isReady; });
}

QString ClientProcess::ask(const QString &command) {
    _answer.clear();
    _isAsking = true;
    _expected = command == u"read-text"      ? QStringLiteral("text ")
                : command == u"read-targets" ? QStringLiteral("targets")
                                             : QStringLiteral("done");
    _process.write(command.toUtf8() + '\n');
    if (!await([this] { return !_answer.isEmpty(); }))
        qWarning("the client does not answer");
    _isAsking = false;
    return _answer;
}

bool ClientProcess::shows(const QString &text) {
    return await([&] { return _text == text; });
}

void ClientProcess::readLines() {
    while (_process.canReadLine()) {
        const QString line = QString::fromUtf8(_process.readLine()).chopped(1);
        if (line == u"ready")
            _isReady = true;
        else if (_isAsking && (line.startsWith(_expected) || line == u"nothing"))
            _answer = line;
        if (line.startsWith(u"text "))
            _text = QString::fromUtf8(QByteArray::fromHex(line.mid(5).toLatin1()));
    }
}

} // namespace clipmule::kit
