// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/CompositorKeys.h"

#include <array>

#include <fake-input-server-protocol.h>
#include <fcntl.h>
#include <keystate-server-protocol.h>
#include <sys/mman.h>
#include <unistd.h>
#include <virtual-keyboard-unstable-v1-server-protocol.h>
#include <wayland-server.h>

namespace clipmule::kit {

namespace {

using Typed = QList<QByteArray>;

void type(wl_resource *keyboard, const QByteArray &what) {
    static_cast<Typed *>(wl_resource_get_user_data(keyboard))->append(what);
}

struct VirtualKeyboards {
    static void keymap(wl_client *, wl_resource *keyboard, quint32 format, int32_t descriptor,
                       quint32 size) {
        const FileHandle file(descriptor);
        void *const memory = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
        if (memory == MAP_FAILED) {
            type(keyboard, "no keymap");
            return;
        }
        // The library says whether it is one; its first symbols say which.
        const QByteArray text(static_cast<const char *>(memory), qsizetype(size));
        ::munmap(memory, size);
        const bool isWhole = format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && text.endsWith('\0') &&
                             text.contains("xkb_keycodes") && text.contains("xkb_types") &&
                             text.contains("xkb_compat") && text.contains("xkb_symbols");
        type(keyboard, isWhole && text.contains("English (US)") ? "keymap us" : "odd keymap");
    }
    static void key(wl_client *, wl_resource *keyboard, quint32, quint32 key, quint32 state) {
        type(keyboard, (state ? "press " : "release ") + QByteArray::number(key));
    }
    static void modifiers(wl_client *, wl_resource *keyboard, quint32 held, quint32 latched,
                          quint32 locked, quint32 group) {
        QByteArray line = "modifiers " + QByteArray::number(held);
        if (latched || locked || group)
            line += " and more";
        type(keyboard, line);
    }
    static void destroy(wl_client *, wl_resource *keyboard) { wl_resource_destroy(keyboard); }
    static void create(wl_client *client, wl_resource *manager, wl_resource *, quint32 id) {
        static constexpr struct zwp_virtual_keyboard_v1_interface implementation {
            keymap, key, modifiers, destroy
        };
        wl_resource *const keyboard =
            wl_resource_create(client, &zwp_virtual_keyboard_v1_interface, 1, id);
        wl_resource_set_implementation(keyboard, &implementation,
                                       wl_resource_get_user_data(manager), nullptr);
    }
    static void bind(wl_client *client, void *typed, quint32, quint32 id) {
        static constexpr struct zwp_virtual_keyboard_manager_v1_interface implementation { create };
        wl_resource *const manager =
            wl_resource_create(client, &zwp_virtual_keyboard_manager_v1_interface, 1, id);
        wl_resource_set_implementation(manager, &implementation, typed, nullptr);
    }
};

struct FakeInput {
    static void authenticate(wl_client *, wl_resource *input, const char *application,
                             const char *reason) {
        type(input, QByteArray("authenticate ") + application + (*reason ? "" : " without reason"));
    }
    static void key(wl_client *, wl_resource *input, quint32 key, quint32 state) {
        type(input, (state ? "press " : "release ") + QByteArray::number(key));
    }
    static void bind(wl_client *client, void *typed, quint32 version, quint32 id) {
        // Whatever else is asked of it ends the test.
        static const auto implementation = [] {
            struct org_kde_kwin_fake_input_interface made {};
            made.authenticate = authenticate;
            made.keyboard_key = key;
            return made;
        }();
        wl_resource *const input =
            wl_resource_create(client, &org_kde_kwin_fake_input_interface, int(version), id);
        wl_resource_set_implementation(input, &implementation, typed, nullptr);
    }
};

} // namespace

struct CompositorKeys::Seat {
    static CompositorKeys &of(wl_resource *resource) {
        return *static_cast<CompositorKeys *>(wl_resource_get_user_data(resource));
    }
    static void keyboardGone(wl_resource *keyboard) { of(keyboard)._keyboards.removeAll(keyboard); }
    static void release(wl_client *, wl_resource *resource) { wl_resource_destroy(resource); }
    static void getKeyboard(wl_client *client, wl_resource *seat, quint32 id) {
        static constexpr struct wl_keyboard_interface implementation { release };
        CompositorKeys &self = of(seat);
        ++self._keyboardsAsked;
        if (!self._keymap) {
            wl_resource_post_error(seat, WL_SEAT_ERROR_MISSING_CAPABILITY, "there is no keyboard");
            return;
        }
        wl_resource *const keyboard =
            wl_resource_create(client, &wl_keyboard_interface, wl_resource_get_version(seat), id);
        wl_resource_set_implementation(keyboard, &implementation, &self, keyboardGone);
        self._keyboards.append(keyboard);
        self.tellKeymap(keyboard);
    }
    static void seatGone(wl_resource *seat) { of(seat)._boundSeats.removeAll(seat); }
    static void bind(wl_client *client, void *self, quint32 version, quint32 id) {
        static constexpr struct wl_seat_interface implementation {
            nullptr, getKeyboard, nullptr, release
        };
        wl_resource *const seat = wl_resource_create(client, &wl_seat_interface, int(version), id);
        wl_resource_set_implementation(seat, &implementation, self, seatGone);
        of(seat)._boundSeats.append(seat);
        of(seat).tellCapabilities(seat);
    }
};

struct CompositorKeys::KeyStates {
    static CompositorKeys &of(wl_resource *resource) {
        return *static_cast<CompositorKeys *>(wl_resource_get_user_data(resource));
    }
    static void fetch(wl_client *, wl_resource *resource) {
        const CompositorKeys &self = of(resource);
        for (auto each = self._keyStates.cbegin(); each != self._keyStates.cend(); ++each)
            org_kde_kwin_keystate_send_stateChanged(resource, each.key(), each.value());
    }
    static void destroy(wl_client *, wl_resource *resource) { wl_resource_destroy(resource); }
    static void gone(wl_resource *resource) { of(resource)._boundKeyStates.removeAll(resource); }
    static void bind(wl_client *client, void *self, quint32 version, quint32 id) {
        static constexpr struct org_kde_kwin_keystate_interface implementation { fetch, destroy };
        wl_resource *const resource =
            wl_resource_create(client, &org_kde_kwin_keystate_interface, int(version), id);
        wl_resource_set_implementation(resource, &implementation, self, gone);
        of(resource)._boundKeyStates.append(resource);
    }
};

void CompositorKeys::offerKeyStates(quint32 version) {
    _keyStatesGlobal = wl_global_create(_display, &org_kde_kwin_keystate_interface, int(version),
                                        this, KeyStates::bind);
}

void CompositorKeys::removeKeyStates() {
    wl_global_remove(_keyStatesGlobal);
}

void CompositorKeys::setKeyState(quint32 key, quint32 state) {
    _keyStates[key] = state;
    for (wl_resource *const resource : std::as_const(_boundKeyStates))
        org_kde_kwin_keystate_send_stateChanged(resource, key, state);
}

void CompositorKeys::offerVirtual() {
    wl_global_create(_display, &zwp_virtual_keyboard_manager_v1_interface, 1, &_typed,
                     VirtualKeyboards::bind);
}

void CompositorKeys::offerFakeInput(quint32 version) {
    wl_global_create(_display, &org_kde_kwin_fake_input_interface, int(version), &_typed,
                     FakeInput::bind);
}

void CompositorKeys::addSeat() {
    _seats.append(wl_global_create(_display, &wl_seat_interface, 7, this, Seat::bind));
}

void CompositorKeys::removeSeat() {
    // Who is told of its end too late may still bind it, as with every compositor.
    if (!_seats.isEmpty())
        wl_global_remove(_seats.takeFirst());
}

void CompositorKeys::tellCapabilities(wl_resource *seat) const {
    wl_seat_send_capabilities(seat, WL_SEAT_CAPABILITY_POINTER |
                                        (_keymap ? WL_SEAT_CAPABILITY_KEYBOARD : 0));
}

void CompositorKeys::tellKeymap(wl_resource *keyboard) const {
    const qsizetype size = _keymap->text.size() + 1;
    if (_keymap->isPipe) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) == 0)
            wl_keyboard_send_keymap(keyboard, _keymap->format, ends[0], quint32(size));
        for (const int end : ends)
            ::close(end);
        return;
    }
    const FileHandle file(::memfd_create("keymap", MFD_CLOEXEC));
    [[maybe_unused]] const auto written =
        ::write(file.descriptor(), _keymap->text.constData(), size_t(size));
    wl_keyboard_send_keymap(keyboard, _keymap->format, file.descriptor(),
                            _keymap->size.value_or(quint32(size)));
}

void CompositorKeys::setKeymap(const std::optional<TestCompositor::Keymap> &keymap) {
    _keymap = keymap;
    for (wl_resource *const keyboard : std::as_const(_keyboards)) {
        if (_keymap)
            tellKeymap(keyboard);
    }
    // As often as compositors do, changed or not.
    for (wl_resource *const seat : std::as_const(_boundSeats))
        tellCapabilities(seat);
}

} // namespace clipmule::kit
