// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>

#include <array>
#include <functional>
#include <initializer_list>
#include <span>

namespace clipmule {

/// Bytes that nobody else may see. Every copy of them is wiped when it goes; compared in a time
/// that says nothing of where two differ.
class SecretKey final {
public:
    static constexpr size_t size = 32;

    SecretKey() = default;
    /// The bytes must be as many as a key has.
    explicit SecretKey(QByteArrayView bytes);
    ~SecretKey();
    SecretKey(const SecretKey &) = default;
    SecretKey &operator=(const SecretKey &) = default;

    [[nodiscard]] unsigned char *data() { return _bytes.data(); }
    [[nodiscard]] const unsigned char *data() const { return _bytes.data(); }
    [[nodiscard]] QByteArrayView view() const;
    friend bool operator==(const SecretKey &left, const SecretKey &right);

private:
    std::array<unsigned char, size> _bytes{};
};

/// Fills the bytes with what nobody can foresee.
using Randomness = std::function<void(std::span<unsigned char>)>;
[[nodiscard]] Randomness systemRandomness();

/// What a browser is known by, and the key that it shares with this program.
struct PageKey {
    static constexpr qsizetype idSize = 16;

    QByteArray id;
    SecretKey key;
};

/// How keys follow from each other. docs/page-protocol.md has it in words.
namespace PageKeys {

/// SHA-512 of the label, a zero byte, and the parts one after the other. Wiped by who asks for it
/// where it is a secret.
using Digest = std::array<unsigned char, 64>;
[[nodiscard]] Digest digest(const char *label, std::initializer_list<QByteArrayView> parts);

/// The code as a key: what a browser says hello with that has just read it.
[[nodiscard]] PageKey ofCode(const SecretKey &code);
/// What the browser keeps after it was paired, which whoever saw the code cannot know.
[[nodiscard]] PageKey ofBrowser(const SecretKey &code, const SecretKey &shared);

/// Whether the two are equal; the time depends on their sizes alone.
[[nodiscard]] bool areEqual(QByteArrayView left, QByteArrayView right);

} // namespace PageKeys

} // namespace clipmule
