// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// Inserts clips into the store of a folder, each into the history and, as a copy, into a custom
// clipboard that keeps the latest few; saves after each, and says so, until it is killed: by
// itself, so many microseconds after the first save. Usage: store_writer FOLDER FIRST MICROSECONDS,
// where FIRST is the number of the first clip.

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleClipboard.h"
#include "tests/kit/ManualRunLoop.h"

#include <csignal>
#include <cstdio>
#include <ctime>

using namespace clipmule;

namespace {

constexpr qsizetype mostInCustom = 20;

// As if from outside: the kernel sends it whatever the program is doing then.
void killLater(long microseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    itimerspec time{};
    time.it_value.tv_nsec = 1 + microseconds * 1000;
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
        ::timer_settime(timer, 0, &time, nullptr) != 0)
        std::raise(SIGKILL);
}

std::shared_ptr<ZRKClipmuleData> clipOf(int number) {
    auto clip =
        ZRKClipmuleData::initWithImageData(QByteArray(1000, 'i') + QByteArray::number(number));
    clip->firstItem()->setString(QString::number(number));
    return clip;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4)
        return 2;
    kit::ManualRunLoop runLoop;
    const RunLoop::Installation runLoopInstallation(runLoop);
    const auto store = ClipboardStore::make(QString::fromLocal8Bit(argv[1]));
    const int first = QByteArray(argv[2]).toInt();
    for (int number = first;; ++number) {
        store->mainClipboard()->insertClipmuleDataAtIndex(clipOf(number), 0);
        if (store->customClipboards().isEmpty())
            store->insertCustomClipboardAtIndex(std::make_shared<ZRKClipmuleClipboard>(), 0);
        const auto custom = store->customClipboards().first();
        custom->insertClipmuleDataAtIndex(clipOf(number), 0);
        while (custom->items().size() > mostInCustom)
            custom->removeClipmuleData(custom->items().last());
        store->saveIfNeeded();
        std::printf("%d\n", number);
        std::fflush(stdout);
        if (number == first)
            killLater(QByteArray(argv[3]).toLong());
    }
}
