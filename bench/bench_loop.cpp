// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "bench/Bench.h"
#include "model/ClipCapture.h"
#include "model/PictureEcho.h"
#include "net/ZRKStreamHandler.h"
#include "platform/images/ImageCodec.h"
#include "platform/pasteboard/PasteboardFingerprint.h"
#include "platform/pasteboard/PasteboardOffers.h"
#include "platform/pasteboard/PasteboardTargets.h"
#include "platform/propertylist/PropertyListSerialization.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/FakePasteboard.h"
#include "tests/kit/ManualRunLoop.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdlib>

using namespace clipmule;
using namespace clipmule::kit;
using bench::Case;
using bench::Work;

// What a clip holds the run loop for, stage by stage, each of which is done in one go. What is done
// on a thread is none of them, nor is the one deliberate pause.

namespace {

class NoApplication final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return std::nullopt; }
};

// Grain, of which no encoder makes much less.
QImage grain(QSize size, QRgb mask) {
    QImage image(size, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            state = state * 1664525U + 1013904223U;
            image.setPixel(x, y, 0xff000000U | ((state >> 8U) & mask));
        }
    }
    return image;
}

QByteArray pngOf(QSize size, QRgb mask) {
    return ImageCodec::png(grain(size, mask), 1'000'000'000).value();
}

PasteboardContents ofText(const QString &text) {
    return {.text = text.toUtf8()};
}

QString repeated(const QString &piece) {
    return piece.repeated(9'999'999 / piece.size() + 1).first(9'999'999);
}

PasteboardContents manyFiles() {
    PasteboardContents contents;
    for (int i = 0; i < PasteboardTargets::maximumUriListLines; ++i)
        contents.files.append(QStringLiteral("/home/user/Documents/file number %1.txt").arg(i));
    return contents;
}

// A clip on both of its ways, with what each stage hands to the next.
struct Passage {
    explicit Passage(const PasteboardContents &contents) {
        pasteboard.setWatching(true);
        pasteboard.copyByAnotherApplication(contents);
        capture = ClipCapture::begin(services);
        readings = capture->read({}, false);
        copied = capture->clip(readings);
        message = PropertyListSerialization::xml(object().value());
        value = PropertyListSerialization::parse(message).value();
        received = clipOfMessage();
        if (const auto makeText = received->writtenText())
            text = makeText();
    }
    [[nodiscard]] OutputObject object() const {
        return OutputObject::fixed(MessageEnvelope::make(MessageEnvelope::Type::Clip,
                                                         PropertyList(copied->toDictionary())));
    }
    [[nodiscard]] std::shared_ptr<ZRKClipmuleData> clipOfMessage() const {
        return ZRKClipmuleData::initWithDictionary(MessageEnvelope::payload(value)->dictionary());
    }

    FakePasteboard pasteboard;
    FakePasteboard otherDesk;
    NoApplication application;
    QTemporaryDir folder;
    PasteboardServices services{pasteboard, application, [](const QString &) {}, folder.path()};
    PasteboardServices otherServices{otherDesk, application, services.notice, folder.path()};
    std::shared_ptr<const ClipCapture> capture;
    ClipCapture::Readings readings;
    std::shared_ptr<ZRKClipmuleData> copied;
    QByteArray message;
    PropertyList value;
    std::shared_ptr<ZRKClipmuleData> received;
    std::optional<QByteArray> text; // of what was received, made in the background
};

void look(Passage &passage) {
    const auto capture = ClipCapture::begin(passage.services);
    if (!capture->takesLong())
        (void)capture->clip({})->contentHash();
}

// What was copied has arrived: the pasteboard says what it will know it by.
void fetched(Passage &passage) {
    (void)PasteboardFingerprint(passage.pasteboard.contents());
}

void readInBackground(Passage &passage) {
    if (passage.capture->takesLong())
        (void)passage.capture->clip(passage.readings)->contentHash();
}

// Its size is found and the first piece made; each further one is a turn of its own.
void send(Passage &passage) {
    (void)passage.object().frame();
}

// As much as a connection hands over in one turn.
void read(Passage &passage) {
    const QByteArrayView message(passage.message);
    PropertyListReader reader(message.size());
    reader.take(message.first(std::min(message.size(), ZRKStreamHandler::readBufferSize)));
}

void take(Passage &passage) {
    (void)passage.clipOfMessage()->size();
}

void paste(Passage &passage) {
    if (!passage.received->writeToPasteboard(passage.otherServices, passage.text))
        std::abort();
    (void)PasteboardFingerprint(passage.otherDesk.contents());
    (void)PasteboardOffers::offers(passage.otherDesk.contents());
    (void)passage.received->contentHash();
    (void)PictureEcho(*passage.received);
}

void addCases(std::vector<Case> &cases, const QString &name,
              const std::function<PasteboardContents()> &contents) {
    const std::pair<const char *, void (*)(Passage &)> stages[] = {
        {"copied: fetched", fetched},
        {"copied: look", look},
        {"copied: read", readInBackground},
        {"copied: frame", send},
        {"received: a turn", read},
        {"received: take", take},
        {"received: to the clipboard", paste},
    };
    // Made at the first need, once for all stages.
    const auto made = std::make_shared<std::unique_ptr<Passage>>();
    const auto passage = [made, contents]() -> Passage & {
        if (!*made)
            *made = std::make_unique<Passage>(contents());
        return **made;
    };
    for (const auto &[stage, work] : stages)
        cases.push_back({name, QString::fromLatin1(stage), [passage, work = work] {
                             Passage &input = passage();
                             return Work{[&input, work] { work(input); }, input.message.size()};
                         }});
}

} // namespace

int main(int argc, char **argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    // Its pauses take no time.
    ManualRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::vector<Case> cases;
    addCases(cases, QStringLiteral("10 M ASCII"),
             [] { return ofText(repeated(QStringLiteral("plain text "))); });
    addCases(cases, QStringLiteral("10 M CJK"),
             [] { return ofText(repeated(QStringLiteral("日本語の文章"))); });
    addCases(cases, QStringLiteral("10 M, lines in CR LF"),
             [] { return ofText(repeated(QStringLiteral("line\r\n"))); });
    addCases(cases, QStringLiteral("10 M ampersands"),
             [] { return ofText(repeated(QStringLiteral("&"))); });
    addCases(cases, QStringLiteral("photo, 36 MB PNG"), [] {
        return PasteboardContents{.images = {pngOf({4000, 3000}, 0xffffffU)}};
    });
    addCases(cases, QStringLiteral("screenshot, 2 MB PNG"), [] {
        return PasteboardContents{.images = {pngOf({1900, 1000}, 0x3f0000U)}};
    });
    addCases(cases, QStringLiteral("4,096 files"), manyFiles);
    return bench::runCases(QStringLiteral("bench_loop"), cases);
}
