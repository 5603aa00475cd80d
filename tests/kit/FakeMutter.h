// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/mutter/MutterConnection.h"
#include "platform/pasteboard/PipeOffers.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <utility>

namespace clipmule::kit {

/// Stands on the bus in the place of GNOME's compositor, as far as it gives sessions in which
/// programs control the clipboard and make key strokes; it misbehaves on demand.
class FakeMutter final : public QDBusVirtualObject {
public:
    /// Types and what is said when they are asked for, in order.
    using Contents = QList<std::pair<QString, QByteArray>>;
    enum class Owner {
        Answers,
        NeverAnswers, // keeps the pipe open
        ClosesAtOnce, // and says nothing
        StallsMidway, // says half of it
        NoPipe,       // answers without a descriptor
    };

    /// Not yet on the bus under its name.
    explicit FakeMutter(const QString &address);
    ~FakeMutter() override;

    void appear();
    void vanish();

    /// Another program copies.
    void copy(const Contents &contents, Owner owner = Owner::Answers);
    /// Nobody owns the clipboard any more.
    void clear();
    /// Types of what a session has set, as it set them; none when no session owns the clipboard.
    [[nodiscard]] QStringList ownTypes() const { return _ownTypes; }
    /// Another program reads what a session owns: what that says comes out of the pipe, which does
    /// not block.
    [[nodiscard]] FileHandle paste(const QString &type);
    /// The same by number, asked for in a descriptor of which this is the other end.
    void askFor(const QString &type, uint serial);

    /// Takes all sessions from their owners.
    void closeSessions();
    /// To the newest session.
    void say(const QString &signal, const QVariantList &arguments);
    /// As somebody else on the bus would, in the name of the newest session.
    void sayFrom(const QDBusConnection &impostor, const QString &signal,
                 const QVariantList &arguments) const;

    /// Answers the calls that were left without an answer before, or the first of them.
    void answerHeld();
    void answerFirstHeld();

    /// Everything that was said until now was heard and answered; no time has passed on the manual
    /// clock.
    static void settle(MutterConnection &connection);

    QStringList calls;                    // "CreateSession", and of sessions "1 Start"
    QHash<QString, QString> errors;       // member, text
    QHash<QString, QVariantList> answers; // member, what is said instead of the truth
    QSet<QString> silent;                 // members that are not answered
    QList<std::pair<uint, bool>> writesDone;
    QStringList asked;         // of what others copied
    bool saysOwnership = true; // when a session has taken the clipboard
    bool hasStructure = true;  // around the list of types, as GNOME 43 has it

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    struct Session {
        int number;
        bool hasClipboard = false;
        bool isStarted = false;
    };
    void answer(const QDBusMessage &message);
    void read(const QDBusMessage &message);
    void sayOwner(int session) const;
    [[nodiscard]] Session *session(const QString &path);
    void reply(const QDBusMessage &message, const QVariantList &arguments = {}) const;
    void refuse(const QDBusMessage &message, const QString &text) const;

    QDBusConnection _connection;
    QList<Session> _sessions; // that are alive
    int _made = 0;
    QList<QDBusMessage> _held;

    bool _hasOwner = false;
    int _ownSession = 0; // that owns the clipboard
    QStringList _ownTypes;
    Contents _contents;
    Owner _owner = Owner::Answers;
    PipeOffers _offers;
    std::list<FileHandle> _open; // that nobody closes
    QHash<uint, std::shared_ptr<FileHandle>> _transfers;
    uint _serial = 0;
};

} // namespace clipmule::kit
