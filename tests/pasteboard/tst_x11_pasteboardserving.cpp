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
using clipmule::kit::textOn;
using clipmule::kit::X11TestOwner;
using clipmule::kit::X11TestRequestor;
using Desktop = kit::X11Desktop;

namespace {

QByteArray numbered(qsizetype size) {
    QByteArray data(size, Qt::Uninitialized);
    for (qsizetype index = 0; index < size; ++index)
        data[index] = char(index * 31 + index / 977);
    return data;
}

// So many bytes that begin as a PNG does.
QByteArray picture(qsizetype size) {
    return numbered(size).replace(0, 8, "\x89PNG\r\n\x1a\n");
}

} // namespace

class X11PasteboardServingTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void commitCountsAndIsReadBackAtOnce() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("x"));
        // Our own taking comes back as an event, which is no copy.
        desktop.settle();
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(desktop.pasteboard->changeCount(), 1);
        QVERIFY(!desktop.pasteboard->isFetching());
    }

    void targetsAreListed() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "\xe2\x82\xac", .html = "<b>"});
        X11TestRequestor requestor;
        requestor.request("TARGETS");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.type(), QByteArray("ATOM"));
        QCOMPARE(requestor.format(), 32);
        QCOMPARE(requestor.names().join(u' '),
                 QStringLiteral("TARGETS TIMESTAMP MULTIPLE SAVE_TARGETS text/plain;charset=utf-8 "
                                "UTF8_STRING text/plain TEXT text/html"));
    }

    void everyTargetIsServedInItsType_data() {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("UTF8_STRING")
            << QByteArray("UTF8_STRING") << QByteArray("UTF8_STRING") << QByteArray("caf\xc3\xa9");
        QTest::newRow("MIME") << QByteArray("text/plain;charset=utf-8")
                              << QByteArray("text/plain;charset=utf-8")
                              << QByteArray("caf\xc3\xa9");
        QTest::newRow("STRING") << QByteArray("STRING") << QByteArray("STRING")
                                << QByteArray("caf\xe9");
        QTest::newRow("TEXT") << QByteArray("TEXT") << QByteArray("STRING")
                              << QByteArray("caf\xe9");
        QTest::newRow("own name") << QByteArray("org.example") << QByteArray("org.example")
                                  << QByteArray("\0\1", 2);
        QTest::newRow("empty") << QByteArray("org.empty") << QByteArray("org.empty")
                               << QByteArray();
    }
    void everyTargetIsServedInItsType() {
        QFETCH(QByteArray, target);
        Desktop desktop;
        desktop.pasteboard->write(
            {.text = "caf\xc3\xa9",
             .others = {{QStringLiteral("org.example"), QByteArray("\0\1", 2)},
                        {QStringLiteral("org.empty"), QByteArray("")}}});
        X11TestRequestor requestor;
        requestor.request(target);
        QVERIFY(answered(requestor));
        QTEST(requestor.type(), "type");
        QTEST(requestor.data(), "data");
    }

    void whatIsNotOfferedIsRefused() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        X11TestRequestor requestor;
        requestor.request("image/png");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isRefused());
    }

    void timestampIsTheTimeOfTaking() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        X11TestRequestor requestor;
        requestor.request("TIMESTAMP");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.type(), QByteArray("INTEGER"));
        QCOMPARE(requestor.data().size(), 4);
        const quint32 time = *reinterpret_cast<const quint32 *>(requestor.data().constData());
        QVERIFY(time > 1);
        // Toolkits ask with the time of the last event they saw, and mean what is there now.
        requestor.requestAt("UTF8_STRING", time - 1);
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isDone());
    }

    void saveTargetsHasNoValue() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        X11TestRequestor requestor;
        requestor.request("SAVE_TARGETS");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isDone());
        QCOMPARE(requestor.data().size(), 0);
    }

    void severalTargetsInOneRequest() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x", .html = "<b>"});
        X11TestRequestor requestor;
        requestor.requestMultiple({"UTF8_STRING", "A", "image/png", "B", "text/html", "C"});
        QVERIFY(answered(requestor));
        QCOMPARE(
            requestor.names(),
            (QStringList{QStringLiteral("UTF8_STRING"), QStringLiteral("A"), QString(),
                         QStringLiteral("B"), QStringLiteral("text/html"), QStringLiteral("C")}));
        QCOMPARE(requestor.property("A"), QByteArray("x"));
        QCOMPARE(requestor.property("B"), QByteArray());
        QCOMPARE(requestor.property("C"), QByteArray("<b>"));
    }

    // Each goes its own way, in pieces.
    void severalLargeTargetsInOneRequest() {
        Desktop desktop;
        const QByteArray text(700'000, 'x');
        const QByteArray html = numbered(600'000);
        desktop.pasteboard->write({.text = text, .html = html});
        X11TestRequestor requestor;
        requestor.requestMultiple({"UTF8_STRING", "A", "image/png", "B", "text/html", "C",
                                   "TIMESTAMP", "D", "MULTIPLE", "E"});
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.names(),
                 (QStringList{QStringLiteral("UTF8_STRING"), QStringLiteral("A"), QString(),
                              QStringLiteral("B"), QStringLiteral("text/html"), QStringLiteral("C"),
                              QStringLiteral("TIMESTAMP"), QStringLiteral("D"), QString(),
                              QStringLiteral("E")}));
        QCOMPARE(requestor.property("D").size(), 4);
        const auto taken = [&](const char *property) {
            // What is there first only announces the pieces.
            QByteArray whole;
            bool isAnnouncement = true;
            bool isComplete = await([&] {
                const std::optional<QByteArray> piece = requestor.takePiece(property);
                if (piece && !isAnnouncement)
                    whole += *piece;
                return piece && !std::exchange(isAnnouncement, false) && piece->isEmpty();
            });
            return isComplete ? whole : QByteArray("(incomplete)");
        };
        QVERIFY(taken("C") == html);
        QVERIFY(taken("A") == text);
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    // A server never forgets a name.
    void namesThatPhonesMakeUpAreBounded() {
        Desktop desktop;
        X11TestRequestor requestor;
        const auto offered = [&] {
            desktop.settle();
            requestor.request("TARGETS");
            return answered(requestor) ? requestor.names() : QStringList();
        };
        const auto contentsOf = [](int from, int count) {
            PasteboardContents contents{.text = "x"};
            for (int index = from; index < from + count; ++index)
                contents.others.insert(QStringLiteral("x.made-up.%1").arg(index), "y");
            return contents;
        };
        const auto madeUp = [](const QStringList &names) {
            return names.filter(QStringLiteral("x.made-up")).size();
        };
        desktop.pasteboard->write(contentsOf(0, 200));
        QCOMPARE(madeUp(offered()), 200);
        desktop.pasteboard->write(contentsOf(1000, X11Connection::mostNewNames - 201));
        QCOMPARE(madeUp(offered()), X11Connection::mostNewNames - 201);
        QTest::ignoreMessage(QtWarningMsg,
                             "phones have named 256 kinds of contents that this desktop does not "
                             "know; further ones are left out");
        desktop.pasteboard->write(contentsOf(2000, 2));
        QCOMPARE(madeUp(offered()), 1);
        desktop.pasteboard->write(contentsOf(3000, 2));
        const QStringList last = offered();
        QCOMPARE(madeUp(last), 0);
        QVERIFY(last.contains(QStringLiteral("UTF8_STRING")));
        // Names that are known are as good as ever.
        desktop.pasteboard->write(contentsOf(0, 200));
        QCOMPARE(madeUp(offered()), 200);
    }

    void selectionIsTakenWhenItIsAskedFor() {
        Desktop desktop;
        X11TestRequestor requestor;
        requestor.setSelection("PRIMARY");
        const auto selected = [&](const char *target) {
            desktop.settle();
            requestor.request(target);
            if (!answered(requestor) || requestor.isRefused())
                return QByteArray("(refused)");
            return requestor.data();
        };
        // There is nothing of ours to offer.
        desktop.pasteboard->offerAsSelection();
        QCOMPARE(selected("UTF8_STRING"), QByteArray("(refused)"));
        desktop.pasteboard->write({.text = "ours"});
        QCOMPARE(selected("UTF8_STRING"), QByteArray("(refused)"));
        desktop.pasteboard->offerAsSelection();
        QCOMPARE(selected("UTF8_STRING"), QByteArray("ours"));
        desktop.pasteboard->write({.text = "newer"});
        QCOMPARE(selected("UTF8_STRING"), QByteArray("newer"));
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        // Somebody selects, and nothing of ours is asked for.
        X11TestOwner other;
        xcb_set_selection_owner(other.connection().xcb(), other.window(), XCB_ATOM_PRIMARY,
                                XCB_CURRENT_TIME);
        other.connection().flush();
        QCOMPARE(selected("UTF8_STRING"), QByteArray("(refused)"));
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("newer"));
    }

    void requestForSeveralWithoutPairsIsRefused() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        X11TestRequestor requestor;
        requestor.request("MULTIPLE");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.isRefused());
    }

    void largeDataGoesInPieces_data() {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<int>("pieces");
        const qsizetype piece = X11SelectionOwner::pieceBytes;
        QTest::newRow("one below") << piece - 1 << 0;
        QTest::newRow("at the limit") << piece << 0;
        QTest::newRow("one above") << piece + 1 << 2;
        QTest::newRow("ten megabytes") << qsizetype(10'000'000) << 39;
    }
    void largeDataGoesInPieces() {
        QFETCH(qsizetype, size);
        QFETCH(int, pieces);
        const QByteArray data = picture(size);
        Desktop desktop;
        desktop.pasteboard->write({.images = {data}});
        X11TestRequestor requestor;
        requestor.request("image/png");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.data() == data);
        QCOMPARE(requestor.piecesTaken(), pieces);
        // Nothing is left of the transfer, and nothing waits.
        desktop.settle();
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void latin1IsMadeOnTheWay_data() {
        QTest::addColumn<qsizetype>("length");
        QTest::addColumn<int>("pieces");
        const qsizetype piece = X11SelectionOwner::pieceBytes;
        QTest::newRow("at the limit") << piece / 2 << 0;
        QTest::newRow("one above") << piece / 2 + 1 << 2;
        QTest::newRow("a megabyte") << qsizetype(1'000'000) << 8;
    }
    void latin1IsMadeOnTheWay() {
        QFETCH(qsizetype, length);
        Desktop desktop;
        desktop.pasteboard->write({.text = QByteArray("\xc3\xa9").repeated(length)});
        X11TestRequestor requestor;
        requestor.request("STRING");
        QVERIFY(answered(requestor));
        QVERIFY(requestor.data() == QByteArray(length, '\xe9'));
        QTEST(requestor.piecesTaken(), "pieces");
    }

    void manyAreServedAtOnce() {
        const QByteArray data = picture(1'000'000);
        Desktop desktop;
        desktop.pasteboard->write({.images = {data}});
        std::vector<std::unique_ptr<X11TestRequestor>> requestors;
        for (size_t index = 0; index < X11SelectionOwner::maximumTransfers; ++index) {
            requestors.push_back(std::make_unique<X11TestRequestor>());
            requestors.back()->request("image/png", 0);
        }
        QVERIFY(await([&] {
            return desktop.runLoop.pendingCount() == int(X11SelectionOwner::maximumTransfers);
        }));
        X11TestRequestor tooMany;
        QTest::ignoreMessage(QtWarningMsg,
                             "too many transfers from the clipboard at once; one is refused");
        tooMany.request("image/png");
        QVERIFY(answered(tooMany));
        QVERIFY(tooMany.isRefused());
        // Those that are under way are taken up again by the same windows.
        for (const auto &requestor : requestors)
            requestor->request("image/png");
        for (const auto &requestor : requestors) {
            QVERIFY(answered(*requestor));
            QVERIFY(requestor->data() == data);
        }
        desktop.settle();
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void dyingRequestorDisturbsNobody() {
        const QByteArray data = picture(2'000'000);
        Desktop desktop;
        desktop.pasteboard->write({.images = {data}});
        X11TestRequestor dying;
        dying.request("image/png", 2);
        X11TestRequestor other;
        other.request("image/png", 2);
        QVERIFY(await([&] { return dying.piecesTaken() == 2 && other.piecesTaken() == 2; }));
        dying.die();
        QVERIFY(await([&] { return desktop.runLoop.pendingCount() == 1; }));
        other.request("image/png");
        QVERIFY(answered(other));
        QVERIFY(other.data() == data);
    }

    void requestorThatDiedBeforeItsAnswerDisturbsNobody() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x", .images = {picture(1'000'000)}});
        X11TestRequestor dying;
        for (const char *target : {"UTF8_STRING", "image/png", "MULTIPLE", "TARGETS"})
            dying.request(target);
        dying.die();
        X11TestRequestor other;
        other.request("UTF8_STRING");
        QVERIFY(answered(other));
        QCOMPARE(other.data(), QByteArray("x"));
        desktop.runLoop.advance(X11SelectionOwner::stallLimit);
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void stalledRequestorIsGivenUp() {
        Desktop desktop;
        desktop.pasteboard->write({.images = {picture(1'000'000)}});
        X11TestRequestor requestor;
        requestor.request("image/png", 2);
        QVERIFY(await([&] { return requestor.piecesTaken() == 2; }));
        desktop.settle();
        desktop.runLoop.advance(X11SelectionOwner::stallLimit - RunLoop::Seconds(0.1));
        QCOMPARE(desktop.runLoop.pendingCount(), 1);
        desktop.runLoop.advance(0.1);
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void transferKeepsTheDataItBeganWith() {
        const QByteArray data = picture(1'000'000);
        Desktop desktop;
        desktop.pasteboard->write({.images = {data}});
        X11TestRequestor requestor;
        requestor.request("image/png");
        QVERIFY(await([&] { return requestor.piecesTaken() == 1; }));
        desktop.pasteboard->write({.text = "x"});
        QVERIFY(answered(requestor));
        QVERIFY(requestor.data() == data);
    }

    // Anybody may name any window as the one that asks.
    void ourOwnWindowsAreNotServed() {
        Desktop desktop;
        desktop.pasteboard->write({.images = {picture(1'000'000)}});
        desktop.settle();
        const xcb_window_t reader = desktop.connection->createWindow();
        xcb_connection_t *xcb = desktop.connection->xcb();
        xcb_convert_selection(xcb, reader, desktop.connection->atom("CLIPBOARD"),
                              desktop.connection->atom("image/png"),
                              desktop.connection->atom("ANSWER"), XCB_CURRENT_TIME);
        desktop.settle();
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void losingTheClipboardEndsServing() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "ours"});
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "theirs"}});
        QVERIFY(desktop.fetchEnds());
        QCOMPARE(desktop.pasteboard->changeCount(), 2);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("theirs"));
    }

    void theLastOfSeveralCommitsIsServed() {
        Desktop desktop;
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "theirs"}});
        for (int number = 1; number <= 20; ++number)
            desktop.pasteboard->write({.text = QByteArray::number(number)});
        X11TestRequestor requestor;
        requestor.request("UTF8_STRING");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.data(), QByteArray("20"));
        desktop.runLoop.advance(1.0);
        desktop.settle();
        QCOMPARE(desktop.pasteboard->changeCount(), 20);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("20"));
    }

    void quitWithoutAManagerIsImmediate() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        bool isDone = false;
        desktop.pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(await([&] { return isDone; }));
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    void quitWithNothingToHandOverIsImmediate() {
        Desktop desktop;
        bool isDone = false;
        desktop.pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(isDone);
    }

    void quitWaitsForTheManagerUntilItHasTheContents() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        Manager manager;
        bool isDone = false;
        desktop.pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(await([&] { return manager.wasAsked; }));
        QVERIFY(!isDone);
        QVERIFY(manager.savedTargets().contains("UTF8_STRING"));
        manager.answer();
        QVERIFY(await([&] { return isDone; }));
        QCOMPARE(desktop.runLoop.pendingCount(), 0);
    }

    // The files go with us, and no manager waits for a PNG.
    void quitHandsOverWhatStays() {
        Desktop desktop;
        desktop.pasteboard->write({.html = "<b>",
                                   .images = {"\xff\xd8\xff\xe0"},
                                   .files = {QStringLiteral("/tmp/a.jpg")}});
        Manager manager;
        desktop.pasteboard->prepareToQuit([] {});
        QVERIFY(await([&] { return manager.wasAsked; }));
        QCOMPARE(manager.savedTargets(), (QList<QByteArray>{"text/html", "image/jpeg"}));
        X11TestRequestor requestor;
        requestor.request("TARGETS");
        QVERIFY(answered(requestor));
        QCOMPARE(requestor.names().sliced(4),
                 (QStringList{QStringLiteral("text/html"), QStringLiteral("image/jpeg")}));
    }

    void quitDoesNotWaitLongForAManager() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        Manager manager;
        int calls = 0;
        desktop.pasteboard->prepareToQuit([&] { ++calls; });
        QVERIFY(await([&] { return manager.wasAsked; }));
        desktop.runLoop.advance(X11SelectionOwner::handOverLimit - RunLoop::Seconds(0.01));
        QCOMPARE(calls, 0);
        desktop.runLoop.advance(0.01);
        QCOMPARE(calls, 1);
        manager.answer();
        desktop.settle();
        QCOMPARE(calls, 1);
    }

    void quitEndsWhenTheManagerTakesTheClipboard() {
        Desktop desktop;
        desktop.pasteboard->write({.text = "x"});
        Manager manager;
        bool isDone = false;
        desktop.pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(await([&] { return manager.wasAsked; }));
        X11TestOwner owner;
        owner.own({{"UTF8_STRING", "x"}});
        QVERIFY(await([&] { return isDone; }));
    }

private:
    // A clipboard manager that answers when it is told to.
    struct Manager final : X11Observer {
        std::shared_ptr<X11Connection> connection = X11Connection::open();
        xcb_window_t window = connection->createWindow();
        xcb_selection_request_event_t request{};
        bool wasAsked = false;

        Manager() {
            connection->addObserver(this);
            xcb_set_selection_owner(connection->xcb(), window,
                                    connection->atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
            (void)connection->atom("a round trip");
        }
        ~Manager() override { connection->removeObserver(this); }
        void x11Event(const xcb_generic_event_t &event) override {
            if ((event.response_type & 0x7f) != XCB_SELECTION_REQUEST)
                return;
            request = reinterpret_cast<const xcb_selection_request_event_t &>(event);
            wasAsked = request.target == connection->atom("SAVE_TARGETS");
        }
        QList<QByteArray> savedTargets() {
            QList<QByteArray> names;
            const auto reply = connection->reply(
                xcb_get_property_reply, xcb_get_property(connection->xcb(), 0, request.requestor,
                                                         request.property, XCB_ATOM_ATOM, 0, 1024));
            const auto *atoms =
                static_cast<const xcb_atom_t *>(xcb_get_property_value(reply.get()));
            for (quint32 index = 0; index < reply->value_len; ++index) {
                const auto name = connection->reply(
                    xcb_get_atom_name_reply, xcb_get_atom_name(connection->xcb(), atoms[index]));
                names.append(QByteArray(xcb_get_atom_name_name(name.get()),
                                        xcb_get_atom_name_name_length(name.get())));
            }
            return names;
        }
        void answer() {
            union {
                xcb_selection_notify_event_t event;
                char bytes[32];
            } notify{};
            notify.event.response_type = XCB_SELECTION_NOTIFY;
            notify.event.requestor = request.requestor;
            notify.event.selection = request.selection;
            notify.event.target = request.target;
            notify.event.property = request.property;
            xcb_send_event(connection->xcb(), 0, request.requestor, 0, notify.bytes);
            connection->flush();
        }
    };
};

QTEST_GUILESS_MAIN(X11PasteboardServingTest)
#include "tst_x11_pasteboardserving.moc"
