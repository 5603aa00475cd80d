// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/Session.h"
#include "platform/tray/MessageSurface.h"
#include "platform/wayland/WaylandConnection.h"
#include "tests/kit/Await.h"
#include "tests/kit/LayersTestCase.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/Served.h"

#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {
constexpr QSize size(30, 20);
} // namespace

class WaylandMessageSurfaceTest final : public kit::LayersTestCase {
    Q_OBJECT

    void begin() override { open({.layers = true}); }
    void end() override {
        _surface.reset();
        _session = {};
        _compositor.reset();
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private Q_SLOTS:
    void itIsNearTheStatusArea() {
        QVERIFY(_surface->show(size));
        QVERIFY(await([&] { return only().pictures == 1; }));
        QCOMPARE(only().margins, (QList<int>{0, 100, 0, 0}));
        QCOMPARE(only().points, size);
        // Nothing is waited for any more.
        QCOMPARE(_runLoop.pendingCount(), 0);
        _runLoop.advance(10);
        QCOMPARE(_closed, QList<bool>());
        QVERIFY(_surface->show(size));
        QCOMPARE(_runLoop.pendingCount(), 0);
        _surface->hide();
        serve();
        QVERIFY(shown().isEmpty());
    }

    void itIsAsDenseAsTheScreen() {
        open({.layers = true, .outputs = {2}});
        QVERIFY(_surface->show(size));
        QVERIFY(await([&] { return only().pixels == size * 2; }));
    }

    void notDrawnInTimeItIsRefused() {
        manner(LayerManner::SaysNothing);
        QVERIFY(_surface->show(size));
        serve();
        _runLoop.advance(0.9);
        // Nor does it help to ask again and again.
        QVERIFY(_surface->show(size));
        QCOMPARE(_closed, QList<bool>());
        _runLoop.advance(0.1);
        QCOMPARE(_closed, QList<bool>{false});
        serve();
        QVERIFY(shown().isEmpty());
        // The next one has its own second.
        QVERIFY(_surface->show(size));
        _runLoop.advance(0.99);
        QCOMPARE(_closed.size(), 1);
        _surface->hide();
        _runLoop.advance(1);
        QCOMPARE(_closed.size(), 1);
    }

    void closedAtOnceItIsRefused() {
        manner(LayerManner::ClosesAtOnce);
        QVERIFY(_surface->show(size));
        QVERIFY(await([&] { return !_closed.isEmpty(); }));
        QCOMPARE(_closed, QList<bool>{false});
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void takenAwayItWasDrawn() {
        QVERIFY(_surface->show(size));
        QVERIFY(await([&] { return only().pictures == 1; }));
        _compositor->layers([](CompositorLayers &layers) { layers.closeAll(); });
        QVERIFY(await([&] { return !_closed.isEmpty(); }));
        QCOMPARE(_closed, QList<bool>{true});
        // What was seen of one says nothing of the next.
        manner(LayerManner::ClosesAtOnce);
        QVERIFY(_surface->show(size));
        QVERIFY(await([&] { return _closed.size() == 2; }));
        QCOMPARE(_closed, (QList<bool>{true, false}));
    }

    void whatCannotBeShownIsSaidAtOnce() {
        QVERIFY(!_surface->show(QSize(30, 2049)));
        QCOMPARE(_runLoop.pendingCount(), 0);
        QVERIFY(_surface->show(QSize(30, 2048)));
        _surface->hide();
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _session.wayland->isLost(); }));
        QVERIFY(!_surface->show(size));
    }

    void whereThereIsNone() {
        open({});
        QVERIFY(!_surface);
        QVERIFY(!makeMessageSurface({}));
    }

    void theListenerMayDestroyIt() {
        manner(LayerManner::SaysNothing);
        _surface->onClosed = [this](bool) { _surface.reset(); };
        QVERIFY(_surface->show(size));
        _runLoop.advance(1);
        QVERIFY(!_surface);
    }

private:
    void open(const TestCompositor::Offers &offers) {
        end();
        _closed.clear();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _session.wayland = WaylandConnection::open();
        QVERIFY(_session.wayland);
        _surface = makeMessageSurface(_session);
        if (!_surface)
            return;
        _surface->onDraw = [](int ratio) {
            QImage image(size * ratio, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::red);
            return image;
        };
        _surface->onClosed = [this](bool wasDrawn) { _closed.append(wasDrawn); };
        serve();
    }
    // Everything that the compositor has sent has been heard.
    void serve() { QVERIFY(served(*_session.wayland)); }

    ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    Session _session;
    std::unique_ptr<MessageSurface> _surface;
    QList<bool> _closed;
};

QTEST_GUILESS_MAIN(WaylandMessageSurfaceTest)
#include "tst_waylandmessagesurface.moc"
