// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/KeyLayout.h"
#include "tests/kit/Keymaps.h"
#include "tests/kit/TestCase.h"

#include <QRegularExpression>
#include <QTest>

#include <xkbcommon/xkbcommon.h>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

// The kernel's numbers of keys.
constexpr quint32 keyQ = 16;
constexpr quint32 keyControl = 29;
constexpr quint32 keyA = 30;
constexpr quint32 keyShift = 42;
constexpr quint32 keyBackslash = 43;
constexpr quint32 keyV = 47;
constexpr quint32 keyDot = 52;
constexpr quint32 keyRightShift = 54;
constexpr quint32 keyAlt = 56;
constexpr quint32 keyCapsLock = 58;
constexpr quint32 keyNumLock = 69;
constexpr quint32 keyRightControl = 97;
constexpr quint32 keyAltGr = 100;
constexpr quint32 keyInsert = 110;
constexpr quint32 keySuper = 125;

constexpr quint32 symbolInsert = 0xff63;
constexpr quint32 symbolControl = 0xffe3;

// The user's keyboard, which every key pressed changes, whoever pressed it.
class SharedState {
public:
    explicit SharedState(const KeyLayout &layout)
        : _state(xkb_state_new(layout.keymap()), xkb_state_unref) {}

    void press(quint32 key) { xkb_state_update_key(_state.get(), key + 8, XKB_KEY_DOWN); }
    void release(quint32 key) { xkb_state_update_key(_state.get(), key + 8, XKB_KEY_UP); }
    [[nodiscard]] QByteArray modifiers() const {
        QByteArray names;
        for (const char *name : {"Shift", "Control", "Mod1", "Mod4", "Mod5", "Lock"}) {
            if (xkb_state_mod_name_is_active(_state.get(), name, XKB_STATE_MODS_EFFECTIVE) > 0)
                names += QByteArray(name) + ' ';
        }
        return names.trimmed();
    }
    // The modifiers at the moment when the key goes down.
    QByteArray perform(const QList<KeyLayout::Step> &stroke, quint32 key) {
        QByteArray atKey = "never";
        for (const auto &[each, isDown] : stroke) {
            isDown ? press(each) : release(each);
            if (each == key && isDown)
                atKey = modifiers();
        }
        return atKey;
    }

private:
    std::unique_ptr<xkb_state, void (*)(xkb_state *)> _state;
};

KeyLayout layoutOf(const QByteArray &layouts, const QByteArray &variants = {},
                   const QByteArray &options = {}) {
    const auto layout = KeyLayout::parse(keymapText(layouts, variants, options));
    return layout ? *layout : throw std::runtime_error("no such layout");
}

} // namespace

class KeyLayoutTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void keys_data() {
        QTest::addColumn<QByteArray>("layouts");
        QTest::addColumn<QByteArray>("variants");
        QTest::addColumn<quint32>("symbol");
        QTest::addColumn<std::optional<quint32>>("group");
        QTest::addColumn<std::optional<quint32>>("key");
        const auto row = [](const char *name, const char *layouts, const char *variants,
                            quint32 symbol, std::optional<quint32> group,
                            std::optional<quint32> key) {
            QTest::newRow(name) << QByteArray(layouts) << QByteArray(variants) << symbol << group
                                << key;
        };
        row("English", "us", "", 'v', {}, keyV);
        row("Dvorak", "us", "dvorak", 'v', {}, keyDot);
        row("AZERTY", "fr", "", 'a', {}, keyQ);
        row("AZERTY's v", "fr", "", 'v', {}, keyV);
        row("Greek alone has none", "gr", "", 'v', {}, {});
        row("Greek and English", "gr,us", "", 'v', {}, keyV);
        row("Greek and Dvorak", "gr,us", ",dvorak", 'v', {}, keyDot);
        row("first group", "us,us", "dvorak,", 'v', {}, keyDot);
        row("known group", "us,us", "dvorak,", 'v', 1, keyV);
        row("known group, the other way round", "us,us", ",dvorak", 'v', 1, keyDot);
        row("first group is known", "us,us", ",dvorak", 'v', 0, keyV);
        row("known group that has none", "us,gr", "", 'v', 1, keyV);
        row("group that there is not", "us,us", "dvorak,", 'v', 7, keyV);
        row("Insert is everywhere", "us,gr", "", symbolInsert, 1, keyInsert);
        row("Control", "fr", "", symbolControl, {}, keyControl);
        row("shifted does not count", "us", "", 'V', {}, {});
        row("no such symbol", "us", "", 0x0101f600, {}, {});
    }
    void keys() {
        QFETCH(QByteArray, layouts);
        QFETCH(QByteArray, variants);
        QFETCH(quint32, symbol);
        QFETCH(std::optional<quint32>, group);
        QFETCH(std::optional<quint32>, key);
        QCOMPARE(layoutOf(layouts, variants).keyOf(symbol, group), key);
    }

    void keysOfAllGroups_data() {
        QTest::addColumn<QByteArray>("layouts");
        QTest::addColumn<QByteArray>("variants");
        QTest::addColumn<quint32>("symbol");
        QTest::addColumn<QList<quint32>>("keys");
        const auto row = [](const char *name, const char *layouts, const char *variants,
                            quint32 symbol, const QList<quint32> &keys) {
            QTest::newRow(name) << QByteArray(layouts) << QByteArray(variants) << symbol << keys;
        };
        row("one", "us", "", 'v', {keyV});
        row("two that agree", "us,fr", "", 'v', {keyV});
        row("one has none", "gr,us", "", 'v', {keyV});
        row("they differ", "us,us", ",dvorak", 'v', {keyV, keyDot});
        row("in their order", "us,us", "dvorak,", 'v', {keyDot, keyV});
        row("one has none, two differ", "gr,us,us", ",dvorak,", 'v', {keyDot, keyV});
        row("no letters", "us,us", ",dvorak", symbolControl, {keyControl});
        row("none", "gr", "", 'v', {});
    }
    void keysOfAllGroups() {
        QFETCH(QByteArray, layouts);
        QFETCH(QByteArray, variants);
        QFETCH(quint32, symbol);
        QFETCH(QList<quint32>, keys);
        QCOMPARE(layoutOf(layouts, variants).keysOf(symbol), keys);
    }

    void ofTwoKeysTheSmallerNumberCounts() {
        const KeyLayout layout = layoutOf("us", "", "ctrl:nocaps");
        QVERIFY(keyControl < keyCapsLock);
        QCOMPARE(layout.keyOf(symbolControl), std::optional(keyControl));
    }

    void theUsualOneIsEnglish() {
        const auto usual = KeyLayout::usual();
        QVERIFY(usual);
        QCOMPARE(usual->keyOf('v'), std::optional(keyV));
        QCOMPARE(usual->keyOf('q'), std::optional(keyQ));
        QCOMPARE(usual->keyOf(symbolInsert), std::optional(keyInsert));
    }

    void theZeroByteAtTheEndIsNoPartOfIt() {
        QByteArray text = keymapText("us");
        QVERIFY(KeyLayout::parse(text));
        QVERIFY(KeyLayout::parse(text.append('\0')));
        QVERIFY(KeyLayout::parse(text.append("and what comes after it")));
    }

    void whatIsNoLayoutIsRefused_data() {
        QTest::addColumn<QByteArray>("text");
        const QByteArray good = keymapText("us");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("zero byte") << QByteArray(1, '\0');
        QTest::newRow("garbage") << QByteArray("\xff\xfe keymap \x01", 12);
        QTest::newRow("half of one") << good.first(good.size() / 2);
    }
    void whatIsNoLayoutIsRefused() {
        QFETCH(QByteArray, text);
        const auto layout = KeyLayout::parse(text);
        QVERIFY(!layout);
        QCOMPARE(layout.error().reason, QStringLiteral("it describes no keyboard"));
    }

    void theLengthIsLimited_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("one below") << 999'999 << true;
        QTest::newRow("at the limit") << 1'000'000 << true;
        QTest::newRow("one above") << 1'000'001 << false;
    }
    void theLengthIsLimited() {
        QFETCH(int, size);
        QFETCH(bool, isTaken);
        const auto layout = KeyLayout::parse(keymapText("us").leftJustified(size, ' '));
        QCOMPARE(layout.has_value(), isTaken);
        if (!isTaken)
            QCOMPARE(layout.error().reason, QStringLiteral("it has more than 1000000 bytes"));
    }

    // A layout may claim as many keys as there are numbers.
    void keysWithoutANumberOfTheKernelAreNone() {
        QByteArray text = keymapText("us");
        // The library's versions print it with other blanks and another maximum.
        QString changed = QString::fromUtf8(text);
        changed.replace(QRegularExpression(QStringLiteral("<AB04>\\s*= 55;")),
                        QStringLiteral("<AB04> = 2000;"));
        changed.replace(QRegularExpression(QStringLiteral("maximum = \\d+;")),
                        QStringLiteral("maximum = 4000;"));
        text = changed.toUtf8();
        const auto layout = KeyLayout::parse(text);
        QVERIFY(layout);
        QCOMPARE(layout->keyOf('v'), std::nullopt);
        QCOMPARE(layout->keyOf('b'), std::optional<quint32>(48));
    }

    void aStrokeAmongHeldKeys_data() {
        QTest::addColumn<QList<quint32>>("held");
        const auto row = [](const char *name, const QList<quint32> &held) {
            QTest::newRow(name) << held;
        };
        row("none", {});
        row("Shift", {keyShift});
        row("right Shift", {keyRightShift});
        row("Control", {keyControl});
        row("right Control", {keyRightControl});
        row("Alt", {keyAlt});
        row("AltGr", {keyAltGr});
        row("Super", {keySuper});
        row("all",
            {keyShift, keyRightShift, keyControl, keyRightControl, keyAlt, keyAltGr, keySuper});
    }
    void aStrokeAmongHeldKeys() {
        QFETCH(QList<quint32>, held);
        const KeyLayout layout = layoutOf("us,de");
        SharedState keyboard(layout);
        for (const quint32 key : held)
            keyboard.press(key);
        QCOMPARE(keyboard.perform(layout.strokeAmongHeldKeys({keyControl, keyV}), keyV), "Control");
        // Nothing stays pressed, before and after the user lets go.
        QCOMPARE(keyboard.modifiers(), "");
        for (const quint32 key : held)
            keyboard.release(key);
        QCOMPARE(keyboard.modifiers(), "");
        keyboard.press(keyShift);
        QCOMPARE(keyboard.modifiers(), "Shift");
        keyboard.release(keyShift);
        QCOMPARE(keyboard.modifiers(), "");
    }

    // Where the user has another key act as Control.
    void theLayoutSaysWhichKeysAreModifiers() {
        const KeyLayout layout = layoutOf("us", "", "ctrl:nocaps");
        SharedState keyboard(layout);
        keyboard.press(keyCapsLock);
        QCOMPARE(keyboard.modifiers(), "Control");
        QCOMPARE(keyboard.perform(layout.strokeAmongHeldKeys({keyShift, keyInsert}), keyInsert),
                 "Shift");
    }

    // A key that is a modifier in one of the groups only: the one that is in force is not known.
    void modifiersOfEveryGroupCount() {
        const KeyLayout::Step letGo{keyBackslash, false};
        QVERIFY(!layoutOf("us").strokeAmongHeldKeys({keyV}).contains(letGo));
        QVERIFY(layoutOf("us,de", ",neo").strokeAmongHeldKeys({keyV}).contains(letGo));
    }

    void whatIsLockedStays() {
        const KeyLayout layout = layoutOf("us");
        SharedState keyboard(layout);
        keyboard.press(keyCapsLock);
        keyboard.release(keyCapsLock);
        const auto stroke = layout.strokeAmongHeldKeys({keyControl, keyV});
        QCOMPARE(keyboard.perform(stroke, keyV), "Control Lock");
        QCOMPARE(keyboard.modifiers(), "Lock");
        for (const auto &step : stroke)
            QVERIFY(step.key != keyCapsLock && step.key != keyNumLock);
    }

    // Alt or Super that goes down and up alone opens a menu.
    void menusStayClosed() {
        const auto stroke = layoutOf("us").strokeAmongHeldKeys({keyControl, keyV});
        const auto at = [&](quint32 key, bool isDown) { return stroke.indexOf({key, isDown}); };
        for (const quint32 key : {keyAlt, keyAltGr, keySuper})
            QVERIFY(at(key, false) > at(keyControl, true) && at(key, false) < at(keyV, true));
        // Shift and Control open none, and switch between layouts when they go down together.
        for (const quint32 key : {keyShift, keyRightShift, keyRightControl})
            QVERIFY(at(key, false) >= 0 && at(key, false) < at(keyControl, true));
        QVERIFY(at(keyControl, false) < at(keyControl, true));
    }

    void keysGoUpInTheOppositeOrder() {
        const auto stroke = layoutOf("us").strokeAmongHeldKeys({keyControl, keyShift, keyV});
        QCOMPARE(stroke.last(4),
                 (QList<KeyLayout::Step>{
                     {keyV, true}, {keyV, false}, {keyShift, false}, {keyControl, false}}));
    }

    void aMenuKeyOfTheStrokeIsItsFirst() {
        const KeyLayout layout = layoutOf("us");
        SharedState keyboard(layout);
        QCOMPARE(keyboard.perform(layout.strokeAmongHeldKeys({keySuper, keyV}), keyV), "Mod4");
        QCOMPARE(keyboard.modifiers(), "");
        keyboard.press(keyAlt);
        QCOMPARE(keyboard.perform(layout.strokeAmongHeldKeys({keySuper, keyV}), keyV), "Mod4");
        QCOMPARE(keyboard.modifiers(), "");
    }

    void noKeysAreNoStroke() { QVERIFY(layoutOf("us").strokeAmongHeldKeys({}).isEmpty()); }
};

QTEST_GUILESS_MAIN(KeyLayoutTest)
#include "tst_keylayout.moc"
