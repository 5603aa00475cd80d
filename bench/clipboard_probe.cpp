// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// The agent's clipboard without the agent, for bench_clipboard.py. Says "captured NANOSECONDS" when
// the contents of another program's copy are there; a line "offer text FILE" or "offer image
// FILE" on standard input makes it the owner of what is in the file, to which it says "offered
// NANOSECONDS". The clock is the monotonic one.

#include "platform/foundation/QtRunLoop.h"
#include "platform/pasteboard/Pasteboard.h"
#include "platform/session/Session.h"

#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <chrono>
#include <cstdio>
#include <unistd.h>

using namespace clipmule;

namespace {

void say(const char *what) {
    std::printf(
        "%s %lld\n", what,
        static_cast<long long>(std::chrono::steady_clock::now().time_since_epoch().count()));
    std::fflush(stdout);
}

void offer(Pasteboard &pasteboard, const QByteArray &kind, const QByteArray &path) {
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly))
        return;
    PasteboardContents contents;
    if (kind == "image")
        contents.images.append(file.readAll());
    else
        contents.text = file.readAll();
    pasteboard.write(contents);
    say("offered");
}

} // namespace

int main(int argc, char *argv[]) {
    QCoreApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const auto pasteboard = makePasteboard(openSession());
    pasteboard->setWatching(true);
    pasteboard->onChange = [] { say("captured"); };
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, [&] {
        char line[4096] = {};
        if (!std::fgets(line, sizeof line, stdin)) {
            QCoreApplication::quit();
            return;
        }
        const QList<QByteArray> words = QByteArray(line).trimmed().split(' ');
        if (words.size() == 3)
            offer(*pasteboard, words.at(1), words.at(2));
    });
    return QCoreApplication::exec();
}
