// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PrivateFolder.h"

#include "platform/foundation/PlatformException.h"

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

[[noreturn]] void raise(const QString &reason) {
    throw PlatformException(QStringLiteral("FolderFailure"), reason);
}

[[noreturn]] void raiseError(const QString &what, const QByteArray &name) {
    raise(QStringLiteral("%1 %2: %3")
              .arg(what, QString::fromUtf8(name), QString::fromLocal8Bit(std::strerror(errno))));
}

QByteArray fileName(const QString &name) {
    const QByteArray bytes = name.toUtf8();
    if (bytes.isEmpty() || bytes.contains('/') || bytes.contains('\0') || bytes == "." ||
        bytes == "..")
        raise(QStringLiteral("\"%1\" is no file name").arg(name));
    return bytes;
}

struct stat statusOf(const FileHandle &file, const QByteArray &name) {
    struct stat status {};
    if (::fstat(file.descriptor(), &status) != 0)
        raiseError(QStringLiteral("cannot look at"), name);
    return status;
}

bool isOursAlone(const struct stat &status) {
    return status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

FileHandle openParent(const QByteArray &path) {
    if (::mkdir(path.constData(), ownerOnly) != 0 && errno != EEXIST)
        raiseError(QStringLiteral("cannot make"), path);
    FileHandle parent(::open(path.constData(), openFolder));
    if (!parent.isOpen())
        raiseError(QStringLiteral("cannot open"), path);
    if (!isOursAlone(statusOf(parent, path))) {
        raise(QStringLiteral("%1 belongs to somebody else, or others may write to it")
                  .arg(QString::fromUtf8(path)));
    }
    return parent;
}

QByteArrayList namesIn(FileHandle folder, const QByteArray &path) {
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(::fdopendir(folder.descriptor()),
                                                       ::closedir);
    if (!entries)
        raiseError(QStringLiteral("cannot read"), path);
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

// A file, a link or a folder with all its contents, as long as they are on the same file system.
void removeTree(const FileHandle &parent, const QByteArray &name, dev_t device, int level) {
    if (::unlinkat(parent.descriptor(), name.constData(), 0) == 0 || errno == ENOENT)
        return;
    if (errno != EISDIR && errno != EPERM)
        raiseError(QStringLiteral("cannot delete"), name);
    const FileHandle folder(::openat(parent.descriptor(), name.constData(), openFolder));
    if (!folder.isOpen())
        raiseError(QStringLiteral("cannot open"), name);
    if (level > deepestTree)
        raise(QStringLiteral("folders are nested too deeply to be deleted"));
    if (statusOf(folder, name).st_dev != device)
        raise(QStringLiteral("%1 is on another file system").arg(QString::fromUtf8(name)));
    FileHandle reader(::openat(folder.descriptor(), ".", openFolder));
    if (!reader.isOpen())
        raiseError(QStringLiteral("cannot read"), name);
    const QByteArrayList contents = namesIn(std::move(reader), name);
    for (const QByteArray &entry : contents)
        removeTree(folder, entry, device, level + 1);
    if (::unlinkat(parent.descriptor(), name.constData(), AT_REMOVEDIR) != 0)
        raiseError(QStringLiteral("cannot delete"), name);
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

PrivateFolder PrivateFolder::makeEmpty(const QString &parent, const QString &name) {
    const QByteArray folderName = fileName(name);
    const FileHandle parentFolder = openParent(parent.toUtf8());
    removeTree(parentFolder, folderName, statusOf(parentFolder, folderName).st_dev, 0);
    if (::mkdirat(parentFolder.descriptor(), folderName.constData(), ownerOnly) != 0)
        raiseError(QStringLiteral("cannot make"), folderName);
    FileHandle folder(::openat(parentFolder.descriptor(), folderName.constData(), openFolder));
    if (!folder.isOpen())
        raiseError(QStringLiteral("cannot open"), folderName);
    return PrivateFolder(QDir(parent).filePath(name), std::move(folder));
}

void PrivateFolder::write(const QString &name, const QByteArray &bytes) const {
    const QByteArray file = fileName(name);
    const FileHandle handle(::openat(_folder.descriptor(), file.constData(),
                                     O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                     S_IRUSR | S_IWUSR));
    if (!handle.isOpen())
        raiseError(QStringLiteral("cannot make"), file);
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(handle.descriptor(), bytes.constData() + written,
                                      size_t(bytes.size() - written));
        if (count < 0 && errno != EINTR)
            raiseError(QStringLiteral("cannot write"), file);
        written += std::max<ssize_t>(count, 0);
    }
}

} // namespace clipmule
