// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QtEndian>

#include <array>

/// The words of the frames that travel between the program and a phone. Every frame begins with a
/// 32-bit kind word, little-endian: "ZRK" and a number, read from the most significant byte.
namespace clipmule::StreamFrame {

/// The kind of an object frame. The length of the payload, unsigned, 32-bit, little-endian, and the
/// payload follow it.
inline constexpr quint32 objectKind = 0x5A524B00;
/// The kind of a ping frame, which holds nothing else.
inline constexpr quint32 pingKind = 0x5A524B01;

inline constexpr qsizetype kindSize = 4;
/// Bytes of an object frame's header: the kind and the length.
inline constexpr qsizetype headerSize = 8;

inline quint32 readWord(const char *bytes) {
    return qFromLittleEndian<quint32>(bytes);
}

/// Writes the header of an object frame; `bytes` has room for at least headerSize bytes.
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
