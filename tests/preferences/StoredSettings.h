// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

namespace clipmule::kit {

inline const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
inline const QString agentDomain = QStringLiteral("com.zendrik.ClipmuleSync");
inline const QString statisticsDomain = QStringLiteral("com.zendrik.ClipmuleSync.stats");
inline const QString serverServices = QStringLiteral("serverServices");

/// A paired phone as it stands in the settings.
inline PropertyList phone(const QString &service, const QString &name) {
    return PropertyList::Dictionary{{QStringLiteral("serverService"), service},
                                    {QStringLiteral("serverName"), name}};
}

} // namespace clipmule::kit
