// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/Result.h"

#include <QByteArrayView>
#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

namespace clipmule {

/// Shows foreign bytes as JSON: what they are, and all that they hold, in the form of typedJson().
namespace Inspection {

enum class Kind {
    /// A property list of any form.
    PropertyList,
    /// A stream of frames, as one side of a connection received it.
    Frames,
    /// A DNS TXT record.
    Txt,
    /// A keyed archive.
    Archive,
    /// An old archive without keys.
    TypedStream
};

/// "plist", "frames", "txt", "archive", "typedstream".
[[nodiscard]] QString nameOf(Kind kind);
[[nodiscard]] std::optional<Kind> kindNamed(const QString &name);

/// What the bytes seem to be; a property list when they seem to be nothing else.
[[nodiscard]] Kind detect(QByteArrayView bytes);

/// Gives the lines of an inspection as they come: one, and of frames one each. The failure says why
/// the bytes were refused, wholly or (of frames) in part.
using Report = std::function<void(const QJsonObject &)>;
[[nodiscard]] Result<void> inspect(QByteArrayView bytes, Kind kind, const Report &report);

} // namespace Inspection

} // namespace clipmule
