// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"
#include "platform/propertylist/Base64.h"

#include <memory>
#include <string_view>
#include <vector>

namespace clipmule {

/// Writes a property list as an XML document, byte for byte as the platform does, in as many pieces
/// as its caller has buffers for: the text of a large value is never there as a whole. A copy goes
/// on from where the original is.
class XmlWriter {
public:
    /// A write into less than this may write nothing: what always stays together is shorter.
    static constexpr qsizetype leastRoom = 8192;

    explicit XmlWriter(PropertyList value);

    /// Writes on, as far as the room suffices; returns the end of what was written. A value that is
    /// nested deeper than a property list may be raises a PlatformException.
    [[nodiscard]] char *write(char *out, qsizetype room);
    [[nodiscard]] bool isAtEnd() const { return _ended; }
    /// The bytes of the whole document; what is not written yet is measured. Raises a
    /// PlatformException when they are more than the limit, and where write() would.
    [[nodiscard]] qsizetype size(qsizetype limit) const;

private:
    /// A list or dictionary that is open, and where in it the writer is.
    struct Level {
        const PropertyList::List *list;
        qsizetype next;
        PropertyList::Dictionary::const_iterator entry;
        PropertyList::Dictionary::const_iterator end;
        bool isKeyWritten = false;
    };

    // Each is driven by a destination: one takes the bytes, the other their measure, so that the
    // measure cannot disagree.
    template <typename Destination>
    void writeTo(Destination &to);
    template <typename Destination>
    void writeNext(Destination &to);
    template <typename Destination>
    void writeValue(const PropertyList &value, Destination &to);
    template <typename Destination>
    void writeText(QStringView text, std::string_view closing, Destination &to);
    template <typename Destination>
    void writeRestOfLong(Destination &to);
    [[nodiscard]] int indentation() const { return int(_levels.size()); }

    // What all pointers below point into. It stays as it is: whoever else holds the value and
    // changes it gets a copy.
    std::shared_ptr<const PropertyList> _root;
    std::vector<Level> _levels;
    // What comes next; null between the values.
    const PropertyList *_value = nullptr;
    // What is left of a long text or long data, and what closes it; empty while in none.
    QStringView _text;
    QByteArrayView _data;
    std::string_view _closing;
    qsizetype _written = 0;
    bool _begun = false;
    bool _ended = false;
};

} // namespace clipmule
