// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"
#include "tests/pasteboard/X11TestRequestor.h"

#include <QTest>

using namespace clipmule;
using clipmule::kit::answered;
using clipmule::kit::await;
using clipmule::kit::kinds;
using clipmule::kit::textOn;
using clipmule::kit::X11TestRequestor;
using Desktop = kit::X11Desktop;
using clipmule::kit::X11TestOwner;

namespace {

QList<X11TestOwner::Answer> text(const QByteArray &utf8) {
    return {{"UTF8_STRING", utf8}};
}

} // namespace

// Which changes of the clipboard's owner are copies, and what happens while nobody watches.
class X11ClipboardOwnersTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void quittingOwnerLeavesNothingAndIsNoCopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        owner.quit();
        QVERIFY(await([&] { return desktop.pasteboard->contents().isEmpty(); }));
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QVERIFY(!desktop.pasteboard->isFetching());
    }

    void managerThatTakesOverIsNoCopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "x"}, {"text/plain", "x"}, {"org.example", "y"}});
        QVERIFY(desktop.fetchEnds());
        X11TestOwner manager;
        owner.quit();
        manager.own({{"UTF8_STRING", "x"}, {"STRING", "x"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("x"));
        // What comes next is one again, be it the same.
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // Somebody quits a program and copies the same in another.
    void sameContentsLaterAreACopy_data() {
        QTest::addColumn<double>("afterSeconds");
        QTest::addColumn<int>("changeCount");
        QTest::newRow("at the last moment of a manager") << 0.749 << 1;
        QTest::newRow("later") << 0.751 << 2;
    }
    void sameContentsLaterAreACopy() {
        QFETCH(double, afterSeconds);
        QFETCH(int, changeCount);
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        owner.quit();
        QVERIFY(await([&] { return desktop.pasteboard->contents().isEmpty(); }));
        desktop.runLoop.advance(afterSeconds);
        X11TestOwner other;
        other.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), changeCount);
    }

    void slowManagerIsNoCopyEither() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        X11TestOwner manager;
        owner.quit();
        manager.setMute(true);
        manager.own(text("x"));
        QVERIFY(desktop.fetchBegins());
        desktop.settle();
        desktop.runLoop.advance(1.0);
        manager.setMute(false);
        manager.answerLate();
        QVERIFY(await([&] { return !desktop.pasteboard->isFetching(); }));
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("x"));
    }

    // What quits before it was read leaves something new behind.
    void copyThatOnlyTheManagerHadTimeToReadIsACopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        owner.own(text("x"));
        QVERIFY(await([&] { return desktop.pasteboard->isFetching(); }));
        X11TestOwner manager;
        owner.quit();
        manager.own(text("x"));
        QVERIFY(await([&] { return desktop.pasteboard->contents().isEmpty(); }));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        // Once it was read it is as old as any other.
        manager.quit();
        QVERIFY(await([&] { return desktop.pasteboard->contents().isEmpty(); }));
        X11TestOwner nextManager;
        nextManager.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // An owner that quits may ask the desktop's manager to keep its contents before it goes.
    void theDesktopsManagerMayTakeOverFromALivingOwner_data() {
        QTest::addColumn<bool>("isTheManager");
        QTest::addColumn<QByteArray>("taken");
        QTest::addColumn<int>("changeCount");
        QTest::newRow("the manager") << true << QByteArray("x") << 1;
        QTest::newRow("another program") << false << QByteArray("x") << 2;
        QTest::newRow("the manager, something else") << true << QByteArray("y") << 2;
    }
    void theDesktopsManagerMayTakeOverFromALivingOwner() {
        QFETCH(bool, isTheManager);
        QFETCH(QByteArray, taken);
        QFETCH(int, changeCount);
        Desktop desktop;
        X11TestOwner manager;
        X11TestOwner other;
        X11Connection &connection = manager.connection();
        xcb_set_selection_owner(connection.xcb(), connection.createWindow(),
                                connection.atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
        connection.flush();
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "x"}, {"text/html", "<b>x</b>"}});
        QVERIFY(desktop.fetchEnds());
        (isTheManager ? manager : other).own(text(taken));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), changeCount);
    }

    // From its history, say, when there has been nothing for a while, or something not known to us.
    void whatIsTakenFromTheManagerLaterIsACopy_data() {
        QTest::addColumn<bool>("isRead");
        QTest::newRow("after its owner's end") << true;
        QTest::newRow("what nobody has read") << false;
    }
    void whatIsTakenFromTheManagerLaterIsACopy() {
        QFETCH(bool, isRead);
        Desktop desktop;
        X11TestOwner manager;
        xcb_set_selection_owner(manager.connection().xcb(), manager.window(),
                                manager.connection().atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
        manager.connection().flush();
        desktop.pasteboard->setWatching(isRead);
        X11TestOwner owner;
        owner.own(text("x"));
        if (isRead) {
            QVERIFY(desktop.fetchEnds());
            owner.quit();
            QVERIFY(await([&] { return desktop.pasteboard->contents().isEmpty(); }));
            desktop.runLoop.advance(1.0);
        } else {
            QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
            desktop.pasteboard->setWatching(true);
        }
        manager.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void otherContentsAfterWhatWasLetGoAreACopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"image/png", QByteArray(2'000'000, 'x')}});
        QVERIFY(desktop.fetchEnds());
        desktop.pasteboard->releaseContents();
        X11TestOwner other;
        owner.quit();
        other.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void aManagerDoesNotHideACopyMadeJustBefore() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        owner.own(text("x"));
        X11TestOwner manager;
        xcb_set_selection_owner(manager.connection().xcb(), manager.window(),
                                manager.connection().atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
        manager.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void managerThatTakesOurContentsIsNoCopy() {
        Desktop desktop;
        desktop.pasteboard->write({.images = {"\x89PNG\r\n\x1a\n..."}});
        X11TestOwner manager;
        X11TestRequestor reader(manager.sharedConnection());
        reader.request("image/png");
        QVERIFY(answered(reader));
        manager.own({{"image/png", "\x89PNG\r\n\x1a\n..."}, {"application/x-manager", "1"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(kinds(*desktop.pasteboard),
                 (QStringList{QStringLiteral("image"), QStringLiteral("application/x-manager")}));
    }

    // A person copies what has just arrived, or a part of it.
    void copyOfOurContentsIsACopy_data() {
        QTest::addColumn<bool>("hasRead");
        QTest::addColumn<double>("afterSeconds");
        QTest::addColumn<bool>("isCopy");
        QTest::newRow("by a program that has not read it") << false << 0.0 << true;
        QTest::newRow("by one that read it at last") << true << 0.999 << false;
        QTest::newRow("by one that read it long ago") << true << 1.001 << true;
    }
    void copyOfOurContentsIsACopy() {
        QFETCH(bool, hasRead);
        QFETCH(double, afterSeconds);
        QFETCH(bool, isCopy);
        Desktop desktop;
        desktop.pasteboard->write({.url = QUrl(QStringLiteral("http://example.org/a"))});
        desktop.settle();
        X11TestOwner program;
        X11TestRequestor reader(program.sharedConnection());
        // To know what there is is not to have it.
        reader.request(hasRead ? "UTF8_STRING" : "TARGETS");
        QVERIFY(answered(reader));
        desktop.runLoop.advance(afterSeconds);
        program.own({{"UTF8_STRING", "http://example.org/a"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? 2 : 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("http://example.org/a"));
    }

    // The server gives the number of a client that has gone to the next one.
    void readerThatHasGoneIsNotTheNextOwner_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::newRow("at once") << qsizetype(10);
        QTest::newRow("in pieces") << 3 * X11SelectionOwner::pieceBytes;
    }
    void readerThatHasGoneIsNotTheNextOwner() {
        QFETCH(qsizetype, size);
        Desktop desktop;
        const QByteArray contents(size, 'x');
        desktop.pasteboard->write({.text = contents});
        X11TestOwner program;
        X11TestRequestor reader(program.sharedConnection());
        reader.request("UTF8_STRING");
        QVERIFY(answered(reader));
        desktop.settle();
        reader.die();
        program.own(text(contents));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void whoReadTheContentsBeforeHasNotReadTheseYet() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "first"});
        X11TestOwner program;
        X11TestRequestor reader(program.sharedConnection());
        reader.request("UTF8_STRING");
        QVERIFY(answered(reader));
        desktop.pasteboard->write({.text = "second"});
        desktop.settle();
        program.own({{"UTF8_STRING", "second"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 3);
    }

    void anotherClientCannotTakeTheClipboardInOurName() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "ours"});
        X11TestRequestor requestor;
        requestor.request("TARGETS");
        QVERIFY(answered(requestor));
        X11TestOwner other;
        xcb_connection_t *xcb = other.connection().xcb();
        const xcb_atom_t clipboard = other.connection().atom("CLIPBOARD");
        const auto owner = other.connection().reply(xcb_get_selection_owner_reply,
                                                    xcb_get_selection_owner(xcb, clipboard));
        QVERIFY(owner);
        for (int time = 0; time < 3; ++time)
            xcb_set_selection_owner(xcb, owner->owner, clipboard, XCB_CURRENT_TIME);
        (void)other.connection().reply(xcb_get_input_focus_reply, xcb_get_input_focus(xcb));
        desktop.settle();
        // An owner from before our next clip, of whom we hear only after it.
        other.own({{"UTF8_STRING", "older"}});
        desktop.pasteboard->write({.text = "newer"});
        desktop.settle();
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("newer"));
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // After a secret or a picture some managers bring back an older text.
    void whatAManagerBringsBackIsNoCopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        X11TestOwner manager;
        manager.own({{"UTF8_STRING", "older"}, {"application/x-kde-onlyReplaceEmpty", "1"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("older"));
    }

    void whatNobodyReadIsTakenOverWithoutBeingACopy() {
        Desktop desktop;
        desktop.pasteboard->setWatching(false);
        X11TestOwner owner;
        owner.own(text("before"));
        QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
        desktop.pasteboard->setWatching(true);
        X11TestOwner manager;
        owner.quit();
        manager.own(text("before"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        // But not by whoever comes later, or while the owner lives.
        X11TestOwner other;
        desktop.pasteboard->setWatching(false);
        owner.own(text("again"));
        QTRY_COMPARE(desktop.pasteboard->changeCount(), 2);
        desktop.pasteboard->setWatching(true);
        other.own(text("again"));
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 3);
    }

    void managerThatTakesOverWhatWasLetGoIsNoCopy() {
        Desktop desktop;
        X11TestOwner owner;
        const QByteArray image(2'000'000, 'x');
        owner.own({{"image/png", image}});
        QVERIFY(desktop.fetchEnds());
        desktop.pasteboard->releaseContents();
        QVERIFY(desktop.pasteboard->contents().isEmpty());
        X11TestOwner manager;
        owner.quit();
        manager.own({{"image/png", image}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QVERIFY(desktop.pasteboard->contents().images.value(0) == image);
        // Nobody has asked for them again.
        desktop.pasteboard->releaseContents();
        desktop.pasteboard->setWatching(true);
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(manager.requestCount("image/png"), 1);
        QVERIFY(desktop.pasteboard->contents().isEmpty());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
    }

    void otherContentsAfterAQuitAreACopy() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(desktop.fetchEnds());
        owner.quit();
        X11TestOwner other;
        other.own({{"UTF8_STRING", "x"}, {"text/html", "<b>x</b>"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void nothingIsFetchedWhileNobodyWatches() {
        Desktop desktop;
        desktop.pasteboard->setWatching(false);
        X11TestOwner owner;
        owner.own(text("x"));
        QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
        desktop.pasteboard->setWatching(true);
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(owner.requestCount("TARGETS"), 0);
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
    }

    // A copy that was made while a phone was there, and is complete only when none is any more,
    // must not look like a new one to the next phone.
    void whatIsBeingFetchedWhenTheWatchEndsIsCountedThen() {
        Desktop desktop;
        X11TestOwner owner;
        owner.setMute(true);
        owner.own(text("x"));
        QVERIFY(desktop.fetchBegins());
        QTRY_COMPARE(owner.unansweredCount(), 1);
        desktop.pasteboard->setWatching(false);
        QVERIFY(!desktop.pasteboard->isFetching());
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        desktop.pasteboard->setWatching(false);
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        desktop.pasteboard->setWatching(true);
        owner.setMute(false);
        owner.answerLate();
        desktop.settle();
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(owner.requestCount("UTF8_STRING"), 0);
    }

    void whatIsOnTheWayInTheMeantimeIsDropped() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own(text("x"));
        QVERIFY(await([&] { return desktop.pasteboard->isFetching(); }));
        desktop.pasteboard->setWatching(false);
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(owner.requestCount("TARGETS"), 0);
    }
};

QTEST_GUILESS_MAIN(X11ClipboardOwnersTest)
#include "tst_x11_clipboardowners.moc"
