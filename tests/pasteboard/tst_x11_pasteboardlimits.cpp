// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

#include <ctime>

using namespace clipmule;
using clipmule::kit::await;
using clipmule::kit::kinds;
using clipmule::kit::textOn;
using Desktop = kit::X11Desktop;
using clipmule::kit::X11TestOwner;

namespace {

double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

} // namespace

class X11PasteboardLimitsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void announcedSizeAboveTheLimitIsRefused_data() {
        QTest::addColumn<qint64>("announced");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("one below") << TargetSequence::byteLimit - 1 << true;
        QTest::newRow("at the limit") << TargetSequence::byteLimit << true;
        QTest::newRow("one above") << TargetSequence::byteLimit + 1 << false;
        QTest::newRow("far above") << qint64(0xffffffff) << false;
    }
    void announcedSizeAboveTheLimitIsRefused() {
        QFETCH(qint64, announced);
        QFETCH(bool, isTaken);
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{.target = "image/png",
                    .data = "png",
                    .pieceBytes = 100,
                    .announced = announced - 4}, // the text's bytes count as well
                   {"UTF8_STRING", "text"}});
        if (!isTaken)
            QTest::ignoreMessage(QtWarningMsg, "the clipboard's image/png is larger than 100663296 "
                                               "bytes and is left out");
        if (announced == 0xffffffff)
            owner.own(
                {{.target = "image/png", .data = "png", .pieceBytes = 100, .announced = announced},
                 {"UTF8_STRING", "text"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(kinds(*desktop.pasteboard).contains(QStringLiteral("image")), isTaken);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("text"));
        // The owner is not left waiting.
        QVERIFY(await([&] { return !owner.isTransferring(); }));
    }

    void ownerThatSendsMoreThanItAnnouncedIsCutOff() {
        Desktop desktop;
        X11TestOwner owner;
        const qsizetype size = TargetSequence::byteLimit + 1;
        owner.own({{.target = "image/png",
                    .data = QByteArray(size, 'x'),
                    .pieceBytes = 8 * 1024 * 1024,
                    .announced = 1}});
        QTest::ignoreMessage(QtWarningMsg, "the clipboard's image/png is larger than 100663296 "
                                           "bytes and is left out");
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 0);
    }

    void whatIsExactlyAtTheLimitIsTaken() {
        Desktop desktop;
        X11TestOwner owner;
        const qsizetype size = TargetSequence::byteLimit;
        owner.own(
            {{.target = "image/png", .data = QByteArray(size, 'x'), .pieceBytes = 8 * 1024 * 1024},
             {"x.beside", "1"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->contents().images.value(0).size(), size);
        // Nothing more fits in.
        QVERIFY(!desktop.pasteboard->contents().others.value(QStringLiteral("x.beside")));
    }

    void nativeContentsAreLimitedMore_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("one below") << TargetSequence::nativeByteLimit - 1 << true;
        QTest::newRow("at the limit") << TargetSequence::nativeByteLimit << true;
        QTest::newRow("one above") << TargetSequence::nativeByteLimit + 1 << false;
    }
    void nativeContentsAreLimitedMore() {
        QFETCH(qint64, size);
        QFETCH(bool, isTaken);
        Desktop desktop;
        X11TestOwner owner;
        const auto piece = 4 * 1024 * 1024;
        owner.own({{.target = "x.first", .data = "123", .pieceBytes = 2},
                   {.target = "x.second", .data = QByteArray(size - 3, 'x'), .pieceBytes = piece},
                   {.target = "image/png", .data = QByteArray(size + 1, 'x'), .pieceBytes = piece},
                   {"UTF8_STRING", "text"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->contents().others.value(QStringLiteral("x.first")), "123");
        QCOMPARE(
            desktop.pasteboard->contents().others.value(QStringLiteral("x.second")).has_value(),
            isTaken);
        QCOMPARE(desktop.pasteboard->contents().images.value(0).size(), size + 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("text"));
        // The next copy has the whole of it again.
        owner.own({{.target = "x.second", .data = QByteArray(size - 3, 'x'), .pieceBytes = piece}});
        QVERIFY(desktop.fetchEnds());
        QVERIFY(desktop.pasteboard->contents().others.value(QStringLiteral("x.second")));
    }

    // The run loop's own heartbeat: the longest that one turn of it kept the thread busy, owner's
    // work included, since it runs on the same loop.
    void noTurnOfTheRunLoopIsLong() {
        Desktop desktop;
        X11TestOwner owner;
        const QByteArray data(64 * 1024 * 1024, 'x');
        owner.own({{.target = "image/png", .data = data, .pieceBytes = 256 * 1024},
                   {.target = "UTF8_STRING",
                    .data = data.first(16 * 1024 * 1024),
                    .pieceBytes = 256 * 1024}});
        QVERIFY(await([&] { return desktop.pasteboard->isFetching(); }));
        desktop.runLoop.advance(PasteboardHistory::settleTime);
        double longest = 0;
        int turns = 0;
        while (desktop.pasteboard->isFetching()) {
            const double before = threadSeconds();
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            longest = std::max(longest, threadSeconds() - before);
            ++turns;
        }
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(desktop.pasteboard->contents().images.value(0).size(), data.size());
        qInfo("%d turns, the longest %.1f ms of processor time", turns, longest * 1000);
        QVERIFY(turns > 100);
        QVERIFY2(longest < 0.05, qPrintable(QString::number(longest)));
    }
};

QTEST_GUILESS_MAIN(X11PasteboardLimitsTest)
#include "tst_x11_pasteboardlimits.moc"
