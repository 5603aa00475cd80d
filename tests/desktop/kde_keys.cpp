// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// The user's fingers on KDE: "press 42" and "release 42" on standard input, by the kernel's number
// of the key, are answered by "done" when the compositor has taken them. KDE allows it by a desktop
// entry (scripts/compositors.py).

#include <cstdio>
#include <cstring>

#include <fake-input-client-protocol.h>
#include <wayland-client.h>

namespace {

org_kde_kwin_fake_input *fingers = nullptr;

void find(void *, wl_registry *registry, uint32_t name, const char *interface, uint32_t) {
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0)
        fingers = static_cast<org_kde_kwin_fake_input *>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
}
void ignore(void *, wl_registry *, uint32_t) {}

} // namespace

int main() {
    wl_display *const display = wl_display_connect(nullptr);
    if (!display)
        return 1;
    const wl_registry_listener listener{find, ignore};
    wl_registry_add_listener(wl_display_get_registry(display), &listener, nullptr);
    wl_display_roundtrip(display);
    if (!fingers) {
        std::puts("not allowed");
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(fingers, "fingers", "tests");
    char word[16];
    unsigned key = 0;
    while (std::scanf("%15s %u", word, &key) == 2) {
        org_kde_kwin_fake_input_keyboard_key(fingers, key, std::strcmp(word, "press") == 0 ? 1 : 0);
        wl_display_roundtrip(display);
        std::puts("done");
        std::fflush(stdout);
    }
}
