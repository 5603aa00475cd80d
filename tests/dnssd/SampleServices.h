// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/DnsSd.h"

#include <QHostAddress>

/// Two phones, a desk and where one of them is.
namespace clipmule::kit {

using namespace dnssd;

inline const auto type = QStringLiteral("_clipmule-s2._tcp");
inline const auto local = QStringLiteral("local");
inline const ServiceName anna{QStringLiteral("Anna"), type, local};
inline const ServiceName bert{QStringLiteral("Bert"), type, local};
inline const ServiceName desk{QStringLiteral("Desk"), QStringLiteral("_clipmule-c2._tcp"), local};
inline const Endpoint address{QHostAddress(QStringLiteral("192.0.2.7")), 4711};

} // namespace clipmule::kit
