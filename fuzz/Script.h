// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QList>

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace clipmule {

[[noreturn]] inline void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

// The input as numbers and strings, which end with it: what a compositor and other programs do, one
// after the other.
class Script {
public:
    // A string that does not fit into one message is refused by the compositor's own library.
    static constexpr int longestString = 3900;

    Script(const uint8_t *data, size_t size)
        : _bytes(reinterpret_cast<const char *>(data), qsizetype(size)) {}

    [[nodiscard]] bool isAtEnd() const { return _at >= _bytes.size(); }
    [[nodiscard]] int number(int limit) {
        return isAtEnd() ? 0 : static_cast<unsigned char>(_bytes.at(_at++)) % limit;
    }
    // A C string; with a length of 255 it comes as long as one can be.
    [[nodiscard]] QByteArray string() {
        const int length = number(256);
        QByteArray text = _bytes.mid(_at, length);
        _at += text.size();
        text.replace('\0', '0');
        return length == 255 && !text.isEmpty() ? text.repeated(longestString / text.size()) : text;
    }
    [[nodiscard]] QByteArray type() {
        static const QList<QByteArray> known = {
            "text/plain;charset=utf-8",
            "UTF8_STRING",
            "text/html",
            "text/rtf",
            "text/uri-list",
            "x-special/gnome-copied-files",
            "text/x-moz-url",
            "image/png",
            "x-kde-passwordManagerHint",
            "application/x-clipmule-own-selection-1",
        };
        const int which = number(int(known.size()) + 1);
        return which < known.size() ? known.at(which) : string();
    }

private:
    QByteArray _bytes;
    qsizetype _at = 0;
};

// One input from its first step to what must hold after the last; 0, as fuzz targets answer.
template <typename Performance>
int perform(const uint8_t *data, size_t size) {
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static const QCoreApplication application(count, arguments);
    Script script(data, size);
    Performance performance;
    while (!script.isAtEnd())
        performance.step(script);
    performance.finish();
    return 0;
}

} // namespace clipmule
