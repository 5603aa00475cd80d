// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PrivateFolder.h"

#include <QByteArrayList>
#include <QDir>

#include <cerrno>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace clipmule {

namespace {

// Nobody nests folders in it, and each level takes a descriptor while it is deleted.
constexpr int deepestTree = 64;
constexpr mode_t ownerOnly = 0700;
constexpr int openFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

tl::unexpected<Failure> lastError(const QString &what, const QByteArray &name) {
    return failure(
        QStringLiteral("%1 %2: %3")
            .arg(what, QString::fromUtf8(name), QString::fromLocal8Bit(std::strerror(errno))));
}

Result<QByteArray> fileName(const QString &name) {
    const QByteArray bytes = name.toUtf8();
    if (bytes.isEmpty() || bytes.contains('/') || bytes.contains('\0') || bytes == "." ||
        bytes == "..")
        return failure(QStringLiteral("\"%1\" is no file name").arg(name));
    return bytes;
}

Result<FileHandle> opened(const FileHandle &parent, const QByteArray &name, const QString &what) {
    FileHandle folder(::openat(parent.descriptor(), name.constData(), openFolder));
    if (!folder.isOpen())
        return lastError(what, name);
    return folder;
}

Result<struct stat> statusOf(const FileHandle &file, const QByteArray &name) {
    struct stat status {};
    if (::fstat(file.descriptor(), &status) != 0)
        return lastError(QStringLiteral("cannot look at"), name);
    return status;
}

bool isOursAlone(const struct stat &status) {
    return status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

Result<FileHandle> openParent(const QByteArray &path) {
    if (::mkdir(path.constData(), ownerOnly) != 0 && errno != EEXIST)
        return lastError(QStringLiteral("cannot make"), path);
    FileHandle parent(::open(path.constData(), openFolder));
    if (!parent.isOpen())
        return lastError(QStringLiteral("cannot open"), path);
    const auto status = statusOf(parent, path);
    if (!status)
        return tl::unexpected(status.error());
    if (!isOursAlone(*status))
        return failure(QStringLiteral("%1 belongs to somebody else, or others may write to it")
                           .arg(QString::fromUtf8(path)));
    return parent;
}

Result<QByteArrayList> namesIn(FileHandle folder, const QByteArray &path) {
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::fdopendir(folder.descriptor()),
                                                       ::closedir);
    if (!entries)
        return lastError(QStringLiteral("cannot read"), path);
    // It is closed with the entries from now on.
    (void)folder.release();
    QByteArrayList names;
    while (const dirent *entry = ::readdir(entries.get())) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    return names;
}

Result<void> removeTree(const FileHandle &parent, const QByteArray &name, dev_t device, int level);

Result<void> removeContents(const FileHandle &folder, const QByteArray &name, dev_t device,
                            int level) {
    const auto names =
        opened(folder, ".", QStringLiteral("cannot read")).and_then([&name](FileHandle reader) {
            return namesIn(std::move(reader), name);
        });
    if (!names)
        return tl::unexpected(names.error());
    for (const QByteArray &entry : *names) {
        if (auto removed = removeTree(folder, entry, device, level + 1); !removed)
            return removed;
    }
    return {};
}

// A file, a link or a folder with all its contents, as long as they are on the same file system.
Result<void> removeTree(const FileHandle &parent, const QByteArray &name, dev_t device, int level) {
    if (::unlinkat(parent.descriptor(), name.constData(), 0) == 0 || errno == ENOENT)
        return {};
    if (errno != EISDIR && errno != EPERM)
        return lastError(QStringLiteral("cannot delete"), name);
    const auto folder = opened(parent, name, QStringLiteral("cannot open"));
    if (!folder)
        return tl::unexpected(folder.error());
    if (level > deepestTree)
        return failure(QStringLiteral("folders are nested too deeply to be deleted"));
    const auto status = statusOf(*folder, name);
    if (!status)
        return tl::unexpected(status.error());
    if (status->st_dev != device)
        return failure(QStringLiteral("%1 is on another file system").arg(QString::fromUtf8(name)));
    if (auto emptied = removeContents(*folder, name, device, level); !emptied)
        return emptied;
    if (::unlinkat(parent.descriptor(), name.constData(), AT_REMOVEDIR) != 0)
        return lastError(QStringLiteral("cannot delete"), name);
    return {};
}

} // namespace

QString PrivateFolder::temporaryPath() {
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    struct stat status {};
    if (runtime.startsWith('/') && ::lstat(runtime.constData(), &status) == 0 &&
        S_ISDIR(status.st_mode) && isOursAlone(status))
        return QString::fromUtf8(runtime);
    return QStringLiteral("/tmp/clipmule-%1").arg(::geteuid());
}

Result<PrivateFolder> PrivateFolder::makeEmpty(const QString &parent, const QString &name) {
    const auto folderName = fileName(name);
    if (!folderName)
        return tl::unexpected(folderName.error());
    const auto parentFolder = openParent(parent.toUtf8());
    if (!parentFolder)
        return tl::unexpected(parentFolder.error());
    const auto removed = statusOf(*parentFolder, *folderName).and_then([&](const auto &status) {
        return removeTree(*parentFolder, *folderName, status.st_dev, 0);
    });
    if (!removed)
        return tl::unexpected(removed.error());
    if (::mkdirat(parentFolder->descriptor(), folderName->constData(), ownerOnly) != 0)
        return lastError(QStringLiteral("cannot make"), *folderName);
    return opened(*parentFolder, *folderName, QStringLiteral("cannot open"))
        .map([&](FileHandle folder) {
            return PrivateFolder(QDir(parent).filePath(name), std::move(folder));
        });
}

Result<void> PrivateFolder::write(const QString &name, const QByteArray &bytes) const {
    const auto file = fileName(name);
    if (!file)
        return tl::unexpected(file.error());
    const FileHandle handle(::openat(_folder.descriptor(), file->constData(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                     S_IRUSR | S_IWUSR));
    if (!handle.isOpen())
        return lastError(QStringLiteral("cannot make"), *file);
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(handle.descriptor(), bytes.constData() + written,
                                      size_t(bytes.size() - written));
        if (count < 0 && errno != EINTR)
            return lastError(QStringLiteral("cannot write"), *file);
        written += std::max<ssize_t>(count, 0);
    }
    return {};
}

} // namespace clipmule
