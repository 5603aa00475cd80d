// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "phone/LineEditor.h"

#include <QSocketNotifier>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <unistd.h>

// This header comes after <cstdio>, whose declarations it needs.
#include <readline/history.h>
#include <readline/readline.h>

namespace clipmule {

namespace {

// Lines that the arrow keys bring back.
constexpr int longestHistory = 500;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

File openCopy(int descriptor, const char *mode) {
    const int copy = ::dup(descriptor);
    File file(copy < 0 ? nullptr : ::fdopen(copy, mode), std::fclose);
    if (!file && copy >= 0)
        ::close(copy);
    return file;
}

class ReadlineEditor final : public LineEditor {
public:
    ReadlineEditor(int descriptor, File input, File output, QByteArray prompt)
        : _input(std::move(input))
        , _output(std::move(output))
        , _prompt(std::move(prompt))
        , _notifier(descriptor, QSocketNotifier::Read) {
        _notifier.setEnabled(false);
        QObject::connect(&_notifier, &QSocketNotifier::activated, [this] { takeKey(); });
    }
    ~ReadlineEditor() override {
        if (_current != this)
            return;
        // The next prompt of the shell begins its own line, and none of ours stays in front of it.
        const bool isBlank = !_isPerforming && !_hasEnded && rl_end == 0;
        if (isBlank)
            rl_clear_visible_line();
        rl_callback_handler_remove();
        _current = nullptr;
        if (!isBlank && !_isPerforming && !(_hasEnded && endsItsLine()))
            std::fputc('\n', _output.get());
        rl_instream = stdin;
        rl_outstream = stdout;
    }

    void start() override {
        _current = this;
        rl_instream = _input.get();
        rl_outstream = _output.get();
        // The program has its own ways with signals, and puts the terminal right at its end.
        rl_catch_signals = 0;
        rl_readline_name = "clipmule-phone";
        using_history();
        stifle_history(longestHistory);
        rl_callback_handler_install(_prompt.constData(), takeLine);
        _notifier.setEnabled(true);
    }

    void print(const QByteArray &line) override {
        const bool isTyping = _current == this && !_isPerforming;
        if (isTyping)
            rl_clear_visible_line();
        std::fwrite(line.constData(), 1, size_t(line.size()), _output.get());
        std::fputc('\n', _output.get());
        std::fflush(_output.get());
        if (isTyping) {
            rl_on_new_line();
            rl_redisplay();
        }
    }

private:
    void takeKey() {
        rl_callback_read_char();
        // Nobody is told from within the library's call: the editor may be destroyed then.
        if (!_hasEnded)
            return;
        _notifier.setEnabled(false);
        const auto end = onEnd;
        end();
    }

    // Called by rl_callback_read_char() with memory of its own; null at the end.
    static void takeLine(char *text) {
        const std::unique_ptr<char, void (*)(void *)> line(text, std::free);
        ReadlineEditor &editor = *_current;
        if (!line) {
            editor._hasEnded = true;
            // Otherwise it shows the prompt once more.
            rl_callback_handler_remove();
            return;
        }
        if (*line)
            add_history(line.get());
        const bool wasPerforming = std::exchange(editor._isPerforming, true);
        editor.onLine(QByteArray(line.get()));
        editor._isPerforming = wasPerforming;
    }

    // At the end of the input the library begins a line only where it leaves the terminal's mode
    // for pasted text.
    static bool endsItsLine() {
        const char *const mode = rl_variable_value("enable-bracketed-paste");
        return mode && std::strcmp(mode, "on") == 0;
    }

    // The library knows one terminal, and calls back without a word of whose it is.
    static inline ReadlineEditor *_current = nullptr;

    File _input;
    File _output;
    QByteArray _prompt;
    QSocketNotifier _notifier;
    bool _isPerforming = false;
    bool _hasEnded = false;
};

} // namespace

std::unique_ptr<LineEditor> LineEditor::make(int input, int output, const QByteArray &prompt) {
    if (::isatty(input) != 1 || ::isatty(output) != 1)
        return nullptr;
    File in = openCopy(input, "r");
    File out = openCopy(output, "w");
    if (!in || !out)
        return nullptr;
    return std::make_unique<ReadlineEditor>(input, std::move(in), std::move(out), prompt);
}

} // namespace clipmule
