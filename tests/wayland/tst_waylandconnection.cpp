// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandDataControl.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <chrono>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

struct ChangeCounter final : WaylandObserver {
    explicit ChangeCounter(WaylandConnection &watched)
        : connection(watched) {
        connection.addObserver(this);
    }
    ~ChangeCounter() override { connection.removeObserver(this); }
    void waylandGlobalsChanged() override { ++changes; }
    WaylandConnection &connection;
    int changes = 0;
};

} // namespace

class WaylandConnectionTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _compositor.emplace();
        qputenv("WAYLAND_DISPLAY", _compositor->display());
    }
    void end() override { _compositor.reset(); }

private Q_SLOTS:
    void openedWhatIsOfferedIsKnown() {
        const auto connection = WaylandConnection::open();
        QVERIFY(connection);
        QVERIFY(connection->offers("wl_seat"));
        QVERIFY(connection->offers("ext_data_control_manager_v1"));
        QVERIFY(!connection->offers("wl_compositor"));
        QVERIFY(connection->seat());
        QCOMPARE(connection->seat(), connection->seat());
        QVERIFY(!connection->isLost());
    }

    void aMessageThatCannotBeMadeEndsTheConnection() {
        const auto connection = WaylandConnection::open();
        const auto control = WaylandDataControl::make(connection);
        int told = 0;
        connection->whenLost([&] { ++told; });
        // Nothing more comes from the compositor, by which it would be noticed.
        ChangeCounter observer(*connection);
        bool isServed = false;
        connection->whenServed(&observer, [&] { isServed = true; });
        QVERIFY(await([&] { return isServed; }));
        // Older libraries do not send it, newer ones send it to a compositor that does not take it.
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("too long|reset by peer")));
        QVERIFY(control->own({QString(5000, u'x')}));
        QCOMPARE(told, 0);
        QVERIFY(await([&] { return told > 0; }));
        QVERIFY(connection->isLost());
        QCoreApplication::processEvents();
        QCOMPARE(told, 1);
    }

    void probeListsWhatIsOffered() {
        const QList<QByteArray> offered = WaylandConnection::probe();
        QCOMPARE(offered.count("wl_seat"), 1);
        QCOMPARE(offered.count("zwlr_data_control_manager_v1"), 1);
    }

    void withoutACompositor_data() {
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QByteArray>("warning");
        QTest::newRow("unset") << QByteArray() << QByteArray();
        QTest::newRow("nobody there")
            << QByteArray("/nowhere/wayland-9")
            << QByteArray("the compositor \"/nowhere/wayland-9\" cannot be "
                          "reached: No such file or directory");
    }
    void withoutACompositor() {
        QFETCH(QByteArray, display);
        QFETCH(QByteArray, warning);
        if (display.isEmpty())
            qunsetenv("WAYLAND_DISPLAY");
        else
            qputenv("WAYLAND_DISPLAY", display);
        QVERIFY(WaylandConnection::probe().isEmpty());
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QVERIFY(!WaylandConnection::open());
    }

    void oneThatSaysNothingIsNotWaitedForLong() {
        _compositor.emplace(TestCompositor::Offers{.answersAfter = {}});
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        const QByteArray warning =
            "the compositor \"" + _compositor->display() + "\" does not say what it offers";
        QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QVERIFY(!WaylandConnection::open());
    }

    // As at the start of a session, in which everything starts at once.
    void oneThatIsBusyIsWaitedFor() {
        _compositor.emplace(TestCompositor::Offers{.answersAfter = std::chrono::seconds(5)});
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        QVERIFY(WaylandConnection::open());
    }

    void theEndIsToldOnce() {
        const auto connection = WaylandConnection::open();
        int told = 0;
        connection->whenLost([&] { ++told; });
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor.reset();
        QVERIFY(await([&] { return told > 0; }));
        QCoreApplication::processEvents();
        QCOMPARE(told, 1);
        QVERIFY(connection->isLost());
        QVERIFY(!connection->seat());
        QVERIFY(!connection->offers("wl_seat"));
        connection->flush();
        connection->whenServed(nullptr, [&] { ++told; });
        QCoreApplication::processEvents();
        QCOMPARE(told, 1);
    }

    void whatComesAndGoesIsTold() {
        const auto connection = WaylandConnection::open();
        ChangeCounter counter(*connection);
        wl_seat *const first = connection->seat();
        _compositor->addSeat();
        QVERIFY(await([&] { return counter.changes == 1; }));
        QCOMPARE(connection->seat(), first);
        _compositor->removeSeat();
        QVERIFY(await([&] { return counter.changes == 2; }));
        QVERIFY(connection->seat());
        _compositor->removeSeat();
        QVERIFY(await([&] { return counter.changes == 3; }));
        QVERIFY(!connection->seat());
        QVERIFY(!connection->offers("wl_seat"));
    }

    void theKeyboardOfASeatIsTold() {
        const auto connection = WaylandConnection::open();
        ChangeCounter counter(*connection);
        QVERIFY(connection->seat());
        _compositor->setKeymap(TestCompositor::Keymap{.text = "one"});
        QVERIFY(await([&] { return counter.changes == 1; }));
        QVERIFY(connection->hasKeyboard());
        // Another layout is no other keyboard.
        _compositor->setKeymap(TestCompositor::Keymap{.text = "another"});
        bool isServed = false;
        connection->whenServed(&counter, [&] { isServed = true; });
        QVERIFY(await([&] { return isServed; }));
        QCOMPARE(counter.changes, 1);
        _compositor->setKeymap(std::nullopt);
        QVERIFY(await([&] { return counter.changes == 2; }));
        QVERIFY(!connection->hasKeyboard());
        _compositor->setKeymap(TestCompositor::Keymap{.text = "one"});
        QVERIFY(await([&] { return counter.changes == 3; }));
        _compositor->removeSeat();
        QVERIFY(await([&] { return counter.changes == 4; }));
        QVERIFY(!connection->hasKeyboard());
    }

    void versionsAreAskedFor() {
        _compositor.emplace(TestCompositor::Offers{.fakeInput = 4});
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        const auto connection = WaylandConnection::open();
        QVERIFY(connection->offers("org_kde_kwin_fake_input"));
        QVERIFY(connection->offers("org_kde_kwin_fake_input", 3));
        QVERIFY(connection->offers("org_kde_kwin_fake_input", 4));
        QVERIFY(!connection->offers("org_kde_kwin_fake_input", 5));
    }

    void aRemovedObserverIsToldNothing() {
        const auto connection = WaylandConnection::open();
        ChangeCounter stays(*connection);
        bool isServed = false;
        {
            ChangeCounter goes(*connection);
            connection->whenServed(&goes, [&] { isServed = true; });
        }
        _compositor->addSeat();
        QVERIFY(await([&] { return stays.changes == 1; }));
        QVERIFY(!isServed);
    }

    void notEverythingIsRemembered() {
        for (int seat = 0; seat < 1200; ++seat)
            _compositor->addSeat();
        QCOMPARE(WaylandConnection::probe().size(), WaylandConnection::mostGlobals);
    }

    void whoIsRemovedByAnotherIsToldNothing() {
        const auto connection = WaylandConnection::open();
        std::optional<ChangeCounter> second;
        struct Remover final : WaylandObserver {
            explicit Remover(std::optional<ChangeCounter> &who)
                : removed(who) {}
            void waylandGlobalsChanged() override {
                isCalled = true;
                removed->connection.removeObserver(&*removed);
            }
            std::optional<ChangeCounter> &removed;
            bool isCalled = false;
        } first(second);
        connection->addObserver(&first);
        second.emplace(*connection);
        _compositor->addSeat();
        QVERIFY(await([&] { return first.isCalled; }));
        QCOMPARE(second->changes, 0);
        connection->removeObserver(&first);
    }

    void servedInOrder() {
        const auto connection = WaylandConnection::open();
        ChangeCounter observer(*connection);
        QList<int> served;
        connection->whenServed(&observer, [&] { served += 1; });
        connection->whenServed(&observer, [&] { served += 2; });
        QVERIFY(served.isEmpty());
        QVERIFY(await([&] { return served.size() == 2; }));
        QCOMPARE(served, (QList<int>{1, 2}));
    }

private:
    std::optional<TestCompositor> _compositor;
};

QTEST_GUILESS_MAIN(WaylandConnectionTest)
#include "tst_waylandconnection.moc"
