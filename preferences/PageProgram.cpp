// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PageProgram.h"

#include "platform/foundation/Callbacks.h"
#include "platform/foundation/FileHandle.h"
#include "platform/foundation/LocalNames.h"
#include "preferences/PanelTexts.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace clipmule {

namespace {

const QString programName = QStringLiteral("clipmule-web");
const QString unit = QStringLiteral("clipmule-web.service");

} // namespace

PageProgram::PageProgram(QString program, UserServices &services, AutostartEntry atLogin)
    : _program(std::move(program))
    , _services(services)
    , _entry(std::move(atLogin)) {}

QString PageProgram::standardProgram() {
    const QFileInfo sibling(QCoreApplication::applicationDirPath() + u'/' + programName);
    return sibling.isExecutable() ? sibling.absoluteFilePath() : programName;
}

AutostartEntry PageProgram::standardEntry() {
    return AutostartEntry::standard({standardProgram(),
                                     QStringLiteral("com.zendrik.ClipmuleSync.Page.desktop"),
                                     QStringLiteral("Clipmule Sync Page"),
                                     QStringLiteral("Serves a page for phones without the app")});
}

bool PageProgram::isInstalled() const {
    return !QStandardPaths::findExecutable(_program).isEmpty();
}

void PageProgram::startUnit(std::function<void(bool)> answer) {
    _services.start(unit, std::move(answer));
}

bool PageProgram::startItself() {
    _complaints = std::make_unique<QTemporaryFile>();
    // It opens only when its file can be made; without one there is nothing to read.
    const bool hasFile = _complaints->open();
    QProcess process;
    process.setProgram(_program);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(hasFile ? _complaints->fileName() : QProcess::nullDevice());
    return process.startDetached(&_process);
}

bool PageProgram::itselfHasEnded() const {
    // It is nobody's child here: where the system is slow to bury it, it stays as a zombie.
    QFile status(QStringLiteral("/proc/%1/stat").arg(_process));
    return !status.open(QIODevice::ReadOnly) || status.readAll().contains(") Z ");
}

QString PageProgram::complaint() {
    if (!_complaints)
        return {};
    const auto said = RegularFile::read(_complaints->fileName(), longestComplaint);
    if (!said || !*said)
        return {};
    QString line = QString::fromUtf8((*said)->trimmed().split('\n').constLast());
    const QString beginning = programName + QStringLiteral(": ");
    if (line.startsWith(beginning))
        line.remove(0, beginning.size());
    return ShownText::onOneLine(line);
}

void PageProgram::knowsAtLogin(bool on) {
    _isAtLogin = on;
    callCopyOf(onLoginChange);
}

void PageProgram::look() {
    _services.look(unit, [this](UserServices::AtLogin atLogin) {
        _hasUnit = atLogin != UserServices::AtLogin::Unknown;
        knowsAtLogin(_hasUnit ? atLogin == UserServices::AtLogin::On : _entry.isEnabled());
    });
}

void PageProgram::setAtLogin(bool on) {
    const auto done = [this, on](const Result<void> &switched) {
        if (!switched)
            callCopyOf(onProblem, switched.error().reason);
        knowsAtLogin(switched ? on : !on);
    };
    if (_hasUnit) {
        _services.setAtLogin(unit, on, done);
        return;
    }
    const auto written = _entry.setEnabled(on);
    // One that serves already makes another end at once.
    if (written && on)
        std::ignore = startItself();
    else if (written)
        tell({QStringLiteral("stop")});
    done(written);
}

// Whether it can do that concerns nobody who would read it here.
void PageProgram::tell(const QStringList &words) const {
    QProcess process;
    process.setProgram(_program);
    process.setArguments(words);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    std::ignore = process.startDetached();
}

void PageProgram::rename(const QString &service, const QString &name) const {
    const QString plain = name.trimmed();
    tell({QStringLiteral("rename"), QStringLiteral("--"), service,
          plain.isEmpty() ? LocalNames::ownName(service) : plain});
}

void PageProgram::revoke(const QString &service) const {
    tell({QStringLiteral("revoke"), QStringLiteral("--"), service});
}

} // namespace clipmule
