// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandToplevels.h"
#include "tests/kit/Await.h"
#include "tests/kit/Served.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class WaylandToplevelsTest final : public kit::TestCase {
    Q_OBJECT

    void end() override {
        _toplevels.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void whoTellsIsAsked_data() {
        QTest::addColumn<bool>("foreign");
        QTest::addColumn<quint32>("plasma");
        QTest::addColumn<bool>("tells");
        QTest::newRow("nobody") << false << 0U << false;
        QTest::newRow("foreign toplevels") << true << 0U << true;
        // Which knew windows by numbers that are used again.
        QTest::newRow("an old Plasma") << false << 12U << false;
        QTest::newRow("Plasma at the limit") << false << 13U << true;
    }
    void whoTellsIsAsked() {
        QFETCH(bool, foreign);
        QFETCH(quint32, plasma);
        open({.windows = foreign, .plasmaWindows = plasma});
        QTEST(bool(_toplevels), "tells");
        if (_toplevels) {
            set(1, {.identifier = "one", .isActive = true});
            QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("one")));
        }
    }

    void theActiveWindowIsKnown_data() { forms(); }
    void theActiveWindowIsKnown() {
        openForm();
        QCOMPARE(_toplevels->active(), std::nullopt);
        set(1, {.identifier = "org.example.Editor", .isActive = true});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("org.example.Editor")));
        set(2, {.identifier = "org.example.Files", .isActive = false});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("org.example.Editor")));
        set(1, {.isActive = false});
        QCOMPARE(_toplevels->active(), std::nullopt);
        set(2, {.isActive = true});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("org.example.Files")));
        _compositor->closeWindow(2);
        serve();
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

    void anotherActiveWindowIsTold_data() { forms(); }
    void anotherActiveWindowIsTold() {
        openForm();
        QStringList told;
        _toplevels->onChange = [&] { told.append(_toplevels->active().value_or(QString())); };
        set(1, {.identifier = "one", .isActive = true});
        set(1, {.identifier = "one", .isActive = true});
        set(2, {.identifier = "two", .isActive = false});
        QCOMPARE(told, (QStringList{QStringLiteral("one")}));
        set(1, {.isActive = false});
        set(2, {.isActive = true});
        _compositor->closeWindow(1);
        serve();
        _compositor->closeWindow(2);
        serve();
        QCOMPARE(told,
                 (QStringList{QStringLiteral("one"), QString(), QStringLiteral("two"), QString()}));
        _toplevels->onChange = nullptr;
        set(3, {.identifier = "three", .isActive = true});
    }

    void windowsOfBeforeAreKnown() {
        _compositor.emplace(TestCompositor::Offers{.windows = false, .plasmaWindows = 16});
        _compositor->setWindow(1, {.identifier = "one", .isActive = false});
        _compositor->setWindow(2, {.identifier = "two", .isActive = true});
        follow();
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("two")));
    }

    void halfOfWhatIsSaidDoesNotCount() {
        open({});
        set(1, {.identifier = "one", .isActive = true});
        set(1, {.identifier = "two", .isActive = false, .isDone = false});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("one")));
        set(1, {});
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

    // Plasma tells everything once and then what changes.
    void aWindowIsNoneBeforeAllWasSaid() {
        open(onPlasma);
        set(1, {.isActive = true, .isDone = false});
        QCOMPARE(_toplevels->active(), std::nullopt);
        set(1, {.identifier = "one", .isDone = false});
        QCOMPARE(_toplevels->active(), std::nullopt);
        set(1, {});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("one")));
        set(1, {.identifier = "two", .isDone = false});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("two")));
        set(1, {.isActive = false, .isDone = false});
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

    void aWindowThatHasGoneWhenItIsAskedForIsNone() {
        open(onPlasma);
        _compositor->setWindow(1, {.identifier = "one", .isActive = true});
        _compositor->closeWindow(1);
        serve();
        serve();
        QCOMPARE(_toplevels->active(), std::nullopt);
        set(2, {.identifier = "two", .isActive = true});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("two")));
    }

    void titlesDoNotMatter_data() { forms(); }
    void titlesDoNotMatter() {
        openForm();
        set(1, {.identifier = "one", .isActive = true, .title = QByteArray(4000, 'x')});
        set(1, {.title = QByteArray("\xff\xfe")});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("one")));
    }

    // What does not fit into a message no compositor can say.
    void aTitleOfAMegabyteIsTheEnd() {
        open(onPlasma);
        set(1, {.identifier = "one", .isActive = true});
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^the compositor ")));
        _compositor->setWindow(1, {.title = QByteArray(1'000'000, 'x')});
        _connection->whenServed(&_nobody, [] {});
        QVERIFY(await([&] { return _connection->isLost(); }));
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

    void windowsAreLimited_data() { forms(); }
    void windowsAreLimited() {
        openForm();
        for (int number = 1; number <= 4097; ++number) {
            _compositor->setWindow(number, {.identifier = "one", .isActive = false});
            // The compositor keeps no more than a few kilobytes for a client.
            if (number % 16 == 0)
                serve();
        }
        serve();
        serve();
        set(4096, {.identifier = "the last that counts", .isActive = true});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("the last that counts")));
        set(4096, {.isActive = false});
        set(4097, {.isActive = true});
        QCOMPARE(_toplevels->active(), std::nullopt);
        // Where one has closed there is room for the next.
        _compositor->closeWindow(1);
        set(4098, {.identifier = "next", .isActive = true});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("next")));
    }

    void anIdentifierThatIsNone_data() {
        QTest::addColumn<bool>("isPlasma");
        QTest::addColumn<QByteArray>("identifier");
        QTest::addColumn<bool>("isKnown");
        for (const bool isPlasma : {false, true}) {
            const auto row = [=](const char *name, const QByteArray &identifier, bool isKnown) {
                QTest::addRow("%s, %s", isPlasma ? "Plasma" : "foreign", name)
                    << isPlasma << identifier << isKnown;
            };
            row("empty", "", false);
            row("at the limit", QByteArray(256, 'x'), true);
            row("above the limit", QByteArray(257, 'x'), false);
        }
    }
    void anIdentifierThatIsNone() {
        openForm();
        QFETCH(QByteArray, identifier);
        QFETCH(bool, isKnown);
        set(1, {.identifier = identifier, .isActive = true});
        QCOMPARE(_toplevels->active().has_value(), isKnown);
    }

    void afterTheEndNothingChanges() {
        open({});
        set(1, {.identifier = "one", .isActive = true});
        _compositor->finishWindows();
        serve();
        QVERIFY(!_connection->isLost());
    }

    void aLostCompositorHasNoWindows_data() { forms(); }
    void aLostCompositorHasNoWindows() {
        openForm();
        set(1, {.identifier = "one", .isActive = true});
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

private:
    struct Nobody final : WaylandObserver {};

    const TestCompositor::Offers onPlasma{.windows = false, .plasmaWindows = 16};

    static void forms() {
        QTest::addColumn<bool>("isPlasma");
        QTest::newRow("foreign") << false;
        QTest::newRow("Plasma") << true;
    }
    void openForm() {
        QFETCH(bool, isPlasma);
        open(isPlasma ? onPlasma : TestCompositor::Offers());
    }
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        follow();
    }
    void follow() {
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        _toplevels = WaylandToplevels::make(_connection);
        serve();
        serve();
    }
    void set(int number, const TestCompositor::Window &window) {
        _compositor->setWindow(number, window);
        // Plasma tells that there is a window, and is then asked for it.
        serve();
        serve();
    }
    // Everything that the compositor has sent has been heard.
    void serve() { QVERIFY(served(*_connection)); }

    Nobody _nobody;
    std::optional<TestCompositor> _compositor;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandToplevels> _toplevels;
};

QTEST_GUILESS_MAIN(WaylandToplevelsTest)
#include "tst_waylandtoplevels.moc"
