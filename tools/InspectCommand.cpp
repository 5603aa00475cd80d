// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "net/OutputObject.h"
#include "net/ServiceDictionary.h"
#include "net/ZRKStreamHandler.h"
#include "platform/archive/ArchiveValue.h"
#include "platform/archive/ArchivedLook.h"
#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/SequentialArchiver.h"
#include "platform/foundation/CommandOptions.h"
#include "platform/foundation/PlatformException.h"
#include "platform/foundation/Utf8.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/TypedJson.h"
#include "tools/Tool.h"

#include <QCommandLineParser>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <array>
#include <functional>
#include <optional>
#include <vector>

namespace clipmule::InspectCommand {

namespace {

enum class Kind {
    PropertyList, ///< of any form
    Frames,       ///< a stream, as one side of a connection received it
    Txt,          ///< a DNS TXT record
    Archive,      ///< a keyed one
    TypedStream,  ///< an old archive without keys
};

// In the order of the kinds.
constexpr std::array kindNames{"plist", "frames", "txt", "archive", "typedstream"};

/// Gives the lines of an inspection as they come: one, and of frames one each. The failure says why
/// the bytes were refused, wholly or (of frames) in part.
using Report = std::function<void(const QJsonObject &)>;

QString nameOf(Kind kind) {
    return QString::fromLatin1(kindNames[size_t(kind)]);
}

// Archives as JSON, in the form of typedJson() with what archives have besides:
//
//   {"nil": true}  {"null": true}  {"url": "text"}
//   {"object": 7, "class": "name", "values": [[key, value], …]}, and where object 7 is met again
//   {"reference": 7}

[[noreturn]] void refuse(const QString &reason) {
    throw PlatformException(QStringLiteral("InvalidArchive"), reason);
}

/// Shows each object once, in full where it is met first.
class ArchiveWalk {
public:
    ArchiveWalk(const PropertyList::List &objects, JsonBudget &budget)
        : _objects(objects)
        , _budget(budget)
        , _wasShown(size_t(objects.size())) {}

    QJsonObject value(const PropertyList &value, int depth) {
        if (depth >= KeyedUnarchiver::maximumDepth)
            refuse(QStringLiteral("objects nested too deeply"));
        const auto *reference = value.as<PropertyList::Uid>();
        if (reference)
            return object(reference->value, depth);
        if (const auto *list = value.as<PropertyList::List>()) {
            _budget.take(0);
            QJsonArray elements;
            for (const PropertyList &element : *list)
                elements.append(this->value(element, depth + 1));
            return {{QStringLiteral("array"), elements}};
        }
        _budget.take(value);
        return typedJson(value);
    }

private:
    const PropertyList &at(quint32 number) const {
        if (number >= quint32(_objects.size()))
            refuse(QStringLiteral("a reference to no object"));
        return _objects[number];
    }

    QJsonObject object(quint32 number, int depth) {
        const PropertyList &object = at(number);
        const auto *record = object.as<PropertyList::Dictionary>();
        if (number != 0 && !record) {
            _budget.take(object);
            return typedJson(object);
        }
        _budget.take(0);
        if (number == 0)
            return {{QStringLiteral("nil"), true}};
        if (_wasShown[number])
            return {{QStringLiteral("reference"), qint64(number)}};
        _wasShown[number] = true;
        QJsonArray values;
        for (const auto &[key, element] : record->asKeyValueRange()) {
            if (key == u"$class")
                continue;
            _budget.take(key.size());
            values.append(QJsonArray{key, value(element, depth + 1)});
        }
        return {{QStringLiteral("object"), qint64(number)},
                {QStringLiteral("class"), className(*record)},
                {QStringLiteral("values"), values}};
    }

    QString className(const PropertyList::Dictionary &record) const {
        const auto *reference = find<PropertyList::Uid>(record, QStringLiteral("$class"));
        if (!reference)
            refuse(QStringLiteral("an object without a class"));
        const auto *described = at(reference->value).as<PropertyList::Dictionary>();
        const auto *name =
            described ? find<QString>(*described, QStringLiteral("$classname")) : nullptr;
        if (!name)
            refuse(QStringLiteral("a class without a name"));
        return *name;
    }

    const PropertyList::List &_objects;
    JsonBudget &_budget;
    std::vector<bool> _wasShown;
};

bool isKeyedArchive(const PropertyList &value) {
    const auto *dictionary = value.as<PropertyList::Dictionary>();
    const auto *archiver = dictionary ? find(*dictionary, QStringLiteral("$archiver")) : nullptr;
    return archiver && *archiver == PropertyList(QStringLiteral("NSKeyedArchiver"));
}

// The objects of a keyed archive from its root, of whatever classes. Raises a PlatformException
// when it is no such archive or one of the objects is malformed; what the budget raises passes.
QJsonObject archiveJson(const PropertyList &archive, JsonBudget budget) {
    if (!isKeyedArchive(archive))
        refuse(QStringLiteral("not a keyed archive"));
    const auto *objects = archive.find(QStringLiteral("$objects"));
    const auto *top = archive.find(QStringLiteral("$top"));
    if (!objects || !objects->isList() || !top || !top->isDictionary())
        refuse(QStringLiteral("a keyed archive without objects"));
    ArchiveWalk walk(objects->list(), budget);
    QJsonObject json;
    for (const auto &[key, value] : top->dictionary().asKeyValueRange())
        json.insert(key, walk.value(value, 0));
    return json;
}

// A decoded value without objects of ours.
QJsonObject valueJson(const ArchiveValue &value, JsonBudget &budget) {
    if (const auto *leaf = value.as<PropertyList>())
        budget.take(*leaf);
    else
        budget.take(value.urlText().size());
    switch (value.kind()) {
    case ArchiveValue::Kind::Nil:
    case ArchiveValue::Kind::Object:
        return {{QStringLiteral("nil"), true}};
    case ArchiveValue::Kind::Null:
        return {{QStringLiteral("null"), true}};
    case ArchiveValue::Kind::Leaf:
        return typedJson(*value.as<PropertyList>());
    case ArchiveValue::Kind::Url:
        return {{QStringLiteral("url"), value.urlText()}};
    case ArchiveValue::Kind::List: {
        QJsonArray elements;
        for (const ArchiveValue &element : *value.as<ArchiveValue::List>())
            elements.append(valueJson(element, budget));
        return {{QStringLiteral("array"), elements}};
    }
    case ArchiveValue::Kind::Dictionary: {
        QJsonArray entries;
        for (const auto &[key, element] : value.as<ArchiveValue::Dictionary>()->asKeyValueRange()) {
            budget.take(key.size());
            entries.append(QJsonArray{key, valueJson(element, budget)});
        }
        return {{QStringLiteral("dict"), entries}};
    }
    }
    Q_UNREACHABLE();
}

QString nameOfFormat(PropertyListSerialization::Format format) {
    using Format = PropertyListSerialization::Format;
    return format == Format::OpenStep ? QStringLiteral("openstep")
           : format == Format::Xml    ? QStringLiteral("xml")
                                      : QStringLiteral("binary");
}

struct Parsed {
    PropertyList value;
    PropertyListSerialization::Format format = PropertyListSerialization::Format::Binary;
};

Result<Parsed> parse(QByteArrayView bytes, quint64 memory) {
    Parsed parsed;
    return PropertyListSerialization::parse(bytes, memory, &parsed.format)
        .map([&](const PropertyList &value) {
            return Parsed{value, parsed.format};
        });
}

// Raises a PlatformException for what was refused, or is too much to be shown.
QJsonObject shown(const Result<Parsed> &parsed, qint64 size) {
    if (!parsed)
        refuse(parsed.error().reason);
    JsonBudget::forInput(size).take(parsed->value);
    return {{QStringLiteral("format"), nameOfFormat(parsed->format)},
            {QStringLiteral("value"), typedJson(parsed->value)}};
}

/// Parses a whole file. One that says it is binary is taken at its word, or the beginning of one
/// would be shown as a bare word of the old text form.
Result<Parsed> parseFile(QByteArrayView bytes) {
    constexpr auto memory = PropertyListSerialization::memoryPerByteOfFile;
    if (!bytes.startsWith("bplist"))
        return parse(bytes, memory);
    return PropertyListSerialization::parseBinary(bytes, memory).map([](const PropertyList &value) {
        return Parsed{value};
    });
}

QJsonObject inspectArchive(QByteArrayView bytes) {
    const auto parsed = parseFile(bytes);
    if (!parsed)
        refuse(parsed.error().reason);
    return {
        {QStringLiteral("format"), nameOfFormat(parsed->format)},
        {QStringLiteral("value"), archiveJson(parsed->value, JsonBudget::forInput(bytes.size()))}};
}

/// The first entry that runs beyond the end; -1 when there is none.
qsizetype brokenTxtEntry(QByteArrayView bytes) {
    for (qsizetype at = 0; at < bytes.size(); at += 1 + qsizetype(uchar(bytes[at]))) {
        if (at + 1 + qsizetype(uchar(bytes[at])) > bytes.size())
            return at;
    }
    return -1;
}

QJsonObject inspectTxt(QByteArrayView bytes) {
    const auto record = QByteArray::fromRawData(bytes.data(), bytes.size());
    const auto dictionary = ZRKNetServiceCategory::serviceDictionaryFromTXTData(record);
    if (!dictionary)
        refuse(QStringLiteral("no TXT record has %1 bytes").arg(bytes.size()));
    // The program reads such a record as empty, which would say nothing of what is in the file.
    if (const qsizetype at = brokenTxtEntry(bytes); at >= 0)
        refuse(QStringLiteral("no TXT record: the entry at byte %1 has %2 bytes, and %3 follow")
                   .arg(at)
                   .arg(uchar(bytes[at]))
                   .arg(bytes.size() - at - 1));
    return {{QStringLiteral("value"), typedJson(*dictionary)}};
}

QJsonObject real(float component) {
    return typedJson(PropertyList(component));
}

QJsonObject inspectTypedStream(QByteArrayView bytes) {
    // The archive's first class tells what it is, and each reader checks that.
    if (const auto color = ColorArchive::unarchivedColor(bytes))
        return {
            {QStringLiteral("color"), QJsonObject{{QStringLiteral("red"), real(color->red)},
                                                  {QStringLiteral("green"), real(color->green)},
                                                  {QStringLiteral("blue"), real(color->blue)},
                                                  {QStringLiteral("alpha"), real(color->alpha)}}}};
    if (const auto font = FontArchive::unarchivedFont(bytes))
        return {
            {QStringLiteral("font"), QJsonObject{{QStringLiteral("name"), typedJson(font->name)},
                                                 {QStringLiteral("size"), real(font->size)}}}};
    const auto value = SequentialUnarchiver::unarchivedObject(bytes);
    if (!value)
        refuse(value.error().reason);
    JsonBudget budget = JsonBudget::forInput(bytes.size());
    return {{QStringLiteral("value"), valueJson(*value, budget)}};
}

/// Goes over a stream as the program's own reader of frames does, and says what that would not.
class FrameInspection {
public:
    FrameInspection(QByteArrayView bytes, const Report &report)
        : _bytes(bytes)
        , _report(report) {}

    void run() {
        while (_at + StreamFrame::kindSize <= _bytes.size()) {
            const quint32 word = StreamFrame::readWord(_bytes.data() + _at);
            if (word == StreamFrame::objectKind) {
                readObjectFrame();
            } else if (word == StreamFrame::pingKind) {
                tell(QStringLiteral("ping"), StreamFrame::kindSize, {});
                ++_frames;
            } else {
                // Skipped in steps of four bytes, told as one piece.
                if (_skippedFrom < 0)
                    _skippedFrom = _at;
                _at += StreamFrame::kindSize;
            }
        }
        tellSkipped();
        if (_at < _bytes.size())
            tell(QStringLiteral("incomplete"), _bytes.size() - _at, {});
        if (_frames == 0)
            refuse(QStringLiteral("there is no frame in it"));
        if (_refused > 0)
            refuse(QStringLiteral("%1 of %2 frames refused").arg(_refused).arg(_frames));
    }

private:
    void readObjectFrame() {
        const qsizetype left = _bytes.size() - _at;
        const auto length =
            left < StreamFrame::headerSize
                ? 0
                : StreamFrame::readWord(_bytes.data() + _at + StreamFrame::kindSize);
        const bool isTooLarge = length > ZRKStreamHandler::largestPayload;
        if (!isTooLarge && left < StreamFrame::headerSize + qsizetype(length)) {
            tell(QStringLiteral("incomplete"), left, {});
            return;
        }
        ++_frames;
        QJsonObject details{{QStringLiteral("length"), qint64(length)}};
        try {
            // The connection would be closed here; what is smaller is parsed as the program does.
            if (isTooLarge)
                refuse(QStringLiteral("too large"));
            const auto payload = _bytes.sliced(_at + StreamFrame::headerSize, length);
            const auto value =
                shown(parse(payload, PropertyListSerialization::memoryPerByte), length);
            for (const QString &key : value.keys())
                details.insert(key, value.value(key));
        } catch (const PlatformException &refused) {
            ++_refused;
            details.insert(QStringLiteral("error"), refused.reason());
        }
        tell(QStringLiteral("object"),
             isTooLarge ? left : StreamFrame::headerSize + qsizetype(length), details);
    }

    void tell(const QString &frame, qsizetype size, QJsonObject line) {
        tellSkipped();
        line.insert(QStringLiteral("kind"), nameOf(Kind::Frames));
        line.insert(QStringLiteral("frame"), frame);
        line.insert(QStringLiteral("offset"), qint64(_at));
        if (frame == u"incomplete")
            line.insert(QStringLiteral("bytes"), qint64(size));
        _report(line);
        _at += size;
    }

    void tellSkipped() {
        if (_skippedFrom < 0)
            return;
        _report({{QStringLiteral("kind"), nameOf(Kind::Frames)},
                 {QStringLiteral("frame"), QStringLiteral("skipped")},
                 {QStringLiteral("offset"), qint64(_skippedFrom)},
                 {QStringLiteral("bytes"), qint64(_at - _skippedFrom)}});
        _skippedFrom = -1;
    }

    QByteArrayView _bytes;
    const Report &_report;
    qsizetype _at = 0;
    qsizetype _skippedFrom = -1;
    qint64 _frames = 0;
    qint64 _refused = 0;
};

bool beginsWithFrame(QByteArrayView bytes) {
    if (bytes.size() < StreamFrame::kindSize)
        return false;
    const quint32 word = StreamFrame::readWord(bytes.data());
    return word == StreamFrame::objectKind || word == StreamFrame::pingKind;
}

/// Entries that fill the bytes to the end, at least one of them with a key and a value. A text is
/// none: its first letter promises more bytes than a line has.
bool looksLikeTxt(QByteArrayView bytes) {
    if (brokenTxtEntry(bytes) >= 0)
        return false;
    for (qsizetype at = 0; at < bytes.size(); at += 1 + qsizetype(uchar(bytes[at]))) {
        if (bytes.sliced(at + 1, qsizetype(uchar(bytes[at]))).indexOf('=') > 0)
            return true;
    }
    return false;
}

std::optional<Kind> kindNamed(const QString &name) {
    for (size_t kind = 0; kind < kindNames.size(); ++kind) {
        if (name == QLatin1String(kindNames[kind]))
            return Kind(kind);
    }
    return std::nullopt;
}

// What the bytes seem to be; a property list when they seem to be nothing else.
Kind detect(QByteArrayView bytes) {
    if (bytes.startsWith("\x04\x0bstreamtyped") || bytes.startsWith("\x04\x0btypedstream"))
        return Kind::TypedStream;
    if (beginsWithFrame(bytes))
        return Kind::Frames;
    const auto parsed = parseFile(bytes);
    if (!parsed && looksLikeTxt(bytes))
        return Kind::Txt;
    if (parsed && isKeyedArchive(parsed->value))
        return Kind::Archive;
    return Kind::PropertyList;
}

QJsonObject inspectedWhole(QByteArrayView bytes, Kind kind) {
    switch (kind) {
    case Kind::Txt:
        return inspectTxt(bytes);
    case Kind::Archive:
        return inspectArchive(bytes);
    case Kind::TypedStream:
        return inspectTypedStream(bytes);
    case Kind::PropertyList:
    case Kind::Frames:
        break;
    }
    return shown(parseFile(bytes), bytes.size());
}

Result<void> inspect(QByteArrayView bytes, Kind kind, const Report &report) {
    if (bytes.isEmpty())
        return failure(QStringLiteral("there is nothing in it"));
    try {
        if (kind == Kind::Frames) {
            FrameInspection(bytes, report).run();
            return {};
        }
        QJsonObject line = inspectedWhole(bytes, kind);
        line.insert(QStringLiteral("kind"), nameOf(kind));
        report(line);
    } catch (const PlatformException &refused) {
        return failure(refused.reason());
    }
    return {};
}

Result<QByteArray> readFile(const QString &name, QIODevice &input, qint64 largest) {
    if (name == u"-")
        return Tool::readAll(input, largest);
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? Tool::readAll(file, largest)
                                          : failure(file.errorString());
}

Result<void> inspectFile(const QString &name, std::optional<Kind> forced, QIODevice &input,
                         QIODevice &output, qint64 largest) {
    const Result<QByteArray> bytes = readFile(name, input, largest);
    if (!bytes)
        return failure(bytes.error().reason);
    bool isWritten = true;
    const auto inspected =
        inspect(*bytes, forced ? *forced : detect(*bytes), [&](QJsonObject line) {
            line.insert(QStringLiteral("file"), name);
            const QByteArray text = jsonLine(line) + '\n';
            isWritten = output.write(text) == text.size() && isWritten;
        });
    return !inspected || isWritten ? inspected : failure(output.errorString());
}

} // namespace

int run(const QStringList &arguments, QIODevice &input, QIODevice &output, QStringList &messages,
        qint64 largest) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Says what files are (property lists, archives, captured streams, TXT records) and shows\n"
        "them as JSON, one line a file; of a captured stream one line a frame."));
    CommandOptions::addHelpAndVersion(parser);
    const QCommandLineOption as(
        QStringLiteral("as"),
        QStringLiteral("Take the files for this: plist, frames, txt, archive, typedstream."),
        QStringLiteral("KIND"));
    parser.addOption(as);
    parser.addPositionalArgument(QStringLiteral("FILE"),
                                 QStringLiteral("Files to show; - is standard input."),
                                 QStringLiteral("FILE..."));
    if (const auto status = Tool::parse(parser, "clipmule-inspect", arguments, output, messages))
        return *status;
    const auto forced = kindNamed(parser.value(as));
    if (parser.isSet(as) && !forced) {
        messages.append(
            QStringLiteral("--as %1: expected plist, frames, txt, archive or typedstream")
                .arg(parser.value(as)));
        return Tool::BadUse;
    }
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        messages.append(QStringLiteral("name a file, or - for standard input"));
        return Tool::BadUse;
    }
    int status = Tool::Success;
    for (const QString &name : files) {
        if (const auto shown = inspectFile(name, forced, input, output, largest); !shown) {
            messages.append(name + QStringLiteral(": ") + shown.error().reason);
            status = Tool::Refused;
        }
    }
    return status;
}

} // namespace clipmule::InspectCommand
