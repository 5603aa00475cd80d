// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/FileHandle.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

class WaylandConnection;

/// The clipboard of a seat, watched and set without a window: the compositor's data control, in the
/// form that all agreed upon or in the older one of wlroots. They differ by name only.
///
/// Callbacks come from the run loop, and never from inside a call. Each may be missing.
class WaylandDataControl {
public:
    /// Types that are remembered of one offer, beside those that isWanted() says are never left
    /// out. Office programs offer some thirty.
    static constexpr qsizetype mostTypes = 256;

    /// Whether the connection offers data control in either form, and has a seat.
    [[nodiscard]] static bool isOffered(const std::shared_ptr<WaylandConnection> &connection);
    /// Whether one of the interfaces that a compositor offers is data control in either form.
    [[nodiscard]] static bool isOffered(const QList<QByteArray> &interfaces);
    /// Of a connection that may offer data control; null when it does not, or has no seat.
    [[nodiscard]] static std::unique_ptr<WaylandDataControl>
    make(const std::shared_ptr<WaylandConnection> &connection);

    WaylandDataControl() = default;
    virtual ~WaylandDataControl() = default;
    WaylandDataControl(const WaylandDataControl &) = delete;
    WaylandDataControl &operator=(const WaylandDataControl &) = delete;

    /// "ext-data-control" or "wlr-data-control".
    [[nodiscard]] virtual QString name() const = 0;

    /// Whether somebody has just changed the clipboard, or it was so when we came.
    enum class Moment { AtTheStart, Change };
    /// Who owns the clipboard is another: the types in the owner's order, none twice; nothing when
    /// nobody owns it. Not called for what we own ourselves.
    std::function<void(const std::optional<QStringList> &types, Moment moment)> onSelection;
    /// A type that is kept however many others were offered before it; it then comes first.
    std::function<bool(const QString &type)> isWanted;
    /// Somebody reads what we own: to be written to the descriptor, which does not block, and then
    /// closed. `closed`, which may be empty, is told then whether all of it was taken.
    using Closed = std::function<void(bool isWhole)>;
    std::function<void(const QString &type, FileHandle target, Closed closed)> onSend;
    /// What we owned is not on the clipboard any more.
    std::function<void()> onCancelled;

    /// The compositor has let us at a clipboard, or has taken it back.
    std::function<void(bool isGiven)> onAccess;

    /// Asks the newest owner for a type. What it says comes out of the descriptor, which does not
    /// block and is handed over at once or later; at its end everything was said. It is closed when
    /// nobody owns the clipboard, or the system has no pipe for us.
    using Opened = std::function<void(FileHandle)>;
    virtual void receive(const QString &type, const Opened &opened) = 0;
    /// Makes us the owner. What we owned before counts as cancelled, and is not told so. False when
    /// there is no clipboard to own any more.
    [[nodiscard]] virtual bool own(const QStringList &types) = 0;

protected:
    /// Adds a type that was offered to those that are remembered, once and within mostTypes.
    void keep(const QString &type, QStringList &types, QSet<QString> &seen) const;
};

} // namespace clipmule
