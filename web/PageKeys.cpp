// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageKeys.h"

#include <sodium.h>

#include <algorithm>
#include <cstring>

namespace clipmule {

namespace {

const unsigned char *bytesOf(QByteArrayView view) {
    return reinterpret_cast<const unsigned char *>(view.data());
}

} // namespace

SecretKey::SecretKey(QByteArrayView bytes) {
    Q_ASSERT(size_t(bytes.size()) == size);
    std::copy_n(bytesOf(bytes), size, _bytes.begin());
}

SecretKey::~SecretKey() {
    sodium_memzero(_bytes.data(), size);
}

QByteArrayView SecretKey::view() const {
    return {_bytes.data(), qsizetype(size)};
}

bool operator==(const SecretKey &left, const SecretKey &right) {
    return PageKeys::areEqual(left.view(), right.view());
}

Randomness systemRandomness() {
    if (sodium_init() < 0)
        qFatal("no randomness from the system");
    return [](std::span<unsigned char> bytes) { randombytes_buf(bytes.data(), bytes.size()); };
}

namespace PageKeys {

Digest digest(const char *label, std::initializer_list<QByteArrayView> parts) {
    crypto_hash_sha512_state state;
    crypto_hash_sha512_init(&state);
    // With its zero byte, so that no label is the beginning of another.
    crypto_hash_sha512_update(&state, reinterpret_cast<const unsigned char *>(label),
                              std::strlen(label) + 1);
    for (const QByteArrayView part : parts)
        crypto_hash_sha512_update(&state, bytesOf(part), size_t(part.size()));
    Digest result;
    crypto_hash_sha512_final(&state, result.data());
    sodium_memzero(&state, sizeof state);
    return result;
}

namespace {

QByteArray idOf(const char *label, std::initializer_list<QByteArrayView> parts) {
    const Digest whole = digest(label, parts);
    return {reinterpret_cast<const char *>(whole.data()), PageKey::idSize};
}

} // namespace

PageKey ofCode(const SecretKey &code) {
    return {idOf("clipmule page code id", {code.view()}), code};
}

PageKey ofBrowser(const SecretKey &code, const SecretKey &shared) {
    Digest key = digest("clipmule page browser key", {code.view(), shared.view()});
    PageKey result{idOf("clipmule page browser id", {code.view(), shared.view()}),
                   SecretKey(QByteArrayView(key.data(), SecretKey::size))};
    sodium_memzero(key.data(), key.size());
    return result;
}

bool areEqual(QByteArrayView left, QByteArrayView right) {
    return left.size() == right.size() &&
           sodium_memcmp(left.data(), right.data(), size_t(left.size())) == 0;
}

} // namespace PageKeys

} // namespace clipmule
