// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/services/PrivateBus.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <sys/prctl.h>

namespace clipmule::kit {

std::unique_ptr<QProcess> startProgram(const QString &program, const QStringList &arguments,
                                       const QProcessEnvironment &environment) {
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->start(program, arguments);
    if (!process->waitForStarted(patience))
        return nullptr;
    return process;
}

void endProgram(std::unique_ptr<QProcess> &program) {
    if (!program)
        return;
    program->terminate();
    if (!program->waitForFinished(patience)) {
        program->kill();
        program->waitForFinished(patience);
    }
    program.reset();
}

PrivateBus::PrivateBus() {
    QFile configuration(_folder.filePath(QStringLiteral("bus.conf")));
    if (!configuration.open(QIODevice::WriteOnly))
        return;
    configuration.write("<!DOCTYPE busconfig PUBLIC "
                        "\"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                        "<busconfig>\n<listen>");
    configuration.write(address().toUtf8());
    configuration.write("</listen>\n<auth>EXTERNAL</auth>\n"
                        "<policy context=\"default\">\n"
                        "<allow user=\"*\"/>\n<allow own=\"*\"/>\n<allow send_type=\"*\"/>\n"
                        "<allow receive_type=\"*\"/>\n</policy>\n</busconfig>\n");
}

PrivateBus &PrivateBus::running() {
    static PrivateBus *const bus = [] {
        qAddPostRoutine([] { delete &running(); });
        return new PrivateBus;
    }();
    if (!bus->isRunning() && !bus->start())
        qFatal("the bus does not start");
    return *bus;
}

PrivateBus::~PrivateBus() {
    stop();
}

bool PrivateBus::start() {
    stop();
    _daemon = startProgram(
        QStringLiteral("dbus-daemon"),
        {QStringLiteral("--nofork"), QStringLiteral("--print-address=1"),
         QStringLiteral("--config-file=") + _folder.filePath(QStringLiteral("bus.conf"))});
    // It prints its address when it listens.
    return _daemon && _daemon->waitForReadyRead(patience);
}

void PrivateBus::stop() {
    endProgram(_daemon);
}

QString PrivateBus::address() const {
    return QStringLiteral("unix:path=") + _folder.filePath(QStringLiteral("bus"));
}

} // namespace clipmule::kit
