// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/mutter/MutterSession.h"
#include "platform/wayland/WaylandDataControl.h"

namespace clipmule {

/// The clipboard of GNOME's compositor, through a session that is never started: the user is shown
/// no mark, and nobody loses the focus.
///
/// What we own is offered again when the compositor closed the session and gives another, unless
/// somebody has copied something else meanwhile.
class MutterDataControl final : public WaylandDataControl {
public:
    /// A compositor that has not said for so long whether the clipboard is ours has not made it so.
    static constexpr RunLoop::Seconds answerLimit{5.0};
    /// Pipes that may be asked for at once to serve readers; as many as may be served.
    static constexpr int mostRequests = 64;

    /// A longer name of a type is none, in UTF-16 units; no display server takes it.
    static constexpr qsizetype longestType = 255;

    explicit MutterDataControl(std::shared_ptr<MutterConnection> connection);

    [[nodiscard]] QString name() const override { return QStringLiteral("mutter"); }
    void receive(const QString &type, const Opened &opened) override;
    [[nodiscard]] bool own(const QStringList &types) override;

private:
    using Types = std::optional<QStringList>; // nothing when nobody owns the clipboard
    enum class Access { Awaited, Given, Refused };

    void setAccess(Access access);
    void enabled(const QDBusMessage &answer);
    void ownerChanged(const QDBusMessage &signal);
    void othersTook(const Types &types);
    void tell(const Types &types, Moment moment);
    [[nodiscard]] QStringList kept(const QStringList &types) const;
    void setSelection();
    void takingEnded(const QString &error);
    void dropOwned();
    void transferAsked(const QDBusMessage &signal);
    void writeDone(uint serial, bool isWhole);

    MutterSession _session;
    Access _access = Access::Awaited; // to the clipboard, by this session
    bool _hadAccess = false;
    Types _initial; // what was on the clipboard when this session came to it
    Types _others;  // what others own, as far as it was told
    Types _owned;   // what we own, or are to own as soon as it can be
    quint64 _takings = 0;
    bool _isTaking = false; // the compositor has not said yet that what we own is the clipboard
    std::optional<Types> _passedOver; // the last that others took meanwhile
    RunLoop::Timer _takingTimer;
    int _requests = 0; // for pipes to write into
    bool _saidStrange = false;
};

} // namespace clipmule
