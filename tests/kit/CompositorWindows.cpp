// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/CompositorWindows.h"

#include <utility>

#include <plasma-window-management-server-protocol.h>
#include <wayland-server.h>
#include <wlr-foreign-toplevel-management-unstable-v1-server-protocol.h>

namespace clipmule::kit {

CompositorWindows &CompositorWindows::of(wl_resource *resource) {
    return *static_cast<CompositorWindows *>(wl_resource_get_user_data(resource));
}

struct CompositorWindows::Foreign {
    static void stop(wl_client *, wl_resource *) {}
    static void gone(wl_resource *manager) { of(manager)._foreign = nullptr; }
    static void bind(wl_client *client, void *windows, quint32 version, quint32 id) {
        static constexpr struct zwlr_foreign_toplevel_manager_v1_interface implementation { stop };
        wl_resource *const manager = wl_resource_create(
            client, &zwlr_foreign_toplevel_manager_v1_interface, int(version), id);
        wl_resource_set_implementation(manager, &implementation, windows, gone);
        of(manager)._foreign = manager;
    }

    static void ignore(wl_client *, wl_resource *) {}
    static void ignoreObject(wl_client *, wl_resource *, wl_resource *) {}
    static void ignoreRectangle(wl_client *, wl_resource *, wl_resource *, int, int, int, int) {}
    static void destroy(wl_client *, wl_resource *window) { wl_resource_destroy(window); }

    static void windowGone(wl_resource *window) {
        for (auto &[number, known] : of(window)._windows) {
            if (known.foreign == window)
                known.foreign = nullptr;
        }
    }
    static wl_resource *make(wl_resource *manager) {
        static constexpr struct zwlr_foreign_toplevel_handle_v1_interface implementation {
            ignore, ignore, ignore, ignore, ignoreObject, ignore, ignoreRectangle, destroy,
                ignoreObject, ignore
        };
        wl_resource *const window = wl_resource_create(wl_resource_get_client(manager),
                                                       &zwlr_foreign_toplevel_handle_v1_interface,
                                                       wl_resource_get_version(manager), 0);
        wl_resource_set_implementation(window, &implementation, &of(manager), windowGone);
        zwlr_foreign_toplevel_manager_v1_send_toplevel(manager, window);
        zwlr_foreign_toplevel_handle_v1_send_title(window, "a window");
        return window;
    }
    static void say(wl_resource *handle, const TestCompositor::Window &window) {
        if (window.title)
            zwlr_foreign_toplevel_handle_v1_send_title(handle, window.title->constData());
        if (window.identifier)
            zwlr_foreign_toplevel_handle_v1_send_app_id(handle, window.identifier->constData());
        if (window.isActive) {
            wl_array states;
            wl_array_init(&states);
            const auto add = [&](quint32 state) {
                *static_cast<quint32 *>(wl_array_add(&states, sizeof state)) = state;
            };
            add(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MAXIMIZED);
            if (*window.isActive)
                add(ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED);
            zwlr_foreign_toplevel_handle_v1_send_state(handle, &states);
            wl_array_release(&states);
        }
        if (window.isDone)
            zwlr_foreign_toplevel_handle_v1_send_done(handle);
    }
};

struct CompositorWindows::Plasma {
    static QByteArray name(int number) { return "window " + QByteArray::number(number); }

    static void windowGone(wl_resource *window) {
        for (auto &[number, known] : of(window)._windows) {
            if (known.plasma == window)
                known.plasma = nullptr;
        }
    }
    static void destroy(wl_client *, wl_resource *window) { wl_resource_destroy(window); }
    static void getWindow(wl_client *client, wl_resource *manager, quint32 id, const char *name) {
        // Whatever else is asked of it ends the test.
        static const auto implementation = [] {
            struct org_kde_plasma_window_interface made {};
            made.destroy = destroy;
            return made;
        }();
        wl_resource *const window = wl_resource_create(client, &org_kde_plasma_window_interface,
                                                       wl_resource_get_version(manager), id);
        CompositorWindows &self = of(manager);
        wl_resource_set_implementation(window, &implementation, &self, windowGone);
        for (auto &[number, known] : self._windows) {
            if (Plasma::name(number) == name) {
                known.plasma = window;
                say(known, known.said);
                return;
            }
        }
        org_kde_plasma_window_send_unmapped(window);
        org_kde_plasma_window_send_initial_state(window);
    }
    static void gone(wl_resource *manager) { of(manager)._plasma = nullptr; }
    static void bind(wl_client *client, void *windows, quint32 version, quint32 id) {
        static const auto implementation = [] {
            struct org_kde_plasma_window_management_interface made {};
            made.get_window_by_uuid = getWindow;
            return made;
        }();
        wl_resource *const manager = wl_resource_create(
            client, &org_kde_plasma_window_management_interface, int(version), id);
        wl_resource_set_implementation(manager, &implementation, windows, gone);
        of(manager)._plasma = manager;
        org_kde_plasma_window_management_send_show_desktop_changed(manager, 0);
        for (const auto &[number, known] : of(manager)._windows)
            announce(manager, number);
    }
    static void announce(wl_resource *manager, int number) {
        org_kde_plasma_window_management_send_window_with_uuid(manager, quint32(number),
                                                               name(number).constData());
        org_kde_plasma_window_management_send_stacking_order_uuid_changed(manager,
                                                                          name(number).constData());
    }
    static void say(Known &known, const TestCompositor::Window &window) {
        wl_resource *const handle = known.plasma;
        if (window.title)
            org_kde_plasma_window_send_title_changed(handle, window.title->constData());
        if (window.identifier)
            org_kde_plasma_window_send_app_id_changed(handle, window.identifier->constData());
        if (window.isActive)
            org_kde_plasma_window_send_state_changed(
                handle, ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_CLOSEABLE |
                            (*window.isActive ? ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE : 0));
        org_kde_plasma_window_send_pid_changed(handle, 1);
        org_kde_plasma_window_send_geometry(handle, 0, 0, 100, 100);
        org_kde_plasma_window_send_virtual_desktop_entered(handle, "desktop");
        org_kde_plasma_window_send_parent_window(handle, nullptr);
        org_kde_plasma_window_send_themed_icon_name_changed(handle, "");
        org_kde_plasma_window_send_icon_changed(handle);
        if (window.isDone && !std::exchange(known.isComplete, true))
            org_kde_plasma_window_send_initial_state(handle);
    }
};

void CompositorWindows::offerForeign() {
    wl_global_create(_display, &zwlr_foreign_toplevel_manager_v1_interface, 3, this, Foreign::bind);
}

void CompositorWindows::offerPlasma(quint32 version) {
    wl_global_create(_display, &org_kde_plasma_window_management_interface, int(version), this,
                     Plasma::bind);
}

void CompositorWindows::set(int number, const TestCompositor::Window &window) {
    const bool isNew = !_windows.contains(number);
    Known &known = _windows[number];
    if (window.identifier)
        known.said.identifier = window.identifier;
    if (window.isActive)
        known.said.isActive = window.isActive;
    if (window.title)
        known.said.title = window.title;
    known.said.isDone = window.isDone;
    if (isNew && _foreign)
        known.foreign = Foreign::make(_foreign);
    if (known.foreign)
        Foreign::say(known.foreign, window);
    if (isNew && _plasma)
        Plasma::announce(_plasma, number);
    else if (known.plasma)
        Plasma::say(known, window);
}

void CompositorWindows::close(int number) {
    const Known &known = _windows[number];
    if (known.foreign)
        zwlr_foreign_toplevel_handle_v1_send_closed(known.foreign);
    if (known.plasma)
        org_kde_plasma_window_send_unmapped(known.plasma);
    _windows.erase(number);
}

void CompositorWindows::finish() {
    if (_foreign)
        zwlr_foreign_toplevel_manager_v1_send_finished(_foreign);
}

} // namespace clipmule::kit
