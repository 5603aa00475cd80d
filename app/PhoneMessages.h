// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "net/OutputObject.h"
#include "net/ZRKStreamHandler.h"
#include "platform/foundation/PropertyList.h"
#include "platform/session/Refusal.h"

#include <QString>

namespace clipmule {

class InboundClips;
class PhoneLinks;
class PlatformException;
class SyncJournal;

/// What phones say to the agent: gives each message to whom it concerns, and writes down what
/// cannot be taken. Nothing a phone sends raises anything. Phones are named by their services.
class PhoneMessages {
public:
    /// A phone's description of itself is a handful of short entries. It is kept and sent on to all
    /// phones again and again, so a larger one is refused; in bytes of its XML form.
    static constexpr qsizetype largestDeviceRecord = 64 * 1024;

    /// The arguments outlive this object.
    PhoneMessages(PhoneLinks &links, InboundClips &inbound, SyncJournal &journal);

    /// Takes any message, in its envelope.
    void receive(const QString &phone, const PropertyList &object);
    /// Takes a clip for this desk.
    void receiveClip(const QString &phone, const PropertyList &clip);
    /// Takes a clip for the other phones, which the desk's clipboard does not see.
    void receiveClipForDevices(const QString &phone, const PropertyList &clip);
    /// Takes what the phone tells of itself; all phones hear of it.
    void receiveDeviceRecord(const QString &phone, const PropertyList &record);

    /// Notes that the connection refused something that the phone sent.
    void refusedInput(const QString &phone, const ZRKStreamHandler::RefusedInput &input);
    /// Notes that an object queued for the phone could not be written.
    void dropped(const QString &phone, const OutputObject &object);
    /// Notes that an object has left the phone's queue unsent; about `waiting` bytes would have
    /// waited.
    void refused(const QString &phone, const OutputObject &object, qsizetype waiting);

private:
    void refuseRecord(const QString &phone, Refusal refusal, const QString &line);
    void refuseDamaged(const QString &phone, const PlatformException &exception);

    PhoneLinks &_links;
    InboundClips &_inbound;
    SyncJournal &_journal;
};

} // namespace clipmule
