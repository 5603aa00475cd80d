// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"
#include "tests/pasteboard/X11TestRequestor.h"

#include <QTest>

#include <memory>

using namespace clipmule;
using clipmule::kit::answered;
using clipmule::kit::await;
using clipmule::kit::textOn;
using clipmule::kit::X11TestOwner;
using clipmule::kit::X11TestRequestor;
using Desktop = kit::X11Desktop;

namespace {

using Answers = QList<X11TestOwner::Answer>;

const QByteArray picture = "\x89PNG\r\n\x1a\n...";

// What managers offer when they have taken over, as recorded.

Answers asParcellite(const QByteArray &text) {
    return {{"UTF8_STRING", text},
            {"TEXT", text},
            {"STRING", text},
            {"text/plain;charset=utf-8", text},
            {"text/plain", text}};
}

Answers asKlipper(const QByteArray &text) {
    return {{"text/plain", text},
            {"UTF8_STRING", text},
            {"STRING", text},
            {"TEXT", text},
            {"application/x-kde-onlyReplaceEmpty", "1"}};
}

bool isEmpty(const Desktop &desktop) {
    return await([&] { return desktop.pasteboard->contents().isEmpty(); });
}

void nameTheManager(X11TestOwner &manager) {
    xcb_set_selection_owner(manager.connection().xcb(), manager.window(),
                            manager.connection().atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
    manager.connection().flush();
}

void give(X11TestOwner &owner, const Answers &answers, Desktop &desktop) {
    owner.own(answers);
    QVERIFY(desktop.fetchEnds());
}

} // namespace

// Managers that fill the gap an owner leaves with something older from their history, and others
// that do what only looks like it.
class X11ClipboardManagersTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    // A manager that keeps texts only, after a picture.
    void olderTextInThePlaceOfAPictureIsNoCopy_data() {
        QTest::addColumn<double>("afterSeconds");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isCopy");
        QTest::newRow("of before") << 0.4 << QByteArray("older\ntext") << false;
        QTest::newRow("with other line ends") << 0.4 << QByteArray("older\r\ntext") << false;
        QTest::newRow("at the last moment") << 0.749 << QByteArray("older\ntext") << false;
        QTest::newRow("later") << 0.751 << QByteArray("older\ntext") << true;
        QTest::newRow("something new") << 0.4 << QByteArray("new") << true;
    }
    void olderTextInThePlaceOfAPictureIsNoCopy() {
        QFETCH(double, afterSeconds);
        QFETCH(QByteArray, text);
        QFETCH(bool, isCopy);
        Desktop desktop;
        X11TestOwner program;
        give(program, {{"UTF8_STRING", "older\ntext"}, {"text/html", "<b>older</b>"}}, desktop);
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        painter.quit();
        QVERIFY(isEmpty(desktop));
        desktop.runLoop.advance(afterSeconds);
        X11TestOwner manager;
        give(manager, asParcellite(text), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? 3 : 2);
        // What a person makes is one again.
        give(program, {{"UTF8_STRING", "older\ntext"}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? 4 : 3);
    }

    // It was put there by us, and must not go back to where it came from.
    void whatCameFromAPhoneDoesNotComeBack_data() {
        QTest::addColumn<Answers>("broughtBack");
        QTest::newRow("unmarked") << asParcellite("from the phone");
        QTest::newRow("marked") << asKlipper("from the phone");
    }
    void whatCameFromAPhoneDoesNotComeBack() {
        QFETCH(Answers, broughtBack);
        Desktop desktop;
        desktop.pasteboard->write({.text = "from the phone"});
        desktop.settle();
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        painter.quit();
        QVERIFY(isEmpty(desktop));
        X11TestOwner manager;
        give(manager, broughtBack, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("from the phone"));
    }

    // Its history may be longer than our life.
    void aKnownManagersHistoryIsNoCopy_data() {
        QTest::addColumn<QString>("known");
        QTest::addColumn<bool>("isCopy");
        QTest::newRow("as the desktop's manager") << QStringLiteral("manager") << false;
        QTest::newRow("by a takeover") << QStringLiteral("takeover") << false;
        QTest::newRow("by what it owned at our start") << QStringLiteral("start") << false;
        QTest::newRow("by what it owned while nobody watched")
            << QStringLiteral("unwatched") << false;
        QTest::newRow("not at all") << QString() << true;
    }
    void aKnownManagersHistoryIsNoCopy() {
        QFETCH(QString, known);
        QFETCH(bool, isCopy);
        X11TestOwner manager;
        if (known == u"start")
            manager.own(asParcellite("something"));
        Desktop desktop;
        X11TestOwner program;
        if (known == u"manager")
            nameTheManager(manager);
        if (known == u"takeover") {
            give(program, {{"UTF8_STRING", "x"}}, desktop);
            program.quit();
            QVERIFY(isEmpty(desktop));
            give(manager, asParcellite("x"), desktop);
        }
        if (known == u"unwatched") {
            desktop.pasteboard->setWatching(false);
            manager.own(asParcellite("something"));
            QTRY_COMPARE(desktop.pasteboard->changeCount(), 1);
            desktop.pasteboard->setWatching(true);
        }
        give(program, {{"image/png", picture}}, desktop);
        const qint64 count = desktop.pasteboard->changeCount();
        program.quit();
        QVERIFY(isEmpty(desktop));
        give(manager, asParcellite("from another day"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? count + 1 : count);
        // While nobody has quit, it was chosen from the manager's list.
        give(program, {{"UTF8_STRING", "y"}}, desktop);
        give(manager, asParcellite("from another day"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? count + 3 : count + 2);
    }

    // The server gives the number of a window that has gone to the next client's.
    void aWindowThatHasGoneIsNotKnown() {
        Desktop desktop;
        auto first = std::make_unique<X11TestOwner>();
        const xcb_window_t window = first->window();
        give(*first, {{"UTF8_STRING", "x"}}, desktop);
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        first.reset();
        std::unique_ptr<X11TestOwner> next;
        QTRY_VERIFY((next = std::make_unique<X11TestOwner>())->window() == window);
        desktop.settle();
        painter.quit();
        QVERIFY(isEmpty(desktop));
        give(*next, {{"UTF8_STRING", "new"}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 3);
    }

    // The same, where the window had also read from us in pieces.
    void aWindowThatHasGoneAfterATransferIsNotKnown() {
        Desktop desktop;
        auto first = std::make_unique<X11TestOwner>();
        auto reader = std::make_unique<X11TestRequestor>(first->sharedConnection());
        const xcb_window_t window = reader->window();
        first->own(asParcellite("x"), window);
        QVERIFY(desktop.fetchEnds());
        desktop.pasteboard->write({.text = QByteArray(3 * X11SelectionOwner::pieceBytes, 'x')});
        reader->request("UTF8_STRING");
        QVERIFY(answered(*reader));
        desktop.settle();
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        reader.reset();
        first.reset();
        std::unique_ptr<X11TestOwner> next;
        QTRY_VERIFY([&] {
            next = std::make_unique<X11TestOwner>();
            return X11TestRequestor(next->sharedConnection()).window() == window;
        }());
        desktop.settle();
        painter.quit();
        QVERIFY(isEmpty(desktop));
        const qint64 count = desktop.pasteboard->changeCount();
        next->own(asParcellite("new"), window);
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), count + 1);
    }

    // What ended was ours: who had the clipboard before us is as good a manager as any.
    void olderTextAfterOursWasClearedIsNoCopy() {
        Desktop desktop;
        X11TestOwner manager;
        give(manager, asParcellite("older"), desktop);
        desktop.pasteboard->write({.images = {picture}});
        desktop.settle();
        X11TestOwner other;
        xcb_set_selection_owner(other.connection().xcb(), XCB_NONE,
                                other.connection().atom("CLIPBOARD"), XCB_CURRENT_TIME);
        other.connection().flush();
        QVERIFY(isEmpty(desktop));
        give(manager, asParcellite("from another day"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // Programs that empty the clipboard before they copy.
    void whoEmptiesTheClipboardAndCopiesHasCopied_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("something new") << QByteArray("new");
        QTest::newRow("something of before") << QByteArray("first");
    }
    void whoEmptiesTheClipboardAndCopiesHasCopied() {
        QFETCH(QByteArray, text);
        Desktop desktop;
        X11TestOwner program;
        give(program, {{"UTF8_STRING", "first"}}, desktop);
        give(program, {{"UTF8_STRING", "second"}}, desktop);
        xcb_set_selection_owner(program.connection().xcb(), XCB_NONE,
                                program.connection().atom("CLIPBOARD"), XCB_CURRENT_TIME);
        program.connection().flush();
        QVERIFY(isEmpty(desktop));
        give(program, {{"UTF8_STRING", text}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 3);
    }

    // Password managers do so after a while.
    void olderTextAfterTheClipboardWasEmptiedIsNoCopy() {
        Desktop desktop;
        X11TestOwner program;
        give(program, {{"UTF8_STRING", "older"}}, desktop);
        X11TestOwner vault;
        give(vault, {{"UTF8_STRING", "secret"}, {"x-kde-passwordManagerHint", "secret"}}, desktop);
        xcb_set_selection_owner(vault.connection().xcb(), XCB_NONE,
                                vault.connection().atom("CLIPBOARD"), XCB_CURRENT_TIME);
        vault.connection().flush();
        QVERIFY(isEmpty(desktop));
        X11TestOwner manager;
        give(manager, asParcellite("older"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // Managers that put a password back leave out its mark; on a busy machine it takes them long.
    void aSecretThatComesBackWithoutItsMarkIsNoCopy_data() {
        QTest::addColumn<Answers>("back");
        QTest::addColumn<bool>("isCopy");
        const X11TestOwner::Answer mark{"x-kde-passwordManagerHint", "secret"};
        QTest::newRow("unmarked") << asParcellite("hunter2") << false;
        // It is kept back by its mark.
        QTest::newRow("marked") << Answers{{"UTF8_STRING", "hunter2"}, mark} << true;
        QTest::newRow("something else") << asParcellite("hunter3") << true;
        QTest::newRow("more than it")
            << Answers{{"UTF8_STRING", "hunter2"}, {"text/html", "<b>"}} << true;
    }
    void aSecretThatComesBackWithoutItsMarkIsNoCopy() {
        QFETCH(Answers, back);
        QFETCH(bool, isCopy);
        Desktop desktop;
        X11TestOwner vault;
        give(vault, {{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}}, desktop);
        vault.quit();
        QVERIFY(isEmpty(desktop));
        desktop.runLoop.advance(3600);
        X11TestOwner program;
        give(program, {{"UTF8_STRING", "x"}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        X11TestOwner manager;
        give(manager, back, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isCopy ? 3 : 2);
    }

    void theProgramThatMarkedASecretMayCopyItOpenly() {
        Desktop desktop;
        X11TestOwner vault;
        give(vault, {{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}}, desktop);
        give(vault, asParcellite("hunter2"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    // The number of its window is given to another's, who may be a manager.
    void theNextOwnerOfItsNumberMayNot() {
        Desktop desktop;
        auto vault = std::make_unique<X11TestOwner>();
        const xcb_window_t window = vault->window();
        give(*vault, {{"UTF8_STRING", "hunter2"}, {"x-kde-passwordManagerHint", "secret"}},
             desktop);
        X11TestOwner program;
        give(program, {{"UTF8_STRING", "x"}}, desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        vault.reset();
        std::unique_ptr<X11TestOwner> next;
        QTRY_VERIFY((next = std::make_unique<X11TestOwner>())->window() == window);
        desktop.settle();
        give(*next, asParcellite("hunter2"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
    }

    void soManySecretsAreRemembered_data() { soMuchIsRemembered_data(); }
    void soManySecretsAreRemembered() {
        QFETCH(size_t, copiesSince);
        QFETCH(bool, isRemembered);
        Desktop desktop;
        X11TestOwner vault;
        const X11TestOwner::Answer mark{"x-kde-passwordManagerHint", "secret"};
        give(vault, {{"UTF8_STRING", "first"}, mark}, desktop);
        for (size_t copy = 0; copy < copiesSince; ++copy)
            give(vault, {{"UTF8_STRING", QByteArray::number(qint64(copy))}, mark}, desktop);
        const qint64 count = desktop.pasteboard->changeCount();
        X11TestOwner manager;
        give(manager, asParcellite("first"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isRemembered ? count : count + 1);
    }

    void soMuchIsRemembered_data() {
        QTest::addColumn<size_t>("copiesSince");
        QTest::addColumn<bool>("isRemembered");
        QTest::newRow("just") << PasteboardHistory::mostRemembered - 1 << true;
        QTest::newRow("no more") << PasteboardHistory::mostRemembered << false;
    }
    void soMuchIsRemembered() {
        QFETCH(size_t, copiesSince);
        QFETCH(bool, isRemembered);
        Desktop desktop;
        desktop.pasteboard->write({.text = "first"});
        for (size_t copy = 1; copy < copiesSince; ++copy)
            desktop.pasteboard->write({.text = QByteArray::number(qint64(copy))});
        desktop.settle();
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        const qint64 count = desktop.pasteboard->changeCount();
        painter.quit();
        QVERIFY(isEmpty(desktop));
        X11TestOwner manager;
        give(manager, asParcellite("first"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isRemembered ? count : count + 1);
    }

    void soManyOwnersAreRemembered_data() {
        QTest::addColumn<qsizetype>("others");
        QTest::addColumn<bool>("isRemembered");
        QTest::newRow("just") << X11Pasteboard::mostEarlierOwners - 1 << true;
        QTest::newRow("no more") << X11Pasteboard::mostEarlierOwners << false;
    }
    void soManyOwnersAreRemembered() {
        QFETCH(qsizetype, others);
        QFETCH(bool, isRemembered);
        Desktop desktop;
        desktop.pasteboard->setWatching(false);
        X11TestOwner crowd;
        X11Connection &connection = crowd.connection();
        for (qsizetype window = 0; window < others; ++window)
            xcb_set_selection_owner(connection.xcb(), connection.createWindow(),
                                    connection.atom("CLIPBOARD"), XCB_CURRENT_TIME);
        connection.flush();
        QTRY_COMPARE(desktop.pasteboard->changeCount(), others);
        X11TestOwner manager;
        manager.own(asParcellite("something"));
        QTRY_COMPARE(desktop.pasteboard->changeCount(), others + 1);
        desktop.pasteboard->setWatching(true);
        X11TestOwner painter;
        give(painter, {{"image/png", picture}}, desktop);
        const qint64 count = desktop.pasteboard->changeCount();
        painter.quit();
        QVERIFY(isEmpty(desktop));
        give(manager, asParcellite("from another day"), desktop);
        QCOMPARE(desktop.pasteboard->changeCount(), isRemembered ? count : count + 1);
    }
};

QTEST_GUILESS_MAIN(X11ClipboardManagersTest)
#include "tst_x11_clipboardmanagers.moc"
