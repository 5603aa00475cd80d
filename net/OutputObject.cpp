// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"

#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <limits>
#include <optional>

namespace clipmule {

struct OutputObject::State {
    PropertyList fixedValue;
    // Reads the value of a live object; empty for a fixed one.
    std::function<PropertyList()> liveValue;
    bool isRelay = false;
    // The weight of a fixed object, once somebody has asked for it.
    std::optional<qsizetype> weight;
    std::optional<size_t> hash;
    // The frame of a fixed object, once somebody has needed it.
    QByteArray frame;
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

QByteArray frameOf(const PropertyList &value) {
    QByteArray frame = PropertyListSerialization::xml(value, StreamFrame::headerSize);
    const qsizetype length = frame.size() - StreamFrame::headerSize;
    if (length > qsizetype(std::numeric_limits<quint32>::max()))
        throw PlatformException(
            QStringLiteral("InvalidArgument"),
            QStringLiteral("an object of %1 bytes fits in no frame").arg(length));
    StreamFrame::writeObjectHeader(frame.data(), quint32(length));
    return frame;
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

QByteArray OutputObject::frame() const {
    if (_state->liveValue)
        return frameOf(_state->liveValue());
    if (_state->frame.isEmpty())
        _state->frame = frameOf(_state->fixedValue);
    return _state->frame;
}

bool operator==(const OutputObject &left, const OutputObject &right) {
    return left.isSameAs(right) || left.value() == right.value();
}

} // namespace clipmule
