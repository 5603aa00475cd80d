// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

namespace clipmule {

/// Whole files. Only regular files count: opening a pipe or a device could wait for ever.
namespace RegularFile {

struct Contents {
    enum class Outcome {
        Read,
        /// There is no such file.
        Missing,
        /// It has more bytes than were allowed.
        TooLarge,
        /// It is no regular file, or the system refuses to open or read it.
        Failed,
    };
    Outcome outcome = Outcome::Failed;
    /// The contents; empty unless the file was read.
    QByteArray bytes;
};

enum class Links { Follow, Refuse };

/// Where links are refused, a path whose last part is a symbolic one fails. A file that grows while
/// it is read is read up to the size it had.
[[nodiscard]] Contents read(const QString &path, qint64 largest, Links links = Links::Follow);

} // namespace RegularFile

} // namespace clipmule
