// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/TestCompositor.h"

#include "tests/kit/CompositorKeys.h"
#include "tests/kit/CompositorLayers.h"
#include "tests/kit/CompositorWindows.h"

#include <QTemporaryDir>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <thread>

#include <ext-data-control-v1-server-protocol.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <wayland-server.h>
#include <wlr-data-control-unstable-v1-server-protocol.h>

namespace clipmule::kit {

namespace {

// What is on the clipboard: a client's, or what a test copied.
struct Source {
    wl_resource *resource = nullptr;
    void (*send)(wl_resource *, const char *, int32_t) = nullptr;
    void (*cancel)(wl_resource *) = nullptr;
    int *alive = nullptr; // how many of the clients' there are
    QList<QByteArray> types;
    TestCompositor::Contents contents;
    TestCompositor::Owner owner = TestCompositor::Owner::Answers;
};

// A client's view of the clipboard of a seat.
struct Device {
    wl_resource *resource;
    void (*select)(wl_resource *device, const std::shared_ptr<Source> &source);
    void (*finish)(wl_resource *device);
};

// What is still to be written into a pipe.
struct Writing {
    FileHandle target;
    QByteArray rest;
    QByteArray again; // what comes after the rest
    bool isHeldOpen = false;
    wl_event_source *event = nullptr;
};

struct Clipboard {
    wl_event_loop *loop = nullptr;
    std::shared_ptr<Source> selection;
    QList<Device> devices;
    QList<QByteArray> asked;
    int offersAlive = 0;
    int sourcesAlive = 0;
    std::set<std::unique_ptr<Writing>> writings;
};

int writeOn(int descriptor, quint32, void *memory) {
    auto *const writing = static_cast<Writing *>(memory);
    if (writing->rest.isEmpty())
        writing->rest = writing->again;
    const auto written =
        ::write(descriptor, writing->rest.constData(), size_t(writing->rest.size()));
    if (written > 0)
        writing->rest.remove(0, written);
    const bool isOver = written < 0 || (writing->rest.isEmpty() && writing->again.isEmpty());
    if (isOver) {
        wl_event_source_remove(std::exchange(writing->event, nullptr));
        if (written < 0 || !writing->isHeldOpen)
            writing->target.close();
    }
    return 0;
}

void answer(Clipboard &clipboard, const Source &source, const QByteArray &type, int descriptor) {
    using Owner = TestCompositor::Owner;
    auto writing = std::make_unique<Writing>();
    writing->target = FileHandle(descriptor);
    clipboard.asked.append(type);
    for (const auto &[name, bytes] : source.contents) {
        if (name == type)
            writing->rest = bytes;
    }
    if (source.owner == Owner::ClosesAtOnce)
        return;
    writing->isHeldOpen = source.owner != Owner::Answers;
    if (source.owner == Owner::NeverAnswers)
        writing->rest.clear();
    if (source.owner == Owner::StallsMidway)
        writing->rest.truncate(writing->rest.size() / 2);
    if (source.owner == Owner::NeverEnds)
        writing->again = writing->rest;
    if (writing->rest.isEmpty() && !writing->isHeldOpen)
        return;
    if (!writing->rest.isEmpty()) {
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
        writing->event = wl_event_loop_add_fd(clipboard.loop, descriptor, WL_EVENT_WRITABLE,
                                              writeOn, writing.get());
    }
    clipboard.writings.insert(std::move(writing));
}

void select(Clipboard &clipboard, std::shared_ptr<Source> source) {
    const auto before = std::exchange(clipboard.selection, std::move(source));
    if (before && before->resource)
        before->cancel(std::exchange(before->resource, nullptr));
    for (const Device &device : std::as_const(clipboard.devices))
        device.select(device.resource, clipboard.selection);
}

// Either form of data control, as the compositor sees it.
#define CLIPMULE_DATA_CONTROL(Form, prefix)                                                        \
    struct Form {                                                                                  \
        static constexpr const wl_interface &manager = prefix##_manager_v1_interface;              \
        static constexpr const wl_interface &device = prefix##_device_v1_interface;                \
        static constexpr const wl_interface &source = prefix##_source_v1_interface;                \
        static constexpr const wl_interface &offer = prefix##_offer_v1_interface;                  \
        using Manager = struct prefix##_manager_v1_interface;                                      \
        using Device = struct prefix##_device_v1_interface;                                        \
        using Source = struct prefix##_source_v1_interface;                                        \
        using Offer = struct prefix##_offer_v1_interface;                                          \
        static constexpr auto sendOffer = prefix##_device_v1_send_data_offer;                      \
        static constexpr auto sendSelection = prefix##_device_v1_send_selection;                   \
        static constexpr auto sendFinished = prefix##_device_v1_send_finished;                     \
        static constexpr auto sendType = prefix##_offer_v1_send_offer;                             \
        static constexpr auto sendSend = prefix##_source_v1_send_send;                             \
        static constexpr auto sendCancelled = prefix##_source_v1_send_cancelled;                   \
    }

CLIPMULE_DATA_CONTROL(Agreed, ext_data_control);
CLIPMULE_DATA_CONTROL(Wlroots, zwlr_data_control);

#undef CLIPMULE_DATA_CONTROL

struct Offered {
    Clipboard &clipboard;
    std::shared_ptr<Source> source;
};

template <typename Form>
struct DataControl {
    static Clipboard &of(wl_resource *resource) {
        return *static_cast<Clipboard *>(wl_resource_get_user_data(resource));
    }
    static void destroy(wl_client *, wl_resource *resource) { wl_resource_destroy(resource); }

    static void receive(wl_client *, wl_resource *resource, const char *type, int32_t descriptor) {
        const auto *const offered = static_cast<Offered *>(wl_resource_get_user_data(resource));
        const Source &source = *offered->source;
        if (source.resource) {
            source.send(source.resource, type, descriptor);
            ::close(descriptor);
        } else {
            answer(offered->clipboard, source, type, descriptor);
        }
    }
    static void offerGone(wl_resource *resource) {
        auto *const offered = static_cast<Offered *>(wl_resource_get_user_data(resource));
        --offered->clipboard.offersAlive;
        delete offered;
    }
    static void tell(wl_resource *device, const std::shared_ptr<Source> &source) {
        static constexpr typename Form::Offer implementation{receive, destroy};
        if (!source) {
            Form::sendSelection(device, nullptr);
            return;
        }
        wl_resource *const offer =
            wl_resource_create(wl_resource_get_client(device), &Form::offer, 1, 0);
        ++of(device).offersAlive;
        wl_resource_set_implementation(offer, &implementation, new Offered{of(device), source},
                                       offerGone);
        Form::sendOffer(device, offer);
        for (const QByteArray &type : source->types)
            Form::sendType(offer, type.constData());
        Form::sendSelection(device, offer);
    }

    static void setSelection(wl_client *, wl_resource *device, wl_resource *source) {
        if (source)
            select(of(device),
                   *static_cast<std::shared_ptr<Source> *>(wl_resource_get_user_data(source)));
        else
            select(of(device), nullptr);
    }
    static void setPrimary(wl_client *, wl_resource *, wl_resource *) {}
    static void deviceGone(wl_resource *device) {
        of(device).devices.removeIf(
            [device](const Device &each) { return each.resource == device; });
    }
    static void getDevice(wl_client *client, wl_resource *manager, quint32 id, wl_resource *) {
        static constexpr typename Form::Device implementation{setSelection, destroy, setPrimary};
        wl_resource *const device =
            wl_resource_create(client, &Form::device, wl_resource_get_version(manager), id);
        wl_resource_set_implementation(device, &implementation, &of(manager), deviceGone);
        of(manager).devices.append({device, tell, Form::sendFinished});
        tell(device, of(manager).selection);
    }

    static void addType(wl_client *, wl_resource *resource, const char *type) {
        (*static_cast<std::shared_ptr<Source> *>(wl_resource_get_user_data(resource)))
            ->types.append(type);
    }
    static void sourceGone(wl_resource *resource) {
        auto *const source =
            static_cast<std::shared_ptr<Source> *>(wl_resource_get_user_data(resource));
        (*source)->resource = nullptr;
        --*(*source)->alive;
        delete source;
    }
    static void createSource(wl_client *client, wl_resource *manager, quint32 id) {
        static constexpr typename Form::Source implementation{addType, destroy};
        wl_resource *const resource = wl_resource_create(client, &Form::source, 1, id);
        auto source = std::make_shared<Source>();
        source->resource = resource;
        source->alive = &of(manager).sourcesAlive;
        ++*source->alive;
        source->send = Form::sendSend;
        source->cancel = Form::sendCancelled;
        wl_resource_set_implementation(resource, &implementation,
                                       new std::shared_ptr<Source>(source), sourceGone);
    }
    static void bind(wl_client *client, void *clipboard, quint32 version, quint32 id) {
        static constexpr typename Form::Manager implementation{createSource, getDevice, destroy};
        wl_resource *const manager = wl_resource_create(client, &Form::manager, int(version), id);
        wl_resource_set_implementation(manager, &implementation, clipboard, nullptr);
    }
};

} // namespace

struct TestCompositor::State {
    QTemporaryDir folder;
    wl_display *display = wl_display_create();
    Clipboard clipboard;
    CompositorKeys keys{display};
    CompositorWindows windows{display};
    CompositorLayers layers;
    FileHandle wakeUp{::eventfd(0, EFD_CLOEXEC)};
    std::mutex mutex;
    std::condition_variable isDone;
    std::deque<std::function<void()>> work;
    bool isEnding = false;
    std::thread thread;

    QByteArray path() const {
        return folder.filePath(QStringLiteral("wayland-test")).toLocal8Bit();
    }

    void listen() const {
        // The library makes its sockets in this folder, and nowhere else.
        const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", folder.path().toLocal8Bit());
        wl_display_add_socket(display, "wayland-test");
        qputenv("XDG_RUNTIME_DIR", before);
    }
    static int wake(int descriptor, quint32, void *memory) {
        auto &self = *static_cast<State *>(memory);
        quint64 count = 0;
        [[maybe_unused]] const auto read = ::read(descriptor, &count, sizeof count);
        const std::lock_guard lock(self.mutex);
        while (!self.work.empty()) {
            self.work.front()();
            self.work.pop_front();
        }
        wl_display_flush_clients(self.display);
        self.isDone.notify_all();
        return 0;
    }
    void serve() {
        wl_event_loop *const loop = wl_display_get_event_loop(display);
        wl_event_source *const woken =
            wl_event_loop_add_fd(loop, wakeUp.descriptor(), WL_EVENT_READABLE, wake, this);
        while (!isEnding) {
            wl_event_loop_dispatch(loop, -1);
            wl_display_flush_clients(display);
        }
        wl_event_source_remove(woken);
    }
};

TestCompositor::TestCompositor(const Offers &offers)
    : _state(std::make_unique<State>()) {
    _state->clipboard.loop = wl_display_get_event_loop(_state->display);
    _state->listen();
    for (int seat = 0; seat < offers.seats; ++seat)
        _state->keys.addSeat();
    if (offers.agreed)
        wl_global_create(_state->display, &Agreed::manager, 1, &_state->clipboard,
                         DataControl<Agreed>::bind);
    if (offers.wlroots)
        wl_global_create(_state->display, &Wlroots::manager, 2, &_state->clipboard,
                         DataControl<Wlroots>::bind);
    if (offers.keyboards)
        _state->keys.offerVirtual();
    if (offers.fakeInput > 0)
        _state->keys.offerFakeInput(offers.fakeInput);
    if (offers.keyStates > 0)
        _state->keys.offerKeyStates(offers.keyStates);
    if (offers.windows)
        _state->windows.offerForeign();
    if (offers.plasmaWindows > 0)
        _state->windows.offerPlasma(offers.plasmaWindows);
    // Nobody binds it.
    static constexpr wl_interface plasmaShell{"org_kde_plasma_shell", 1, 0, nullptr, 0, nullptr};
    if (offers.plasmaShell)
        wl_global_create(_state->display, &plasmaShell, 1, nullptr, nullptr);
    if (offers.layers)
        _state->layers.offer(_state->display, offers.outputs, offers.surfaceVersion,
                             offers.shellVersion);
    // A socket that listens is enough to connect to.
    if (offers.answersAfter)
        _state->thread = std::thread([state = _state.get(), after = *offers.answersAfter] {
            // Unless the test wants something of it.
            pollfd wanted{state->wakeUp.descriptor(), POLLIN, 0};
            ::poll(&wanted, 1, int(after.count()));
            state->serve();
        });
}

TestCompositor::~TestCompositor() {
    if (_state->thread.joinable()) {
        run([this] { _state->isEnding = true; });
        _state->thread.join();
    }
    wl_display_destroy_clients(_state->display);
    for (const auto &writing : _state->clipboard.writings) {
        if (writing->event)
            wl_event_source_remove(writing->event);
    }
    wl_display_destroy(_state->display);
}

QByteArray TestCompositor::display() const {
    return _state->path();
}

void TestCompositor::run(const std::function<void()> &work) const {
    std::unique_lock lock(_state->mutex);
    bool isDone = false;
    _state->work.push_back([&] {
        work();
        isDone = true;
    });
    const quint64 one = 1;
    [[maybe_unused]] const auto written = ::write(_state->wakeUp.descriptor(), &one, sizeof one);
    _state->isDone.wait(lock, [&] { return isDone; });
}

void TestCompositor::copy(const Contents &contents, Owner owner) {
    run([&] {
        auto source = std::make_shared<Source>();
        for (const auto &[type, bytes] : contents)
            source->types.append(type);
        source->contents = contents;
        source->owner = owner;
        select(_state->clipboard, source);
    });
}

void TestCompositor::clear() {
    run([this] { select(_state->clipboard, nullptr); });
}

QList<QByteArray> TestCompositor::types() const {
    QList<QByteArray> types;
    run([&] {
        if (_state->clipboard.selection)
            types = _state->clipboard.selection->types;
    });
    return types;
}

bool TestCompositor::isClients() const {
    bool isClients = false;
    run([&] { isClients = _state->clipboard.selection && _state->clipboard.selection->resource; });
    return isClients;
}

FileHandle TestCompositor::paste(const QByteArray &type) {
    FileHandle reading;
    run([&] {
        const auto &selection = _state->clipboard.selection;
        int ends[2];
        if (!selection || !selection->resource || ::pipe2(ends, O_CLOEXEC) != 0)
            return;
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        reading = FileHandle(ends[0]);
        selection->send(selection->resource, type.constData(), ends[1]);
        ::close(ends[1]);
    });
    return reading;
}

QList<QByteArray> TestCompositor::asked() const {
    QList<QByteArray> asked;
    run([&] { asked = _state->clipboard.asked; });
    return asked;
}

int TestCompositor::offersAlive() const {
    int count = 0;
    run([&] { count = _state->clipboard.offersAlive; });
    return count;
}

QList<QByteArray> TestCompositor::typed() const {
    QList<QByteArray> typed;
    run([&] { typed = _state->keys.typed(); });
    return typed;
}

int TestCompositor::keyboardsAsked() const {
    int count = 0;
    run([&] { count = _state->keys.keyboardsAsked(); });
    return count;
}

void TestCompositor::setKeyState(quint32 key, quint32 state) {
    run([&] { _state->keys.setKeyState(key, state); });
}

void TestCompositor::removeKeyStates() {
    run([this] { _state->keys.removeKeyStates(); });
}

int TestCompositor::keyStatesBound() const {
    int count = 0;
    run([&] { count = _state->keys.keyStatesBound(); });
    return count;
}

int TestCompositor::sourcesAlive() const {
    int count = 0;
    run([&] { count = _state->clipboard.sourcesAlive; });
    return count;
}

void TestCompositor::setWindow(int number, const Window &window) {
    run([&] { _state->windows.set(number, window); });
}

void TestCompositor::closeWindow(int number) {
    run([&] { _state->windows.close(number); });
}

void TestCompositor::finishWindows() {
    run([this] { _state->windows.finish(); });
}

void TestCompositor::setKeymap(const std::optional<Keymap> &keymap) {
    run([&] { _state->keys.setKeymap(keymap); });
}

void TestCompositor::layers(const std::function<void(CompositorLayers &)> &look) const {
    run([&] { look(_state->layers); });
}

void TestCompositor::addOutput(int scale) {
    run([&] { _state->layers.addOutput(_state->display, scale); });
}

void TestCompositor::finishDevices() {
    run([this] {
        for (const Device &device : std::as_const(_state->clipboard.devices))
            device.finish(device.resource);
    });
}

void TestCompositor::addSeat() {
    run([this] { _state->keys.addSeat(); });
}

void TestCompositor::removeSeat() {
    run([this] { _state->keys.removeSeat(); });
}

void TestCompositor::disconnectClients() {
    run([this] { wl_display_destroy_clients(_state->display); });
}

} // namespace clipmule::kit
