// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/preferences/backends/file/FilePreferencesDatabase.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

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

const QString versionKey = QStringLiteral("preferencesVersion");

// Files of version 0.1.0 of this program carry none, and are the same otherwise.
bool isKnownVersion(const PropertyList::Dictionary &values) {
    const PropertyList *const version = find(values, versionKey);
    return !version || *version == PropertyList(FilePreferencesDatabase::currentVersion);
}

tl::unexpected<Failure> lastError(const QString &what) {
    return failure(QStringLiteral("%1: %2").arg(what, qt_error_string(errno)));
}

FileHandle openFile(const QString &path, int flags, mode_t mode = 0) {
    return FileHandle(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, mode));
}

bool synchronizeFile(const QString &path, int flags) {
    const FileHandle file = openFile(path, O_RDONLY | flags);
    // A file or folder that does not exist has nothing to lose.
    return file.isOpen() ? ::fsync(file.descriptor()) == 0 : errno == ENOENT;
}

} // namespace

FilePreferencesDatabase::FilePreferencesDatabase(const QString &folder)
    : _folder(folder) {}

bool FilePreferencesDatabase::isValidDomain(const QString &domain) {
    static const QRegularExpression valid(QStringLiteral("\\A[A-Za-z0-9_-][A-Za-z0-9._-]*\\z"));
    return domain.size() <= longestDomain && valid.match(domain).hasMatch();
}

PropertyList::Dictionary FilePreferencesDatabase::copyMultiple(const QString &domain) {
    if (!isValidDomain(domain)) {
        qCWarning(logPreferences).noquote()
            << "no name for a preferences domain:" << cutForLog(domain);
        return {};
    }
    const auto values = read(domain);
    if (!values)
        qCWarning(logPreferences).noquote() << "preferences not read:" << values.error().reason;
    auto copy = values.value_or(PropertyList::Dictionary());
    copy.remove(versionKey);
    return copy;
}

Result<void> FilePreferencesDatabase::setValue(const QString &domain, const QString &key,
                                               const std::optional<PropertyList> &value) {
    auto written = isValidDomain(domain)
                       ? merge(domain, key, value)
                       : failure(QStringLiteral("no name for a preferences domain"));
    if (!written)
        qCWarning(logPreferences).noquote()
            << "preference" << cutForLog(key) << "of" << cutForLog(domain)
            << "not written:" << written.error().reason;
    return written;
}

Result<void> FilePreferencesDatabase::synchronize(const QString &domain) {
    if (!isValidDomain(domain))
        return failure(QStringLiteral("no name for a preferences domain"));
    const QString name = path(domain);
    if (synchronizeFile(name, O_NONBLOCK) && synchronizeFile(_folder, O_DIRECTORY))
        return {};
    return lastError(name);
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

Result<PropertyList::Dictionary> FilePreferencesDatabase::read(const QString &domain) const {
    const QString name = path(domain);
    const auto file = RegularFile::read(name, largestFile);
    if (file && !*file)
        return {};
    auto parsed = file.and_then([](const std::optional<QByteArray> &bytes) {
        return PropertyListSerialization::parse(*bytes);
    });
    if (!parsed)
        return failure(QStringLiteral("%1: %2").arg(name, parsed.error().reason));
    if (!parsed->isDictionary())
        return failure(QStringLiteral("%1: %2 instead of a dictionary")
                           .arg(name, PropertyList::nameOfKind(parsed->kind())));
    return std::move(parsed->dictionary());
}

Result<void> FilePreferencesDatabase::merge(const QString &domain, const QString &key,
                                            const std::optional<PropertyList> &value) {
    if (key == versionKey)
        return failure(QStringLiteral("\"%1\" is the file's own").arg(versionKey));
    if (auto made = makeFolder(); !made)
        return made;
    const Result<FileHandle> held = lock();
    if (!held)
        return tl::unexpected(held.error());
    const auto stored = read(domain);
    auto values = stored.value_or(PropertyList::Dictionary());
    const PropertyList *const present = find(values, key);
    if (value ? present && *present == *value : !present)
        return {};
    if (!isKnownVersion(values))
        return failure(QStringLiteral("%1 belongs to another version of this program, and stays as "
                                      "it is")
                           .arg(path(domain)));
    if (value)
        values.insert(key, *value);
    else
        values.remove(key);
    values.insert(versionKey, currentVersion);
    QByteArray bytes;
    try {
        bytes = PropertyListSerialization::xml(std::move(values));
    } catch (const PlatformException &exception) {
        return failure(exception.reason());
    }
    if (bytes.size() > largestFile)
        return failure(
            QStringLiteral("the preferences would take more than %1 bytes").arg(largestFile));
    if (!stored) {
        if (auto kept = keepAside(domain); !kept)
            return kept;
    }
    return replace(domain, bytes);
}

Result<void> FilePreferencesDatabase::replace(const QString &domain, const QByteArray &bytes) {
    // Under the lock nobody else writes this name; what lies there was left by a crash.
    const QString path = linkedPath(domain);
    const QString temporary =
        QStringLiteral("%1/.%2.plist.new").arg(QFileInfo(path).path(), domain);
    QFile file(temporary);
    file.remove();
    // On disk before it takes the file's place: after a power failure there is the old one or the
    // new one, and never an empty one.
    if (!file.open(QIODevice::NewOnly | QIODevice::Unbuffered,
                   QFile::ReadOwner | QFile::WriteOwner) ||
        file.write(bytes) != bytes.size() || ::fdatasync(file.handle()) != 0 ||
        ::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) !=
            0) {
        const auto error = lastError(temporary);
        file.remove();
        return error;
    }
    return {};
}

Result<void> FilePreferencesDatabase::keepAside(const QString &domain) const {
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
    return failure(QStringLiteral("%1: too many damaged files beside it").arg(damaged));
}

Result<void> FilePreferencesDatabase::makeFolder() const {
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

Result<FileHandle> FilePreferencesDatabase::lock() const {
    constexpr RunLoop::Seconds step{0.005};
    const QString name = _folder + QStringLiteral("/.lock");
    FileHandle file = openFile(name, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, ownerOnlyFile);
    if (!file.isOpen())
        return lastError(name);
    for (RunLoop::Seconds waited{0}; ::flock(file.descriptor(), LOCK_EX | LOCK_NB) != 0;
         waited += step) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return lastError(name);
        if (waited >= lockPatience)
            return failure(QStringLiteral("%1: another program holds the lock").arg(name));
        RunLoop::current().pause(step);
    }
    return file;
}

std::unique_ptr<PreferencesDatabase> makePreferencesDatabase() {
    return std::make_unique<FilePreferencesDatabase>(preferencesFolder());
}

QString preferencesFolder() {
    // A relative path would mean another folder for each program.
    const bool isUsable = QDir::isAbsolutePath(qEnvironmentVariable("XDG_CONFIG_HOME"));
    return (isUsable ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                     : QDir::homePath() + QStringLiteral("/.config")) +
           QStringLiteral("/clipmule-sync");
}

} // namespace clipmule
