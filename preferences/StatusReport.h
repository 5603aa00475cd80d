// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/session/StatusInterface.h"
#include "support/RegisteredPhones.h"

#include <QJsonObject>

namespace clipmule {

/// What "status" tells: the settings, the counters, and what a running agent says of each phone. In
/// plain English, with dates that every language and time zone reads alike.
namespace StatusReport {

[[nodiscard]] QStringList lines(const SettingsStores &settings, const StatusReader &agent);
[[nodiscard]] QJsonObject json(const SettingsStores &settings, const StatusReader &agent);

// Shared with the other commands.

/// What is stored of a phone.
[[nodiscard]] QJsonObject json(const RegisteredPhones::Phone &phone);

/// "connected", "seen" or "not seen".
[[nodiscard]] QString nameOf(AgentStatus::PhoneState state);
/// The date as text; an empty text for no date.
[[nodiscard]] QString plainDate(const std::optional<Date> &date);
[[nodiscard]] QJsonValue jsonDate(const std::optional<Date> &date);
/// A refusal on one line: when, what and why.
[[nodiscard]] QString line(const Refusal &refusal);
[[nodiscard]] QJsonObject json(const Refusal &refusal);

} // namespace StatusReport

} // namespace clipmule
