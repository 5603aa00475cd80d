// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "ui/MessagePanel.h"

#include <QTest>

using namespace clipmule;

namespace {

const QRect screen(0, 0, 1280, 800);

} // namespace

class MessagePanelPlaceTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void frame_data() {
        QTest::addColumn<QSize>("panel");
        QTest::addColumn<QRect>("item");
        QTest::addColumn<QRect>("frame");
        QTest::addColumn<bool>("above");
        QTest::addColumn<bool>("mirrored");
        // The item's centre is at 1014.5; 1014.5 - 113 - 100 = 801.5.
        QTest::newRow("below, rounded down") << QSize(226, 62) << QRect(1000, 0, 29, 22)
                                             << QRect(801, 22, 226, 62) << false << false;
        QTest::newRow("even item") << QSize(226, 94) << QRect(1000, 1, 24, 24)
                                   << QRect(799, 25, 226, 94) << false << false;
        QTest::newRow("odd panel") << QSize(227, 62) << QRect(1000, 0, 30, 22)
                                   << QRect(801, 22, 227, 62) << false << false;
        QTest::newRow("panel at the lower edge") << QSize(226, 62) << QRect(1000, 776, 24, 24)
                                                 << QRect(799, 714, 226, 62) << true << false;
        QTest::newRow("right corner") << QSize(226, 62) << QRect(1256, 0, 24, 24)
                                      << QRect(1054, 24, 226, 62) << false << false;
        // Its centre is at 32; 32 - 113 + 100 = 19.
        QTest::newRow("left corner")
            << QSize(226, 62) << QRect(20, 0, 24, 24) << QRect(19, 24, 226, 62) << false << true;
        // Its centre is at 34.5.
        QTest::newRow("left corner, rounded up")
            << QSize(226, 62) << QRect(20, 0, 29, 22) << QRect(22, 22, 226, 62) << false << true;
        QTest::newRow("in the very corner")
            << QSize(226, 62) << QRect(0, 776, 24, 24) << QRect(0, 714, 226, 62) << true << true;
        QTest::newRow("just room on the left")
            << QSize(226, 62) << QRect(201, 0, 24, 24) << QRect(0, 24, 226, 62) << false << false;
        QTest::newRow("one point too little")
            << QSize(226, 62) << QRect(200, 0, 24, 24) << QRect(199, 24, 226, 62) << false << true;
    }

    void frame() {
        QFETCH(QSize, panel);
        QFETCH(QRect, item);
        const auto place = placeOfMessagePanel(panel, item, screen);
        QTEST(place.frame, "frame");
        QTEST(place.isAbove, "above");
        QTEST(place.isMirrored, "mirrored");
    }

    void secondScreen() {
        const QRect right(1280, -200, 1920, 1080);
        const auto place = placeOfMessagePanel({226, 62}, {1290, -200, 24, 24}, right);
        QCOMPARE(place.frame, QRect(1289, -176, 226, 62));
        QVERIFY(place.isMirrored);
        QVERIFY(!place.isAbove);
        QVERIFY(placeOfMessagePanel({226, 62}, {2000, 850, 24, 24}, right).isAbove);
    }
};

QTEST_GUILESS_MAIN(MessagePanelPlaceTest)
#include "tst_messagepanelplace.moc"
