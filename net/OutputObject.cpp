// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"

#include "net/StreamFrame.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/PropertyListSerialization.h"

#include <limits>

namespace clipmule {

struct OutputObject::State {
    PropertyList fixedValue;
    // Empty for a fixed one.
    std::function<PropertyList()> liveValue;
    // Of a fixed one, once somebody has needed it.
    QByteArray frame;
};

namespace {

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

OutputObject OutputObject::fixed(PropertyList value) {
    auto state = std::make_shared<State>();
    state->fixedValue = std::move(value);
    return OutputObject(std::move(state));
}

OutputObject OutputObject::live(std::function<PropertyList()> value) {
    auto state = std::make_shared<State>();
    state->liveValue = std::move(value);
    return OutputObject(std::move(state));
}

PropertyList OutputObject::value() const {
    return _state->liveValue ? _state->liveValue() : _state->fixedValue;
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
