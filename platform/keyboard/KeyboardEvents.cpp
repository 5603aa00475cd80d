// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/KeyboardEvents.h"

#include "platform/foundation/Log.h"
#include "platform/keyboard/backends/wayland/WaylandKeyboardEvents.h"
#include "platform/keyboard/backends/xtest/XTestKeyboardEvents.h"
#include "platform/mutter/MutterKeyboard.h"
#include "platform/session/Session.h"
#include "platform/wayland/WaylandDataControl.h"

#include <utility>

namespace clipmule {

namespace {

class NullKeyboardEvents final : public KeyboardEvents {
public:
    explicit NullKeyboardEvents(QString obstacle)
        : _obstacle(std::move(obstacle)) {}

    void paste() override {
        if (!std::exchange(_said, true))
            qCWarning(logKeyboard, "what arrives stays on the clipboard and is not pasted: %s",
                      qUtf8Printable(_obstacle));
    }
    [[nodiscard]] QString description() const override { return QStringLiteral("none"); }
    [[nodiscard]] QString obstacle() const override { return _obstacle; }

private:
    const QString _obstacle;
    bool _said = false;
};

} // namespace

std::unique_ptr<KeyboardEvents>
makeKeyboardEvents(const Session &session, std::function<std::optional<QString>()> pasteKeys) {
    if (auto keyboard = WaylandKeyboard::make(session.wayland))
        return std::make_unique<WaylandKeyboardEvents>(std::move(keyboard), std::move(pasteKeys),
                                                       session.wayland);
    // An X server's keys are not in order with the compositor's clipboard.
    if (WaylandDataControl::isOffered(session.wayland))
        return std::make_unique<NullKeyboardEvents>(WaylandKeyboard::obstacle(*session.wayland));
    if (session.mutter)
        return std::make_unique<WaylandKeyboardEvents>(
            std::make_unique<MutterKeyboard>(session.mutter, session.wayland), std::move(pasteKeys),
            session.wayland);
    if (!session.x11)
        return std::make_unique<NullKeyboardEvents>(QStringLiteral("there is no display"));
    if (!hasXTestSupport(*session.x11))
        return std::make_unique<NullKeyboardEvents>(
            QStringLiteral("the X server lacks XTEST, XKB or XInput"));
    return std::make_unique<XTestKeyboardEvents>(session.x11, std::move(pasteKeys),
                                                 session.wayland
                                                     ? XTestKeyboardEvents::Reach::X11Windows
                                                     : XTestKeyboardEvents::Reach::AllWindows);
}

} // namespace clipmule
