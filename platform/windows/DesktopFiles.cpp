// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/DesktopFiles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace clipmule {

DesktopFiles::DesktopFiles(QStringList folders)
    : _folders(std::move(folders)) {}

QStringList DesktopFiles::standardFolders() {
    return QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

std::optional<DesktopFiles::Program> DesktopFiles::find(const QString &name) const {
    readIfChanged();
    const QString lower = name.toLower();
    for (const auto *programs : {&_byIdentifier, &_byClass, &_byLastPart}) {
        const auto program = programs->constFind(lower);
        if (program != programs->cend())
            return *program;
    }
    return std::nullopt;
}

void DesktopFiles::readIfChanged() const {
    QList<qint64> changed;
    for (const QString &folder : _folders) {
        const QDateTime time = QFileInfo(folder).lastModified();
        changed.append(time.isValid() ? time.toMSecsSinceEpoch() : -1);
    }
    if (changed == _changed)
        return;
    _changed = changed;
    _byIdentifier.clear();
    _byClass.clear();
    _byLastPart.clear();
    for (const QString &folder : _folders)
        readFolder(folder);
}

void DesktopFiles::readFolder(const QString &folder) const {
    const QFileInfoList files =
        QDir(folder).entryInfoList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
    for (const QFileInfo &file : files) {
        if (_byIdentifier.size() >= maximumFiles)
            return;
        const QString identifier = file.completeBaseName();
        // The same name in an earlier folder stands for this one.
        if (file.size() <= maximumFileBytes && !_byIdentifier.contains(identifier.toLower()))
            readFile(file.filePath(), identifier);
    }
}

void DesktopFiles::readFile(const QString &path, const QString &identifier) const {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    Program program{identifier};
    QString windowClass;
    bool isInEntry = false;
    for (const QByteArray &raw : file.readAll().split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('['))
            isInEntry = line == "[Desktop Entry]";
        const qsizetype equals = line.indexOf('=');
        if (!isInEntry || equals < 0)
            continue;
        const QByteArray key = line.first(equals).trimmed();
        const QByteArray value = line.sliced(equals + 1).trimmed();
        if (key == "StartupWMClass") {
            windowClass = QString::fromUtf8(value).toLower();
        } else if (key == "Categories") {
            const QByteArrayList categories = value.split(';');
            program.isFileManager = categories.contains("FileManager");
            program.isTerminal = categories.contains("TerminalEmulator");
        }
    }
    _byIdentifier.insert(identifier.toLower(), program);
    if (!windowClass.isEmpty() && !_byClass.contains(windowClass))
        _byClass.insert(windowClass, program);
    const QString lastPart = identifier.section(u'.', -1).toLower();
    if (!_byLastPart.contains(lastPart))
        _byLastPart.insert(lastPart, program);
}

} // namespace clipmule
