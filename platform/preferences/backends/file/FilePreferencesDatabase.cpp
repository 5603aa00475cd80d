// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/backends/file/FilePreferencesDatabase.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/RegularFile.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace clipmule {

namespace {

constexpr mode_t ownerOnlyFolder = 0700;
constexpr mode_t ownerOnlyFile = 0600;
// Damaged files are rare; so many of them mean that something damages them again and again.
constexpr int mostKeptAside = 99;

QString lastError(const QString &what) {
    return QStringLiteral("%1: %2").arg(what, qt_error_string(errno));
}

FileHandle openFile(const QString &path, int flags, mode_t mode = 0) {
    return FileHandle(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, mode));
}

bool writeAll(int descriptor, const QByteArray &bytes) {
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + written, size_t(bytes.size() - written));
        if (count < 0 && errno != EINTR)
            return false;
        written += std::max<ssize_t>(count, 0);
    }
    return true;
}

bool synchronizeFile(const QString &path, int flags) {
    const FileHandle file = openFile(path, O_RDONLY | flags);
    // A file or folder that does not exist has nothing to lose.
    return file.isOpen() ? ::fsync(file.descriptor()) == 0 : errno == ENOENT;
}

} // namespace

struct FilePreferencesDatabase::Contents {
    PropertyList::Dictionary values;
    /// Why the file does not count; empty when it is fine or missing.
    QString damage;
};

FilePreferencesDatabase::FilePreferencesDatabase(const QString &folder)
    : _folder(folder) {}

bool FilePreferencesDatabase::isValidDomain(const QString &domain) {
    return !domain.isEmpty() && domain.size() <= longestDomain && domain[0] != u'.' &&
           std::all_of(domain.begin(), domain.end(), [](QChar unit) {
               return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
                      (unit >= u'0' && unit <= u'9') || unit == u'.' || unit == u'-' ||
                      unit == u'_';
           });
}

PropertyList::Dictionary FilePreferencesDatabase::copyMultiple(const QString &domain) {
    if (!isValidDomain(domain)) {
        qCWarning(logPreferences).noquote()
            << "no name for a preferences domain:" << cutForLog(domain);
        return {};
    }
    const Contents contents = read(domain);
    if (!contents.damage.isEmpty())
        qCWarning(logPreferences).noquote() << "preferences not read:" << contents.damage;
    return contents.values;
}

void FilePreferencesDatabase::setValue(const QString &domain, const QString &key,
                                       const std::optional<PropertyList> &value) {
    _failure = isValidDomain(domain) ? merge(domain, key, value)
                                     : QStringLiteral("no name for a preferences domain");
    if (!_failure.isEmpty())
        qCWarning(logPreferences).noquote() << "preference" << cutForLog(key) << "of"
                                            << cutForLog(domain) << "not written:" << _failure;
}

bool FilePreferencesDatabase::synchronize(const QString &domain) {
    _failure.clear();
    if (!isValidDomain(domain))
        return false;
    const QString name = path(domain);
    if (synchronizeFile(name, O_NONBLOCK) && synchronizeFile(_folder, O_DIRECTORY))
        return true;
    _failure = lastError(name);
    return false;
}

QString FilePreferencesDatabase::path(const QString &domain) const {
    return QStringLiteral("%1/%2.plist").arg(_folder, domain);
}

// Where people keep their settings elsewhere and link them, the link stays and its target changes.
QString FilePreferencesDatabase::linkedPath(const QString &domain) const {
    const QFileInfo file(path(domain));
    const QString target = file.isSymLink() ? file.canonicalFilePath() : QString();
    return target.isEmpty() ? file.filePath() : target;
}

FilePreferencesDatabase::Contents FilePreferencesDatabase::read(const QString &domain) const {
    const QString name = path(domain);
    const RegularFile::Contents file = RegularFile::read(name, largestFile);
    switch (file.outcome) {
    case RegularFile::Contents::Outcome::Read:
        break;
    case RegularFile::Contents::Outcome::Missing:
        return {};
    case RegularFile::Contents::Outcome::TooLarge:
        return {{}, QStringLiteral("%1: more than %2 bytes").arg(name).arg(largestFile)};
    case RegularFile::Contents::Outcome::Failed:
        return {{}, QStringLiteral("%1: not a file that can be read").arg(name)};
    }
    auto parsed = PropertyListSerialization::parse(file.bytes);
    if (!parsed)
        return {{}, QStringLiteral("%1: %2").arg(name, parsed.error().reason)};
    if (!parsed->isDictionary())
        return {{},
                QStringLiteral("%1: %2 instead of a dictionary")
                    .arg(name, PropertyList::nameOfKind(parsed->kind()))};
    return {std::move(parsed->dictionary()), {}};
}

QString FilePreferencesDatabase::merge(const QString &domain, const QString &key,
                                       const std::optional<PropertyList> &value) {
    if (QString error = makeFolder(); !error.isEmpty())
        return error;
    QString error;
    const FileHandle held = lock(error);
    if (!held.isOpen())
        return error;
    Contents contents = read(domain);
    const PropertyList *const present = find(contents.values, key);
    if (value ? present && *present == *value : !present)
        return {};
    if (value)
        contents.values.insert(key, *value);
    else
        contents.values.remove(key);
    QByteArray bytes;
    try {
        bytes = PropertyListSerialization::xml(std::move(contents.values));
    } catch (const PlatformException &exception) {
        return exception.reason();
    }
    if (bytes.size() > largestFile)
        return QStringLiteral("the preferences would take more than %1 bytes").arg(largestFile);
    if (!contents.damage.isEmpty()) {
        if (QString failure = keepAside(domain); !failure.isEmpty())
            return failure;
    }
    return replace(domain, bytes);
}

QString FilePreferencesDatabase::replace(const QString &domain, const QByteArray &bytes) {
    // Under the lock nobody else writes this name; what lies there was left by a crash.
    const QString path = linkedPath(domain);
    const QString temporary =
        QStringLiteral("%1/.%2.plist.new").arg(QFileInfo(path).path(), domain);
    const QByteArray temporaryName = QFile::encodeName(temporary);
    ::unlink(temporaryName.constData());
    const FileHandle file =
        openFile(temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, ownerOnlyFile);
    if (!file.isOpen())
        return lastError(temporary);
    // On disk before it takes the file's place: after a power failure there is the old one or the
    // new one, and never an empty one.
    if (!writeAll(file.descriptor(), bytes) || ::fdatasync(file.descriptor()) != 0 ||
        ::rename(temporaryName.constData(), QFile::encodeName(path).constData()) != 0) {
        QString error = lastError(temporary);
        ::unlink(temporaryName.constData());
        return error;
    }
    return {};
}

QString FilePreferencesDatabase::keepAside(const QString &domain) const {
    const QString damaged = path(domain);
    for (int number = 1; number <= mostKeptAside; ++number) {
        const QString aside = QStringLiteral("%1.damaged-%2").arg(damaged).arg(number);
        struct stat status {};
        if (::lstat(QFile::encodeName(aside).constData(), &status) == 0 || errno != ENOENT)
            continue;
        if (::rename(QFile::encodeName(damaged).constData(),
                     QFile::encodeName(aside).constData()) != 0)
            return lastError(aside);
        qCWarning(logPreferences).noquote() << "damaged preferences kept as" << aside;
        return {};
    }
    return QStringLiteral("%1: too many damaged files beside it").arg(damaged);
}

QString FilePreferencesDatabase::makeFolder() const {
    // Another process may make it at the same time.
    const auto makeOrFind = [name = QFile::encodeName(_folder)] {
        return ::mkdir(name.constData(), ownerOnlyFolder) == 0 || errno == EEXIST;
    };
    if (makeOrFind())
        return {};
    // Its parents are not this program's own, and get the permissions that the user wants.
    if (errno == ENOENT && QDir().mkpath(QFileInfo(_folder).path()) && makeOrFind())
        return {};
    return lastError(_folder);
}

FileHandle FilePreferencesDatabase::lock(QString &error) const {
    constexpr RunLoop::Seconds step{0.005};
    const QString name = _folder + QStringLiteral("/.lock");
    FileHandle file = openFile(name, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, ownerOnlyFile);
    if (!file.isOpen()) {
        error = lastError(name);
        return file;
    }
    for (RunLoop::Seconds waited{0}; ::flock(file.descriptor(), LOCK_EX | LOCK_NB) != 0;
         waited += step) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            error = lastError(name);
            return {};
        }
        if (waited >= lockPatience) {
            error = QStringLiteral("%1: another program holds the lock").arg(name);
            return {};
        }
        RunLoop::current().pause(step);
    }
    return file;
}

} // namespace clipmule
