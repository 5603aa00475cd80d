// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <optional>

namespace clipmule {

/// The phones that the agent keeps in step with, as the value of "serverServices" in the shared
/// domain: a list of dictionaries. Entries of another shape, and other entries of a phone's
/// dictionary, are left as they are.
namespace RegisteredPhones {

struct Phone {
    /// The phone's service name, by which it is found.
    QString service;
    /// What the menu shows.
    QString name;
    friend bool operator==(const Phone &, const Phone &) = default;
};

/// The key of the list.
[[nodiscard]] QString key();
/// Whether it is a list that can be changed: another value is somebody else's.
[[nodiscard]] bool isList(const std::optional<PropertyList> &stored);
[[nodiscard]] QList<Phone> phones(const std::optional<PropertyList> &stored);
/// With the phone at the end; one that is there keeps its place and takes the name, if one is
/// given. Without a name a new phone is named after its service.
[[nodiscard]] PropertyList added(const std::optional<PropertyList> &stored, const QString &service,
                                 const std::optional<QString> &name);
/// Without any entry of the phone.
[[nodiscard]] PropertyList removed(const std::optional<PropertyList> &stored,
                                   const QString &service);

/// An entry and where it stands in the list.
struct Entry {
    qsizetype index = 0;
    PropertyList value;
};
/// All of the phone, for putting them back.
[[nodiscard]] QList<Entry> entriesOf(const std::optional<PropertyList> &stored,
                                     const QString &service);
/// With entries put back where they were, or at the end of a list that has become shorter.
[[nodiscard]] PropertyList restored(const std::optional<PropertyList> &stored,
                                    const QList<Entry> &entries);

} // namespace RegisteredPhones

} // namespace clipmule
