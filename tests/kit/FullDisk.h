// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>
#include <sys/resource.h>

namespace clipmule::kit {

/// As long as it lives, no file of this process may grow beyond so many bytes: writing fails as on
/// a full disk, with "File too large".
class FullDisk {
public:
    explicit FullDisk(rlim_t largestFile)
        : _handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &_before);
        const struct rlimit limited { largestFile, _before.rlim_max };
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &_before);
        (void)std::signal(SIGXFSZ, _handler);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    void (*_handler)(int);
    struct rlimit _before {};
};

} // namespace clipmule::kit
