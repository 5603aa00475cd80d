// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/Pasteboard.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardReadings.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <cstdlib>
#include <ctime>
#include <iostream>

using namespace clipmule;
using PasteboardTypes::Answer;
using PasteboardTypes::Meaning;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

// What an owner sends is read on the main thread. A thousand times of what reading takes without
// sanitizers; a way of reading that is not linear takes longer within some ten kilobytes.
double budget(size_t size) {
    return 0.25 + 5e-6 * double(size);
}

void checkContents(const PasteboardContents &contents) {
    for (const QString &type : contents.types()) {
        const std::optional<QByteArray> data = contents.data(type);
        if (!data)
            continue;
        (void)PasteboardReadings::string(type, *data);
        (void)PasteboardReadings::propertyList(type, *data);
    }
    const PasteboardFingerprint fingerprint(contents);
    if (!fingerprint.isEmpty() && !fingerprint.isWithin(fingerprint))
        fail("contents that are not within themselves");
    const QList<PasteboardTypes::Offer> offers = PasteboardTypes::offers(contents);
    if (offers.size() > PasteboardTypes::maximumTargets)
        fail("too many offers");
    QStringList targets;
    for (const PasteboardTypes::Offer &offer : offers) {
        if (!PasteboardTargets::isValidName(offer.target) || targets.contains(offer.target))
            fail("an offer without a name of its own");
        if (offer.isForeign && PasteboardTargets::namesFiles(offer.target))
            fail("a list of files from elsewhere");
        targets.append(offer.target);
    }
}

void readAnswer(Meaning meaning, const char *target, const QByteArray &bytes) {
    const PasteboardContents contents =
        PasteboardTypes::contents({{meaning, QString::fromLatin1(target), bytes}});
    if (contents.types().isEmpty())
        fail("an answer that is nothing");
    checkContents(contents);
}

// Names of targets, one a line.
void readTargets(const QByteArray &bytes) {
    QStringList targets;
    for (const QByteArray &line : bytes.split('\n'))
        targets.append(QString::fromLatin1(line));
    qsizetype asked = 0;
    for (const PasteboardTypes::Request &request : PasteboardTypes::requests(targets)) {
        asked += request.targets.size();
        if (request.targets.isEmpty())
            fail("a request for nothing");
    }
    if (asked > PasteboardTypes::maximumTargets)
        fail("too much is asked for");
}

// What a phone's clip restores on the clipboard.
void writeNativeDictionary(const QByteArray &bytes) {
    const auto value = PropertyListSerialization::parse(bytes);
    const auto *dictionary = value ? value->as<PropertyList::Dictionary>() : nullptr;
    if (!dictionary)
        return;
    PasteboardContents contents;
    for (const auto &[type, data] : dictionary->asKeyValueRange()) {
        if (const auto *stored = data.as<QByteArray>())
            contents.set(type, *stored);
        else
            contents.declare(type);
    }
    checkContents(contents);
}

} // namespace

// The first byte says what the others are.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    const double before = processorSeconds();
    switch (data[0]) {
    case 'u':
        readAnswer(Meaning::UriList, "text/uri-list", bytes);
        break;
    case 'm':
        readAnswer(Meaning::MozillaUrl, "text/x-moz-url", bytes);
        break;
    case 'l':
        checkContents(PasteboardContents({{PasteboardType::NSURLPboardType, bytes}}));
        break;
    case 'f':
        checkContents(PasteboardContents({{PasteboardType::NSFilenamesPboardType, bytes}}));
        break;
    case 'r':
        readAnswer(Meaning::Rtf, "text/rtf", bytes);
        break;
    case 't':
        readTargets(bytes);
        break;
    default:
        writeNativeDictionary(bytes);
        break;
    }
    if (processorSeconds() - before > budget(size))
        fail("it took too long");
    return 0;
}
