// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandToplevels.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class WaylandToplevelsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { open({}); }
    void end() override {
        _toplevels.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void whoDoesNotTellIsNotAsked() {
        open({.windows = false});
        QVERIFY(!_toplevels);
    }

    void theActiveWindowIsKnown() {
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

    void halfOfWhatIsSaidDoesNotCount() {
        set(1, {.identifier = "one", .isActive = true});
        set(1, {.identifier = "two", .isActive = false, .isDone = false});
        QCOMPARE(_toplevels->active(), std::optional(QStringLiteral("one")));
        set(1, {});
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

    void anIdentifierThatIsNone_data() {
        QTest::addColumn<QByteArray>("identifier");
        QTest::addColumn<bool>("isKnown");
        QTest::newRow("empty") << QByteArray("") << false;
        QTest::newRow("at the limit") << QByteArray(256, 'x') << true;
        QTest::newRow("above the limit") << QByteArray(257, 'x') << false;
    }
    void anIdentifierThatIsNone() {
        QFETCH(QByteArray, identifier);
        QFETCH(bool, isKnown);
        set(1, {.identifier = identifier, .isActive = true});
        QCOMPARE(_toplevels->active().has_value(), isKnown);
    }

    void afterTheEndNothingChanges() {
        set(1, {.identifier = "one", .isActive = true});
        _compositor->finishWindows();
        serve();
        QVERIFY(!_connection->isLost());
    }

    void aLostCompositorHasNoWindows() {
        set(1, {.identifier = "one", .isActive = true});
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        QCOMPARE(_toplevels->active(), std::nullopt);
    }

private:
    struct Nobody final : WaylandObserver {};

    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        _toplevels = WaylandToplevels::make(_connection);
        serve();
    }
    void set(int number, const TestCompositor::Window &window) {
        _compositor->setWindow(number, window);
        serve();
    }
    // Everything that the compositor has sent has been heard.
    void serve() {
        bool isServed = false;
        _connection->whenServed(&_nobody, [&] { isServed = true; });
        QVERIFY(await([&] { return isServed; }));
    }

    Nobody _nobody;
    std::optional<TestCompositor> _compositor;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandToplevels> _toplevels;
};

QTEST_GUILESS_MAIN(WaylandToplevelsTest)
#include "tst_waylandtoplevels.moc"
