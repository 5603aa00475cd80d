// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/RegularFile.h"

#include "platform/foundation/FileHandle.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace clipmule::RegularFile {

Contents read(const QString &path, qint64 largest, Links links) {
    using Outcome = Contents::Outcome;
    // Opening does not wait for the other end of a pipe; for regular files it makes no difference.
    const int ofLinks = links == Links::Refuse ? O_NOFOLLOW : 0;
    const FileHandle file(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | ofLinks));
    if (!file.isOpen())
        return {errno == ENOENT ? Outcome::Missing : Outcome::Failed, {}};
    struct stat status {};
    if (::fstat(file.descriptor(), &status) != 0 || !S_ISREG(status.st_mode))
        return {Outcome::Failed, {}};
    if (status.st_size > largest)
        return {Outcome::TooLarge, {}};

    QByteArray bytes(status.st_size, Qt::Uninitialized);
    qsizetype filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count =
            ::read(file.descriptor(), bytes.data() + filled, size_t(bytes.size() - filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return {Outcome::Failed, {}};
        if (count == 0)
            break;
        filled += count;
    }
    bytes.truncate(filled);
    return {Outcome::Read, bytes};
}

} // namespace clipmule::RegularFile
