// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/AutostartEntry.h"

#include "platform/foundation/RegularFile.h"
#include "platform/preferences/FilePreferencesDatabase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <optional>

namespace clipmule {

namespace {

const QString fileName = QStringLiteral("com.zendrik.ClipmuleSync.desktop");
const QByteArray group = QByteArrayLiteral("[Desktop Entry]");
const QByteArray hidden = QByteArrayLiteral("Hidden");
// What some desktops write instead, when the user switches a program off in their settings.
const QByteArray switchedOn = QByteArrayLiteral("X-GNOME-Autostart-enabled");

using Outcome = RegularFile::Contents::Outcome;

// The lines of the main group that set the key, by their numbers.
QList<qsizetype> linesThatSet(const QByteArrayList &lines, const QByteArray &key) {
    QList<qsizetype> result;
    bool inGroup = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        if (line.startsWith('['))
            inGroup = line == group;
        else if (inGroup && line.left(line.indexOf('=')).trimmed() == key)
            result.append(i);
    }
    return result;
}

std::optional<QByteArray> valueOf(const QByteArrayList &lines, const QByteArray &key) {
    const auto found = linesThatSet(lines, key);
    if (found.isEmpty())
        return std::nullopt;
    const QByteArray &line = lines[found.first()];
    return line.mid(line.indexOf('=') + 1).trimmed();
}

// An entry that says nothing about it counts.
bool counts(const QByteArray &entry) {
    const QByteArrayList lines = entry.split('\n');
    return valueOf(lines, hidden) != "true" && valueOf(lines, switchedOn) != "false";
}

QByteArray withCounting(const QByteArray &entry, bool counting) {
    QByteArrayList lines = entry.split('\n');
    for (const QByteArray &key : {hidden, switchedOn}) {
        const auto found = linesThatSet(lines, key);
        for (auto line = found.rbegin(); line != found.rend(); ++line)
            lines.removeAt(*line);
    }
    if (!counting) {
        qsizetype at = 0;
        while (at < lines.size() && lines[at].trimmed() != group)
            ++at;
        if (at == lines.size()) {
            lines.prepend(group);
            at = 0;
        }
        lines.insert(at + 1, hidden + "=true");
    }
    return lines.join('\n');
}

// As the Exec key wants a path that has spaces or other special characters.
QString quoted(const QString &program) {
    QString result;
    for (const QChar unit : program) {
        if (unit == u'"' || unit == u'`' || unit == u'$' || unit == u'\\')
            result += QStringLiteral("\\\\"); // escaped once for the value, once for the quotes
        if (unit == u'%')
            result += u'%';
        result += unit;
        if (unit == u'\\')
            result += u'\\';
    }
    return u'"' + result + u'"';
}

} // namespace

AutostartEntry::AutostartEntry(QString userFolder, QStringList systemFolders, QString program)
    : _userFolder(std::move(userFolder))
    , _systemFolders(std::move(systemFolders))
    , _program(std::move(program)) {}

AutostartEntry AutostartEntry::standard() {
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    // The first is the user's own.
    folders[0] = QFileInfo(FilePreferencesDatabase::defaultFolder()).path();
    folders.removeIf([](const QString &folder) { return QDir::isRelativePath(folder); });
    for (QString &folder : folders)
        folder += QStringLiteral("/autostart");
    const QString own = folders.takeFirst();
    const QString agent = QStringLiteral("clipmule-sync");
    const QFileInfo sibling(QCoreApplication::applicationDirPath() + u'/' + agent);
    return {own, folders, sibling.isExecutable() ? sibling.absoluteFilePath() : agent};
}

QString AutostartEntry::userFile() const {
    return _userFolder + u'/' + fileName;
}

bool AutostartEntry::isEnabled() const {
    for (const QString &folder : QStringList{_userFolder} + _systemFolders) {
        const auto file = RegularFile::read(folder + u'/' + fileName, largestFile);
        if (file.outcome == Outcome::Read)
            return counts(file.bytes);
    }
    return false;
}

bool AutostartEntry::setEnabled(bool enabled) {
    if (isEnabled() == enabled)
        return true;
    const auto present = RegularFile::read(userFile(), largestFile);
    if (present.outcome != Outcome::Read && present.outcome != Outcome::Missing)
        return false;
    const QByteArray entry =
        present.outcome == Outcome::Read ? present.bytes : completeEntry().toUtf8();
    if (!QDir().mkpath(_userFolder))
        return false;
    // Through a link to wherever the user keeps the file.
    QSaveFile file(QFileInfo(userFile()).isSymLink() ? QFileInfo(userFile()).canonicalFilePath()
                                                     : userFile());
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(withCounting(entry, enabled));
    return file.commit();
}

QString AutostartEntry::completeEntry() const {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Clipmule Sync\n"
                          "Comment=Keeps the clipboard in step with phones on the same network\n"
                          "Exec=%1\n"
                          "Icon=com.zendrik.ClipmuleSync\n"
                          "Terminal=false\n"
                          "NoDisplay=true\n")
        .arg(quoted(_program));
}

} // namespace clipmule
