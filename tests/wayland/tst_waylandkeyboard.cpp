// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandKeyboard.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {
constexpr quint32 control = 0xffe3;
constexpr quint32 shift = 0xffe1;
constexpr quint32 insert = 0xff63;
} // namespace

class WaylandKeyboardTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { open({}); }
    void end() override {
        _keyboard.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void controlV() {
        QVERIFY(_keyboard->type({control, 'v'}));
        QVERIFY(await([&] { return _compositor->typed().size() >= 7; }));
        QCOMPARE(_compositor->typed(),
                 (QList<QByteArray>{"keymap us", "press 29", "modifiers 4", "press 47",
                                    "release 47", "release 29", "modifiers 0"}));
    }

    void otherStrokes_data() {
        QTest::addColumn<QList<quint32>>("symbols");
        QTest::addColumn<QList<QByteArray>>("typed");
        QTest::newRow("terminals")
            << QList<quint32>{control, shift, 'v'}
            << QList<QByteArray>{"press 29",   "modifiers 4", "press 42",   "modifiers 5",
                                 "press 47",   "release 47",  "release 42", "modifiers 4",
                                 "release 29", "modifiers 0"};
        QTest::newRow("selection")
            << QList<quint32>{shift, insert}
            << QList<QByteArray>{"press 42",    "modifiers 1", "press 110",
                                 "release 110", "release 42",  "modifiers 0"};
        QTest::newRow("nothing") << QList<quint32>{} << QList<QByteArray>{};
    }
    void otherStrokes() {
        QFETCH(QList<quint32>, symbols);
        QFETCH(QList<QByteArray>, typed);
        QVERIFY(_keyboard->type(symbols));
        QVERIFY(await([&] { return _compositor->typed().size() > typed.size(); }));
        QCOMPARE(_compositor->typed().mid(1), typed);
    }

    // Programs miss what a seat's first keyboard types before they know of it.
    void theKeyboardIsThereBeforeItIsUsed() {
        QVERIFY(await([&] { return _compositor->typed() == QList<QByteArray>{"keymap us"}; }));
    }

    void aSymbolWithoutAKeyIsNotTyped() {
        QVERIFY(!_keyboard->type({control, 0x01000000U + 0x1f600}));
        QVERIFY(_keyboard->type({'x'}));
        QVERIFY(await([&] { return _compositor->typed().size() >= 3; }));
        QCOMPARE(_compositor->typed(), (QList<QByteArray>{"keymap us", "press 45", "release 45"}));
    }

    void whereThereIsNone_data() {
        QTest::addColumn<bool>("keyboards");
        QTest::addColumn<int>("seats");
        QTest::newRow("not offered") << false << 1;
        QTest::newRow("no seat") << true << 0;
    }
    void whereThereIsNone() {
        QFETCH(bool, keyboards);
        QFETCH(int, seats);
        open({.keyboards = keyboards, .seats = seats});
        QVERIFY(!_keyboard);
    }

    void theNextSeatGetsAKeyboard() {
        _compositor->removeSeat();
        QVERIFY(await([&] { return !_connection->seat(); }));
        QVERIFY(!_keyboard->type({control, 'v'}));
        _compositor->addSeat();
        QVERIFY(await([&] { return _connection->seat(); }));
        QVERIFY(_keyboard->type({'x'}));
        QVERIFY(await([&] { return _compositor->typed().size() >= 4; }));
        QCOMPARE(_compositor->typed(),
                 (QList<QByteArray>{"keymap us", "keymap us", "press 45", "release 45"}));
    }

    // Both are heard of at once: the next seat must not be taken for the one before.
    void aSeatThatIsExchangedIsAnother() {
        _compositor->removeSeat();
        _compositor->addSeat();
        QVERIFY(await([&] { return _compositor->typed().size() == 2; }));
        QCOMPARE(_compositor->typed(), (QList<QByteArray>{"keymap us", "keymap us"}));
    }

    void itSaysWhatItIs() { QCOMPARE(_keyboard->name(), QStringLiteral("virtual-keyboard")); }

    void nothingIsTypedForALostCompositor() {
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        QVERIFY(!_keyboard->type({control, 'v'}));
    }

private:
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        _keyboard = WaylandKeyboard::make(_connection);
    }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    std::optional<TestCompositor> _compositor;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandKeyboard> _keyboard;
};

QTEST_GUILESS_MAIN(WaylandKeyboardTest)
#include "tst_waylandkeyboard.moc"
