// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandKeyboard.h"
#include "platform/wayland/WaylandSeatLayout.h"
#include "tests/kit/Await.h"
#include "tests/kit/Keymaps.h"
#include "tests/kit/Served.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <functional>
#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

constexpr quint32 control = 0xffe3;

QByteArray lineOf(const KeyLayout::Step &step) {
    return (step.isDown ? "press " : "release ") + QByteArray::number(step.key);
}

} // namespace

// KDE's key strokes, and the seat's layout that they are made in.
class WaylandFakeInputTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { open({.keyboards = false, .fakeInput = 4}); }
    void end() override {
        _keyboard.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void itIntroducesItselfAtOnce() {
        QCOMPARE(_keyboard->name(), QStringLiteral("fake-input"));
        serve();
        QCOMPARE(_compositor->typed(), QList<QByteArray>{"authenticate Clipmule Sync"});
    }

    void strokesAreThoseAmongHeldKeys() {
        QVERIFY(_keyboard->type({control, 'v'}));
        serve();
        QList<QByteArray> expected{"authenticate Clipmule Sync"};
        const auto usual = KeyLayout::usual();
        for (const auto &step : usual->strokeAmongHeldKeys({29, 47}))
            expected.append(lineOf(step));
        QVERIFY(expected.size() > 10);
        QCOMPARE(_compositor->typed(), expected);
    }

    void nothingIsNoStroke() {
        QVERIFY(_keyboard->type({}));
        serve();
        QCOMPARE(_compositor->typed().size(), 1);
    }

    void aSymbolWithoutAKeyIsNotTyped() {
        QVERIFY(!_keyboard->type({control, 0x0101f600}));
        serve();
        QCOMPARE(_compositor->typed().size(), 1);
    }

    void whatIsOffered_data() {
        QTest::addColumn<bool>("keyboards");
        QTest::addColumn<quint32>("fakeInput");
        QTest::addColumn<QString>("name");
        const QString fakeInput = QStringLiteral("fake-input");
        QTest::newRow("both") << true << 4U << QStringLiteral("virtual-keyboard");
        QTest::newRow("none") << false << 0U << QString();
        // Which knew no keys.
        QTest::newRow("an old one") << false << 3U << QString();
        QTest::newRow("at the limit") << false << 4U << fakeInput;
    }
    void whatIsOffered() {
        QFETCH(bool, keyboards);
        QFETCH(quint32, fakeInput);
        open({.keyboards = keyboards, .fakeInput = fakeInput});
        QTEST(_keyboard ? _keyboard->name() : QString(), "name");
    }

    void withoutASeatTheKeysAreTheUsualOnes() {
        open({.keyboards = false, .fakeInput = 4, .seats = 0});
        QCOMPARE(keyOf('v'), 47);
    }

    void layouts_data() {
        QTest::addColumn<QByteArray>("layouts");
        QTest::addColumn<QByteArray>("variants");
        QTest::addColumn<char>("letter");
        QTest::addColumn<int>("key");
        QTest::newRow("Dvorak") << QByteArray("us") << QByteArray("dvorak") << 'v' << 52;
        QTest::newRow("AZERTY") << QByteArray("fr") << QByteArray() << 'a' << 16;
        // Programs look for the English letter on such a key.
        QTest::newRow("Greek alone") << QByteArray("gr") << QByteArray() << 'v' << 47;
        QTest::newRow("Greek and Dvorak")
            << QByteArray("gr,us") << QByteArray(",dvorak") << 'v' << 52;
    }
    void layouts() {
        QFETCH(QByteArray, layouts);
        QFETCH(QByteArray, variants);
        QFETCH(char, letter);
        QFETCH(int, key);
        tell({.text = keymapText(layouts, variants)});
        QCOMPARE(keyOf(quint32(letter)), key);
    }

    void aSeatWithoutAKeyboardIsNotAskedForOne() {
        serve();
        QCOMPARE(_compositor->keyboardsAsked(), 0);
        QVERIFY(!_connection->isLost());
    }

    void aChangedLayoutCounts() {
        tell({.text = keymapText("us", "dvorak")});
        QCOMPARE(keyOf('v'), 52);
        tell({.text = keymapText("us")});
        QCOMPARE(keyOf('v'), 47);
        // Nothing that changes beside it makes another keyboard of it.
        _compositor->addSeat();
        serve();
        serve();
        QCOMPARE(_compositor->keyboardsAsked(), 1);
    }

    void whatIsThereAlreadyIsRead() {
        tell({.text = keymapText("us", "dvorak")});
        auto layout = std::make_unique<WaylandSeatLayout>(_connection);
        QVERIFY(await([&] { return layout->stroke({'v'})->constLast().key == 52; }));
        QCOMPARE(_compositor->keyboardsAsked(), 2);
        // Who has gone asks for no keyboard any more.
        layout.reset();
        _compositor->setKeymap(std::nullopt);
        serve();
        tell({.text = keymapText("us")});
        QCOMPARE(_compositor->keyboardsAsked(), 3);
    }

    // The user pulls it out, and plugs another one in.
    void aKeyboardComesAgain() {
        tell({.text = keymapText("us", "dvorak")});
        _compositor->setKeymap(std::nullopt);
        serve();
        QCOMPARE(keyOf('v'), 52);
        tell({.text = keymapText("us")});
        QCOMPARE(keyOf('v'), 47);
        QCOMPARE(_compositor->keyboardsAsked(), 2);
    }

    void theNextSeatIsAsked() {
        tell({.text = keymapText("us", "dvorak")});
        _compositor->removeSeat();
        _compositor->addSeat();
        serve();
        serve();
        QCOMPARE(_compositor->keyboardsAsked(), 2);
        _compositor->setKeymap(Keymap{.text = keymapText("us")});
        serve();
        QCOMPARE(keyOf('v'), 47);
    }

    void aLayoutThatCannotBeReadIsNone_data() {
        QTest::addColumn<Keymap>("keymap");
        QTest::addColumn<QByteArray>("warning");
        const QByteArray text = keymapText("us", "dvorak");
        const auto row = [](const char *name, const Keymap &keymap, const char *warning) {
            QTest::newRow(name) << keymap << QByteArray(warning);
        };
        row("garbage", {.text = "no keymap"},
            "the keyboard's layout is not used: it describes no keyboard");
        row("empty", {.text = "", .size = 0},
            "the keyboard's layout is not used: it describes no keyboard");
        row("longer than its file", {.text = "short", .size = 7},
            "the keyboard's layout is not used: its 7 bytes cannot be read");
        row("a pipe", {.text = "x", .isPipe = true},
            "the keyboard's layout is not used: its 2 bytes cannot be read");
        row("too long", {.text = text.leftJustified(1'000'000, ' ')},
            "the keyboard's layout is not used: its 1000001 bytes cannot be read");
        row("gigabytes", {.text = text, .size = 0xffffffff},
            "the keyboard's layout is not used: its 4294967295 bytes cannot be read");
        // Some have keys without any meaning.
        row("no layout", {.text = text, .format = 0}, "");
        row("another format", {.text = text, .format = 2}, "");
    }
    void aLayoutThatCannotBeReadIsNone() {
        QFETCH(Keymap, keymap);
        QFETCH(QByteArray, warning);
        tell({.text = keymapText("us", "dvorak")});
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, warning.constData());
        tell(keymap);
        QCOMPARE(keyOf('v'), 47);
        tell({.text = keymapText("us", "dvorak")});
        QCOMPARE(keyOf('v'), 52);
    }

    void theLongestLayoutIsRead() {
        tell({.text = keymapText("us", "dvorak").leftJustified(999'999, ' ')});
        QCOMPARE(keyOf('v'), 52);
    }

    void aShorterSizeIsWhatCounts() {
        const QByteArray text = keymapText("us", "dvorak");
        tell({.text = text + "and more", .size = quint32(text.size())});
        QCOMPARE(keyOf('v'), 52);
    }

    void theGroupInForceGoesFirst() {
        WaylandSeatLayout layout(_connection);
        tell({.text = keymapText("us,us", ",dvorak")});
        const auto key = [&] { return layout.stroke({'v'})->constLast().key; };
        QCOMPARE(key(), 47);
        layout.setGroup(1);
        QCOMPARE(key(), 52);
        layout.setGroup(0);
        QCOMPARE(key(), 47);
        layout.setGroup(std::nullopt);
        QCOMPARE(key(), 47);
    }

    void modifiersAreKnownWhereTheyAreTold_data() {
        QTest::addColumn<quint32>("version");
        QTest::addColumn<quint32>("key");
        QTest::addColumn<quint32>("state");
        QTest::addColumn<bool>("wouldMixIn");
        const quint32 pressed = 3;
        QTest::newRow("Alt") << 5U << 3U << pressed << true;
        QTest::newRow("Control") << 5U << 4U << pressed << true;
        QTest::newRow("Shift") << 5U << 5U << pressed << true;
        QTest::newRow("Super") << 5U << 6U << pressed << true;
        QTest::newRow("AltGr") << 5U << 7U << pressed << true;
        QTest::newRow("latched") << 5U << 5U << 1U << true;
        QTest::newRow("locked") << 5U << 5U << 2U << true;
        QTest::newRow("not active") << 5U << 5U << 0U << false;
        QTest::newRow("a state to come") << 5U << 5U << 4U << false;
        QTest::newRow("Caps Lock") << 5U << 0U << 2U << false;
        QTest::newRow("Num Lock") << 5U << 1U << 2U << false;
        QTest::newRow("Scroll Lock") << 5U << 2U << 2U << false;
        QTest::newRow("a key to come") << 5U << 8U << pressed << false;
        QTest::newRow("no key at all") << 5U << 0xffffffffU << pressed << false;
        // Which tells of locks alone.
        QTest::newRow("an old version") << 4U << 5U << 2U << false;
    }
    void modifiersAreKnownWhereTheyAreTold() {
        QFETCH(quint32, version);
        QFETCH(quint32, key);
        QFETCH(quint32, state);
        QFETCH(bool, wouldMixIn);
        open({.keyboards = false, .fakeInput = 4, .keyStates = version});
        int released = 0;
        _keyboard->onModifiersReleased = [&] { ++released; };
        serve();
        // Nobody has said anything yet.
        QVERIFY(!_keyboard->wouldModifiersMixIn());
        _compositor->setKeyState(key, state);
        serve();
        QCOMPARE(_keyboard->wouldModifiersMixIn(), wouldMixIn);
        QCOMPARE(released, 0);
        _compositor->setKeyState(key, 0);
        serve();
        QVERIFY(!_keyboard->wouldModifiersMixIn());
        QCOMPARE(released, wouldMixIn ? 1 : 0);
    }

    void modifiersAreReleasedWithTheLastOfThem() {
        open({.keyboards = false, .fakeInput = 4, .keyStates = 5});
        int released = 0;
        _keyboard->onModifiersReleased = [&] { ++released; };
        for (const quint32 key : {4U, 5U})
            _compositor->setKeyState(key, 3);
        _compositor->setKeyState(5, 0);
        serve();
        QVERIFY(_keyboard->wouldModifiersMixIn());
        QCOMPARE(released, 0);
        _compositor->setKeyState(4, 0);
        serve();
        QVERIFY(!_keyboard->wouldModifiersMixIn());
        QCOMPARE(released, 1);
    }

    void modifiersThatWereHeldBeforeAreKnown() {
        openWith({.keyboards = false, .fakeInput = 4, .keyStates = 5},
                 [this] { _compositor->setKeyState(5, 3); });
        serve();
        QVERIFY(_keyboard->wouldModifiersMixIn());
    }

    // Nobody would ever say that they were released.
    void modifiersThatAreToldOfNoMoreAreForgotten() {
        open({.keyboards = false, .fakeInput = 4, .keyStates = 5});
        int released = 0;
        _keyboard->onModifiersReleased = [&] { ++released; };
        _compositor->setKeyState(5, 3);
        serve();
        QVERIFY(_keyboard->wouldModifiersMixIn());
        _compositor->removeKeyStates();
        serve();
        QVERIFY(!_keyboard->wouldModifiersMixIn());
        QCOMPARE(released, 1);
        serve();
        QCOMPARE(_compositor->keyStatesBound(), 0);
    }

    void nobodyIsAskedOfModifiersForLonger() {
        open({.keyboards = false, .fakeInput = 4, .keyStates = 5});
        serve();
        QCOMPARE(_compositor->keyStatesBound(), 1);
        // What else changes asks no second time.
        _compositor->addSeat();
        serve();
        serve();
        QCOMPARE(_compositor->keyStatesBound(), 1);
        _keyboard.reset();
        serve();
        QCOMPARE(_compositor->keyStatesBound(), 0);
    }

    void nothingIsTypedForALostCompositor() {
        tell({.text = keymapText("us")});
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        QVERIFY(!_keyboard->type({control, 'v'}));
    }

private:
    using Keymap = TestCompositor::Keymap;
    void open(const TestCompositor::Offers &offers) {
        openWith(offers, [] {});
    }
    void openWith(const TestCompositor::Offers &offers, const std::function<void()> &prepare) {
        end();
        _compositor.emplace(offers);
        prepare();
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        _keyboard = WaylandKeyboard::make(_connection);
    }
    void tell(const Keymap &keymap) {
        _compositor->setKeymap(keymap);
        // What the seat has is told first; then it is asked for it.
        serve();
        serve();
    }
    // The key that is pressed for this symbol.
    int keyOf(quint32 symbol) {
        const qsizetype before = _compositor->typed().size();
        if (!_keyboard->type({symbol}))
            return -1;
        serve();
        for (const QByteArray &line : _compositor->typed().mid(before)) {
            if (line.startsWith("press "))
                return line.mid(6).toInt();
        }
        return -1;
    }
    // Everything that either side has sent has been heard.
    void serve() { QVERIFY(served(*_connection)); }

    std::optional<TestCompositor> _compositor;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandKeyboard> _keyboard;
};

QTEST_GUILESS_MAIN(WaylandFakeInputTest)
#include "tst_waylandfakeinput.moc"
