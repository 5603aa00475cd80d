// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/RunLoop.h"
#include "web/PageKeys.h"

#include <optional>

namespace clipmule {

/// The code that lets one browser in: a secret that is shown as a picture, holds for a while, and
/// is spent when a browser has proved that it read it. A new one takes the place of the one before.
class PairingCode final {
public:
    static constexpr RunLoop::Seconds lifetime{600.0};

    explicit PairingCode(Randomness randomness = systemRandomness())
        : _randomness(std::move(randomness)) {}

    /// A fresh one, as it stands in the link: base64url without padding.
    [[nodiscard]] QByteArray make();
    /// The key of that id, which comes from outside; nothing unless it is the present code's.
    [[nodiscard]] std::optional<SecretKey> keyOf(QByteArrayView id) const;
    /// Ends the code of that id; false when it is not the present one, any more or at all.
    [[nodiscard]] bool spend(QByteArrayView id);
    [[nodiscard]] bool isValid() const { return _code.has_value(); }
    /// Its time ran out before anybody used it.
    std::function<void()> onExpiry;

private:
    Randomness _randomness;
    std::optional<PageKey> _code;
    RunLoop::Timer _end;
};

} // namespace clipmule
