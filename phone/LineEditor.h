// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <functional>
#include <memory>

namespace clipmule {

/// Lines that somebody types at a terminal, with a prompt, editing keys and a history that lasts as
/// long as the program. One at a time.
class LineEditor {
public:
    struct Delegate {
        /// Called with each line, without its line end; with blank lines as well.
        std::function<void(const QByteArray &)> line;
        /// Called after Ctrl-D on an empty line, or when the terminal is gone. No line comes after
        /// it.
        std::function<void()> end;
    };

    /// Null where nobody types: when one of the descriptors is no terminal, and in a build without
    /// a library for it. The descriptors are not owned.
    [[nodiscard]] static std::unique_ptr<LineEditor>
    make(int input, int output, const QByteArray &prompt, Delegate delegate);
    LineEditor() = default;
    virtual ~LineEditor() = default;
    LineEditor(const LineEditor &) = delete;
    LineEditor &operator=(const LineEditor &) = delete;
    LineEditor(LineEditor &&) = delete;
    LineEditor &operator=(LineEditor &&) = delete;

    /// Shows the prompt.
    virtual void start() = 0;
    /// Shows a line, without its line end, above what is being typed.
    virtual void print(const QByteArray &line) = 0;
};

} // namespace clipmule
