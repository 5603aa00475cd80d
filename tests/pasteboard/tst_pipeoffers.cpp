// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/pasteboard/PipeOffers.h"
#include "tests/kit/Await.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/Pipes.h"

#include <QBuffer>
#include <QImage>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

QByteArray encoded(const char *format) {
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

PasteboardOffers::Offer offer(const char *target, const QByteArray &data) {
    return {
        .target = QString::fromLatin1(target), .type = QString::fromLatin1(target), .data = data};
}

} // namespace

class PipeOffersTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _told.clear();
        _offers.emplace();
    }
    void end() override { _offers.reset(); }

private Q_SLOTS:
    void whatIsOfferedIsSentAndThePipeClosed() {
        _offers->set({offer("text/plain", "text"), offer("text/html", "<b>text</b>")});
        Pipe html = send("text/html");
        Pipe text = send("text/plain");
        QCOMPARE(text.readAll(), "text");
        QCOMPARE(html.readAll(), "<b>text</b>");
    }

    void whatIsNotOfferedHasNoBytes() {
        _offers->set({offer("text/plain", "text"), offer("empty", "")});
        QCOMPARE(send("image/png").readAll(), "");
        QCOMPARE(send("empty").readAll(), "");
    }

    void largeContentsGoAsTheyAreTaken() {
        const QByteArray large(10'000'000, 'x');
        _offers->set({offer("image/png", large)});
        Pipe pipe = send("image/png");
        QCoreApplication::processEvents();
        const qsizetype before = pipe.read().size();
        QVERIFY(before < large.size());
        QVERIFY(!pipe.isAtEnd);
        QCOMPARE(before + pipe.readAll().size(), large.size());
    }

    void latin1IsMadeOnTheWay() {
        // Of an odd number, so that pieces end within characters.
        const QByteArray text = 'a' + QByteArray("\xc3\xa9").repeated(400'000);
        PasteboardOffers::Offer latin1 = offer("STRING", text);
        latin1.isLatin1 = true;
        _offers->set({latin1});
        QVERIFY(send("STRING").readAll() == 'a' + QByteArray(400'000, '\xe9'));
    }

    void aTransferUnderWayKeepsItsData() {
        const QByteArray large(1'000'000, 'x');
        _offers->set({offer("text/plain", large)});
        Pipe pipe = send("text/plain");
        _offers->set({offer("text/plain", "other")});
        QVERIFY(pipe.readAll() == large);
        QCOMPARE(send("text/plain").readAll(), "other");
    }

    void aReaderThatStallsDisturbsNobody() {
        _offers->set({offer("text/plain", QByteArray(1'000'000, 'x'))});
        Pipe stalled = send("text/plain");
        QVERIFY(await([&] { return stalled.read().size() > 0; }));
        QCOMPARE(send("text/plain").readAll().size(), 1'000'000);
        QVERIFY(!stalled.isAtEnd);
        _runLoop.advance(RunLoop::Seconds(10.1));
        QVERIFY(stalled.readAll().size() < 1'000'000);
    }

    void aSlowReaderIsNotGivenUp() {
        _offers->set({offer("text/plain", QByteArray(300'000, 'x'))});
        Pipe slow = send("text/plain");
        qsizetype taken = 0;
        while (!slow.isAtEnd) {
            _runLoop.advance(RunLoop::Seconds(9.9));
            QCoreApplication::processEvents();
            taken += slow.read().size();
        }
        QCOMPARE(taken, 300'000);
    }

    void aReaderThatClosesDisturbsNobody() {
        _offers->set({offer("text/plain", QByteArray(1'000'000, 'x'))});
        {
            Pipe closed = send("text/plain");
            QVERIFY(await([&] { return closed.read().size() > 0; }));
        }
        QCOMPARE(send("text/plain").readAll().size(), 1'000'000);
    }

    void tooManyReadersAreTurnedAway() {
        _offers->set({offer("text/plain", QByteArray(1'000'000, 'x'))});
        std::list<Pipe> pipes;
        for (size_t reader = 0; reader < PipeOffers::maximumTransfers; ++reader)
            pipes.push_back(send("text/plain"));
        Pipe last = send("text/plain");
        QCOMPARE(last.readAll(), "");
        QCOMPARE(pipes.back().readAll().size(), 1'000'000);
        QCOMPARE(send("text/plain").readAll().size(), 1'000'000);
    }

    void aPngIsMadeWhenSomebodyAsks() {
        PasteboardOffers::Offer png = offer("image/png", encoded("BMP"));
        png.isConverted = true;
        _offers->set({png});
        Pipe first = send("image/png");
        Pipe second = send("image/png");
        const QImage image = QImage::fromData(first.readAll(), "PNG");
        QCOMPARE(image.size(), QSize(8, 8));
        QVERIFY(QImage::fromData(second.readAll(), "PNG") == image);
        QVERIFY(QImage::fromData(send("image/png").readAll(), "PNG") == image);
    }

    void whatCannotBeConvertedHasNoBytes() {
        PasteboardOffers::Offer png = offer("image/png", "no image");
        png.isConverted = true;
        _offers->set({png});
        QCOMPARE(send("image/png").readAll(), "");
    }

    void whoWaitsForAConversionIsNotLeftWaiting() {
        PasteboardOffers::Offer png = offer("image/png", encoded("BMP"));
        png.isConverted = true;
        _offers->set({png});
        Pipe waiting = send("image/png");
        _offers->set({offer("text/plain", "text")});
        QCOMPARE(waiting.readAll(), "");
    }

    void targetsAreThoseForWhoLooks() {
        PasteboardOffers::Offer files = offer("text/uri-list", "file:///x");
        files.notFor = {PasteboardAudience::Spreadsheet};
        _offers->set({files, offer("text/plain", "x")});
        const QStringList both{QStringLiteral("text/uri-list"), QStringLiteral("text/plain")};
        QCOMPARE(_offers->targets(PasteboardAudience::Other), both);
        QCOMPARE(_offers->targets(PasteboardAudience::Unknown), both);
        QCOMPARE(_offers->targets(PasteboardAudience::Spreadsheet), both.mid(1));
    }

    // Each reader's end is told once, and whether it has got all.
    void theEndIsTold() {
        _offers->set({offer("text/plain", QByteArray(1'000'000, 'x'))});
        Pipe whole = send("text/plain");
        QVERIFY(_told.isEmpty());
        QCOMPARE(whole.readAll().size(), 1'000'000);
        QCOMPARE(_told, QList<bool>{true});
        QCOMPARE(send("image/png").readAll(), "");
        QCOMPARE(_told, (QList<bool>{true, false}));
        {
            Pipe closed = send("text/plain");
            QVERIFY(await([&] { return closed.read().size() > 0; }));
        }
        QVERIFY(await([&] { return _told.size() == 3; }));
        Pipe stalled = send("text/plain");
        QVERIFY(await([&] { return stalled.read().size() > 0; }));
        QCOMPARE(_told, (QList<bool>{true, false, false}));
        _runLoop.advance(PipeOffers::stallLimit);
        QCOMPARE(_told, (QList<bool>{true, false, false, false}));
    }

    void whatIsRetiredIsFinishedAndLetGoOf() {
        const QByteArray image = encoded("BMP");
        QByteArray text(1024 * 1024, 'x');
        PasteboardOffers::Offer png = offer("image/png", image);
        png.isConverted = true;
        _offers->set({png, offer("text/plain", text)});
        Pipe picture = send("image/png");
        Pipe writing = send("text/plain");
        _offers->retire();
        QVERIFY(_offers->targets(PasteboardAudience::Other).isEmpty());
        QVERIFY(!QImage::fromData(picture.readAll(), "PNG").isNull());
        QCOMPARE(writing.readAll(), text);
        QVERIFY(text.isDetached());
        QCOMPARE(send("text/plain").readAll(), "");
    }

    void theEndOfAConversionIsTold() {
        PasteboardOffers::Offer png = offer("image/png", encoded("BMP"));
        png.isConverted = true;
        _offers->set({png});
        Pipe waiting = send("image/png");
        _offers->set({png});
        QCOMPARE(_told, QList<bool>{false});
        QVERIFY(!send("image/png").readAll().isEmpty());
        QCOMPARE(_told, (QList<bool>{false, true}));
        png.data = "no image";
        _offers->set({png});
        QCOMPARE(send("image/png").readAll(), "");
        QCOMPARE(_told, (QList<bool>{false, true, false}));
    }

private:
    [[nodiscard]] Pipe send(const char *target) {
        Pipe pipe;
        _offers->send(QString::fromLatin1(target), std::move(pipe.writing),
                      [this](bool isWhole) { _told.append(isWhole); });
        return pipe;
    }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    QList<bool> _told;
    std::optional<PipeOffers> _offers;
};

QTEST_GUILESS_MAIN(PipeOffersTest)
#include "tst_pipeoffers.moc"
