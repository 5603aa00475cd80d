// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandLayer.h"
#include "tests/kit/Await.h"
#include "tests/kit/FullDisk.h"
#include "tests/kit/LayersTestCase.h"
#include "tests/kit/Served.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

constexpr QSize size(30, 20);
constexpr int fromRight = 100;

// A gradient, so that no pixel is like its neighbour.
QImage gradient(QSize pixels, int seed) {
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < pixels.height(); ++y) {
        for (int x = 0; x < pixels.width(); ++x)
            image.setPixel(x, y, qPremultiply(qRgba(x % 256, y % 256, seed, 200)));
    }
    return image;
}

QByteArray rowsOf(const QImage &image) {
    return {reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes()};
}

} // namespace

class WaylandLayerTest final : public kit::LayersTestCase {
    Q_OBJECT

    void begin() override { open({.layers = true}); }
    void end() override {
        _layer.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void theBytesAreWhatWasDrawn() {
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().pixels, size);
        QCOMPARE(only().picture, rowsOf(gradient(size, _drawn)));
    }

    // In whatever form it is drawn.
    void otherFormatsAreConverted() {
        _layer->onDraw = [](int) {
            QImage image(size, QImage::Format_ARGB32);
            image.fill(qRgba(255, 0, 0, 127));
            return image;
        };
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().picture.first(4), QByteArray::fromHex("00007f7f"));
    }

    void itIsWhereAMessageBelongs() {
        QVERIFY(show(size, fromRight));
        const ShownLayer shown = served();
        QCOMPARE(shown.name, QByteArray("clipmule-sync"));
        QCOMPARE(shown.layer, 2U);       // over the windows, below what fills the screen
        QCOMPARE(shown.anchor, 1U + 8U); // top and right
        QCOMPARE(shown.margins, (QList<int>{0, 100, 0, 0}));
        QCOMPARE(shown.zone, 0);
        QCOMPARE(shown.points, size);
    }

    void neitherFocusNorPointerReachIt() {
        QVERIFY(show(size, fromRight));
        QCOMPARE(served().keyboard, 0U);
        QVERIFY(!served().takesPointer);
    }

    void nothingIsDrawnBeforeItMay() {
        manner(LayerManner::SaysNothing);
        QVERIFY(show(size, fromRight));
        QVERIFY(show(size, fromRight));
        QCOMPARE(served().pictures, 0);
        QCOMPARE(_drawings, 0);
        QVERIFY(!_connection->isLost());
        // Nor is anything left of it.
        _layer->hide();
        serve();
        QVERIFY(shown().isEmpty());
        manner(LayerManner::Agrees);
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
    }

    void itsSizeIsOurs_data() {
        QTest::addColumn<LayerManner>("manner");
        QTest::newRow("left to us") << LayerManner::LeavesTheSize;
        QTest::newRow("giant") << LayerManner::DemandsGiantSize;
    }
    void itsSizeIsOurs() {
        QFETCH(LayerManner, manner);
        this->manner(manner);
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().pixels, size);
    }

    void anotherSizeIsAnotherPicture() {
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        const QSize larger = size + QSize(0, 7);
        QVERIFY(show(larger, fromRight));
        QVERIFY(await([&] { return only().pictures == 2; }));
        QCOMPARE(only().points, larger);
        QCOMPARE(only().pixels, larger);
        QCOMPARE(only().picture, rowsOf(gradient(larger, _drawn)));
        // It is still the same surface.
        _compositor->layers(
            [](const CompositorLayers &layers) { QCOMPARE(layers.surfacesMade, 1); });
    }

    void oneIsUnderWayAndTheNewestFollows() {
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        serve();
        const int before = _drawings;
        for (int i = 0; i < 100; ++i)
            QVERIFY(show(size, fromRight));
        QCOMPARE(_drawings, before + 1);
        serve();
        serve();
        QCOMPARE(_drawings, before + 2);
        QCOMPARE(only().picture, rowsOf(gradient(size, _drawn)));
        serve();
        QCOMPARE(_drawings, before + 2);
    }

    void hiddenNothingIsLeft() {
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        _layer->hide();
        serve();
        _compositor->layers([](const CompositorLayers &layers) {
            QVERIFY(layers.surfaces.empty());
            QCOMPARE(layers.buffersAlive, 0);
        });
        _layer->hide();
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
    }

    void buffersGivenBackAreDestroyed() {
        drawTimes(10);
        _compositor->layers(
            [](const CompositorLayers &layers) { QCOMPARE(layers.buffersAlive, 0); });
    }

    void whoGivesNothingBackGetsABoundedNumber() {
        _compositor->layers([](CompositorLayers &layers) { layers.givesBuffersBack = false; });
        drawTimes(4);
        _compositor->layers(
            [](const CompositorLayers &layers) { QCOMPARE(layers.buffersAlive, 4); });
        drawTimes(6);
        _compositor->layers([](CompositorLayers &layers) {
            QCOMPARE(layers.buffersAlive, 4);
            QCOMPARE(layers.shown().constFirst().pictures, 10);
            layers.giveBackBuffers();
        });
        serve();
        _compositor->layers(
            [](const CompositorLayers &layers) { QCOMPARE(layers.buffersAlive, 0); });
        QVERIFY(!_connection->isLost());
    }

    void takenAwayIsTold() {
        int closed = 0;
        _layer->onClosed = [&] { ++closed; };
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        _compositor->layers([](CompositorLayers &layers) { layers.closeAll(); });
        QVERIFY(await([&] { return closed == 1; }));
        serve();
        QVERIFY(shown().isEmpty());
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(closed, 1);
    }

    void closedAtOnceItIsNotDrawn() {
        int closed = 0;
        _layer->onClosed = [&] { ++closed; };
        manner(LayerManner::ClosesAtOnce);
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return closed == 1; }));
        QCOMPARE(_drawings, 0);
    }

    void sizesAreBounded_data() {
        QTest::addColumn<QSize>("points");
        QTest::addColumn<bool>("isShown");
        QTest::newRow("nothing") << QSize(0, 20) << false;
        QTest::newRow("no height") << QSize(20, 0) << false;
        QTest::newRow("one point") << QSize(1, 1) << true;
        QTest::newRow("widest") << QSize(2048, 1) << true;
        QTest::newRow("too wide") << QSize(2049, 1) << false;
        QTest::newRow("highest") << QSize(1, 2048) << true;
        QTest::newRow("too high") << QSize(1, 2049) << false;
    }
    void sizesAreBounded() {
        QFETCH(QSize, points);
        QFETCH(bool, isShown);
        QCOMPARE(show(points, fromRight), isShown);
        serve();
        QCOMPARE(shown().size(), isShown ? 1 : 0);
        if (isShown)
            QVERIFY(await([&] { return only().pixels == points; }));
    }

    // What is drawn in another size than was asked for would be shown in that.
    void aPictureOfAnotherSizeIsNotShown() {
        _layer->onDraw = [](int) { return gradient(size + QSize(1, 0), 0); };
        QVERIFY(show(size, fromRight));
        serve();
        QCOMPARE(served().pictures, 0);
        _layer->onDraw = {};
        QVERIFY(show(size, fromRight));
        QCOMPARE(served().pictures, 0);
    }

    void itIsAsDenseAsItsScreen_data() {
        QTest::addColumn<QList<int>>("outputs");
        QTest::addColumn<int>("scale");
        QTest::newRow("plain") << QList<int>{1} << 1;
        QTest::newRow("dense") << QList<int>{2} << 2;
        QTest::newRow("densest of all") << QList<int>{1, 3, 2} << 3;
        QTest::newRow("at the limit") << QList<int>{4} << 4;
        QTest::newRow("above the limit") << QList<int>{5} << 4;
        QTest::newRow("senseless") << QList<int>{1 << 30} << 4;
        QTest::newRow("none") << QList<int>{0} << 1;
        QTest::newRow("negative") << QList<int>{-2} << 1;
        QTest::newRow("no screen") << QList<int>{} << 1;
    }
    void itIsAsDenseAsItsScreen() {
        QFETCH(QList<int>, outputs);
        QFETCH(int, scale);
        open({.layers = true, .outputs = outputs});
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, scale);
        QCOMPARE(only().points, size);
        QCOMPARE(only().picture, rowsOf(gradient(size * scale, _drawn)));
    }

    void anOldCompositorHasNoScale_data() {
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("scale");
        QTest::newRow("before") << 2 << 1;
        QTest::newRow("since") << 3 << 2;
    }
    void anOldCompositorHasNoScale() {
        QFETCH(int, version);
        QFETCH(int, scale);
        open({.layers = true, .outputs = {2}, .surfaceVersion = version});
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().pixels, size * scale);
        QVERIFY(!_connection->isLost());
    }

    void everythingIsGivenBack_data() {
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("shells");
        // Before version 3 nobody could.
        QTest::newRow("shell that cannot be") << 2 << 1;
        QTest::newRow("shell") << 3 << 0;
    }
    void everythingIsGivenBack() {
        QFETCH(int, version);
        QFETCH(int, shells);
        open({.layers = true, .outputs = {1, 2}, .shellVersion = version});
        // Nor is anything taken twice.
        _compositor->addOutput(1);
        serve();
        serve();
        _compositor->layers([](const CompositorLayers &layers) {
            QCOMPARE(layers.shellsAlive, 1);
            QCOMPARE(layers.outputsAlive, 3);
        });
        QVERIFY(show(size, fromRight));
        _layer.reset();
        serve();
        _compositor->layers([&](const CompositorLayers &layers) {
            QCOMPARE(layers.shellsAlive, shells);
            QCOMPARE(layers.outputsAlive, 0);
            QVERIFY(layers.surfaces.empty());
        });
        QVERIFY(!_connection->isLost());
    }

    void onAnotherScreenItIsDrawnForThat() {
        open({.layers = true, .outputs = {1, 3}});
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, 3);
        const auto after = [&](const std::function<void(CompositorLayers &)> &change) {
            _compositor->layers(change);
            serve();
            return served().scale;
        };
        QCOMPARE(after([](auto &layers) { layers.move(0, true); }), 1);
        QCOMPARE(only().pixels, size);
        // On both, with the denser one's pixels.
        QCOMPARE(after([](auto &layers) { layers.move(1, true); }), 3);
        QCOMPARE(after([](auto &layers) { layers.move(1, false); }), 1);
        QCOMPARE(after([](auto &layers) { layers.setScale(0, 2); }), 2);
        const int before = _drawings;
        // Where it is not, nothing changes.
        QCOMPARE(after([](auto &layers) { layers.setScale(1, 4); }), 2);
        QCOMPARE(_drawings, before);
        // The next one is drawn for all again.
        _layer->hide();
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, 4);
    }

    void screensComeAndGo() {
        _compositor->addOutput(2);
        serve();
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().scale == 2; }));
        _layer->hide();
        _compositor->layers([](CompositorLayers &layers) { layers.removeOutput(); });
        _compositor->layers([](CompositorLayers &layers) { layers.removeOutput(); });
        serve();
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, 1);
        QVERIFY(!_connection->isLost());
    }

    void notEveryScreenIsFollowed() {
        QList<int> outputs(64, 1);
        outputs.append(2);
        open({.layers = true, .outputs = outputs});
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, 1);
        outputs = QList<int>(63, 1);
        outputs.append(2);
        open({.layers = true, .outputs = outputs});
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().scale, 2);
    }

    void whatCannotBeHandedOverIsNotShown() {
        {
            const FullDisk disk(100);
            QTest::ignoreMessage(QtWarningMsg, "no picture can be handed over: File too large");
            QVERIFY(show(size, fromRight));
            serve();
            serve();
            QCOMPARE(only().pictures, 0);
        }
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
    }

    void whereThereAreNoLayers() {
        open({});
        QVERIFY(!_layer);
        QVERIFY(!WaylandLayer::make(nullptr));
    }

    void withdrawnTheyAreNotAskedForAnyMore() {
        QVERIFY(show(size, fromRight));
        _compositor->layers([](CompositorLayers &layers) { layers.removeShell(); });
        QVERIFY(await([&] { return !_connection->offers("zwlr_layer_shell_v1"); }));
        // What is shown stays.
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 2; }));
        _layer->hide();
        QVERIFY(!show(size, fromRight));
        QVERIFY(!_connection->isLost());
    }

    void aLostCompositorShowsNothing() {
        QVERIFY(show(size, fromRight));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        const int before = _drawings;
        QVERIFY(!show(size, fromRight));
        QCOMPARE(_drawings, before);
        _layer->hide();
    }

private:
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        _layer = WaylandLayer::make(_connection);
        serve();
        _drawings = 0;
        if (_layer) {
            _layer->onDraw = [this](int scale) {
                ++_drawings;
                _drawn = _drawings % 256;
                return gradient(_asked * scale, _drawn);
            };
        }
    }
    // Everything that the compositor has sent has been heard.
    void serve() { QVERIFY(kit::served(*_connection)); }
    [[nodiscard]] ShownLayer served() {
        serve();
        return only();
    }
    [[nodiscard]] bool show(QSize points, int distance) {
        _asked = points;
        return _layer->show(points, distance);
    }
    void drawTimes(int count) {
        for (int i = 0; i < count; ++i) {
            const int before = only().pictures;
            QVERIFY(show(size, fromRight));
            QVERIFY(await([&] { return only().pictures == before + 1; }));
            serve();
        }
    }

    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandLayer> _layer;
    QSize _asked;
    int _drawings = 0;
    int _drawn = 0; // the newest picture's seed
};

QTEST_GUILESS_MAIN(WaylandLayerTest)
#include "tst_waylandlayer.moc"
