// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/mutter/MutterKeyboard.h"

#include "platform/foundation/Log.h"

#include <utility>

namespace clipmule {

MutterKeyboard::MutterKeyboard(std::shared_ptr<MutterConnection> connection,
                               std::shared_ptr<WaylandConnection> wayland)
    : _session(std::move(connection))
    , _layout(std::move(wayland)) {
    _session.onOpened = [this] {
        if (!_waiting.empty())
            makeFirst();
    };
    _session.start();
}

bool MutterKeyboard::type(const QList<quint32> &symbols) {
    if (!_session.isExpected())
        return false;
    _waiting.push_back({symbols, RunLoop::current().performAfter(patience, [this] {
                            _waiting.pop_front();
                            qCWarning(logWayland, "the compositor has no session for a key stroke: "
                                                  "it is not made");
                        })});
    if (_session.isOpen())
        makeFirst();
    return true;
}

// All of it is sent at once: nothing comes between, and it comes after what was sent before.
void MutterKeyboard::makeFirst() {
    const QList<quint32> symbols = _waiting.front().symbols;
    _waiting.pop_front();
    _session.call(QStringLiteral("Start"), {}, [](const QDBusMessage &answer) {
        if (answer.type() == QDBusMessage::ErrorMessage)
            qCWarning(logWayland).noquote() << "the compositor takes no key strokes from us:"
                                            << cutForLog(answer.errorMessage());
    });
    for (const quint32 symbol : symbols)
        press(symbol, true);
    for (auto symbol = symbols.crbegin(); symbol != symbols.crend(); ++symbol)
        press(*symbol, false);
    _session.call(QStringLiteral("Stop"));
    _session.renew();
}

// The compositor finds a symbol in the group in force, which we do not know, and in no other: of a
// Greek layout it has no "v", though programs take the key of the group beside it.
void MutterKeyboard::press(quint32 symbol, bool isDown) {
    if (const std::optional<quint32> key = _layout.keyOfEveryGroup(symbol))
        _session.call(QStringLiteral("NotifyKeyboardKeycode"), {*key, isDown});
    else
        _session.call(QStringLiteral("NotifyKeyboardKeysym"), {symbol, isDown});
}

} // namespace clipmule
