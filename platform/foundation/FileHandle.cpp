// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/FileHandle.h"

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

} // namespace clipmule
