// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"
#include "tests/kit/Await.h"

#include <QByteArray>

#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

namespace clipmule::kit {

/// Both ends of a pipe, neither of which blocks.
struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        [[maybe_unused]] const int result = ::pipe2(ends, O_CLOEXEC | O_NONBLOCK);
        reading = FileHandle(ends[0]);
        writing = FileHandle(ends[1]);
    }
    /// Writes as much as goes in; how much that was.
    [[nodiscard]] qsizetype write(const QByteArray &bytes) const {
        const ssize_t count =
            ::write(writing.descriptor(), bytes.constData(), size_t(bytes.size()));
        return count < 0 ? 0 : count;
    }
    /// Writes all of it as the reader takes it.
    [[nodiscard]] bool writeAll(const QByteArray &bytes) const {
        qsizetype written = 0;
        return await([&] {
            written += write(bytes.mid(written));
            return written == bytes.size();
        });
    }
    /// What is there now; whether that is the end is told by isAtEnd.
    [[nodiscard]] QByteArray read() {
        QByteArray all;
        char piece[65536];
        ssize_t count = 0;
        while ((count = ::read(reading.descriptor(), piece, sizeof piece)) > 0)
            all.append(piece, count);
        isAtEnd = count == 0;
        return all;
    }
    /// Everything to the end, as events are served.
    [[nodiscard]] QByteArray readAll() {
        QByteArray all;
        return await([&] {
            all += read();
            return isAtEnd;
        })
                   ? all
                   : QByteArray("no end");
    }
    FileHandle reading;
    FileHandle writing;
    bool isAtEnd = false;
};

} // namespace clipmule::kit
