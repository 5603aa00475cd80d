// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/Pipes.h"
#include "tests/pasteboard/WaylandDesktop.h"

#include <QTest>

#include <functional>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

using Owner = TestCompositor::Owner;

Q_DECLARE_METATYPE(std::function<bool()>)

class WaylandPasteboardTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _audience = PasteboardAudience::Other;
        _desktop.emplace(TestCompositor::Offers(), [this] { return _audience; });
    }
    void end() override { _desktop.reset(); }

private Q_SLOTS:
    void theFactoryPrefersIt() {
        const Session session{.x11 = {}, .wayland = _desktop->connection};
        QCOMPARE(makePasteboard(session)->description(), QStringLiteral("ext-data-control"));
    }

    // Not by what the compositor offers.
    void accessIsProvedByAnAnswer() {
        WaylandPasteboard pasteboard(WaylandDataControl::make(_desktop->connection));
        int changes = 0;
        pasteboard.onAccessChange = [&] { ++changes; };
        QVERIFY(!pasteboard.isAccessible());
        _desktop->settle();
        QVERIFY(pasteboard.isAccessible());
        QCOMPARE(changes, 1);
        // What is told later is no news.
        copy({{"text/plain", "x"}});
        _desktop->settle();
        QCOMPARE(changes, 1);
        _desktop->compositor.finishDevices();
        _desktop->settle();
        QVERIFY(!pasteboard.isAccessible());
        QCOMPARE(changes, 2);
    }

    void theNextSeatIsAnotherQuestion() {
        const WaylandPasteboard &pasteboard = *_desktop->pasteboard;
        QVERIFY(pasteboard.isAccessible());
        _desktop->compositor.removeSeat();
        QVERIFY(await([&] { return !pasteboard.isAccessible(); }));
        _desktop->compositor.addSeat();
        QVERIFY(await([&] { return pasteboard.isAccessible(); }));
    }

    // We have not heard yet that it has gone when we ask.
    void aSeatThatHasGoneGivesNoAccess() {
        _desktop->compositor.removeSeat();
        WaylandPasteboard pasteboard(WaylandDataControl::make(_desktop->connection));
        _desktop->settle();
        _desktop->settle();
        QVERIFY(!pasteboard.isAccessible());
    }

    void allMeaningsAreRead() {
        copy({{"text/plain;charset=utf-8", "text"},
              {"text/html", "<b>text</b>"},
              {"application/x-other", "other"},
              {"x-kde-passwordManagerHint", "secret"}});
        QVERIFY(_desktop->fetchEnds());
        const PasteboardContents &contents = _desktop->pasteboard->contents();
        QCOMPARE(contents.text, std::optional<QByteArray>("text"));
        QCOMPARE(contents.html, std::optional<QByteArray>("<b>text</b>"));
        QCOMPARE(contents.others.value(QStringLiteral("application/x-other")),
                 std::optional<QByteArray>("other"));
        QCOMPARE(contents.others.value(PasteboardMarker::passwordHint),
                 std::optional<QByteArray>("secret"));
        QCOMPARE(_desktop->compositor.asked().first(), "x-kde-passwordManagerHint");
    }

    void whatWasThereBeforeUsIsNoCopy() {
        _desktop.reset();
        TestCompositor compositor;
        compositor.copy({{"text/plain", "before"}});
        qputenv("WAYLAND_DISPLAY", compositor.display());
        ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        const auto connection = WaylandConnection::open();
        WaylandPasteboard pasteboard(WaylandDataControl::make(connection));
        pasteboard.setWatching(true);
        compositor.copy({{"text/plain", "after"}});
        QVERIFY(await([&] { return pasteboard.isFetching(); }));
        runLoop.advance(PasteboardHistory::settleTime);
        QVERIFY(await([&] { return !pasteboard.isFetching(); }));
        QCOMPARE(pasteboard.changeCount(), 1);
        QCOMPARE(compositor.asked(), QList<QByteArray>{"text/plain"});
    }

    // Ten megabytes that nobody can ask for any more are kept by nobody.
    void whatWeOfferedIsLetGoOf() {
        const QString type = QStringLiteral("application/x-other");
        const QByteArray data(1024 * 1024, 'x');
        PasteboardContents contents;
        contents.others.insert(type, data);
        _desktop->pasteboard->write(std::exchange(contents, {}));
        _desktop->settle();
        _desktop->pasteboard->releaseContents();
        QVERIFY(!data.isDetached());
        copy({{"text/plain", "another's"}});
        QVERIFY(_desktop->fetchEnds());
        QVERIFY(data.isDetached());
    }

    // The compositor says at the start that there is nothing, which ends nobody's contents.
    void theFirstCopyCounts() {
        copy({{"text/plain", "first"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
    }

    void aBurstIsReadOnce() {
        for (int count = 1; count <= 200; ++count)
            copy({{"text/plain", QByteArray::number(count)}});
        _desktop->settle();
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("200"));
        QCOMPARE(_desktop->compositor.asked().size(), 1);
    }

    void anOwnerThatNeverAnswersIsSkipped() {
        copy({{"text/plain", "read"}});
        QVERIFY(_desktop->fetchEnds());
        copy({{"text/plain", "x"}}, Owner::NeverAnswers);
        QVERIFY(_desktop->fetchBegins());
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its text/plain");
        _desktop->runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QCOMPARE(_desktop->pasteboard->unansweredCount(), 1);
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("read"));
    }

    void anOwnerThatStallsIsSkipped() {
        copy({{"text/plain", "half of it"}}, Owner::StallsMidway);
        QVERIFY(_desktop->fetchBegins());
        QCoreApplication::processEvents();
        QTest::ignoreMessage(QtWarningMsg,
                             "the clipboard's owner does not answer for its text/plain");
        _desktop->runLoop.advance(TargetTransfer::stepLimit);
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 0);
    }

    void anOwnerThatNeverEndsIsCutOff() {
        copy({{"application/x-other", QByteArray(60'000, 'x')}}, Owner::NeverEnds);
        QVERIFY(_desktop->fetchEnds());
        const auto others = _desktop->pasteboard->contents().others;
        QVERIFY(others.contains(QStringLiteral("application/x-other")));
        QVERIFY(!others.value(QStringLiteral("application/x-other")));
    }

    void aTargetWithNothingInItIsNotTaken() {
        copy({{"text/plain;charset=utf-8", ""}, {"text/plain", "here"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional<QByteArray>("here"));
    }

    void aPictureComesWhole() {
        QByteArray picture("\x89PNG\r\n\x1a\n", 8);
        picture += QByteArray(9'900'000, 'p');
        copy({{"image/png", picture}});
        QVERIFY(_desktop->fetchEnds());
        QVERIFY(_desktop->pasteboard->contents().images == QList<QByteArray>{picture});
    }

    void whatIsWrittenIsServed() {
        _desktop->pasteboard->write({.text = "ours", .html = "<i>ours</i>"});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QCOMPARE(paste("text/plain;charset=utf-8"), "ours");
        QCOMPARE(paste("text/html"), "<i>ours</i>");
        QCOMPARE(paste("image/png"), "");
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QVERIFY(_desktop->compositor.asked().isEmpty());
    }

    void largeContentsAreServed() {
        const QByteArray large(9'900'000, 'x');
        _desktop->pasteboard->write({.text = large});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QVERIFY(paste("text/plain") == large);
    }

    void whoTakesOverWhatHeReadIsAManager() {
        _desktop->pasteboard->write({.text = "ours", .html = "<i>ours</i>"});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QCOMPARE(paste("text/plain"), "ours");
        copy({{"text/plain", "ours"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
    }

    // Some own first their texts and then everything, before either was read.
    void whoTakesOverTwiceIsAManagerStill() {
        _desktop->pasteboard->write({.text = "ours", .html = "<i>ours</i>"});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QCOMPARE(paste("text/plain"), "ours");
        copy({{"text/plain", "ours"}});
        QVERIFY(await([&] { return _desktop->pasteboard->isFetching(); }));
        copy({{"text/plain", "ours"}, {"text/html", "<i>ours</i>"}});
        _desktop->settle();
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
    }

    void whoReadNothingCopies() {
        _desktop->pasteboard->write({.text = "ours"});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        copy({{"text/plain", "ours"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 2);
    }

    void whoReadLongAgoCopies() {
        _desktop->pasteboard->write({.text = "ours"});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QCOMPARE(paste("text/plain"), "ours");
        _desktop->runLoop.advance(PasteboardHistory::reowningTime);
        copy({{"text/plain", "ours"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 2);
    }

    void afterAnEndTheSameIsAManagers_data() {
        QTest::addColumn<double>("after");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("isCopy");
        QTest::newRow("at once") << 0.0 << QByteArray("text") << false;
        QTest::newRow("just in time") << 0.74 << QByteArray("text") << false;
        QTest::newRow("too late") << 0.75 << QByteArray("text") << true;
        QTest::newRow("something else") << 0.0 << QByteArray("other") << true;
    }
    void afterAnEndTheSameIsAManagers() {
        QFETCH(double, after);
        QFETCH(QByteArray, text);
        QFETCH(bool, isCopy);
        copy({{"text/plain", "text"}});
        QVERIFY(_desktop->fetchEnds());
        _desktop->compositor.clear();
        _desktop->settle();
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
        _desktop->runLoop.advance(RunLoop::Seconds(after));
        copy({{"text/plain", text}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), isCopy ? 2 : 1);
        QCOMPARE(_desktop->pasteboard->contents().text, std::optional(text));
    }

    void aSecretWithoutItsMarkIsNoCopy() {
        copy({{"text/plain", "pass"}, {"x-kde-passwordManagerHint", "secret"}});
        QVERIFY(_desktop->fetchEnds());
        copy({{"text/plain", "other"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 2);
        copy({{"text/plain", "pass"}});
        QVERIFY(_desktop->fetchEnds());
        QCOMPARE(_desktop->pasteboard->changeCount(), 2);
    }

    void whatIsOfferedIsForWhoLooks() {
        const PasteboardContents files{.files = {QStringLiteral("/tmp/a.png")}};
        _audience = PasteboardAudience::FileManager;
        _desktop->pasteboard->write(files);
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        QVERIFY(_desktop->compositor.types().contains("text/uri-list"));
    }

    void whoComesToTheFrontIsOfferedWhatIsForThem() {
        const QByteArray files = "text/uri-list";
        const auto offered = [this] {
            _desktop->pasteboard->audienceChanged();
            _desktop->settle();
            _desktop->runLoop.advance(WaylandPasteboard::settling);
            _desktop->settle();
            return _desktop->compositor.types();
        };
        PasteboardContents picture{.files = {QStringLiteral("/tmp/a.png")}};
        picture.images = {QByteArray("\x89PNG\r\n\x1a\n", 8)};
        _desktop->pasteboard->write(picture);
        const QList<QByteArray> first = offered();
        QVERIFY(!first.contains(files));

        _audience = PasteboardAudience::FileManager;
        const QList<QByteArray> second = offered();
        QVERIFY(second.contains(files));
        // Not before they have come to rest there.
        _audience = PasteboardAudience::Other;
        _desktop->pasteboard->audienceChanged();
        _desktop->runLoop.advance(WaylandPasteboard::settling - RunLoop::Seconds(0.001));
        _desktop->settle();
        QCOMPARE(_desktop->compositor.types(), second);
        _audience = PasteboardAudience::FileManager;
        // Nobody copied, and nothing is offered anew to the same.
        QCOMPARE(offered(), second);
        _audience = PasteboardAudience::Other;
        QVERIFY(!offered().contains(files));
        _audience = PasteboardAudience::Unknown;
        QVERIFY(!offered().contains(files));
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QCOMPARE(_desktop->pasteboard->contents(), picture);
        QCOMPARE(_desktop->compositor.sourcesAlive(), 1);

        copy({{"text/plain", "another's"}});
        _audience = PasteboardAudience::FileManager;
        QCOMPARE(offered(), QList<QByteArray>{"text/plain"});
    }

    void nobodyIsAskedWhileNobodyWatches() {
        _desktop->pasteboard->setWatching(false);
        copy({{"text/plain", "unseen"}});
        _desktop->settle();
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QVERIFY(_desktop->compositor.asked().isEmpty());
    }

    void whatIsBeingFetchedIsDroppedWithTheWatching() {
        copy({{"text/plain", "x"}}, Owner::NeverAnswers);
        QVERIFY(_desktop->fetchBegins());
        _desktop->pasteboard->setWatching(false);
        QVERIFY(!_desktop->pasteboard->isFetching());
        QCOMPARE(_desktop->pasteboard->changeCount(), 1);
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
    }

    // A reader keeps what it has begun to read.
    void whatIsCancelledWhileItIsServedIsServedToTheEnd() {
        const QByteArray large(9'900'000, 'x');
        _desktop->pasteboard->write({.text = large});
        QVERIFY(await([&] { return _desktop->compositor.isClients(); }));
        Pipe pipe;
        pipe.reading = _desktop->compositor.paste("text/plain");
        QByteArray begun;
        QVERIFY(await([&] { return !(begun += pipe.read()).isEmpty(); }));
        QVERIFY(begun.size() < large.size());
        copy({{"text/plain", "another's"}});
        QVERIFY(_desktop->fetchEnds());
        QVERIFY(begun + pipe.readAll() == large);
    }

    void theEndOfTheCompositorIsNoHang_data() {
        QTest::addColumn<std::function<bool()>>("step");
        using Step = std::function<bool()>;
        QTest::newRow("nothing happened") << Step([] { return true; });
        QTest::newRow("the owner comes to rest") << Step([this] {
            copy({{"text/plain", "x"}});
            return await([this] { return _desktop->pasteboard->isFetching(); });
        });
        QTest::newRow("the owner is asked") << Step([this] {
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QStringLiteral("does not answer")));
            copy({{"text/plain", "x"}}, Owner::NeverAnswers);
            return _desktop->fetchBegins() && isAsked();
        });
        QTest::newRow("the owner answers") << Step([this] {
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QStringLiteral("does not answer")));
            copy({{"text/plain", "x"}}, Owner::StallsMidway);
            return _desktop->fetchBegins() && isAsked();
        });
        QTest::newRow("a copy is there") << Step([this] {
            copy({{"text/plain", "x"}});
            return _desktop->fetchEnds();
        });
        QTest::newRow("it is ours") << Step([this] {
            _desktop->pasteboard->write({.text = "ours"});
            return true;
        });
        QTest::newRow("ours is read") << Step([this] {
            _desktop->pasteboard->write({.text = QByteArray(9'900'000, 'x')});
            _desktop->settle();
            _reader.reading = _desktop->compositor.paste("text/plain");
            return await([this] { return !_reader.read().isEmpty(); });
        });
    }
    void theEndOfTheCompositorIsNoHang() {
        QFETCH(std::function<bool()>, step);
        QVERIFY(step());
        int losses = 0;
        whenDisplayIsLost({.x11 = {}, .wayland = _desktop->connection}, [&] { ++losses; });
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _desktop->compositor.disconnectClients();
        QVERIFY(await([&] { return losses > 0; }));
        QCOMPARE(losses, 1);
        _desktop->runLoop.advance(120.0);
        QVERIFY(!_desktop->pasteboard->isFetching());
        _desktop->pasteboard->write({.text = "y"});
        QVERIFY(_desktop->pasteboard->contents().isEmpty());
        _desktop->pasteboard->audienceChanged();
        _desktop->runLoop.advance(120.0);
        QCOMPARE(losses, 1);
    }

private:
    // Before that the pipe would end with the compositor.
    [[nodiscard]] bool isAsked() const {
        return await([this] { return !_desktop->compositor.asked().isEmpty(); });
    }
    void copy(const TestCompositor::Contents &contents, Owner owner = Owner::Answers) {
        _desktop->compositor.copy(contents, owner);
    }
    [[nodiscard]] QByteArray paste(const char *type) {
        Pipe pipe;
        pipe.reading = _desktop->compositor.paste(type);
        return pipe.readAll();
    }

    std::optional<WaylandDesktop> _desktop;
    Pipe _reader;
    PasteboardAudience _audience = PasteboardAudience::Other;
};

QTEST_GUILESS_MAIN(WaylandPasteboardTest)
#include "tst_waylandpasteboard.moc"
