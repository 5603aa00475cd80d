// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/DataFile.h"

#include "platform/foundation/FileHandle.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace clipmule::DataFile {

namespace {

tl::unexpected<Failure> tooLarge(const QString &path, qint64 limit) {
    return failure(QStringLiteral("%1 is larger than %2 bytes").arg(path).arg(limit));
}

// A file name has at most 255 bytes; this leaves room for the extension and for a temporary file's
// suffix.
constexpr qsizetype longestPlainName = 200;

// How many unreadable files are kept for one path. A user with so many should have looked at them.
constexpr int mostUnreadable = 100;

bool isPlainName(const QString &oid) {
    if (oid.isEmpty() || oid.startsWith(u'.') || oid.contains(u'/') || oid.contains(QChar(u'\0')))
        return false;
    const QByteArray bytes = oid.toUtf8();
    // A name that does not survive the way to the file system and back stands for another.
    return bytes.size() <= longestPlainName && QString::fromUtf8(bytes) == oid;
}

} // namespace

Result<std::optional<QByteArray>> read(const QString &path, qint64 limit) {
    return RegularFile::read(path, limit, RegularFile::Links::Refuse)
        .map_error([&path](const Failure &failure) {
            return Failure{QStringLiteral("%1: %2").arg(path, failure.reason)};
        });
}

bool makeFolder(const QString &path) {
    const QString whole = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (QFileInfo(whole).isDir())
        return true;
    const QString parent = QFileInfo(whole).path();
    return parent != whole && makeFolder(parent) &&
           (::mkdir(QFile::encodeName(whole).constData(), S_IRWXU) == 0 ||
            QFileInfo(whole).isDir());
}

Result<void> write(const QString &path, const QByteArray &bytes, qint64 limit) {
    if (bytes.size() > limit)
        return tooLarge(path, limit);
    if (!makeFolder(QFileInfo(path).path()))
        return failure(QStringLiteral("the folder of %1 cannot be made").arg(path));
    // A temporary file is its owner's alone from the beginning, and replaces a link, which a
    // QSaveFile would follow.
    QTemporaryFile file(path + QStringLiteral(".part-XXXXXX"));
    if (!file.open())
        return failure(QStringLiteral("%1: %2").arg(path, file.errorString()));
    // What the toolkit says of a write that fails later is often "Unknown error".
    if (file.write(bytes) != bytes.size() || !file.flush() || ::fdatasync(file.handle()) != 0)
        return failure(QStringLiteral("%1: %2").arg(path, qt_error_string(errno)));
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(file.fileName()).toStdString(),
                            QFile::encodeName(path).toStdString(), error);
    if (error)
        return failure(QStringLiteral("%1: %2").arg(path, QString::fromStdString(error.message())));
    file.setAutoRemove(false);
    return {};
}

Result<void> keepUnreadable(const QString &path) {
    for (int number = 1; number <= mostUnreadable; ++number) {
        QString other = path + QStringLiteral(".unreadable");
        if (number > 1)
            other += QString::number(number);
        std::error_code error;
        // A second name, not a copy: it takes no space, and the file is never without a name.
        std::filesystem::create_hard_link(QFile::encodeName(path).toStdString(),
                                          QFile::encodeName(other).toStdString(), error);
        if (!error || error == std::errc::no_such_file_or_directory)
            return {};
        if (error != std::errc::file_exists && QFile::copy(path, other))
            return {};
    }
    return failure(QStringLiteral("%1 cannot be kept under another name").arg(path));
}

void remove(const QString &path) {
    QFile::remove(path);
}

QString name(const QString &oid, const QString &extension) {
    const QString base =
        isPlainName(oid)
            ? oid
            : QString::fromLatin1(
                  QCryptographicHash::hash(oid.toUtf8(), QCryptographicHash::Sha256).toHex());
    return base + u'.' + extension;
}

} // namespace clipmule::DataFile
