// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/AutostartEntry.h"

#include "platform/foundation/FileHandle.h"
#include "platform/preferences/PreferencesDatabase.h"
#include "preferences/PanelTexts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <optional>

namespace clipmule {

namespace {

const QByteArray group = QByteArrayLiteral("[Desktop Entry]");
const QByteArray hidden = QByteArrayLiteral("Hidden");
// The key that some desktops write instead, when the user switches a program off in their settings.
const QByteArray switchedOn = QByteArrayLiteral("X-GNOME-Autostart-enabled");

const QByteArray exec = QByteArrayLiteral("Exec");
const QByteArray tryExec = QByteArrayLiteral("TryExec");

// Overrides an entry of the system, which counts again when this file goes.
const QByteArray switchedOff = QByteArrayLiteral("[Desktop Entry]\n"
                                                 "Type=Application\n"
                                                 "Name=Clipmule Sync\n"
                                                 "Exec=clipmule-sync\n"
                                                 "Hidden=true\n");

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

// A value as the file's format means it: "\\\\" is a backslash, "\\s" a blank.
QString valueAsMeant(const QByteArray &written) {
    QString value;
    const QString text = QString::fromUtf8(written);
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at] == u'\\' && at + 1 < text.size())
            value += text[++at] == u's' ? u' ' : text[at];
        else
            value += text[at];
    }
    return value;
}

// The program of an Exec line: up to the first blank, or what is between the first quotes.
QString programOf(const QByteArray &written) {
    const QString line = valueAsMeant(written);
    const bool isQuoted = line.startsWith(u'"');
    QString program;
    for (qsizetype at = isQuoted ? 1 : 0; at < line.size(); ++at) {
        if (isQuoted ? line[at] == u'"' : line[at].isSpace())
            break;
        const bool isEscape =
            (isQuoted && line[at] == u'\\') || QStringView(line).sliced(at).startsWith(u"%%");
        if (isEscape && at + 1 < line.size())
            ++at;
        program += line[at];
    }
    return program;
}

// A name without a path is looked up where the session starts programs, which may be elsewhere.
bool isThere(const QString &program) {
    return !QDir::isAbsolutePath(program) || QFileInfo(program).isExecutable();
}

bool programIsThere(const QByteArrayList &lines) {
    return isThere(valueAsMeant(valueOf(lines, tryExec).value_or(QByteArray()))) &&
           isThere(programOf(valueOf(lines, exec).value_or(QByteArray())));
}

// Whether an entry counts. One that says nothing about it does; one whose program is gone starts
// nothing.
bool counts(const QByteArray &entry) {
    const QByteArrayList lines = entry.split('\n');
    return valueOf(lines, hidden) != "true" && valueOf(lines, switchedOn) != "false" &&
           programIsThere(lines);
}

// Whether the first entry of that name in these folders counts.
bool startedFrom(const QStringList &folders, const QString &fileName) {
    for (const QString &folder : folders) {
        const auto file = RegularFile::read(folder + u'/' + fileName, AutostartEntry::largestFile);
        if (file && *file)
            return counts(**file);
    }
    return false;
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

// Quotes a path as the Exec key wants it, with spaces or other special characters.
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

AutostartEntry::Started::Started(QString startedProgram, QString entryFile, QString shownName,
                                 QString shownComment)
    : program(std::move(startedProgram))
    , file(std::move(entryFile))
    , name(std::move(shownName))
    , comment(std::move(shownComment)) {}

AutostartEntry::AutostartEntry(QString userFolder, QStringList systemFolders, Started started)
    : _userFolder(std::move(userFolder))
    , _systemFolders(std::move(systemFolders))
    , _started(std::move(started)) {}

AutostartEntry AutostartEntry::standard(const Started &started) {
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    // The first folder is the user's own.
    folders[0] = QFileInfo(preferencesFolder()).path();
    folders.removeIf([](const QString &folder) { return QDir::isRelativePath(folder); });
    for (QString &folder : folders)
        folder += QStringLiteral("/autostart");
    const QString own = folders.takeFirst();
    return {own, folders, started};
}

QString AutostartEntry::agentProgram() {
    const QString agent = QStringLiteral("clipmule-sync");
    const QFileInfo sibling(QCoreApplication::applicationDirPath() + u'/' + agent);
    return sibling.isExecutable() ? sibling.absoluteFilePath() : agent;
}

QString AutostartEntry::userFile() const {
    return _userFolder + u'/' + _started.file;
}

bool AutostartEntry::isEnabled() const {
    return startedFrom(QStringList{_userFolder} + _systemFolders, _started.file);
}

Result<void> AutostartEntry::setEnabled(bool enabled) {
    if (isEnabled() == enabled)
        return {};
    QFile file(userFile());
    const auto present = RegularFile::read(file.fileName(), largestFile);
    // The reader does not keep the reason of a failure.
    if (!present)
        return failure(file.open(QIODevice::ReadOnly) ? PanelTexts::tr("The file is too large.")
                                                      : file.errorString());
    const bool isOwn = present->has_value();
    if (enabled && isOwn && **present == switchedOff && startedFrom(_systemFolders, _started.file))
        return file.remove() ? Result<void>() : failure(file.errorString());
    if (!enabled && !isOwn)
        return write(switchedOff);
    // An entry that starts nothing is of no use, whoever wrote it.
    if (!isOwn || (enabled && !programIsThere((**present).split('\n'))))
        return write(completeEntry().toUtf8());
    return write(withCounting(**present, enabled));
}

Result<void> AutostartEntry::write(const QByteArray &entry) {
    if (!QDir().mkpath(_userFolder))
        return failure(QString::fromLocal8Bit(std::strerror(errno)));
    // The file is written through a link to wherever the user keeps it.
    QSaveFile file(QFileInfo(userFile()).isSymLink() ? QFileInfo(userFile()).canonicalFilePath()
                                                     : userFile());
    if (file.open(QIODevice::WriteOnly) && file.write(entry) >= 0 && file.commit())
        return {};
    return failure(file.errorString());
}

QString AutostartEntry::completeEntry() const {
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=%3\n"
                          "Comment=%4\n"
                          "Exec=%1\n"
                          "TryExec=%2\n"
                          "Icon=com.zendrik.ClipmuleSync\n"
                          "Terminal=false\n"
                          "NoDisplay=true\n")
        .arg(quoted(_started.program),
             QString(_started.program).replace(u'\\', QStringLiteral("\\\\")), _started.name,
             _started.comment);
}

} // namespace clipmule
