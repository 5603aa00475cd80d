// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/session/Session.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/MutterDesktop.h"
#include "tests/pasteboard/WaylandDesktop.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// One backend with another application beside it.
class Backend {
public:
    Backend() = default;
    virtual ~Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual Pasteboard &pasteboard() = 0;
    /// The other application copies a text; on return it is known to the backend.
    virtual void copy(const QByteArray &utf8) = 0;
    /// The same while nobody watches.
    virtual void copyUnwatched(const QByteArray &utf8) { copy(utf8); }
    virtual void quitOther() = 0;
};

class FakeBackend final : public Backend {
public:
    FakeBackend() { _pasteboard.setWatching(true); }
    Pasteboard &pasteboard() override { return _pasteboard; }
    void copy(const QByteArray &utf8) override { _pasteboard.copyText(QString::fromUtf8(utf8)); }
    void quitOther() override { _pasteboard.removeOwner(); }

private:
    FakePasteboard _pasteboard;
};

class X11Backend final : public Backend {
public:
    Pasteboard &pasteboard() override { return *_desktop.pasteboard; }
    void copy(const QByteArray &utf8) override {
        _other.own({{"UTF8_STRING", utf8}});
        if (!_desktop.fetchEnds())
            qWarning("the copied text did not arrive");
    }
    void copyUnwatched(const QByteArray &utf8) override {
        const qint64 before = _desktop.pasteboard->changeCount();
        _other.own({{"UTF8_STRING", utf8}});
        if (!kit::await([&] { return _desktop.pasteboard->changeCount() > before; }))
            qWarning("the copied text is not known of");
    }
    void quitOther() override {
        _other.quit();
        _desktop.settle();
    }

private:
    X11Desktop _desktop;
    X11TestOwner _other;
};

class WaylandBackend final : public Backend {
public:
    Pasteboard &pasteboard() override { return *_desktop.pasteboard; }
    void copy(const QByteArray &utf8) override {
        _desktop.compositor.copy({{"text/plain;charset=utf-8", utf8}});
        if (!_desktop.fetchEnds())
            qWarning("the copied text did not arrive");
    }
    void copyUnwatched(const QByteArray &utf8) override {
        _desktop.compositor.copy({{"text/plain;charset=utf-8", utf8}});
        _desktop.settle();
    }
    void quitOther() override {
        _desktop.compositor.clear();
        _desktop.settle();
    }

private:
    kit::WaylandDesktop _desktop;
};

class MutterBackend final : public Backend {
public:
    Pasteboard &pasteboard() override { return *_desktop.pasteboard; }
    void copy(const QByteArray &utf8) override {
        _desktop.mutter->copy({{QStringLiteral("text/plain;charset=utf-8"), utf8}});
        if (!_desktop.fetchEnds())
            qWarning("the copied text did not arrive");
    }
    void copyUnwatched(const QByteArray &utf8) override {
        _desktop.mutter->copy({{QStringLiteral("text/plain;charset=utf-8"), utf8}});
        _desktop.settle();
    }
    void quitOther() override {
        _desktop.mutter->clear();
        _desktop.settle();
    }

private:
    kit::MutterDesktop _desktop;
};

std::unique_ptr<Backend> makeBackend(const QString &name) {
    if (name == u"mutter")
        return std::make_unique<MutterBackend>();
    if (name == u"wayland")
        return std::make_unique<WaylandBackend>();
    if (name == u"x11")
        return std::make_unique<X11Backend>();
    return std::make_unique<FakeBackend>();
}

void backends() {
    QTest::addColumn<QString>("backend");
    QTest::newRow("fake") << QStringLiteral("fake");
    QTest::newRow("x11") << QStringLiteral("x11");
    QTest::newRow("wayland") << QStringLiteral("wayland");
    QTest::newRow("mutter") << QStringLiteral("mutter");
}

} // namespace

// What every clipboard does, whatever carries it.
class PasteboardContractTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void copyMovesTheCountAndIsRead_data() { backends(); }
    void copyMovesTheCountAndIsRead() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        const qint64 before = pasteboard.changeCount();
        desktop->copy("caf\xc3\xa9");
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.contents(), PasteboardContents{.text = "caf\xc3\xa9"});
    }

    void nobodyWatchesAtFirst_data() { backends(); }
    void nobodyWatchesAtFirst() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        desktop->copy("watched");
        pasteboard.setWatching(false);
        QVERIFY(pasteboard.contents().isEmpty());
        const qint64 before = pasteboard.changeCount();
        desktop->copyUnwatched("unwatched");
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QVERIFY(pasteboard.contents().isEmpty());
        pasteboard.setWatching(true);
        QCOMPARE(pasteboard.changeCount(), before + 1);
        desktop->copy("watched again");
        QCOMPARE(pasteboard.changeCount(), before + 2);
        QCOMPARE(textOn(pasteboard), QStringLiteral("watched again"));
        pasteboard.setWatching(true);
        QCOMPARE(textOn(pasteboard), QStringLiteral("watched again"));
        // What is ours is read by others, watched or not.
        pasteboard.write({.text = "ours"});
        pasteboard.setWatching(false);
        QCOMPARE(textOn(pasteboard), QStringLiteral("ours"));
    }

    void ownerThatQuitsLeavesNothing_data() { backends(); }
    void ownerThatQuitsLeavesNothing() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        desktop->copy("x");
        const qint64 before = desktop->pasteboard().changeCount();
        desktop->quitOther();
        QVERIFY(desktop->pasteboard().contents().isEmpty());
        QCOMPARE(desktop->pasteboard().changeCount(), before);
    }

    void whatIsWrittenIsReadBack_data() { backends(); }
    void whatIsWrittenIsReadBack() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        desktop->copy("theirs");
        const qint64 before = pasteboard.changeCount();
        const PasteboardContents ours{.text = "text",
                                      .html = "<b>",
                                      .rtf = "{\\rtf1}",
                                      .images = {"image"},
                                      .files = {QStringLiteral("/a b.png"), QStringLiteral("/ü")},
                                      .url = QUrl(QStringLiteral("https://example.org/ä?b=c&d#e")),
                                      .title = QStringLiteral("(A title; with = signs)"),
                                      .others = {{QStringLiteral("org.example"), QByteArray("")}}};
        pasteboard.write(ours);
        QCOMPARE(pasteboard.changeCount(), before + 1);
        QCOMPARE(pasteboard.contents(), ours);
        pasteboard.write({});
        QCOMPARE(pasteboard.changeCount(), before + 2);
        QVERIFY(pasteboard.contents().isEmpty());
    }

    void whatHasNoBytesIsNotWritten_data() { backends(); }
    void whatHasNoBytesIsNotWritten() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        pasteboard.write({.text = "",
                          .others = {{QStringLiteral("org.example.none"), std::nullopt},
                                     {QStringLiteral("org.example.empty"), ""}}});
        const PasteboardContents written{.text = "",
                                         .others = {{QStringLiteral("org.example.empty"), ""}}};
        QCOMPARE(pasteboard.contents(), written);
    }

    // Of others' contents a megabyte stays; ours are still to be served.
    void largeContentsAreLetGo_data() { backends(); }
    void largeContentsAreLetGo() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        Pasteboard &pasteboard = desktop->pasteboard();
        constexpr qsizetype megabyte = 1024 * 1024;
        for (const qsizetype size : {megabyte - 1, megabyte, megabyte + 1}) {
            desktop->copy(QByteArray(size, 'x'));
            pasteboard.releaseContents();
            QCOMPARE(pasteboard.contents().size(), size > megabyte ? 0 : size);
        }
        pasteboard.write({.text = QByteArray(megabyte + 1, 'x')});
        pasteboard.releaseContents();
        QCOMPARE(pasteboard.contents().size(), megabyte + 1);
    }

    void theSizeIsThatOfAllOfIt() {
        QCOMPARE(PasteboardContents().size(), 0);
        QCOMPARE(PasteboardContents{.text = "1"}.size(), 1);
        QCOMPARE(PasteboardContents{.html = "12"}.size(), 2);
        QCOMPARE(PasteboardContents{.rtf = "123"}.size(), 3);
        QCOMPARE((PasteboardContents{.images = {"12", "34"}}.size()), 4);
        QCOMPARE(PasteboardContents{.files = {QStringLiteral("/abcd")}}.size(), 5);
        QCOMPARE(PasteboardContents{.url = QUrl(QStringLiteral("x:abcd"))}.size(), 6);
        QCOMPARE(PasteboardContents{.title = QStringLiteral("1234567")}.size(), 7);
        const QString name = QStringLiteral("x");
        QCOMPARE((PasteboardContents{.others = {{name, "12345678"}}}.size()), 8);
        const PasteboardContents named{.others = {{name, std::nullopt}}};
        QCOMPARE(named.size(), 0);
        QVERIFY(!named.isEmpty());
    }

    void quitIsAllowed_data() { backends(); }
    void quitIsAllowed() {
        QFETCH(QString, backend);
        const auto desktop = makeBackend(backend);
        desktop->pasteboard().setWatching(false);
        int calls = 0;
        desktop->pasteboard().prepareToQuit([&] { ++calls; });
        QCOMPARE(calls, 1);
    }

    void whoHasAnsweredIsAccessible_data() { backends(); }
    void whoHasAnsweredIsAccessible() {
        QFETCH(QString, backend);
        QVERIFY(makeBackend(backend)->pasteboard().isAccessible());
    }

    void itSaysWhichItIs() {
        ManualRunLoop runLoop;
        const RunLoop::Installation installation(runLoop);
        Session session{.x11 = X11Connection::open()};
        QCOMPARE(makePasteboard(session)->description(), QStringLiteral("x11"));
        const TestCompositor compositor({.agreed = false, .wlroots = false});
        qputenv("WAYLAND_DISPLAY", compositor.display());
        session.wayland = WaylandConnection::open();
        QCOMPARE(makePasteboard(session)->description(), QStringLiteral("xwayland"));
        qunsetenv("WAYLAND_DISPLAY");
    }

    void withoutADisplayItIsEmptyAndSaysSoOnce() {
        const std::unique_ptr<Pasteboard> pasteboard = makePasteboard(Session());
        QCOMPARE(pasteboard->description(), QStringLiteral("none"));
        QVERIFY(!pasteboard->isAccessible());
        QCOMPARE(pasteboard->changeCount(), 0);
        QTest::ignoreMessage(QtWarningMsg,
                             "no clipboard can be reached in this session: nothing is "
                             "copied from or to it");
        QVERIFY(pasteboard->contents().isEmpty());
        QVERIFY_EXCEPTION_THROWN(pasteboard->write({.text = "x"}), PlatformException);
        QVERIFY(pasteboard->contents().isEmpty());
        bool isDone = false;
        pasteboard->prepareToQuit([&] { isDone = true; });
        QVERIFY(isDone);
    }

    // Also when it is written to first.
    void withoutADisplayWritingSaysSo() {
        const std::unique_ptr<Pasteboard> pasteboard = makePasteboard(Session());
        QTest::ignoreMessage(QtWarningMsg,
                             "no clipboard can be reached in this session: nothing is "
                             "copied from or to it");
        QVERIFY_EXCEPTION_THROWN(pasteboard->write({}), PlatformException);
        QVERIFY(pasteboard->contents().isEmpty());
    }

    void fakeFailsWhenItIsTold() {
        FakePasteboard pasteboard;
        pasteboard.setWatching(true);
        pasteboard.copyText(QStringLiteral("x"));
        pasteboard.failReadsWith(QStringLiteral("broken"));
        QVERIFY_EXCEPTION_THROWN((void)pasteboard.contents(), PlatformException);
        QCOMPARE(pasteboard.text(), QStringLiteral("x"));
        pasteboard.failReadsWith({});
        QVERIFY(!pasteboard.contents().isEmpty());
        QCOMPARE(pasteboard.readCount(), 2);
        pasteboard.failWritesWith(QStringLiteral("broken"));
        QVERIFY_EXCEPTION_THROWN(pasteboard.write({}), PlatformException);
        QCOMPARE(pasteboard.writeCount(), 0);
        QCOMPARE(pasteboard.text(), QStringLiteral("x"));
    }
};

QTEST_GUILESS_MAIN(PasteboardContractTest)
#include "tst_x11_pasteboardcontract.moc"
