// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

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

} // namespace clipmule
