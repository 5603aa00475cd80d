// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PairingCode.h"

#include "platform/foundation/Callbacks.h"

namespace clipmule {

QByteArray PairingCode::make() {
    SecretKey code;
    _randomness({code.data(), SecretKey::size});
    _code = PageKeys::ofCode(code);
    _end = RunLoop::current().performAfter(lifetime, [this] {
        _code.reset();
        callCopyOf(onExpiry);
    });
    return code.view().toByteArray().toBase64(QByteArray::Base64UrlEncoding |
                                              QByteArray::OmitTrailingEquals);
}

std::optional<SecretKey> PairingCode::keyOf(QByteArrayView id) const {
    if (!_code || !PageKeys::areEqual(_code->id, id))
        return std::nullopt;
    return _code->key;
}

bool PairingCode::spend(QByteArrayView id) {
    const bool isPresent = keyOf(id).has_value();
    if (isPresent) {
        _code.reset();
        _end.cancel();
    }
    return isPresent;
}

} // namespace clipmule
