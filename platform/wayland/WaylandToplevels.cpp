// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandToplevels.h"

#include "platform/wayland/WaylandConnection.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <utility>

#include <plasma-window-management-client-protocol.h>
#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

namespace clipmule {

namespace {

// What is said of a window.
struct Said {
    QString identifier;
    bool isActive = false;

    void setIdentifier(const char *text) {
        identifier = QString::fromUtf8(text);
        if (identifier.size() > WaylandToplevels::longestIdentifier)
            identifier.clear();
    }
};

template <typename Handle>
struct Window {
    Handle *handle;
    // What is said of a window counts when all of it was said.
    Said coming = {};
    Said now = {};
    bool isComplete = false;
};

// Windows as they are told of through the manager of one protocol.
template <typename Manager, typename Handle>
class FollowedWindows : public WaylandToplevels {
public:
    ~FollowedWindows() override {
        for (const auto &window : _windows)
            _destroy(window.handle);
    }
    Q_DISABLE_COPY_MOVE(FollowedWindows)

    [[nodiscard]] std::optional<QString> active() const override {
        const auto found = std::find_if(_windows.cbegin(), _windows.cend(),
                                        [](const auto &window) { return window.now.isActive; });
        if (_connection->isLost() || found == _windows.cend() || found->now.identifier.isEmpty())
            return std::nullopt;
        return found->now.identifier;
    }

protected:
    FollowedWindows(std::shared_ptr<WaylandConnection> connection, const wl_interface &interface,
                    void (*destroy)(Handle *), quint32 newestVersion = UINT32_MAX)
        : _connection(std::move(connection))
        , _manager(_connection->bind<Manager>(interface, newestVersion))
        , _destroy(destroy) {}

    [[nodiscard]] bool isFull() const { return qsizetype(_windows.size()) >= mostWindows; }
    void add(Handle *handle) { _windows.push_back({handle}); }
    [[nodiscard]] Window<Handle> *find(const Handle *handle) {
        const auto found = std::find_if(_windows.begin(), _windows.end(),
                                        [&](const auto &each) { return each.handle == handle; });
        return found == _windows.end() ? nullptr : &*found;
    }
    // What was said of it counts from now on.
    void apply(Window<Handle> &window) {
        window.now = window.coming;
        tell();
    }
    void remove(Handle *handle) {
        _windows.remove_if([&](const auto &each) { return each.handle == handle; });
        _destroy(handle);
        tell();
    }

    std::shared_ptr<WaylandConnection> _connection;
    Manager *_manager;

private:
    void tell() {
        if (std::exchange(_told, active()) != _told && onChange)
            onChange();
    }

    void (*_destroy)(Handle *);
    std::list<Window<Handle>> _windows;
    std::optional<QString> _told; // whose window is active
};

} // namespace

class ForeignToplevels final
    : public FollowedWindows<zwlr_foreign_toplevel_manager_v1, zwlr_foreign_toplevel_handle_v1> {
    using Manager = zwlr_foreign_toplevel_manager_v1;
    using Handle = zwlr_foreign_toplevel_handle_v1;

public:
    static constexpr const wl_interface &interface = zwlr_foreign_toplevel_manager_v1_interface;
    static constexpr quint32 leastVersion = 1;

    explicit ForeignToplevels(std::shared_ptr<WaylandConnection> connection)
        : FollowedWindows(std::move(connection), interface,
                          zwlr_foreign_toplevel_handle_v1_destroy) {
        zwlr_foreign_toplevel_manager_v1_add_listener(_manager, &managerListener, this);
        _connection->flush();
    }
    ~ForeignToplevels() override {
        if (!_isFinished)
            zwlr_foreign_toplevel_manager_v1_stop(_manager);
        zwlr_foreign_toplevel_manager_v1_destroy(_manager);
        _connection->flush();
    }
    Q_DISABLE_COPY_MOVE(ForeignToplevels)

private:
    static ForeignToplevels &of(void *memory) { return *static_cast<ForeignToplevels *>(memory); }

    static void appear(void *memory, Manager *, Handle *handle) {
        ForeignToplevels &self = of(memory);
        if (self.isFull()) {
            zwlr_foreign_toplevel_handle_v1_destroy(handle);
            return;
        }
        self.add(handle);
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &windowListener, &self);
    }
    // The manager stays until we go: windows that were told of behind it would have no owner.
    static void finish(void *memory, Manager *) { of(memory)._isFinished = true; }
    static void identify(void *memory, Handle *handle, const char *identifier) {
        if (auto *const window = of(memory).find(handle))
            window->coming.setIdentifier(identifier);
    }
    static void setState(void *memory, Handle *handle, wl_array *states) {
        auto *const window = of(memory).find(handle);
        if (!window)
            return;
        window->coming.isActive = false;
        for (size_t offset = 0; offset + sizeof(quint32) <= states->size;
             offset += sizeof(quint32)) {
            quint32 state = 0;
            std::memcpy(&state, static_cast<const char *>(states->data) + offset, sizeof state);
            if (state == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED)
                window->coming.isActive = true;
        }
    }
    static void done(void *memory, Handle *handle) {
        if (auto *const window = of(memory).find(handle))
            of(memory).apply(*window);
    }
    static void close(void *memory, Handle *handle) { of(memory).remove(handle); }
    static void ignoreTitle(void *, Handle *, const char *) {}
    static void ignoreOutput(void *, Handle *, wl_output *) {}
    static void ignoreParent(void *, Handle *, Handle *) {}

    static constexpr zwlr_foreign_toplevel_manager_v1_listener managerListener{appear, finish};
    static constexpr zwlr_foreign_toplevel_handle_v1_listener windowListener{
        ignoreTitle, identify, ignoreOutput, ignoreOutput, setState, done, close, ignoreParent};

    bool _isFinished = false; // the compositor does not know the manager any more
};

// KDE's own list. Of a window everything is said once, and from then on what changes.
class PlasmaWindows final
    : public FollowedWindows<org_kde_plasma_window_management, org_kde_plasma_window> {
    using Manager = org_kde_plasma_window_management;
    using Handle = org_kde_plasma_window;

public:
    static constexpr const wl_interface &interface = org_kde_plasma_window_management_interface;
    // The first that names windows by what no other window ever gets, and the last of which we know
    // all events.
    static constexpr quint32 leastVersion = 13;
    static constexpr quint32 newestVersion = 16;

    explicit PlasmaWindows(std::shared_ptr<WaylandConnection> connection)
        : FollowedWindows(std::move(connection), interface, org_kde_plasma_window_destroy,
                          newestVersion) {
        org_kde_plasma_window_management_add_listener(_manager, &managerListener, this);
        _connection->flush();
    }
    // Later versions alone have a request for that.
    ~PlasmaWindows() override { wl_proxy_destroy(reinterpret_cast<wl_proxy *>(_manager)); }
    Q_DISABLE_COPY_MOVE(PlasmaWindows)

private:
    static PlasmaWindows &of(void *memory) { return *static_cast<PlasmaWindows *>(memory); }

    static void appear(void *memory, Manager *manager, quint32, const char *identifier) {
        PlasmaWindows &self = of(memory);
        if (self.isFull())
            return;
        Handle *const handle =
            org_kde_plasma_window_management_get_window_by_uuid(manager, identifier);
        self.add(handle);
        org_kde_plasma_window_add_listener(handle, &windowListener, &self);
        self._connection->flush();
    }
    // Changes what was said of a window so far.
    template <typename Change>
    static void change(void *memory, Handle *handle, const Change &change) {
        if (auto *const window = of(memory).find(handle)) {
            change(window->coming);
            if (window->isComplete)
                of(memory).apply(*window);
        }
    }
    static void identify(void *memory, Handle *handle, const char *identifier) {
        change(memory, handle, [=](Said &said) { said.setIdentifier(identifier); });
    }
    static void setState(void *memory, Handle *handle, quint32 states) {
        change(memory, handle, [=](Said &said) {
            said.isActive = (states & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE) != 0;
        });
    }
    static void complete(void *memory, Handle *handle) {
        if (auto *const window = of(memory).find(handle)) {
            window->isComplete = true;
            of(memory).apply(*window);
        }
    }
    static void close(void *memory, Handle *handle) { of(memory).remove(handle); }

    // For events whose arguments are of these types.
    template <typename... Arguments>
    static void ignore(void *, Handle *, Arguments...) {}
    template <typename... Arguments>
    static void ignoreAll(void *, Manager *, Arguments...) {}

    // Named, since the description is KDE's and may grow.
    static constexpr org_kde_plasma_window_management_listener makeManagerListener() {
        org_kde_plasma_window_management_listener made{};
        made.show_desktop_changed = ignoreAll;
        made.window = ignoreAll;
        made.stacking_order_changed = ignoreAll;
        made.stacking_order_uuid_changed = ignoreAll;
        made.window_with_uuid = appear;
        return made;
    }
    static constexpr org_kde_plasma_window_listener makeWindowListener() {
        org_kde_plasma_window_listener made{};
        made.title_changed = ignore;
        made.app_id_changed = identify;
        made.state_changed = setState;
        made.virtual_desktop_changed = ignore;
        made.themed_icon_name_changed = ignore;
        made.unmapped = close;
        made.initial_state = complete;
        made.parent_window = ignore;
        made.geometry = ignore;
        made.icon_changed = ignore;
        made.pid_changed = ignore;
        made.virtual_desktop_entered = ignore;
        made.virtual_desktop_left = ignore;
        made.application_menu = ignore;
        made.activity_entered = ignore;
        made.activity_left = ignore;
        made.resource_name_changed = ignore;
        return made;
    }
    static const org_kde_plasma_window_management_listener managerListener;
    static const org_kde_plasma_window_listener windowListener;
};

const org_kde_plasma_window_management_listener PlasmaWindows::managerListener =
    makeManagerListener();
const org_kde_plasma_window_listener PlasmaWindows::windowListener = makeWindowListener();

template <typename Kind>
static std::unique_ptr<WaylandToplevels>
makeOffered(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection->offers(Kind::interface.name, Kind::leastVersion))
        return nullptr;
    return std::make_unique<Kind>(connection);
}

std::unique_ptr<WaylandToplevels>
WaylandToplevels::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection)
        return nullptr;
    auto made = makeOffered<ForeignToplevels>(connection);
    return made ? std::move(made) : makeOffered<PlasmaWindows>(connection);
}

} // namespace clipmule
