// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QtEndian>

#include <array>
#include <functional>
#include <memory>
#include <optional>

namespace clipmule {

/// What agent and phones exchange: a dictionary of one entry, whose key is the type of the message
/// as a decimal number and whose value is its payload.
namespace MessageEnvelope {

/// Whoever switches over it has no `default`, so that the compiler tells where one more is missing.
enum class Type : int {
    /// Agent to phone and back: a clip in dictionary form.
    Clip = 1,
    /// Phone to agent: a clip for the other phones.
    ClipForDevices = 2,
    /// Agent to phone: service name to device record, of every phone.
    ConnectedDevices = 3,
    /// Phone to agent: what the phone tells of itself.
    DeviceRecord = 4,
};

[[nodiscard]] PropertyList make(Type type, PropertyList payload);
/// The type whose number the last key begins with; nothing for any other key, and without one. A
/// value that is no dictionary raises a PlatformException.
[[nodiscard]] std::optional<Type> type(const PropertyList &envelope);
/// The value under the last key; null without keys.
[[nodiscard]] const PropertyList *payload(const PropertyList &envelope);

} // namespace MessageEnvelope

/// The words of the frames that travel between the program and a phone. Every frame begins with a
/// 32-bit kind word, little-endian: "ZRK" and a number, read from the most significant byte.
namespace StreamFrame {

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

} // namespace StreamFrame

/// A place in the frame of an object, header and payload, on the way to one peer.
///
/// The frame is made while it is written, a piece at a time. Whoever sends the same fixed object at
/// the same time shares the pieces, and each is let go of when the last of them has left it: the
/// frame of a picture is never there as a whole, unless somebody is as far behind as that.
class OutputFrame {
public:
    /// At most so many bytes are made at a time: a fraction of a millisecond's work, and small
    /// enough to stay in the processor's cache until they are sent.
    static constexpr qsizetype pieceSize = 256 << 10;

    /// The next bytes, at least one until the end; made now, if nobody has needed them yet.
    [[nodiscard]] QByteArrayView rest();
    /// So many of rest() have been written.
    void advance(qsizetype count) { _offset += count; }
    [[nodiscard]] bool isAtEnd() const;
    /// The bytes of the whole frame.
    [[nodiscard]] qsizetype size() const;
    /// How many stand in the same piece, this one included.
    [[nodiscard]] long sharers() const { return _piece.use_count(); }

private:
    friend class OutputObject;
    struct Piece;
    static std::shared_ptr<Piece> firstPiece(PropertyList value);
    explicit OutputFrame(std::shared_ptr<Piece> piece)
        : _piece(std::move(piece)) {}
    std::shared_ptr<Piece> _piece;
    qsizetype _offset = 0;
};

/// Something to send to a peer: a property list that is queued now and written when its turn comes.
///
/// A fixed one never changes, and the peers it goes to at the same time share its frame. A live one
/// is read when it is written: what was queued goes out as it stands then. Copies are cheap and
/// stand for the same object.
class OutputObject {
public:
    /// An object whose value stays as it is.
    static OutputObject fixed(PropertyList value);
    /// A fixed object that another peer sent and that is passed on. Where too much waits for a peer
    /// it gives way before anything else.
    static OutputObject relay(PropertyList value);
    /// An object whose value is read anew each time. The function is called on the main thread and
    /// must stay callable as long as a copy lives.
    static OutputObject live(std::function<PropertyList()> value);

    /// The value as it stands now.
    [[nodiscard]] PropertyList value() const;
    /// The beginning of the frame of the value as it stands now. A value that cannot be written
    /// raises a PlatformException.
    [[nodiscard]] OutputFrame frame() const;
    [[nodiscard]] bool isRelay() const;
    /// About how many bytes of memory the value takes; for a live object, whose value is not kept,
    /// a small fixed number. Found once.
    [[nodiscard]] qsizetype weight() const;
    /// Whether the two take each other's place in a queue: fixed ones that are equal, or live ones
    /// whose values are equal now. As operator==, but for a fixed and a live one, which only happen
    /// to look alike, and without comparing values that cannot be equal.
    [[nodiscard]] bool standsFor(const OutputObject &other) const;
    /// Both stand for the same object; implies equality.
    [[nodiscard]] bool isSameAs(const OutputObject &other) const { return _state == other._state; }

    /// Compares the values as they stand now.
    friend bool operator==(const OutputObject &left, const OutputObject &right);

private:
    struct State;
    explicit OutputObject(std::shared_ptr<State> state)
        : _state(std::move(state)) {}
    std::shared_ptr<State> _state;
};

} // namespace clipmule
