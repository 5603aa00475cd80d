// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArray>

#include <optional>
#include <utility>

namespace clipmule {

/// Owns a file descriptor and closes it. Move-only.
class FileHandle {
public:
    FileHandle() = default;
    /// Takes ownership; -1 is no descriptor.
    explicit FileHandle(int descriptor)
        : _descriptor(descriptor) {}
    ~FileHandle() { close(); }
    FileHandle(FileHandle &&other) noexcept
        : _descriptor(std::exchange(other._descriptor, -1)) {}
    FileHandle &operator=(FileHandle &&other) noexcept;
    FileHandle(const FileHandle &) = delete;
    FileHandle &operator=(const FileHandle &) = delete;

    [[nodiscard]] int descriptor() const { return _descriptor; }
    [[nodiscard]] bool isOpen() const { return _descriptor >= 0; }
    /// Gives the descriptor away, unclosed.
    [[nodiscard]] int release() { return std::exchange(_descriptor, -1); }
    void close();

private:
    int _descriptor = -1;
};

/// A file without a name that holds these bytes, to be handed to another process. Closed when the
/// system gives none; errno says why.
[[nodiscard]] FileHandle fileInMemory(QByteArrayView bytes);

/// Whole files. Only regular files count: opening a pipe or a device could wait for ever.
namespace RegularFile {

enum class Links { Follow, Refuse };

/// The contents; nothing when there is no such file. Failures: it has more bytes than are allowed,
/// it is no regular file, or the system refuses to open or read it. Where links are refused, a path
/// whose last part is a symbolic one fails. A file that grows while it is read is read up to the
/// size it had.
[[nodiscard]] Result<std::optional<QByteArray>> read(const QString &path, qint64 largest,
                                                     Links links = Links::Follow);

} // namespace RegularFile

} // namespace clipmule
