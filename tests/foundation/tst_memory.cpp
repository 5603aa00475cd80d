// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Memory.h"
#include "tests/kit/AllocatedBytes.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QTest>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace clipmule;

class MemoryTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void trimsOnceAWhileAfterALargeClip() {
        int trims = 0;
        HeapTrimmer trimmer([&] { ++trims; });
        trimmer.clipPassed(9'000'000);
        _runLoop.advance(2.9);
        QCOMPARE(trims, 0);
        _runLoop.advance(0.1);
        QCOMPARE(trims, 1);
        _runLoop.advance(100);
        QCOMPARE(trims, 1);
    }

    void clipsInARowAreTrimmedTogether() {
        int trims = 0;
        HeapTrimmer trimmer([&] { ++trims; });
        for (int i = 0; i < 5; ++i) {
            trimmer.clipPassed(9'000'000);
            _runLoop.advance(1);
        }
        QCOMPARE(trims, 0);
        _runLoop.advance(2);
        QCOMPARE(trims, 1);
    }

    void smallClipsAreNotWorthIt() {
        int trims = 0;
        HeapTrimmer trimmer([&] { ++trims; });
        trimmer.clipPassed(19'999);
        trimmer.clipPassed(20'000);
        _runLoop.advance(10);
        QCOMPARE(trims, 0);
        trimmer.clipPassed(20'001);
        // Nor do they put it off.
        _runLoop.advance(2);
        trimmer.clipPassed(10);
        _runLoop.advance(1);
        QCOMPARE(trims, 1);
    }

    void whatAThreadLeavesIsGivenBack() {
        if (__sanitizer_get_current_allocated_bytes)
            QSKIP("The sanitizers have an allocator of their own.");
        shareOneHeap();
        // The test's own watchdog has one.
        const int before = heaps();
        std::thread([] {
            // Too small for maps of their own.
            std::vector<std::unique_ptr<char[]>> pieces(500);
            for (auto &piece : pieces)
                piece = std::make_unique<char[]>(20'000);
        }).join();
        // In the arena of a thread a trim leaves the end as it is.
        QCOMPARE(heaps(), before);
    }

private:
    static int heaps() {
        char *text = nullptr;
        size_t size = 0;
        std::FILE *const file = ::open_memstream(&text, &size);
        const int failed = ::malloc_info(0, file);
        std::fclose(file);
        const int count = failed ? 0 : int(QByteArrayView(text, qsizetype(size)).count("<heap "));
        std::free(text);
        return count;
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
};

QTEST_GUILESS_MAIN(MemoryTest)
#include "tst_memory.moc"
