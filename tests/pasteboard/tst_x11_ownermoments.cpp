// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCase.h"
#include "tests/pasteboard/MutterDesktop.h"
#include "tests/pasteboard/WaylandDesktop.h"
#include "tests/pasteboard/X11Desktop.h"
#include "tests/pasteboard/X11TestOwner.h"

#include <QTest>

#include <array>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

const QString plain = QStringLiteral("text/plain");

// A clipboard with another application beside it, and a clock that stands still.
class Desk {
public:
    Desk() = default;
    virtual ~Desk() = default;
    Q_DISABLE_COPY_MOVE(Desk)
    virtual FollowedPasteboard &pasteboard() = 0;
    virtual ManualRunLoop &runLoop() = 0;
    /// Everything that was done until now is heard of; no time has passed.
    virtual void settle() = 0;
    virtual void own(const QByteArray &text) = 0;
    virtual void quit() = 0;
    /// How often anybody was asked for what there is.
    virtual qsizetype asked() = 0;

    /// Another application copies, of which is heard.
    void copy(const QByteArray &text) {
        own(text);
        if (!await([this] { return pasteboard().isFetching(); }))
            qWarning("the copy is not known of");
    }
    void advance(double seconds) { runLoop().advance(seconds); }
    /// Whether what was copied has been read, without any time passing.
    bool isRead() {
        runLoop().runOnce();
        return await([this] { return !pasteboard().isFetching(); });
    }
    QString text() { return textOn(pasteboard()); }
};

template <typename Desktop>
class DeskOn : public Desk {
public:
    FollowedPasteboard &pasteboard() override { return *desktop.pasteboard; }
    ManualRunLoop &runLoop() override { return desktop.runLoop; }
    void settle() override { desktop.settle(); }

protected:
    Desktop desktop;
};

class X11Desk final : public DeskOn<X11Desktop> {
public:
    void own(const QByteArray &text) override { _other.own({{"UTF8_STRING", text}}); }
    void quit() override { _other.quit(); }
    qsizetype asked() override { return _other.requestCount("TARGETS"); }

private:
    X11TestOwner _other;
};

class WaylandDesk final : public DeskOn<WaylandDesktop> {
public:
    void own(const QByteArray &text) override {
        desktop.compositor.copy({{plain.toLatin1(), text}});
    }
    void quit() override { desktop.compositor.clear(); }
    qsizetype asked() override { return desktop.compositor.asked().size(); }
};

class MutterDesk final : public DeskOn<MutterDesktop> {
public:
    void own(const QByteArray &text) override { desktop.mutter->copy({{plain, text}}); }
    void quit() override { desktop.mutter->clear(); }
    qsizetype asked() override { return desktop.mutter->asked.size(); }
};

std::unique_ptr<Desk> makeDesk() {
    const QString name = QString::fromLatin1(QTest::currentDataTag()).section(u',', 0, 0);
    if (name == u"X11")
        return std::make_unique<X11Desk>();
    if (name == u"Wayland")
        return std::make_unique<WaylandDesk>();
    return std::make_unique<MutterDesk>();
}

constexpr std::array names{"X11", "Wayland", "GNOME"};

void desks() {
    QTest::addColumn<int>("nothing");
    for (const char *name : names)
        QTest::newRow(name) << 0;
}

} // namespace

// When what was copied is read, and when that is told.
class OwnerMomentsTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void theFirstCopyIsReadAtOnce_data() { desks(); }
    void theFirstCopyIsReadAtOnce() {
        const auto desk = makeDesk();
        desk->copy("first");
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("first"));
        QCOMPARE(desk->pasteboard().changeCount(), 1);
        desk->advance(3600);
        desk->copy("after an hour");
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("after an hour"));
        QCOMPARE(desk->asked(), 2);
    }

    // The first copy after half a second without a change is the beginning of a burst at most.
    void whatFollowsIsReadWhenItsOwnerIsQuiet_data() {
        QTest::addColumn<double>("afterSeconds");
        QTest::addColumn<bool>("isAtOnce");
        for (const char *name : names) {
            QTest::addRow("%s, at once", name) << 0.0 << false;
            QTest::addRow("%s, at the last moment", name) << 0.499 << false;
            QTest::addRow("%s, later", name) << 0.5 << true;
        }
    }
    void whatFollowsIsReadWhenItsOwnerIsQuiet() {
        QFETCH(double, afterSeconds);
        QFETCH(bool, isAtOnce);
        const auto desk = makeDesk();
        desk->copy("first");
        QVERIFY(desk->isRead());
        desk->advance(afterSeconds);
        desk->copy("second");
        if (!isAtOnce) {
            desk->advance(0.019);
            desk->settle();
            QCOMPARE(desk->asked(), 1);
            QCOMPARE(desk->pasteboard().changeCount(), 1);
            desk->advance(0.001);
        }
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("second"));
        QCOMPARE(desk->pasteboard().changeCount(), 2);
    }

    // Every change counts: also our own, an end, and what nobody watches.
    void afterAnyChangeTheOwnerSettles_data() {
        QTest::addColumn<QString>("change");
        for (const char *name : names) {
            for (const char *change : {"ours", "an end", "unwatched"})
                QTest::addRow("%s, %s", name, change) << QString::fromLatin1(change);
        }
    }
    void afterAnyChangeTheOwnerSettles() {
        QFETCH(QString, change);
        const auto desk = makeDesk();
        desk->copy("first");
        QVERIFY(desk->isRead());
        desk->advance(1);
        if (change == u"ours") {
            desk->pasteboard().write({.text = "ours"});
        } else if (change == u"an end") {
            desk->quit();
            QVERIFY(await([&] { return desk->pasteboard().contents().isEmpty(); }));
        } else {
            desk->pasteboard().setWatching(false);
            desk->own("unwatched");
            QVERIFY(await([&] { return desk->pasteboard().changeCount() == 2; }));
            desk->pasteboard().setWatching(true);
        }
        desk->settle();
        desk->advance(0.4);
        const qsizetype before = desk->asked();
        desk->copy("second");
        desk->advance(0.019);
        desk->settle();
        QCOMPARE(desk->asked(), before);
        desk->advance(0.001);
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("second"));
    }

    // Some programs own the clipboard with a part of it, and at once again with all of it.
    void whoCopiesTwiceIsReadTwiceAtMost_data() {
        QTest::addColumn<bool>("isReadBetween");
        for (const char *name : names) {
            QTest::addRow("%s, read in between", name) << true;
            QTest::addRow("%s, too quick for that", name) << false;
        }
    }
    void whoCopiesTwiceIsReadTwiceAtMost() {
        QFETCH(bool, isReadBetween);
        const auto desk = makeDesk();
        desk->copy("a part");
        if (isReadBetween)
            QVERIFY(desk->isRead());
        desk->copy("all");
        desk->settle();
        desk->advance(0.02);
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("all"));
        QCOMPARE(desk->pasteboard().changeCount(), isReadBetween ? 2 : 1);
        QCOMPARE(desk->asked(), isReadBetween ? 2 : 1);
    }

    void ofABurstTheFirstAndTheLastAreRead_data() { desks(); }
    void ofABurstTheFirstAndTheLastAreRead() {
        const auto desk = makeDesk();
        desk->copy("0");
        QVERIFY(desk->isRead());
        // More than the half second that a quiet one takes.
        for (int number = 1; number <= 60; ++number) {
            desk->advance(0.01);
            desk->copy(QByteArray::number(number));
            desk->settle();
        }
        QCOMPARE(desk->asked(), 1);
        desk->advance(0.02);
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("60"));
        QCOMPARE(desk->asked(), 2);
        QCOMPARE(desk->pasteboard().changeCount(), 2);
    }

    // Each move of a count is told once, when reading answers it.
    void whatOthersDoIsTold_data() { desks(); }
    void whatOthersDoIsTold() {
        const auto desk = makeDesk();
        QStringList told;
        desk->pasteboard().onChange = [&] { told.append(desk->text()); };
        desk->copy("first");
        QVERIFY(told.isEmpty());
        QVERIFY(desk->isRead());
        QCOMPARE(told, QStringList{QStringLiteral("first")});
        // A manager takes over, which is no copy.
        desk->quit();
        QVERIFY(await([&] { return desk->pasteboard().contents().isEmpty(); }));
        desk->copy("first");
        desk->advance(0.02);
        QVERIFY(desk->isRead());
        // Who writes knows of it.
        desk->pasteboard().write({.text = "ours"});
        desk->settle();
        desk->advance(1);
        desk->copy("dropped");
        desk->pasteboard().setWatching(false);
        QCOMPARE(desk->pasteboard().changeCount(), 3);
        QCOMPARE(told.size(), 1);
        desk->own("unwatched");
        QVERIFY(await([&] { return told.size() == 2; }));
        QCOMPARE(desk->pasteboard().changeCount(), 4);
        QCOMPARE(told.constLast(), QString());
    }

    // The listener may do anything with the clipboard.
    void theListenerMayWrite_data() { desks(); }
    void theListenerMayWrite() {
        const auto desk = makeDesk();
        desk->pasteboard().onChange = [&] {
            desk->pasteboard().onChange = nullptr;
            desk->pasteboard().write({.text = "an answer"});
        };
        desk->copy("a question");
        QVERIFY(desk->isRead());
        desk->settle();
        QCOMPARE(desk->text(), QStringLiteral("an answer"));
        QCOMPARE(desk->pasteboard().changeCount(), 2);
        desk->advance(1);
        desk->copy("the next");
        QVERIFY(desk->isRead());
        QCOMPARE(desk->text(), QStringLiteral("the next"));
    }

    void aSlowOwnerIsToldOfWhenItHasAnswered() {
        X11Desktop desktop;
        X11TestOwner owner;
        int told = 0;
        desktop.pasteboard->onChange = [&] { ++told; };
        owner.setMute(true);
        owner.own({{"UTF8_STRING", "slow"}});
        QVERIFY(await([&] { return desktop.pasteboard->isFetching(); }));
        desktop.runLoop.runOnce();
        QVERIFY(await([&] { return owner.unansweredCount() == 1; }));
        desktop.runLoop.advance(3);
        QCOMPARE(told, 0);
        owner.setMute(false);
        owner.answerLate();
        QVERIFY(await([&] { return !desktop.pasteboard->isFetching(); }));
        QCOMPARE(told, 1);
        QCOMPARE(textOn(*desktop.pasteboard), QStringLiteral("slow"));
    }

    void anOwnerThatNeverAnswersIsToldOf() {
        X11Desktop x11;
        int told = 0;
        x11.pasteboard->onChange = [&] { ++told; };
        X11TestOwner owner;
        owner.setMute(true);
        owner.own({{"UTF8_STRING", "x"}});
        QVERIFY(await([&] { return x11.pasteboard->isFetching(); }));
        x11.runLoop.runOnce();
        x11.settle();
        QTest::ignoreMessage(QtWarningMsg, "the clipboard's owner does not answer");
        x11.runLoop.advance(TargetTransfer::stepLimit);
        QCOMPARE(x11.pasteboard->unansweredCount(), 1);
        QCOMPARE(told, 1);
    }
};

QTEST_GUILESS_MAIN(OwnerMomentsTest)
#include "tst_x11_ownermoments.moc"
