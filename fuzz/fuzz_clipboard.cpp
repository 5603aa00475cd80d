// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/ManualRunLoop.h"

#include <cstdlib>
#include <ctime>
#include <iostream>

using namespace clipmule;
using namespace clipmule::kit;
using PasteboardTargets::Meaning;

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

class NoApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return std::nullopt; }
};

struct Desk {
    kit::ManualRunLoop runLoop;
    RunLoop::Installation installation{runLoop};
    FakePasteboard pasteboard;
    NoApplication application;
    PasteboardServices services{pasteboard, application, [](const QString &) {}, {}};
};

void checkContents(const PasteboardContents &contents) {
    Desk desk;
    desk.pasteboard.setWatching(true);
    desk.pasteboard.copyByAnotherApplication(contents);
    (void)ZRKClipmuleData::initFromPasteboard(desk.services);
    const PasteboardFingerprint fingerprint(contents);
    if (!fingerprint.isEmpty() && !fingerprint.isWithin(fingerprint))
        fail("contents that are not within themselves");
    const QList<PasteboardOffers::Offer> offers = PasteboardOffers::offers(contents);
    if (offers.size() > PasteboardTargets::maximumTargets)
        fail("too many offers");
    QStringList targets;
    for (const PasteboardOffers::Offer &offer : offers) {
        if (!PasteboardTargets::isValidName(offer.target) || targets.contains(offer.target))
            fail("an offer without a name of its own");
        if (offer.isForeign && PasteboardTargets::namesFiles(offer.target))
            fail("a list of files from elsewhere");
        targets.append(offer.target);
    }
}

void readAnswer(Meaning meaning, const char *target, const QByteArray &bytes) {
    const PasteboardContents contents =
        PasteboardTargets::contents({{meaning, QString::fromLatin1(target), bytes}});
    if (contents.isEmpty())
        fail("an answer that is nothing");
    checkContents(contents);
}

// Names of targets, one a line.
void readTargets(const QByteArray &bytes) {
    QStringList targets;
    for (const QByteArray &line : bytes.split('\n'))
        targets.append(QString::fromLatin1(line));
    qsizetype asked = 0;
    for (const PasteboardTargets::Request &request : PasteboardTargets::requests(targets)) {
        asked += request.targets.size();
        if (request.targets.isEmpty())
            fail("a request for nothing");
    }
    if (asked > PasteboardTargets::maximumTargets)
        fail("too much is asked for");
}

// What a phone's clip restores on the clipboard.
void writeNative(const ZRKClipmuleDataItem::NativeDictionary &native) {
    Desk desk;
    const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(native);
    (void)ZRKClipmuleData::initWithItems({item})->writeToPasteboard(desk.services);
    checkContents(desk.pasteboard.clipboard());
}

void writeNativeDictionary(const QByteArray &bytes) {
    const auto value = PropertyListSerialization::parse(bytes);
    const auto *dictionary = value ? value->as<PropertyList::Dictionary>() : nullptr;
    if (!dictionary)
        return;
    ZRKClipmuleDataItem::NativeDictionary native;
    for (const auto &[type, data] : dictionary->asKeyValueRange()) {
        if (const auto *stored = data.as<QByteArray>())
            native.insert(type, *stored);
    }
    writeNative(native);
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
        writeNative({{PasteboardType::NSURLPboardType, bytes}});
        break;
    case 'f':
        writeNative({{PasteboardType::NSFilenamesPboardType, bytes}});
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
