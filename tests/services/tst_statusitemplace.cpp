// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Bundle.h"
#include "platform/desktop/HelpManager.h"
#include "platform/tray/StatusItem.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

// A screen of 1280 by 800 with a panel of 26 at its upper, or of 30 at its lower edge.
constexpr QRect screen{0, 0, 1280, 800};
constexpr QRect belowPanel{0, 26, 1280, 774};
constexpr QRect abovePanel{0, 0, 1280, 770};
constexpr int length = 29;

} // namespace

class StatusItemPlaceTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void aPlaceThatTheTrayTellsIsTaken() {
        const QRect told{1257, 1, 22, 24};
        QCOMPARE(placeOfStatusItem({told, QPoint(5, 5), screen, belowPanel, length}), told);
    }

    void otherwiseItIsAroundTheLastClickAsHighAsThePanel() {
        QCOMPARE(placeOfStatusItem({{}, QPoint(1000, 13), screen, belowPanel, length}),
                 QRect(1000 - 14, 0, 29, 26));
        QCOMPARE(placeOfStatusItem({{}, QPoint(1000, 790), screen, abovePanel, length}),
                 QRect(1000 - 14, 770, 29, 30));
    }

    void aClickAtTheScreensEdgeStaysOnIt() {
        QCOMPARE(placeOfStatusItem({{}, QPoint(1279, 0), screen, belowPanel, length}),
                 QRect(1280 - 29, 0, 29, 26));
        QCOMPARE(placeOfStatusItem({{}, QPoint(0, 0), screen, belowPanel, length}),
                 QRect(0, 0, 29, 26));
    }

    void aClickOutsideThePanelIsWhereItIs() {
        QCOMPARE(placeOfStatusItem({{}, QPoint(600, 400), screen, belowPanel, length}),
                 QRect(600 - 14, 400, 29, 1));
    }

    void withoutAClickItIsTheRightEndOfThePanel() {
        QCOMPARE(placeOfStatusItem({{}, {}, screen, belowPanel, length}), QRect(1251, 0, 29, 26));
        QCOMPARE(placeOfStatusItem({{}, {}, screen, abovePanel, length}), QRect(1251, 770, 29, 30));
    }

    void withoutAPanelItIsTheUpperRightCorner() {
        QCOMPARE(placeOfStatusItem({{}, {}, screen, screen, length}), QRect(1251, 0, 29, 0));
    }

    void onASecondScreenItIsThatScreens() {
        const QRect second{1280, 100, 1000, 700};
        QCOMPARE(placeOfStatusItem({{}, {}, second, second, length}), QRect(2280 - 29, 100, 29, 0));
    }

    void aMenuHangsBelowInTheUpperHalfAndStandsAboveInTheLower() {
        QCOMPARE(placeOfMenu({600, 0, 29, 26}, {200, 150}, screen), QPoint(600, 26));
        QCOMPARE(placeOfMenu({600, 770, 29, 30}, {200, 150}, screen), QPoint(600, 620));
    }

    void aMenuDoesNotLeaveTheScreenAtItsSide() {
        QCOMPARE(placeOfMenu({1257, 0, 22, 26}, {200, 150}, screen), QPoint(1080, 26));
        QCOMPARE(placeOfMenu({0, 0, 22, 26}, {2000, 150}, screen), QPoint(0, 26));
    }

    void theHelpBookOfABundleIsFound() {
        const QTemporaryDir folder;
        write(folder, QStringLiteral("Info.plist"),
              "{CFBundleHelpBookName = \"The Book\"; CFBundleHelpBookFolder = \"a book\";}");
        write(folder, QStringLiteral("a book/index.html"), "<p>");
        HelpBooks books;
        QVERIFY(!books.url(QStringLiteral("help"), QStringLiteral("The Book")).isValid());
        QVERIFY(books.registerBooksInBundle(Bundle(folder.path())));
        QCOMPARE(books.url(QStringLiteral("help"), QStringLiteral("The Book")).toEncoded(),
                 "file://" + folder.path().toUtf8() + "/a%20book/index.html#help");
        QVERIFY(!books.url(QStringLiteral("help"), QStringLiteral("Another")).isValid());
    }

    void aBundleWithoutABookHasNone_data() {
        QTest::addColumn<QByteArray>("information");
        QTest::newRow("no name") << QByteArray("{CFBundleHelpBookFolder = book;}");
        QTest::newRow("no folder") << QByteArray("{CFBundleHelpBookName = n;}");
        QTest::newRow("no page") << QByteArray(
            "{CFBundleHelpBookName = n; CFBundleHelpBookFolder = other;}");
        QTest::newRow("outside") << QByteArray(
            "{CFBundleHelpBookName = n; CFBundleHelpBookFolder = \"x/../book\";}");
        QTest::newRow("no text") << QByteArray(
            "{CFBundleHelpBookName = (n); CFBundleHelpBookFolder = book;}");
    }
    void aBundleWithoutABookHasNone() {
        QFETCH(QByteArray, information);
        const QTemporaryDir folder;
        write(folder, QStringLiteral("Info.plist"), information);
        write(folder, QStringLiteral("book/index.html"), "<p>");
        QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("x")));
        HelpBooks books;
        QVERIFY(!books.registerBooksInBundle(Bundle(folder.path())));
    }

    void theProgramsOwnBookIsFound() {
        HelpBooks books;
        QVERIFY(books.registerBooksInBundle(Bundle::mainBundle()));
        QVERIFY(books.url(QStringLiteral("help"), QStringLiteral("Clipmule Sync Help")).isValid());
    }

private:
    static void write(const QTemporaryDir &folder, const QString &name, const QByteArray &bytes) {
        const QString path = folder.filePath(name);
        QVERIFY(QDir().mkpath(path.section(u'/', 0, -2)));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
};

QTEST_GUILESS_MAIN(StatusItemPlaceTest)
#include "tst_statusitemplace.moc"
