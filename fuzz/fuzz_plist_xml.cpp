// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/propertylist/PropertyListXmlWriter.h"

#include <cstdlib>
#include <iostream>
#include <random>

using namespace clipmule;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::cerr << what.toStdString() << '\n';
    std::abort();
}

bool isSame(const Result<PropertyList> &left, const Result<PropertyList> &right) {
    return left && right ? PropertyListSerialization::binary(*left) ==
                               PropertyListSerialization::binary(*right)
                         : !left && !right && left.error() == right.error();
}

void readInPieces(QByteArrayView bytes) {
    // The same for the same input, so that a failure can be seen again.
    std::minstd_rand random(unsigned(qHash(bytes, 1)) | 1U);
    const auto longest = qsizetype(random() % 2 == 0 ? 9 : 2000);
    PropertyListReader reader(bytes.size());
    for (qsizetype at = 0; at < bytes.size();) {
        const auto size = std::min(1 + qsizetype(random()) % longest, bytes.size() - at);
        // A copy of its own, so that nobody looks behind it.
        reader.take(bytes.sliced(at, size).toByteArray());
        at += size;
    }
    const auto whole = PropertyListSerialization::parse(bytes);
    const auto read = reader.finish();
    if (!isSame(read, whole))
        fail(QStringLiteral("in pieces: ") + (read ? read->description() : read.error().reason) +
             QStringLiteral(" as a whole: ") +
             (whole ? whole->description() : whole.error().reason));
}

void writeInPieces(const PropertyList &value, const QByteArray &document) {
    XmlWriter writer(value);
    if (writer.size(PropertyListSerialization::maximumXmlSize) != document.size())
        fail(QStringLiteral("another size than measured"));
    QByteArray pieces;
    QByteArray piece(XmlWriter::leastRoom + document.size() % 1000, '\0');
    while (!writer.isAtEnd())
        pieces.append(piece.constData(), writer.write(piece.data(), piece.size()) - piece.data());
    if (pieces != document)
        fail(QStringLiteral("written otherwise in pieces"));
}

} // namespace

// Any bytes are read or refused with a text; what is read is written as a document that reads back
// as an equal value, and that is written the same again. All of it in pieces as well.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    readInPieces(QByteArrayView(bytes, qsizetype(size)));
    const auto parsed = PropertyListSerialization::parseXml(QByteArrayView(bytes, qsizetype(size)));
    if (!parsed) {
        if (parsed.error().reason.isEmpty())
            fail(QStringLiteral("refused without a text"));
        return 0;
    }
    const QByteArray written = PropertyListSerialization::xml(*parsed);
    const auto again = PropertyListSerialization::parseXml(written);
    if (!again)
        fail(QStringLiteral("own output refused: ") + again.error().reason);
    if (!(*again == *parsed))
        fail(QStringLiteral("changed: ") + parsed->description());
    if (PropertyListSerialization::xml(*again) != written)
        fail(QStringLiteral("written differently the second time"));
    writeInPieces(*parsed, written);
    return 0;
}
