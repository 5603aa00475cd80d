// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/Base64.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace clipmule {

namespace {

constexpr std::string_view prologue = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                      "<plist version=\"1.0\">\n";
constexpr std::string_view epilogue = "</plist>\n";

/// Lines of data shrink by a tab's eight columns a level, down to the eighth.
constexpr Base64::Lines linesAt(int indentation) {
    const int tabs = std::min(indentation, 8);
    return {76 - 8 * tabs, tabs};
}

// The two things that a document can be given to: one takes its measure, the other the bytes. The
// same code drives both, so the measure cannot disagree.

class Measure {
public:
    explicit Measure(qsizetype limit)
        : _limit(limit) {}

    [[nodiscard]] qsizetype size() const { return _size; }

    void raw(std::string_view text) { add(qsizetype(text.size())); }
    void tabs(int count) { add(count); }
    void escaped(const QString &text) { add(escapedUtf8Bound(text)); }
    void encoded(const QByteArray &data, Base64::Lines lines) {
        add(Base64::encodedSize(data.size(), lines));
    }

private:
    void add(qsizetype size) {
        _size += size;
        if (_size > _limit) {
            throw PlatformException(
                QStringLiteral("InvalidArgument"),
                QStringLiteral("as XML the property list takes more than %1 bytes").arg(_limit));
        }
    }

    qsizetype _limit;
    qsizetype _size = 0;
};

class Output {
public:
    explicit Output(char *at)
        : _at(at) {}

    [[nodiscard]] const char *at() const { return _at; }

    void raw(std::string_view text) {
        std::memcpy(_at, text.data(), text.size());
        _at += text.size();
    }
    void tabs(int count) { _at = std::fill_n(_at, count, '\t'); }
    void escaped(const QString &text) { _at = escapeAsUtf8(_at, text); }
    void encoded(const QByteArray &data, Base64::Lines lines) {
        _at = Base64::encode(_at, data, lines);
    }

private:
    char *_at;
};

template <typename Destination>
class Document {
public:
    explicit Document(Destination &destination)
        : _to(destination) {}

    void write(const PropertyList &root) {
        _to.raw(prologue);
        write(root, 0);
        _to.raw(epilogue);
    }

private:
    using Kind = PropertyList::Kind;

    void write(const PropertyList &value, int indentation) {
        _to.tabs(indentation);
        switch (value.kind()) {
        case Kind::String:
            return writeText("<string>", value.string(), "</string>\n");
        case Kind::Boolean:
            return _to.raw(value.boolean() ? "<true/>\n" : "<false/>\n");
        case Kind::Integer:
            return writeInteger(*value.as<qint64>());
        case Kind::UnsignedInteger:
            return writeInteger(*value.as<quint64>());
        case Kind::Real:
            return writeReal(value.real());
        case Kind::Date:
            return writeDate(value.date());
        case Kind::Data:
            _to.raw("<data>\n");
            _to.encoded(value.data(), linesAt(indentation));
            _to.tabs(indentation);
            return _to.raw("</data>\n");
        case Kind::List:
            return writeList(value.list(), indentation);
        case Kind::Dictionary:
            return writeDictionary(value.dictionary(), indentation);
        case Kind::Uid:
            return writeDictionary({{QStringLiteral("CF$UID"), value.uid().value}}, indentation);
        }
    }

    void writeText(std::string_view before, const QString &text, std::string_view after) {
        _to.raw(before);
        _to.escaped(text);
        _to.raw(after);
    }

    template <typename Integer>
    void writeInteger(Integer integer) {
        std::array<char, 24> digits{};
        const auto end = std::to_chars(digits.begin(), digits.end(), integer).ptr;
        _to.raw("<integer>");
        _to.raw({digits.begin(), size_t(end - digits.begin())});
        _to.raw("</integer>\n");
    }

    void writeReal(double real) {
        _to.raw("<real>");
        if (std::isnan(real)) {
            _to.raw("nan");
        } else if (std::isinf(real)) {
            _to.raw(real > 0 ? "+infinity" : "-infinity");
        } else if (real == 0) {
            _to.raw("0.0");
        } else {
            // Unlike printf, the same in every locale.
            std::array<char, 32> digits{};
            const auto end =
                std::to_chars(digits.begin(), digits.end(), real, std::chars_format::general, 17)
                    .ptr;
            _to.raw({digits.begin(), size_t(end - digits.begin())});
        }
        _to.raw("</real>\n");
    }

    void writeDate(Date date) {
        const QByteArray text = xmlFromDate(date);
        _to.raw("<date>");
        _to.raw({text.constData(), size_t(text.size())});
        _to.raw("</date>\n");
    }

    static void checkDepth(int indentation) {
        if (indentation >= PropertyListSerialization::maximumDepth) {
            throw PlatformException(QStringLiteral("InvalidArgument"),
                                    QStringLiteral("the property list is nested deeper than %1")
                                        .arg(PropertyListSerialization::maximumDepth));
        }
    }

    void writeList(const PropertyList::List &list, int indentation) {
        checkDepth(indentation);
        if (list.isEmpty())
            return _to.raw("<array/>\n");
        _to.raw("<array>\n");
        for (const PropertyList &element : list)
            write(element, indentation + 1);
        _to.tabs(indentation);
        _to.raw("</array>\n");
    }

    void writeDictionary(const PropertyList::Dictionary &dictionary, int indentation) {
        checkDepth(indentation);
        if (dictionary.isEmpty())
            return _to.raw("<dict/>\n");
        _to.raw("<dict>\n");
        for (const auto &[key, value] : dictionary.asKeyValueRange()) {
            _to.tabs(indentation + 1);
            writeText("<key>", key, "</key>\n");
            write(value, indentation + 1);
        }
        _to.tabs(indentation);
        _to.raw("</dict>\n");
    }

    Destination &_to;
};

} // namespace

QByteArray PropertyListSerialization::xml(const PropertyList &value, qsizetype headroom,
                                          qsizetype limit) {
    Measure measure(limit);
    Document(measure).write(value);

    QByteArray bytes(headroom + measure.size(), Qt::Uninitialized);
    std::fill_n(bytes.data(), headroom, '\0');
    Output output(bytes.data() + headroom);
    Document(output).write(value);
    bytes.truncate(output.at() - bytes.constData());
    return bytes;
}

} // namespace clipmule
