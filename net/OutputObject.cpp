// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListXmlWriter.h"

#include <limits>
#include <optional>

namespace clipmule {

struct OutputFrame::Piece {
    QByteArray bytes;
    // Of the whole frame.
    qsizetype size = 0;
    // Where the next piece will be made from, until somebody needs it; no more after the last one.
    std::optional<XmlWriter> writer;
    std::shared_ptr<Piece> next;

    [[nodiscard]] bool isLast() const { return !writer && !next; }
};

struct OutputObject::State {
    PropertyList fixedValue;
    // Reads the value of a live object; empty for a fixed one.
    std::function<PropertyList()> liveValue;
    bool isRelay = false;
    // The weight of a fixed object, once somebody has asked for it.
    std::optional<qsizetype> weight;
    std::optional<size_t> hash;
    // The first piece of a fixed object's frame, as long as somebody is there; kept when it is all.
    std::weak_ptr<OutputFrame::Piece> frame;
    std::shared_ptr<OutputFrame::Piece> wholeFrame;
};

namespace {

// Bytes that any value takes, by itself and in whatever holds it.
constexpr qsizetype weightOfAnything = 64;

qsizetype weightOf(const PropertyList &value) {
    qsizetype weight = weightOfAnything;
    if (const auto *const text = value.as<QString>()) {
        weight += text->size() * qsizetype(sizeof(QChar));
    } else if (const auto *const bytes = value.as<QByteArray>()) {
        weight += bytes->size();
    } else if (const auto *const list = value.as<PropertyList::List>()) {
        for (const PropertyList &element : *list)
            weight += weightOf(element);
    } else if (const auto *const dictionary = value.as<PropertyList::Dictionary>()) {
        for (const auto &[key, element] : dictionary->asKeyValueRange())
            weight += weightOfAnything + key.size() * qsizetype(sizeof(QChar)) + weightOf(element);
    }
    return weight;
}

} // namespace

PropertyList MessageEnvelope::make(Type type, PropertyList payload) {
    return PropertyList(PropertyList::Dictionary{{QString::number(int(type)), std::move(payload)}});
}

std::optional<MessageEnvelope::Type> MessageEnvelope::type(const PropertyList &envelope) {
    const PropertyList::Dictionary &entries = envelope.dictionary();
    if (entries.isEmpty())
        return std::nullopt;
    const qint64 number = PropertyList(entries.lastKey()).integerValue();
    // A type is a C integer: a number that does not fit is none of the types.
    if (number < 0 || number > std::numeric_limits<qint32>::max())
        return std::nullopt;
    switch (const auto type = Type(int(number))) {
    case Type::Clip:
    case Type::ClipForDevices:
    case Type::ConnectedDevices:
    case Type::DeviceRecord:
        return type;
    }
    return std::nullopt;
}

const PropertyList *MessageEnvelope::payload(const PropertyList &envelope) {
    const PropertyList::Dictionary &entries = envelope.dictionary();
    return entries.isEmpty() ? nullptr : &entries.last();
}

OutputObject OutputObject::fixed(PropertyList value) {
    auto state = std::make_shared<State>();
    state->fixedValue = std::move(value);
    return OutputObject(std::move(state));
}

OutputObject OutputObject::relay(PropertyList value) {
    OutputObject object = fixed(std::move(value));
    object._state->isRelay = true;
    return object;
}

OutputObject OutputObject::live(std::function<PropertyList()> value) {
    auto state = std::make_shared<State>();
    state->liveValue = std::move(value);
    return OutputObject(std::move(state));
}

PropertyList OutputObject::value() const {
    return _state->liveValue ? _state->liveValue() : _state->fixedValue;
}

bool OutputObject::isRelay() const {
    return _state->isRelay;
}

qsizetype OutputObject::weight() const {
    if (_state->liveValue)
        return weightOfAnything;
    if (!_state->weight)
        _state->weight = weightOf(_state->fixedValue);
    return *_state->weight;
}

bool OutputObject::standsFor(const OutputObject &other) const {
    if (isSameAs(other))
        return true;
    if (bool(_state->liveValue) != bool(other._state->liveValue))
        return false;
    if (_state->liveValue)
        return value() == other.value();
    const auto hashOf = [](State &state) {
        if (!state.hash)
            state.hash = state.fixedValue.hash();
        return *state.hash;
    };
    return hashOf(*_state) == hashOf(*other._state) &&
           _state->fixedValue == other._state->fixedValue;
}

OutputFrame OutputObject::frame() const {
    if (_state->liveValue)
        return OutputFrame(OutputFrame::firstPiece(_state->liveValue()));
    auto piece = _state->frame.lock();
    if (!piece) {
        piece = OutputFrame::firstPiece(_state->fixedValue);
        _state->frame = piece;
        if (piece->isLast())
            _state->wholeFrame = piece;
    }
    return OutputFrame(std::move(piece));
}

// Most frames are one piece, and need no measuring.
std::shared_ptr<OutputFrame::Piece> OutputFrame::firstPiece(PropertyList value) {
    constexpr qsizetype roomToStart = 32 << 10;
    constexpr qsizetype limit = PropertyListSerialization::maximumXmlSize;
    static_assert(limit <= std::numeric_limits<quint32>::max());
    auto piece = std::make_shared<Piece>();
    XmlWriter &writer = piece->writer.emplace(std::move(value));
    QByteArray &bytes = piece->bytes;
    qsizetype size = StreamFrame::headerSize;
    for (const qsizetype room : {roomToStart, pieceSize}) {
        if (writer.isAtEnd())
            break;
        bytes.resize(room);
        size = writer.write(bytes.data() + size, room - size) - bytes.constData();
    }
    bytes.truncate(size);
    const qsizetype length = writer.size(limit);
    piece->size = StreamFrame::headerSize + length;
    StreamFrame::writeObjectHeader(bytes.data(), quint32(length));
    if (writer.isAtEnd()) {
        bytes.squeeze();
        piece->writer.reset();
    }
    return piece;
}

QByteArrayView OutputFrame::rest() {
    if (_offset == _piece->bytes.size() && !_piece->isLast()) {
        if (!_piece->next) {
            auto next = std::make_shared<Piece>();
            next->size = _piece->size;
            next->bytes = QByteArray(pieceSize, Qt::Uninitialized);
            char *const end = _piece->writer->write(next->bytes.data(), pieceSize);
            next->bytes.truncate(end - next->bytes.constData());
            if (!_piece->writer->isAtEnd())
                next->writer = std::move(_piece->writer);
            _piece->writer.reset();
            _piece->next = std::move(next);
        }
        _piece = std::shared_ptr(_piece->next);
        _offset = 0;
    }
    return QByteArrayView(_piece->bytes).sliced(_offset);
}

bool OutputFrame::isAtEnd() const {
    return _offset == _piece->bytes.size() && _piece->isLast();
}

qsizetype OutputFrame::size() const {
    return _piece->size;
}

bool operator==(const OutputObject &left, const OutputObject &right) {
    return left.isSameAs(right) || left.value() == right.value();
}

} // namespace clipmule
