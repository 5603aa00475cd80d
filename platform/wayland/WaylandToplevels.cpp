// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandToplevels.h"

#include "platform/wayland/WaylandConnection.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <utility>

#include <wlr-foreign-toplevel-management-unstable-v1-client-protocol.h>

namespace clipmule {

using Manager = zwlr_foreign_toplevel_manager_v1;
using Handle = zwlr_foreign_toplevel_handle_v1;

class ForeignToplevels final : public WaylandToplevels {
public:
    explicit ForeignToplevels(std::shared_ptr<WaylandConnection> connection)
        : _connection(std::move(connection))
        , _manager(_connection->bind<Manager>(zwlr_foreign_toplevel_manager_v1_interface)) {
        zwlr_foreign_toplevel_manager_v1_add_listener(_manager, &managerListener, this);
        _connection->flush();
    }
    ~ForeignToplevels() override {
        for (const Window &window : _windows)
            zwlr_foreign_toplevel_handle_v1_destroy(window.handle);
        if (!_isFinished)
            zwlr_foreign_toplevel_manager_v1_stop(_manager);
        zwlr_foreign_toplevel_manager_v1_destroy(_manager);
        _connection->flush();
    }
    ForeignToplevels(const ForeignToplevels &) = delete;
    ForeignToplevels &operator=(const ForeignToplevels &) = delete;

    [[nodiscard]] std::optional<QString> active() const override {
        const auto found = std::find_if(_windows.cbegin(), _windows.cend(),
                                        [](const Window &window) { return window.now.isActive; });
        if (_connection->isLost() || found == _windows.cend() || found->now.identifier.isEmpty())
            return std::nullopt;
        return found->now.identifier;
    }

private:
    struct Said {
        QString identifier;
        bool isActive = false;
    };
    struct Window {
        Handle *handle;
        // What is said of a window counts when all of it was said.
        Said coming = {};
        Said now = {};
    };

    static ForeignToplevels &of(void *memory) { return *static_cast<ForeignToplevels *>(memory); }

    [[nodiscard]] Window *find(const Handle *handle) {
        const auto found = std::find_if(_windows.begin(), _windows.end(),
                                        [&](const Window &each) { return each.handle == handle; });
        return found == _windows.end() ? nullptr : &*found;
    }

    static void appear(void *memory, Manager *, Handle *handle) {
        ForeignToplevels &self = of(memory);
        if (qsizetype(self._windows.size()) >= mostWindows) {
            zwlr_foreign_toplevel_handle_v1_destroy(handle);
            return;
        }
        self._windows.push_back({handle});
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &windowListener, &self);
    }
    // The manager stays until we go: windows that were told of behind it would have no owner.
    static void finish(void *memory, Manager *) { of(memory)._isFinished = true; }
    static void identify(void *memory, Handle *handle, const char *identifier) {
        const QString said = QString::fromUtf8(identifier);
        if (Window *const window = of(memory).find(handle))
            window->coming.identifier = said.size() > longestIdentifier ? QString() : said;
    }
    static void setState(void *memory, Handle *handle, wl_array *states) {
        Window *const window = of(memory).find(handle);
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
        if (Window *const window = of(memory).find(handle))
            window->now = window->coming;
    }
    static void close(void *memory, Handle *handle) {
        of(memory)._windows.remove_if([&](const Window &each) { return each.handle == handle; });
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
    }
    static void ignoreTitle(void *, Handle *, const char *) {}
    static void ignoreOutput(void *, Handle *, wl_output *) {}
    static void ignoreParent(void *, Handle *, Handle *) {}

    static constexpr zwlr_foreign_toplevel_manager_v1_listener managerListener{appear, finish};
    static constexpr zwlr_foreign_toplevel_handle_v1_listener windowListener{
        ignoreTitle, identify, ignoreOutput, ignoreOutput, setState, done, close, ignoreParent};

    std::shared_ptr<WaylandConnection> _connection;
    Manager *_manager;
    bool _isFinished = false; // the compositor does not know the manager any more
    std::list<Window> _windows;
};

std::unique_ptr<WaylandToplevels>
WaylandToplevels::make(const std::shared_ptr<WaylandConnection> &connection) {
    if (!connection || !connection->offers(zwlr_foreign_toplevel_manager_v1_interface.name))
        return nullptr;
    return std::make_unique<ForeignToplevels>(connection);
}

} // namespace clipmule
