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
    /// Null where nobody types: when one of the descriptors is no terminal, and in a build without
    /// a library for it. The descriptors are not owned.
    [[nodiscard]] static std::unique_ptr<LineEditor> make(int input, int output,
                                                          const QByteArray &prompt);
    LineEditor() = default;
    virtual ~LineEditor() = default;
    Q_DISABLE_COPY_MOVE(LineEditor)

    // Both are set before start().
    /// Called with each line, without its line end; with blank lines as well.
    std::function<void(const QByteArray &line)> onLine;
    /// Called after Ctrl-D on an empty line, or when the terminal is gone. No line comes after it.
    /// It may destroy the editor.
    std::function<void()> onEnd;

    /// Shows the prompt.
    virtual void start() = 0;
    /// Shows a line, without its line end, above what is being typed.
    virtual void print(const QByteArray &line) = 0;
};

} // namespace clipmule
