// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/LocalNames.h"
#include "support/Settings.h"

namespace clipmule {

/// The phones that the agent keeps in step with, as the value of "serverServices" in the shared
/// domain: a list of dictionaries. This is the only place that reads or writes such an entry.
///
/// Other programs write the list as well. Entries of another shape are passed over, and they, and
/// what else stands in a phone's dictionary, are left in the list as they are.
namespace RegisteredPhones {

/// Bytes of a service's own name: on the network it is a DNS label.
inline constexpr qsizetype longestService = 63;
/// Each phone costs a browser, an announcement and a connection. Nobody owns so many; a list that
/// grew by accident does not take the computer's sockets. Further entries are passed over.
inline constexpr qsizetype mostPhones = 200;

struct Phone {
    /// The phone's service name, by which it is found; never empty.
    QString service;
    /// Its display name; empty where the entry has none.
    QString name;
    /// Its own paste mode; without one that of all phones holds.
    std::optional<PasteMode> pasteMode = {};
    /// "HOST:PORT" or "[v6]:PORT", as somebody typed it; empty for a phone that is to be
    /// discovered.
    QString address = {};

    /// The display name, or the service's own where there is none.
    [[nodiscard]] QString shownName() const {
        return name.isEmpty() ? LocalNames::ownName(service) : name;
    }
    friend bool operator==(const Phone &, const Phone &) = default;
};

/// The name of the setting: "serverServices".
[[nodiscard]] QString key();
/// Whether the value is a list that can be changed: another value is somebody else's.
[[nodiscard]] bool isList(const std::optional<PropertyList> &stored);
/// Each phone once, by its first entry, in the order of the list; at most mostPhones. A value that
/// is no list holds none, which is said in the log once.
[[nodiscard]] QList<Phone> phones(const std::optional<PropertyList> &stored);
/// The phone of that service; nothing when it is not in the list.
[[nodiscard]] std::optional<Phone> phone(const std::optional<PropertyList> &stored,
                                         const QString &service);
/// The display names of all entries that have one, whatever else they lack, in the list's order.
[[nodiscard]] QStringList displayNames(const std::optional<PropertyList> &stored);

/// What to change about a phone; a member that holds nothing leaves its part as it is.
struct Change {
    std::optional<QString> name = {};
    /// An inner nothing takes the phone's own paste mode away.
    std::optional<std::optional<PasteMode>> pasteMode = {};
    /// An empty text takes the address away.
    std::optional<QString> address = {};
};
/// The list with the phone at the end, or in its place if it is there, and the change applied to
/// it. A new phone without a name gets its service's own.
[[nodiscard]] PropertyList changed(const std::optional<PropertyList> &stored,
                                   const QString &service, const Change &change);
/// The list without any entry of the phone.
[[nodiscard]] PropertyList removed(const std::optional<PropertyList> &stored,
                                   const QString &service);
/// Whether a value is a list of phones; the failure says why not, in one sentence for people.
/// Stricter than phones(), which takes what it can.
[[nodiscard]] Result<void> check(const PropertyList &value);

// For every program that pairs a phone. The agent hears of it. The failures are sentences for the
// user; after one nothing has changed.

/// Stores the list in place of the present one, which must be a list.
[[nodiscard]] Result<void> store(SettingsStores &stores, const PropertyList &list);
/// Registers a phone under its service name, if it is not, and changes something about it.
[[nodiscard]] Result<void> change(SettingsStores &stores, const QString &service,
                                  const Change &change = {});
/// Nothing happens when the phone is not registered.
[[nodiscard]] Result<void> remove(SettingsStores &stores, const QString &service);

/// An entry and where it stands in the list.
struct Entry {
    qsizetype index = 0;
    PropertyList value;
};
/// All entries of the phone, for putting them back.
[[nodiscard]] QList<Entry> entriesOf(const std::optional<PropertyList> &stored,
                                     const QString &service);
/// The list with entries put back where they were, or at the end when it has become shorter.
[[nodiscard]] PropertyList restored(const std::optional<PropertyList> &stored,
                                    const QList<Entry> &entries);

} // namespace RegisteredPhones

} // namespace clipmule
