// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/windows/ActiveApplication.h"
#include "platform/windows/backends/x11/X11ActiveApplication.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using clipmule::kit::await;

namespace {

// A window of another program, which the window manager makes the active one.
class OtherWindow {
public:
    OtherWindow(const QByteArray &windowClass, const QByteArray &toolkitIdentifier)
        : _window(xcb_generate_id(_connection->xcb())) {
        xcb_connection_t *xcb = _connection->xcb();
        xcb_create_window(xcb, XCB_COPY_FROM_PARENT, _window, _connection->root(), 0, 0, 100, 50, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        if (!windowClass.isEmpty())
            set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, windowClass);
        if (!toolkitIdentifier.isEmpty())
            set(_connection->atom("_GTK_APPLICATION_ID"), _connection->atom("UTF8_STRING"),
                toolkitIdentifier);
        xcb_map_window(xcb, _window);
        _connection->flush();
    }
    ~OtherWindow() {
        xcb_destroy_window(_connection->xcb(), _window);
        (void)_connection->reply(xcb_get_input_focus_reply,
                                 xcb_get_input_focus(_connection->xcb()));
    }
    OtherWindow(const OtherWindow &) = delete;
    OtherWindow &operator=(const OtherWindow &) = delete;

    [[nodiscard]] bool isActive() {
        const auto reply = _connection->reply(
            xcb_get_property_reply,
            xcb_get_property(_connection->xcb(), 0, _connection->root(),
                             _connection->atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_ANY, 0, 1));
        return reply && xcb_get_property_value_length(reply.get()) == 4 &&
               *static_cast<const xcb_window_t *>(xcb_get_property_value(reply.get())) == _window;
    }

private:
    void set(xcb_atom_t property, xcb_atom_t type, const QByteArray &value) {
        xcb_change_property(_connection->xcb(), XCB_PROP_MODE_REPLACE, _window, property, type, 8,
                            quint32(value.size()), value.constData());
    }

    std::shared_ptr<X11Connection> _connection = X11Connection::open();
    xcb_window_t _window;
};

} // namespace

class X11ActiveApplicationTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        QVERIFY(_folder.isValid());
        write("table.plist", "{ com.apple.finder = (thunar, org.gnome.nautilus, org.table.id);"
                             "  com.apple.iPhoto = (shotwell);"
                             "  pasteKeys = { \"Ctrl+Y\" = (emacs); None = (org.quiet.id);"
                             "                \"Shift+Insert\" = (xterm, org.plain.term); };"
                             "  pasteFromSelection = (xterm); }");
        write("org.example.Term.desktop", "[Desktop Entry]\nStartupWMClass=ExampleTerm\n"
                                          "Categories=System;TerminalEmulator;\n");
        write("org.quiet.id.desktop",
              "[Desktop Entry]\nStartupWMClass=Quiet\nCategories=TerminalEmulator;\n");
        write("org.example.Files.desktop",
              "[Desktop Entry]\nStartupWMClass=ExampleFiles\nCategories=FileManager;\n");
        write("org.example.Editor.desktop", "[Desktop Entry]\nStartupWMClass=EditorWindow\n");
        write("org.table.id.desktop", "[Desktop Entry]\nStartupWMClass=Tabled\n");
        _application = std::make_unique<X11ActiveApplication>(
            X11Connection::open(),
            KnownPrograms(ApplicationTable::read(_folder.filePath(QStringLiteral("table.plist"))),
                          std::make_unique<DesktopFiles>(QStringList{_folder.path()})));
    }

    void isCalledByItsName_data() {
        QTest::addColumn<QByteArray>("windowClass");
        QTest::addColumn<QByteArray>("toolkitIdentifier");
        QTest::addColumn<QString>("identifier");
        const auto row = [](const char *name, const QByteArray &windowClass,
                            const char *toolkitIdentifier, const char *identifier) {
            QTest::newRow(name) << windowClass << QByteArray(toolkitIdentifier)
                                << QString::fromLatin1(identifier);
        };
        row("file manager by its class", QByteArray("thunar\0Thunar\0", 14), "",
            "com.apple.finder");
        row("file manager by its identifier",
            QByteArray("org.gnome.Nautilus\0org.gnome.Nautilus\0", 38), "org.gnome.Nautilus",
            "com.apple.finder");
        row("file manager by its desktop file", QByteArray("x\0ExampleFiles\0", 15), "",
            "com.apple.finder");
        row("file manager by its desktop file's name", QByteArray("tabled\0Tabled\0", 14), "",
            "com.apple.finder");
        row("photo manager", QByteArray("shotwell\0Shotwell\0", 18), "", "com.apple.iPhoto");
        row("the toolkit's identifier", QByteArray("gnome-terminal-server\0Gnome-terminal\0", 37),
            "org.gnome.Terminal", "org.gnome.Terminal");
        row("the desktop file's identifier", QByteArray("x\0EditorWindow\0", 15), "",
            "org.example.Editor");
        row("its class in lower case", QByteArray("xterm\0XTerm\0", 12), "", "xterm");
        row("a class without its NUL", QByteArray("a\0Broken", 8), "", "broken");
    }
    void isCalledByItsName() {
        QFETCH(QByteArray, windowClass);
        QFETCH(QByteArray, toolkitIdentifier);
        OtherWindow window(windowClass, toolkitIdentifier);
        QVERIFY(await([&] { return window.isActive(); }));
        QTEST(_application->identifier().value_or(QStringLiteral("(none)")), "identifier");
    }

    void pastesByItsKeys_data() {
        QTest::addColumn<QByteArray>("windowClass");
        QTest::addColumn<QByteArray>("toolkitIdentifier");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("isFromSelection");
        const auto row = [](const char *name, const QByteArray &windowClass,
                            const char *toolkitIdentifier, const char *keys, bool isFromSelection) {
            QTest::newRow(name) << windowClass << QByteArray(toolkitIdentifier)
                                << QString::fromLatin1(keys) << isFromSelection;
        };
        row("by its class", QByteArray("x\0XTerm\0", 8), "", "Shift+Insert", true);
        row("by its instance", QByteArray("emacs\0X\0", 8), "", "Ctrl+Y", false);
        row("by its identifier", QByteArray("x\0X\0", 4), "org.Plain.term", "Shift+Insert", false);
        row("by its desktop file's name", QByteArray("x\0Quiet\0", 8), "", "None", false);
        row("by its category", QByteArray("x\0ExampleTerm\0", 14), "", "Ctrl+Shift+V", false);
        row("usual", QByteArray("x\0EditorWindow\0", 15), "", "(usual)", false);
        row("of a file manager", QByteArray("thunar\0Thunar\0", 14), "", "(usual)", false);
        row("unknown", QByteArray("x\0Unknown\0", 10), "", "(usual)", false);
        row("nameless", {}, "", "(usual)", false);
    }
    void pastesByItsKeys() {
        QFETCH(QByteArray, windowClass);
        QFETCH(QByteArray, toolkitIdentifier);
        OtherWindow window(windowClass, toolkitIdentifier);
        QVERIFY(await([&] { return window.isActive(); }));
        const ActiveApplication::Pasting pasting = _application->pasting();
        QTEST(pasting.keys.value_or(QStringLiteral("(usual)")), "keys");
        QTEST(pasting.isFromSelection, "isFromSelection");
    }

    void namelessWindowIsNone() {
        OtherWindow window({}, {});
        QVERIFY(await([&] { return window.isActive(); }));
        QCOMPARE(_application->identifier(), std::nullopt);
    }

    void noActiveWindowIsNone() {
        {
            OtherWindow window(QByteArray("a\0A\0", 4), {});
            QVERIFY(await([&] { return window.isActive(); }));
        }
        QVERIFY(await([&] { return !_application->identifier(); }));
    }

    void withoutADisplayIsNone() {
        const auto none = makeActiveApplication({}, {});
        QCOMPARE(none->identifier(), std::nullopt);
        QVERIFY(none->pasting() == ActiveApplication::Pasting());
    }

    void theUsersOwnTableIsRead() {
        write("own.plist", "{ pasteKeys = { \"Ctrl+Y\" = (thunar); }; }");
        const auto application = makeActiveApplication(
            {X11Connection::open()}, _folder.filePath(QStringLiteral("table.plist")),
            _folder.filePath(QStringLiteral("own.plist")));
        OtherWindow window(QByteArray("thunar\0Thunar\0", 14), {});
        QVERIFY(await([&] { return window.isActive(); }));
        QCOMPARE(application->pasting().keys, QStringLiteral("Ctrl+Y"));
        QCOMPARE(application->identifier(), QStringLiteral("com.apple.finder"));
    }

private:
    void write(const char *name, const QByteArray &contents) {
        QFile file(_folder.filePath(QString::fromLatin1(name)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }

    QTemporaryDir _folder;
    std::unique_ptr<X11ActiveApplication> _application;
};

QTEST_GUILESS_MAIN(X11ActiveApplicationTest)
#include "tst_x11_activeapplication.moc"
