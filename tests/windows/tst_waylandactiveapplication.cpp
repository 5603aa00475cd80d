// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

class WaylandActiveApplicationTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        QFile table(tablePath());
        QVERIFY(table.open(QIODevice::WriteOnly));
        table.write("{ com.apple.finder = (thunar); pasteKeys = { \"Ctrl+Y\" = (emacs);"
                    " \"Shift+Insert\" = (xterm); }; pasteFromSelection = (xterm); }");
        table.close();
        open({});
    }
    void end() override {
        _application.reset();
        _session = {};
        _compositor.reset();
    }

private Q_SLOTS:
    void nobodyIsActiveAtFirst() {
        QCOMPARE(_application->identifier(), std::nullopt);
        QCOMPARE(_application->pasting(), ActiveApplication::Pasting());
    }

    void whatIsActiveIsKnown_data() {
        QTest::addColumn<QByteArray>("window");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("keys");
        QTest::newRow("unknown") << QByteArray("org.example.Other")
                                 << QStringLiteral("org.example.Other") << QString();
        QTest::newRow("file manager")
            << QByteArray("thunar") << QStringLiteral("com.apple.finder") << QString();
        QTest::newRow("other keys")
            << QByteArray("emacs") << QStringLiteral("emacs") << QStringLiteral("Ctrl+Y");
        // The selection is another's there.
        QTest::newRow("from the selection")
            << QByteArray("xterm") << QStringLiteral("xterm") << QStringLiteral("None");
    }
    void whatIsActiveIsKnown() {
        QFETCH(QByteArray, window);
        QFETCH(QString, identifier);
        QFETCH(QString, keys);
        _compositor->setWindow(1, {.identifier = window, .isActive = true});
        QVERIFY(await([&] { return _application->identifier().has_value(); }));
        QCOMPARE(_application->identifier(), std::optional(identifier));
        QCOMPARE(_application->pasting().keys.value_or(QString()), keys);
        QVERIFY(!_application->pasting().isFromSelection);
    }

    void anotherIsTold() {
        int count = 0;
        _application->onChange = [&] { ++count; };
        _compositor->setWindow(1, {.identifier = "emacs", .isActive = true});
        QVERIFY(await([&] { return count == 1; }));
        QCOMPARE(_application->identifier(), std::optional(QStringLiteral("emacs")));
        _application->onChange = nullptr;
        _compositor->setWindow(1, {.identifier = "thunar", .isActive = true});
        QVERIFY(await([&] {
            return _application->identifier() == std::optional(QStringLiteral("com.apple.finder"));
        }));
    }

    // Plasma tells of its windows by the same names.
    void onPlasmaToo() {
        open({.windows = false, .plasmaWindows = 16});
        _compositor->setWindow(1, {.identifier = "thunar", .isActive = true});
        QVERIFY(await([&] { return _application->identifier().has_value(); }));
        QCOMPARE(_application->identifier(), std::optional(QStringLiteral("com.apple.finder")));
    }

    void withoutAnybodyToAskNobodyIsActive() {
        _application = makeActiveApplication(Session(), QString());
        QCOMPARE(_application->identifier(), std::nullopt);
    }

private:
    [[nodiscard]] QString tablePath() const {
        return _folder.filePath(QStringLiteral("table.plist"));
    }
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _session.wayland = WaylandConnection::open();
        _application = makeActiveApplication(_session, tablePath());
    }

    QTemporaryDir _folder;
    std::optional<TestCompositor> _compositor;
    Session _session;
    std::unique_ptr<ActiveApplication> _application;
};

QTEST_GUILESS_MAIN(WaylandActiveApplicationTest)
#include "tst_waylandactiveapplication.moc"
