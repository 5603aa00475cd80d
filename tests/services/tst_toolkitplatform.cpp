// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

/// Runs beside an X server.
class ToolkitPlatformTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        qunsetenv("QT_QPA_PLATFORM");
        qunsetenv("WAYLAND_DISPLAY");
        qputenv("DISPLAY", _display);
    }
    void end() override {
        _compositor.reset();
        QCoreApplication::setLibraryPaths(_folders);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(!_display.isEmpty()); }

    void theSessionDecides_data() {
        QTest::addColumn<QByteArray>("compositor"); // and which data control it offers
        QTest::addColumn<bool>("hasX11");
        QTest::addColumn<QByteArray>("platform");
        QTest::newRow("nothing") << QByteArray() << false << QByteArray();
        QTest::newRow("X server") << QByteArray() << true << QByteArray("xcb");
        QTest::newRow("agreed") << QByteArray("agreed") << true << QByteArray("wayland");
        QTest::newRow("agreed, alone") << QByteArray("agreed") << false << QByteArray("wayland");
        QTest::newRow("wlroots") << QByteArray("wlroots") << true << QByteArray("wayland");
        QTest::newRow("none") << QByteArray("none") << true << QByteArray("xcb");
        QTest::newRow("none, alone") << QByteArray("none") << false << QByteArray("wayland");
        QTest::newRow("hangs") << QByteArray("hangs") << true << QByteArray("xcb");
        QTest::newRow("hangs, alone") << QByteArray("hangs") << false << QByteArray();
    }
    void theSessionDecides() {
        QFETCH(bool, hasX11);
        QFETCH(QByteArray, compositor);
        if (!compositor.isEmpty())
            open(compositor);
        if (!hasX11)
            qunsetenv("DISPLAY");
        QTEST(toolkitPlatform(), "platform");
    }

    void aDisplayThatDoesNotAnswerIsNone() {
        qputenv("DISPLAY", ":nowhere");
        QCOMPARE(toolkitPlatform(), QByteArray());
        qputenv("WAYLAND_DISPLAY", "/nowhere/wayland-9");
        QCOMPARE(toolkitPlatform(), QByteArray());
    }

    void withoutThePluginTheXServerIsUsed() {
        const QByteArray warning = "the toolkit has no plug-in for Wayland: install qt6-wayland";
        QCoreApplication::setLibraryPaths({QStringLiteral("/nowhere")});
        open("agreed");
        QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QCOMPARE(toolkitPlatform(), QByteArray("xcb"));
        qunsetenv("DISPLAY");
        QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QCOMPARE(toolkitPlatform(), QByteArray());
        // Where it would not be used, nobody misses it.
        open("none");
        QCOMPARE(toolkitPlatform(), QByteArray());
    }

    void thePluginHasTwoNames_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isIt");
        QTest::newRow("now") << QStringLiteral("libqwayland-generic.so") << true;
        QTest::newRow("later") << QStringLiteral("libqwayland.so") << true;
        QTest::newRow("another") << QStringLiteral("libqwayland-egl.so") << false;
    }
    void thePluginHasTwoNames() {
        QFETCH(QString, name);
        QFETCH(bool, isIt);
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("platforms")));
        QVERIFY(
            QFile(folder.filePath(QStringLiteral("platforms/") + name)).open(QIODevice::WriteOnly));
        QCoreApplication::setLibraryPaths({QStringLiteral("/nowhere"), folder.path()});
        open("none");
        qunsetenv("DISPLAY");
        QCOMPARE(toolkitPlatform(), isIt ? QByteArray("wayland") : QByteArray());
    }

    void theUsersChoiceCounts_data() {
        QTest::addColumn<QByteArray>("chosen");
        QTest::addColumn<QByteArray>("platform");
        QTest::newRow("the other one") << QByteArray("xcb") << QByteArray("xcb");
        QTest::newRow("with options") << QByteArray("wayland-egl:x") << QByteArray("wayland-egl:x");
        QTest::newRow("in its order") << QByteArray("xcb;wayland") << QByteArray("xcb");
        QTest::newRow("no display server") << QByteArray("offscreen") << QByteArray("offscreen");
        QTest::newRow("empty entry") << QByteArray(";offscreen") << QByteArray("offscreen");
        QTest::newRow("empty") << QByteArray("") << QByteArray("wayland");
    }
    void theUsersChoiceCounts() {
        QFETCH(QByteArray, chosen);
        open("wlroots");
        qputenv("QT_QPA_PLATFORM", chosen);
        QTEST(toolkitPlatform(), "platform");
    }

    void whatCannotBeReachedIsPassedOver() {
        qputenv("QT_QPA_PLATFORM", "wayland;xcb");
        QCOMPARE(toolkitPlatform(), QByteArray("xcb"));
        const auto warning = QByteArrayLiteral(
            "QT_QPA_PLATFORM names no display that can be reached: wayland\\n;xcb");
        qputenv("QT_QPA_PLATFORM", "wayland\n;xcb");
        qunsetenv("DISPLAY");
        QTest::ignoreMessage(QtWarningMsg, warning.constData());
        QCOMPARE(toolkitPlatform(), QByteArray());
        // Nor what there is no plug-in for.
        open("agreed");
        qputenv("QT_QPA_PLATFORM", "wayland;offscreen");
        QCoreApplication::setLibraryPaths({});
        QCOMPARE(toolkitPlatform(), QByteArray("offscreen"));
    }

private:
    void open(const QByteArray &which) {
        TestCompositor::Offers offers{.agreed = which == "agreed", .wlroots = which == "wlroots"};
        if (which == "hangs")
            offers.answersAfter.reset();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
    }

    const QByteArray _display = qgetenv("DISPLAY");
    const QStringList _folders = QCoreApplication::libraryPaths();
    std::optional<TestCompositor> _compositor;
};

QTEST_GUILESS_MAIN(ToolkitPlatformTest)
#include "tst_toolkitplatform.moc"
