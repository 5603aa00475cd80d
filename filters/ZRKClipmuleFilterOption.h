// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QString>

#include <optional>

namespace clipmule {

/// One setting of a filter, as a front end asks for it.
class ZRKClipmuleFilterOption {
public:
    /// A one-line text field: the only kind of entry that the built-in filters use.
    static constexpr quint64 textFieldType = 2;

    /// The name by which the filter finds the option; an option may have none.
    [[nodiscard]] const std::optional<QString> &name() const { return _name; }
    void setName(const std::optional<QString> &name) { _name = name; }
    /// What the user entered; missing until something was.
    [[nodiscard]] const std::optional<PropertyList> &value() const { return _value; }
    void setValue(const std::optional<PropertyList> &value) { _value = value; }
    [[nodiscard]] const std::optional<PropertyList> &defaultValue() const { return _defaultValue; }
    void setDefaultValue(const std::optional<PropertyList> &value) { _defaultValue = value; }
    // Bounds of a number.
    [[nodiscard]] const std::optional<PropertyList> &maximumValue() const { return _maximumValue; }
    void setMaximumValue(const std::optional<PropertyList> &value) { _maximumValue = value; }
    [[nodiscard]] const std::optional<PropertyList> &minimumValue() const { return _minimumValue; }
    void setMinimumValue(const std::optional<PropertyList> &value) { _minimumValue = value; }
    /// The hint in the empty field, in the user's language.
    [[nodiscard]] const QString &placeholder() const { return _placeholder; }
    void setPlaceholder(const QString &placeholder) { _placeholder = placeholder; }
    [[nodiscard]] quint64 type() const { return _type; }
    void setType(quint64 type) { _type = type; }

    /// Sets the value to the default value again.
    void reset() { _value = _defaultValue; }
    /// The value where it is text; empty where it is missing. A value of another kind raises a
    /// PlatformException.
    [[nodiscard]] QString text() const { return _value ? _value->string() : QString(); }

private:
    std::optional<QString> _name;
    std::optional<PropertyList> _value;
    std::optional<PropertyList> _defaultValue;
    std::optional<PropertyList> _maximumValue;
    std::optional<PropertyList> _minimumValue;
    QString _placeholder;
    quint64 _type = 0;
};

} // namespace clipmule
