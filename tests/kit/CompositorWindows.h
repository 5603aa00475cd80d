// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/kit/TestCompositor.h"

#include <map>

struct wl_display;
struct wl_resource;

namespace clipmule::kit {

/// The windows of a TestCompositor, of which it tells one client in either form. Belongs to the
/// compositor's thread.
class CompositorWindows {
public:
    explicit CompositorWindows(wl_display *display)
        : _display(display) {}

    void offerForeign();
    void offerPlasma(quint32 version);
    void set(int number, const TestCompositor::Window &window);
    void close(int number);
    void finish();

private:
    static CompositorWindows &of(wl_resource *resource);
    struct Foreign;
    struct Plasma;
    struct Known {
        TestCompositor::Window said; // everything that was, put together
        wl_resource *foreign = nullptr;
        wl_resource *plasma = nullptr; // once the client has asked for it
        bool isComplete = false;       // for the latter, which is told once
    };

    wl_display *_display;
    wl_resource *_foreign = nullptr; // the client's managers
    wl_resource *_plasma = nullptr;
    std::map<int, Known> _windows;
};

} // namespace clipmule::kit
