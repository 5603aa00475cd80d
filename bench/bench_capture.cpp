// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSImageCategory.h"
#include "bench/Bench.h"
#include "model/PortablePicture.h"
#include "model/ZRKClipmuleData.h"
#include "platform/foundation/QtRunLoop.h"
#include "platform/images/ImageCodec.h"
#include "platform/windows/ActiveApplication.h"
#include "tests/kit/FakePasteboard.h"

#include <QGuiApplication>
#include <QPainter>
#include <QTemporaryFile>

#include <cmath>
#include <limits>

using namespace clipmule;
using namespace clipmule::kit;
using bench::Case;
using bench::Work;

namespace {

constexpr QSize size{4000, 3000};
constexpr qsizetype noLimit = std::numeric_limits<qint32>::max();

class Numbers {
public:
    quint32 next(quint32 below) {
        _state = _state * 1664525U + 1013904223U;
        return (_state >> 8U) % below;
    }

private:
    quint32 _state = 1;
};

// Soft shapes and the noise of a sensor.
QImage photo() {
    Numbers numbers;
    QImage image(size, QImage::Format_RGB32);
    const auto channel = [&](double value) {
        return std::clamp(int(value) + int(numbers.next(13)) - 6, 0, 255);
    };
    for (int y = 0; y < size.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            line[x] = qRgb(channel(128 + 100 * std::sin(x / 300.0)),
                           channel(128 + 90 * std::sin(y / 200.0)),
                           channel(128 + 80 * std::sin((x + y) / 250.0)));
        }
    }
    return image;
}

// Windows with title bars, full of text.
QImage screenshot() {
    Numbers numbers;
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 11));
    for (int window = 0; window < 6; ++window) {
        const QPoint corner(window % 3 * 1330, window / 3 * 1500);
        QLinearGradient bar(corner, corner + QPoint(1300, 0));
        bar.setColorAt(0, QColor(60 + window * 20, 80, 120));
        bar.setColorAt(1, QColor(200, 220, 240));
        painter.fillRect(QRect(corner, QSize(1300, 60)), bar);
        for (int line = 0; line < 40; ++line) {
            QString text;
            for (int word = 0; word < 14; ++word) {
                for (quint32 letter = 3 + numbers.next(8); letter > 0; --letter)
                    text += QChar(u'a' + numbers.next(26));
                text += u' ';
            }
            painter.setPen(QColor(int(numbers.next(90)), int(numbers.next(90)), 60));
            painter.drawText(corner + QPoint(10, 90 + line * 34), text);
        }
    }
    return image;
}

class Application final : public ActiveApplication {
public:
    [[nodiscard]] std::optional<QString> identifier() const override { return current; }
    std::optional<QString> current;
};

// How an image is copied: offered as bytes, or as a file in a file manager.
enum class How { Png, Jpeg, JpegFile };

struct Copied {
    Copied(const QImage &image, How how)
        : bytes(how == How::Png ? ImageCodec::png(image, noLimit).value()
                                : ImageCodec::jpeg(image, 0.9))
        , isFile(how == How::JpegFile) {
        pasteboard.setWatching(true);
        if (!isFile) {
            pasteboard.copyByAnotherApplication({.images = {bytes}});
            return;
        }
        application.current = identifierOf(ApplicationRole::FileManager);
        if (!file.open() || file.write(bytes) != bytes.size() || !file.flush())
            qFatal("no file for the picture");
        pasteboard.copyByAnotherApplication({.files = {file.fileName()}});
    }
    QByteArray bytes;
    bool isFile;
    QTemporaryFile file;
    FakePasteboard pasteboard;
    Application application;
    PasteboardServices services{pasteboard, application, [](const QString &) {}, {}};
    // Of the last capture.
    QJsonObject figures;
};

void note(Copied &copied, const QByteArray &full, const QByteArray &reduced) {
    copied.figures = {{QStringLiteral("copied_mb"), double(copied.bytes.size()) / 1e6},
                      {QStringLiteral("full_mb"), double(full.size()) / 1e6},
                      {QStringLiteral("reduced_mb"), double(reduced.size()) / 1e6}};
}

void capture(Copied &copied) {
    const auto clip = ZRKClipmuleData::initFromPasteboard(copied.services);
    const auto item = clip->firstItem();
    note(copied, item->nativeDictionary()->value(PasteboardType::NSTIFFPboardType),
         item->imageData().value());
    copied.figures.insert(QStringLiteral("clip_mb"), double(clip->size()) / 1e6);
}

// Everything of all pixels, and the full size made before it is known whether there is room for it.
void captureInFull(Copied &copied) {
    const QImage image = ImageCodec::decode(copied.bytes).value();
    QByteArray full = ImageCodec::png(image, PortablePicture::largestPng).value_or(QByteArray());
    if (full.isEmpty())
        full = ImageCodec::jpeg(image, PortablePicture::jpegCompressionFactor);
    const QSize largest(PortablePicture::reducedSide, PortablePicture::reducedSide);
    const QByteArray reduced = ImageCodec::jpeg(ZRKNSImageCategory::copyWithMaxSize(image, largest),
                                                PortablePicture::jpegCompressionFactor);
    note(copied, full, reduced);
}

void addCases(std::vector<Case> &cases, const QString &name, QImage (*make)(), How how) {
    // Made at the first need, once for all sides.
    const auto made = std::make_shared<std::unique_ptr<Copied>>();
    const auto copied = [made, make, how]() -> Copied & {
        if (!*made)
            *made = std::make_unique<Copied>(make(), how);
        return **made;
    };
    const auto figures = [copied] { return copied().figures; };
    const auto side = [&](const QString &who, void (*work)(Copied &)) {
        cases.push_back({name, who,
                         [copied, work] {
                             Copied &input = copied();
                             return Work{[&input, work] { work(input); }, input.bytes.size()};
                         },
                         false, false, figures});
    };
    side(QStringLiteral("ours"), capture);
    side(QStringLiteral("all in full"), captureInFull);
}

} // namespace

int main(int argc, char **argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    QtRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    std::vector<Case> cases;
    addCases(cases, QStringLiteral("photo, JPEG file"), photo, How::JpegFile);
    addCases(cases, QStringLiteral("photo, JPEG"), photo, How::Jpeg);
    addCases(cases, QStringLiteral("photo, PNG"), photo, How::Png);
    addCases(cases, QStringLiteral("screenshot, PNG"), screenshot, How::Png);
    addCases(cases, QStringLiteral("screenshot, JPEG"), screenshot, How::Jpeg);
    return bench::runCases(QStringLiteral("bench_capture"), cases);
}
