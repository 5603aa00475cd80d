// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// The one client of bench_latency.py: copies and reads on every display, and holds the pipes of
// latency-phone, so that all times are of one clock.
//
// usage: latency-client TO-PHONE FROM-PHONE NAME=DISPLAY…
//
// The first two are descriptors. A line "measure FROM TO BYTES" on standard input makes a copy of
// so many bytes at FROM (a NAME, or "phone") and waits until it is at TO; both are text that nobody
// has had before, and what arrives is compared byte for byte. The answer is a line "MILLISECONDS
// MILLISECONDS": until the other side has it, and until another program there has read it from
// the new owner ("-" for a phone); or a line "error …".

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <optional>
#include <poll.h>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

constexpr std::chrono::seconds patience{20};
constexpr int pipeBytes = 1024 * 1024;
// In units of four bytes: the largest text whole.
constexpr uint32_t wholeProperty = 64U * 1024 * 1024 / 4;

// Words that no two copies have in common: a fresh number, then letters and blanks.
std::string freshText(size_t bytes) {
    static std::mt19937_64 random{std::random_device{}()};
    char nonce[17];
    std::snprintf(nonce, sizeof nonce, "%016llx", static_cast<unsigned long long>(random()));
    std::string text = nonce;
    text.reserve(bytes);
    while (text.size() < bytes) {
        const uint64_t number = random();
        for (unsigned shift = 0; shift < 60 && text.size() < bytes; shift += 5)
            text += (number >> shift & 31U) < 26 ? char('a' + (number >> shift & 31U)) : ' ';
    }
    return text;
}

/// One X server: owns its clipboard, sees who else does, and reads from them.
class Display {
public:
    explicit Display(const std::string &name)
        : _connection(xcb_connect(name.c_str(), nullptr)) {
        if (xcb_connection_has_error(_connection))
            throw std::runtime_error("no display " + name);
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(_connection)).data;
        _window = xcb_generate_id(_connection);
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(_connection, 0, _window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, 0, XCB_CW_EVENT_MASK, &mask);
        for (const char *target :
             {"UTF8_STRING", "STRING", "text/plain;charset=utf-8", "text/plain"})
            _texts.push_back(atom(target));
        _clipboard = atom("CLIPBOARD");
        _targets = atom("TARGETS");
        _incr = atom("INCR");
        _property = atom("_CLIPMULE_BENCH");
        const auto *extension = xcb_get_extension_data(_connection, &xcb_xfixes_id);
        if (!extension || !extension->present)
            throw std::runtime_error("no XFixes on display " + name);
        _notified = extension->first_event + XCB_XFIXES_SELECTION_NOTIFY;
        std::free(xcb_xfixes_query_version_reply(
            _connection, xcb_xfixes_query_version(_connection, 5, 0), nullptr));
        xcb_xfixes_select_selection_input(_connection, _window, _clipboard,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
        // The largest request that the server takes is asked for once.
        xcb_get_maximum_request_length(_connection);
        xcb_flush(_connection);
    }

    [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(_connection); }

    void copy(std::string text) {
        _text = std::move(text);
        xcb_set_selection_owner(_connection, _window, _clipboard, XCB_CURRENT_TIME);
        xcb_flush(_connection);
    }

    /// What follows is about this text.
    void expect(const std::string &text) {
        _expected = text;
        _taken.reset();
        _read.reset();
    }
    /// When another took the clipboard, and when its text had been read. Only once it was the text
    /// that was expected.
    [[nodiscard]] std::optional<Moment> taken() const { return _read ? _taken : std::nullopt; }
    [[nodiscard]] std::optional<Moment> read() const { return _read; }

    void serve() {
        while (xcb_generic_event_t *event = xcb_poll_for_event(_connection)) {
            const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> owned(event,
                                                                                   &std::free);
            served(*event);
        }
        if (xcb_connection_has_error(_connection))
            throw std::runtime_error("a display was lost");
        xcb_flush(_connection);
    }

private:
    xcb_atom_t atom(const char *name) {
        const auto cookie = xcb_intern_atom(_connection, 0, uint16_t(std::strlen(name)), name);
        auto *reply = xcb_intern_atom_reply(_connection, cookie, nullptr);
        const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        std::free(reply);
        return result;
    }

    void served(const xcb_generic_event_t &event) {
        const int type = event.response_type & 0x7f;
        if (type == XCB_SELECTION_REQUEST) {
            answer(reinterpret_cast<const xcb_selection_request_event_t &>(event));
        } else if (type == XCB_SELECTION_NOTIFY) {
            const auto &notify = reinterpret_cast<const xcb_selection_notify_event_t &>(event);
            if (notify.property != XCB_ATOM_NONE)
                readProperty();
        } else if (type == XCB_PROPERTY_NOTIFY) {
            const auto &notify = reinterpret_cast<const xcb_property_notify_event_t &>(event);
            if (_inPieces && notify.atom == _property && notify.state == XCB_PROPERTY_NEW_VALUE)
                readProperty();
        } else if (type == _notified) {
            const auto &notify =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event);
            if (notify.owner == _window || notify.owner == XCB_NONE)
                return;
            _taken = Clock::now();
            _arrived.clear();
            _inPieces = false;
            xcb_convert_selection(_connection, _window, _clipboard, _texts.front(), _property,
                                  notify.selection_timestamp);
        }
    }

    void answer(const xcb_selection_request_event_t &request) {
        const xcb_atom_t property = request.property ? request.property : request.target;
        xcb_selection_notify_event_t notify{};
        notify.response_type = XCB_SELECTION_NOTIFY;
        notify.time = request.time;
        notify.requestor = request.requestor;
        notify.selection = request.selection;
        notify.target = request.target;
        notify.property = property;
        if (request.target == _targets) {
            std::vector<xcb_atom_t> all = _texts;
            all.push_back(_targets);
            xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, request.requestor, property,
                                XCB_ATOM_ATOM, 32, uint32_t(all.size()), all.data());
        } else if (std::find(_texts.begin(), _texts.end(), request.target) != _texts.end()) {
            xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, request.requestor, property,
                                request.target, 8, uint32_t(_text.size()), _text.data());
        } else {
            notify.property = XCB_ATOM_NONE;
        }
        xcb_send_event(_connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char *>(&notify));
    }

    void readProperty() {
        const auto cookie =
            xcb_get_property(_connection, 1, _window, _property, XCB_ATOM_ANY, 0, wholeProperty);
        auto *reply = xcb_get_property_reply(_connection, cookie, nullptr);
        if (!reply)
            return;
        const int size = xcb_get_property_value_length(reply);
        const bool isAnnouncement = reply->type == _incr;
        if (isAnnouncement)
            _inPieces = true;
        else
            _arrived.append(static_cast<const char *>(xcb_get_property_value(reply)), size_t(size));
        std::free(reply);
        if (isAnnouncement || (_inPieces && size > 0))
            return;
        _inPieces = false;
        if (_arrived == _expected)
            _read = Clock::now();
    }

    xcb_connection_t *_connection;
    xcb_window_t _window = XCB_NONE;
    std::vector<xcb_atom_t> _texts;
    xcb_atom_t _clipboard = XCB_NONE;
    xcb_atom_t _targets = XCB_NONE;
    xcb_atom_t _incr = XCB_NONE;
    xcb_atom_t _property = XCB_NONE;
    int _notified = 0;
    std::string _text;     // that we own
    std::string _expected; // of another
    std::string _arrived;
    bool _inPieces = false;
    std::optional<Moment> _taken;
    std::optional<Moment> _read;
};

/// The phone: a line to it is a text to send; it says "arrived", and then the text in another line.
class PhonePipes {
public:
    PhonePipes(int input, int output)
        : _input(input)
        , _output(output) {
        for (const int descriptor : {input, output}) {
            fcntl(descriptor, F_SETPIPE_SZ, pipeBytes);
            fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
        }
    }

    [[nodiscard]] int input() const { return _input; }
    [[nodiscard]] int output() const { return _output; }
    [[nodiscard]] bool hasToWrite() const { return _written < _toWrite.size(); }

    void copy(const std::string &text) {
        _toWrite = text + '\n';
        _written = 0;
        write();
    }
    void expect(const std::string &text) {
        _expected = text;
        _told.reset();
    }
    /// When a clip had arrived. Only once it was the text that was expected.
    [[nodiscard]] std::optional<Moment> told() const { return _told; }

    void write() {
        const ssize_t count =
            ::write(_input, _toWrite.data() + _written, _toWrite.size() - _written);
        _written += size_t(std::max<ssize_t>(count, 0));
    }

    void read() {
        static char buffer[pipeBytes];
        const ssize_t count = ::read(_output, buffer, sizeof buffer);
        const Moment now = Clock::now();
        if (count == 0)
            throw std::runtime_error("the phone ended");
        _pending.append(buffer, size_t(std::max<ssize_t>(count, 0)));
        for (size_t end = 0; (end = _pending.find('\n')) != std::string::npos;) {
            const std::string line = _pending.substr(0, end);
            _pending.erase(0, end + 1);
            if (line == "message")
                std::cout << "phone connected" << std::endl;
            else if (line == "arrived")
                _arrived = now;
            else if (line == _expected)
                _told = _arrived;
        }
    }

private:
    int _input;
    int _output;
    std::string _toWrite;
    size_t _written = 0;
    std::string _pending;
    std::string _expected;
    std::optional<Moment> _arrived;
    std::optional<Moment> _told;
};

class Client {
public:
    Client(int toPhone, int fromPhone)
        : _phone(toPhone, fromPhone) {}

    void open(const std::string &name, const std::string &display) {
        _displays.emplace_back(name, std::make_unique<Display>(display));
    }

    /// Until standard input ends.
    void run() {
        std::string pending;
        while (serve(std::nullopt)) {
            char buffer[4096];
            const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count <= 0)
                return;
            pending.append(buffer, size_t(count));
            for (size_t end = 0; (end = pending.find('\n')) != std::string::npos;) {
                perform(pending.substr(0, end));
                pending.erase(0, end + 1);
            }
        }
    }

private:
    Display *display(const std::string &name) {
        for (const auto &[known, display] : _displays) {
            if (known == name)
                return display.get();
        }
        return nullptr;
    }

    void perform(const std::string &line) {
        std::istringstream words(line);
        std::string verb;
        std::string from;
        std::string to;
        size_t bytes = 0;
        words >> verb >> from >> to >> bytes;
        Display *const source = display(from);
        Display *const sink = display(to);
        if (verb != "measure" || (!source && from != "phone") || (!sink && to != "phone") ||
            bytes < 20) {
            std::cout << "error cannot do: " << line << std::endl;
            return;
        }
        measure(source, sink, bytes);
    }

    /// Nothing stands for the phone.
    void measure(Display *source, Display *sink, size_t bytes) {
        const std::string text = freshText(bytes);
        if (sink)
            sink->expect(text);
        else
            _phone.expect(text);
        const Moment start = Clock::now();
        if (source)
            source->copy(text);
        else
            _phone.copy(text);
        const auto there = [&] { return sink ? sink->taken() : _phone.told(); };
        while (!there() && Clock::now() - start < patience)
            serve(start + patience);
        const auto since = [start](Moment moment) {
            return std::chrono::duration<double, std::milli>(moment - start).count();
        };
        if (!there())
            std::cout << "error it did not arrive" << std::endl;
        else if (sink)
            std::cout << since(*there()) << ' ' << since(*sink->read()) << std::endl;
        else
            std::cout << since(*there()) << " -" << std::endl;
    }

    /// Waits for something and serves it, for a command (true) or until the deadline.
    bool serve(std::optional<Moment> deadline) {
        for (;;) {
            std::vector<pollfd> polled;
            for (const auto &[name, display] : _displays) {
                // What a call that waited for a reply has read already is in no socket.
                display->serve();
                polled.push_back({display->descriptor(), POLLIN, 0});
            }
            polled.push_back({_phone.output(), POLLIN, 0});
            if (_phone.hasToWrite())
                polled.push_back({_phone.input(), POLLOUT, 0});
            else if (!deadline)
                polled.push_back({STDIN_FILENO, POLLIN, 0});
            const auto left = deadline ? std::chrono::duration_cast<std::chrono::milliseconds>(
                                             *deadline - Clock::now())
                                             .count()
                                       : -1;
            poll(polled.data(), polled.size(), deadline ? int(std::max<long>(left, 0)) : -1);
            for (const auto &[name, display] : _displays)
                display->serve();
            if (_phone.hasToWrite())
                _phone.write();
            if (polled[_displays.size()].revents)
                _phone.read();
            if (deadline)
                return false;
            if (polled.back().fd == STDIN_FILENO && polled.back().revents)
                return true;
        }
    }

    PhonePipes _phone;
    std::vector<std::pair<std::string, std::unique_ptr<Display>>> _displays;
};

} // namespace

int main(int argc, char *argv[]) {
    try {
        if (argc < 3)
            throw std::runtime_error("usage: latency-client TO-PHONE FROM-PHONE NAME=DISPLAY…");
        Client client(std::atoi(argv[1]), std::atoi(argv[2]));
        for (int index = 3; index < argc; ++index) {
            const std::string argument = argv[index];
            const size_t sign = argument.find('=');
            if (sign == std::string::npos)
                throw std::runtime_error("NAME=DISPLAY, not " + argument);
            client.open(argument.substr(0, sign), argument.substr(sign + 1));
        }
        std::cout << "ready" << std::endl;
        client.run();
        return 0;
    } catch (const std::exception &exception) {
        std::cerr << "latency-client: " << exception.what() << '\n';
        return 1;
    }
}
