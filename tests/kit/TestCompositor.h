// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QByteArray>
#include <QList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace clipmule::kit {

class CompositorLayers;

/// A compositor without a screen, in a thread of its own: it offers what it is told to, and
/// misbehaves on demand. Every call is done when it returns; what clients are sent by it they find
/// by serving their connections.
class TestCompositor {
public:
    struct Offers {
        bool agreed = true;        // ext-data-control
        bool wlroots = true;       // wlr-data-control
        bool keyboards = true;     // virtual ones
        bool windows = true;       // are told of
        quint32 fakeInput = 0;     // KDE's, in this version; 0 for none
        quint32 keyStates = 0;     // what KDE tells of modifiers, the same
        quint32 plasmaWindows = 0; // the same of its list of windows
        bool plasmaShell = false;  // by which KDE is known
        bool layers = false;       // above the windows, with what they are made of
        QList<int> outputs = {1};  // by their scales, where there are layers
        int surfaceVersion = 5;
        int shellVersion = 4; // of layers
        int seats = 1;
        // One that is busy lets one connect, and is silent until then; one that hangs, for ever.
        std::optional<std::chrono::milliseconds> answersAfter = std::chrono::milliseconds(0);
    };
    /// Types and what is said when they are asked for, in order.
    using Contents = QList<std::pair<QByteArray, QByteArray>>;
    enum class Owner {
        Answers,
        NeverAnswers, // keeps the pipe open
        ClosesAtOnce, // and says nothing
        NeverEnds,    // says the contents again and again
        StallsMidway, // says half of it
    };

    TestCompositor()
        : TestCompositor(Offers()) {}
    explicit TestCompositor(const Offers &offers);
    /// Clients lose their connection.
    ~TestCompositor();
    TestCompositor(const TestCompositor &) = delete;
    TestCompositor &operator=(const TestCompositor &) = delete;

    /// What $WAYLAND_DISPLAY has to be.
    [[nodiscard]] QByteArray display() const;

    /// Another program copies.
    void copy(const Contents &contents, Owner owner = Owner::Answers);
    /// Nobody owns the clipboard any more.
    void clear();
    /// Types of what is on the clipboard, in the owner's order; none when nobody owns it.
    [[nodiscard]] QList<QByteArray> types() const;
    /// Whether a client owns the clipboard.
    [[nodiscard]] bool isClients() const;
    /// Another program asks the client that owns the clipboard for a type: what it says comes out
    /// of the pipe, which does not block for the reader.
    [[nodiscard]] FileHandle paste(const QByteArray &type);
    /// How often clients have asked for each type of what others copied, since the beginning.
    [[nodiscard]] QList<QByteArray> asked() const;
    /// How many offers, and sources of their own, clients have not given back.
    [[nodiscard]] int offersAlive() const;
    [[nodiscard]] int sourcesAlive() const;

    /// What virtual keyboards and fake input have done, in order: "keymap us" by the name of its
    /// layout, "authenticate" with the program's name, "press 29" and "release 29" by the kernel's
    /// number of the key, "modifiers 4".
    [[nodiscard]] QList<QByteArray> typed() const;

    /// What the keyboards of all seats say of their layout, now and to who asks later.
    struct Keymap {
        QByteArray text; // without the zero byte at its end, which is added
        quint32 format = 1;
        std::optional<quint32> size = {}; // that is told; the true one without
        bool isPipe = false;              // instead of a file
    };
    /// Without one the seats have no keyboard, as from the beginning.
    void setKeymap(const std::optional<Keymap> &keymap);
    /// How often clients have asked for the keyboard of a seat.
    [[nodiscard]] int keyboardsAsked() const;

    /// What is told of a key, by KDE's numbers of both, now and to who asks later. Of a key of
    /// which nothing was set nothing is ever said.
    void setKeyState(quint32 key, quint32 state);
    /// Keys are told of no more.
    void removeKeyStates();
    /// Clients that are told of keys.
    [[nodiscard]] int keyStatesBound() const;

    /// A window by its number, which is made when there is none of it yet: what is said of it, in
    /// this order. Without `isDone` there is more to come.
    struct Window {
        std::optional<QByteArray> identifier = {};
        std::optional<bool> isActive = {};
        bool isDone = true;
        std::optional<QByteArray> title = {};
    };
    void setWindow(int number, const Window &window);
    void closeWindow(int number);
    /// Windows are told of no more.
    void finishWindows();

    /// Looks at what clients show above the windows, or changes how it is treated: the function
    /// runs in the compositor's thread.
    void layers(const std::function<void(CompositorLayers &)> &look) const;
    void addOutput(int scale);

    /// The clipboard of the seats is taken from those that control it.
    void finishDevices();
    void addSeat();
    void removeSeat();
    /// All clients are thrown out.
    void disconnectClients();

private:
    struct State;
    void run(const std::function<void()> &work) const;
    std::unique_ptr<State> _state;
};

} // namespace clipmule::kit
