// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

/// The names of services that are programs of this computer, out of the network's sight.
///
/// For the program and its settings such a service is called "local/" and its name. Nothing on the
/// network is known under a name that begins so, whatever is announced there (LocalAndNetwork.h).
/// So a phone that was paired as one of the two is never taken for the other, however it is called.
namespace clipmule::LocalNames {

inline const QString prefix = QStringLiteral("local/");

/// Whether the service is a program of this computer.
[[nodiscard]] inline bool isLocal(QStringView service) {
    return service.startsWith(prefix);
}

/// What the service of a program is called that names itself so.
[[nodiscard]] inline QString serviceNamed(const QString &name) {
    return prefix + name;
}

/// How a service names itself, wherever it is.
[[nodiscard]] inline QString ownName(const QString &service) {
    return isLocal(service) ? service.sliced(prefix.size()) : service;
}

} // namespace clipmule::LocalNames
