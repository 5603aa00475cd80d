// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/kit/TestCompositor.h"

#include <QMap>

struct wl_display;
struct wl_global;
struct wl_resource;

namespace clipmule::kit {

/// The seats of a TestCompositor and their keyboards, and what makes keys beside those. Belongs to
/// the compositor's thread.
class CompositorKeys {
public:
    explicit CompositorKeys(wl_display *display)
        : _display(display) {}

    void offerVirtual();
    void offerFakeInput(quint32 version);
    void offerKeyStates(quint32 version);
    void setKeyState(quint32 key, quint32 state);
    void removeKeyStates();
    void addSeat();
    /// The oldest, if there is one.
    void removeSeat();
    void setKeymap(const std::optional<TestCompositor::Keymap> &keymap);

    [[nodiscard]] const QList<QByteArray> &typed() const { return _typed; }
    [[nodiscard]] int keyboardsAsked() const { return _keyboardsAsked; }
    [[nodiscard]] int keyStatesBound() const { return int(_boundKeyStates.size()); }

private:
    struct KeyStates;
    struct Seat;
    void tellCapabilities(wl_resource *seat) const;
    void tellKeymap(wl_resource *keyboard) const;

    wl_display *_display;
    QList<wl_global *> _seats;
    QList<wl_resource *> _boundSeats;
    QList<wl_resource *> _keyboards;
    std::optional<TestCompositor::Keymap> _keymap;
    QList<QByteArray> _typed;
    int _keyboardsAsked = 0;
    wl_global *_keyStatesGlobal = nullptr;
    QList<wl_resource *> _boundKeyStates;
    QMap<quint32, quint32> _keyStates;
};

} // namespace clipmule::kit
