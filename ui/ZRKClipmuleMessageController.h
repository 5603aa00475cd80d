// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "ui/Animation.h"

#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class Bundle;
class MessagePanel;
class MessageSurface;

/// What the message panel must know of the desktop. Each may be empty.
struct MessageSurroundings {
    /// The frame of the status item's window, or the best guess at it, in device-independent
    /// pixels; nothing while the status item is hidden, and messages are dropped then.
    std::function<std::optional<QRect>()> statusItemFrame;
    /// Where the panel is shown when it is no window; outlives the controller's use of it.
    MessageSurface *surface = nullptr;
    /// Whether a window of ours can be placed on the screen. Empty: yes.
    std::function<bool()> canPlaceWindows;
    /// Shows a message when it cannot.
    std::function<void(const QString &text)> notifyInstead;
    /// Whether the desktop blends translucent windows. Empty: yes.
    std::function<bool()> blendsWindows;
};

/// Shows a short text in a panel that hangs from the status item, fades in, stays five seconds and
/// fades out.
class ZRKClipmuleMessageController final {
public:
    static constexpr RunLoop::Seconds shownFor{5.0};
    static constexpr RunLoop::Seconds fadeDuration{0.125};
    /// UTF-16 units of a text that are shown; more would not fit on a screen.
    static constexpr qsizetype longestText = 1000;
    /// How long the move from one message's frame to the next one's takes.
    static constexpr RunLoop::Seconds moveDuration{0.2};

    /// The controller of the process, made when it is first asked for, with the main bundle's
    /// pictures, and never released. It drops messages until it knows its surroundings.
    [[nodiscard]] static ZRKClipmuleMessageController &sharedController();

    explicit ZRKClipmuleMessageController(const Bundle &bundle);
    ~ZRKClipmuleMessageController();
    Q_DISABLE_COPY_MOVE(ZRKClipmuleMessageController)

    void setSurroundings(MessageSurroundings surroundings);
    /// Shows the text, which is in the user's language, instead of one that is still shown.
    void displayMessage(const QString &text);
    /// Starts the fade-out.
    void close();

    /// The panel; shown or not, and as a window or not. Never null.
    [[nodiscard]] MessagePanel &window() { return *_window; }

private:
    [[nodiscard]] bool isShown() const;
    void show(const QString &text, const QRect &statusItem);
    void appear();
    void redraw();
    void hide();
    void surfaceDidClose(bool wasDrawn);
    void animateFrame(const QRect &frame);
    void animateOpacity(qreal opacity);
    void animationDidStop(bool finished);

    MessageSurroundings _surroundings;
    std::unique_ptr<MessagePanel> _window;
    bool _isOnSurface = false;
    Animation _fade;
    Animation _move;
    RunLoop::Timer _closeTimer;
};

} // namespace clipmule
