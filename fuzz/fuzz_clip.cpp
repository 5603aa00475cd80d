// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "platform/foundation/ForeignUrl.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/PlatformException.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "tests/kit/ManualRunLoop.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iostream>

using namespace clipmule;

namespace {

[[noreturn]] void fail(const QString &what) {
    std::cerr << what.toStdString() << '\n';
    std::abort();
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

// Some hundred times of what reading takes; what is not linear takes longer within some ten
// kilobytes. Of the processor, not of the clock: a busy machine changes nothing.
double budget(size_t size) {
    return 0.5 + 1e-5 * double(size);
}

// A text that came from outside, as a URL and as a line.
void readText(const QString &text) {
    const QUrl url = urlFromForeignText(text);
    if (text.size() > ForeignUrl::longestText && !url.isEmpty())
        fail(QStringLiteral("a URL that is too long"));
    const QString written = url.toString(QUrl::FullyEncoded);
    if (url.isValid() && !urlFromForeignText(written, url).isValid() &&
        2 * written.size() <= ForeignUrl::longestText)
        fail(QStringLiteral("a URL that cannot be read back: ") + written);
    const QString line = onOneLine(text, shownInLabel);
    const bool isPlain = std::none_of(line.begin(), line.end(), [](QChar unit) {
        return unit.category() == QChar::Other_Control || unit == QChar::LineSeparator ||
               unit == QChar::ParagraphSeparator || (unit >= u'\x202a' && unit <= u'\x202e');
    });
    if (!isPlain)
        fail(QStringLiteral("a line with controls"));
}

void readMessage(QByteArrayView view) {
    readText(QString::fromUtf8(view));
    const auto parsed = PropertyListSerialization::parse(view);
    const auto *dictionary = parsed ? parsed->as<PropertyList::Dictionary>() : nullptr;
    if (!dictionary)
        return;
    try {
        const auto clip = ZRKClipmuleData::initWithDictionary(*dictionary);
        (void)clip->description();
        for (const auto &item : clip->items()) {
            (void)item->description();
            (void)item->hash();
        }
        const PropertyList::Dictionary sent = clip->toDictionary();
        const auto again = ZRKClipmuleData::initWithDictionary(sent);
        if (!again->isEqual(*clip))
            fail(QStringLiteral("another clip: ") + clip->description());
    } catch (const PlatformException &) {
        // Refused, by a reason that goes to the log.
    }
}

} // namespace

// Any bytes as the payload of a clip's message: it is refused, or read in a time that does not grow
// faster than its size, and what is read is sent on as an equal clip.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
    kit::ManualRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const double before = processorSeconds();
    readMessage(QByteArrayView(bytes, qsizetype(size)));
    const double taken = processorSeconds() - before;
    if (taken > budget(size))
        fail(QStringLiteral("%1 bytes took %2 s").arg(size).arg(taken));
    return 0;
}
