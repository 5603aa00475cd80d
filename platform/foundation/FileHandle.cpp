// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/FileHandle.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace clipmule {

FileHandle &FileHandle::operator=(FileHandle &&other) noexcept {
    if (this != &other) {
        close();
        _descriptor = std::exchange(other._descriptor, -1);
    }
    return *this;
}

void FileHandle::close() {
    // After EINTR the descriptor's state is unspecified on Linux in name only: it is closed.
    if (_descriptor >= 0)
        ::close(std::exchange(_descriptor, -1));
}

FileHandle fileInMemory(QByteArrayView bytes) {
    FileHandle file(::memfd_create("clipmule", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    while (file.isOpen() && !bytes.isEmpty()) {
        const ssize_t count = ::write(file.descriptor(), bytes.data(), size_t(bytes.size()));
        if (count <= 0)
            file.close();
        else
            bytes = bytes.sliced(count);
    }
    return file;
}

Result<std::optional<QByteArray>> RegularFile::read(const QString &path, qint64 largest,
                                                    Links links) {
    const auto failed = failure(QStringLiteral("it cannot be read"));
    // Opening does not wait for the other end of a pipe; for regular files it makes no difference.
    const int ofLinks = links == Links::Refuse ? O_NOFOLLOW : 0;
    const FileHandle file(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | ofLinks));
    if (!file.isOpen() && errno == ENOENT)
        return std::nullopt;
    if (!file.isOpen())
        return failed;
    struct stat status {};
    if (::fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode))
        return failed;
    if (status.st_size > largest)
        return failure(QStringLiteral("it is larger than %1 bytes").arg(largest));

    QByteArray bytes(status.st_size, Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count =
            ::read(file.descriptor(), bytes.data() + filled, size_t(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return failed;
        if (count == 0)
            break;
        filled += count;
    }
    bytes.truncate(filled);
    return bytes;
}

} // namespace clipmule
