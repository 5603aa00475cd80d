// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtEndian>

#include <array>

/// The words of the frames that travel between the program and a phone. Every frame begins with a
/// 32-bit kind word, little-endian: "ZRK" and a number, read from the most significant byte.
namespace clipmule::StreamFrame {

/// Followed by the length of the payload, unsigned, 32-bit, little-endian, and the payload.
inline constexpr quint32 objectKind = 0x5A524B00;
/// The whole frame.
inline constexpr quint32 pingKind = 0x5A524B01;

inline constexpr qsizetype kindSize = 4;
/// Of an object frame: the kind and the length.
inline constexpr qsizetype headerSize = 8;

inline quint32 readWord(const char *bytes) {
    return qFromLittleEndian<quint32>(bytes);
}

/// At least headerSize bytes.
inline void writeObjectHeader(char *bytes, quint32 payloadLength) {
    qToLittleEndian(objectKind, bytes);
    qToLittleEndian(payloadLength, bytes + kindSize);
}

inline std::array<char, kindSize> pingFrame() {
    std::array<char, kindSize> frame{};
    qToLittleEndian(pingKind, frame.data());
    return frame;
}

} // namespace clipmule::StreamFrame
