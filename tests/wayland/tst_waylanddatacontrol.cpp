// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandDataControl.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"
#include "tests/kit/TestCompositor.h"

#include <QTest>

#include <cerrno>
#include <optional>

#include <unistd.h>

using namespace clipmule;
using namespace clipmule::kit;

using Moment = WaylandDataControl::Moment;

namespace {

// Reads on as events are served; nothing while the other end is open.
std::optional<QByteArray> readAll(const FileHandle &handle) {
    QByteArray all;
    bool isOver = false;
    const bool isDone = await([&] {
        char piece[4096];
        ssize_t count = 0;
        while ((count = ::read(handle.descriptor(), piece, sizeof piece)) > 0)
            all.append(piece, count);
        isOver = count == 0;
        return isOver;
    });
    return isDone ? std::optional(all) : std::nullopt;
}

void writeOnce(const FileHandle &target, const QByteArray &bytes) {
    QCOMPARE(::write(target.descriptor(), bytes.constData(), size_t(bytes.size())), bytes.size());
}

} // namespace

class WaylandDataControlTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { open({}); }
    void end() override {
        _control.reset();
        _connection.reset();
        _compositor.reset();
    }

private Q_SLOTS:
    void whatIsOfferedIsChosen_data() {
        QTest::addColumn<bool>("agreed");
        QTest::addColumn<bool>("wlroots");
        QTest::addColumn<int>("seats");
        QTest::addColumn<QString>("name");
        QTest::newRow("both") << true << true << 1 << QStringLiteral("ext-data-control");
        QTest::newRow("agreed") << true << false << 1 << QStringLiteral("ext-data-control");
        QTest::newRow("wlroots") << false << true << 1 << QStringLiteral("wlr-data-control");
        QTest::newRow("neither") << false << false << 1 << QString();
        QTest::newRow("no seat") << true << true << 0 << QString();
    }
    void whatIsOfferedIsChosen() {
        QFETCH(bool, agreed);
        QFETCH(bool, wlroots);
        QFETCH(int, seats);
        QFETCH(QString, name);
        open({.agreed = agreed, .wlroots = wlroots, .seats = seats});
        QCOMPARE(_control ? _control->name() : QString(), name);
    }

    void whatOthersCopyIsToldAndRead_data() { forms(); }
    void whatOthersCopyIsToldAndRead() {
        openForm();
        _compositor->copy({{"text/plain", "hello"}, {"text/html", "<b>hello</b>"}});
        QVERIFY(awaitSelection());
        QCOMPARE(_types, std::optional(QStringList{QStringLiteral("text/plain"),
                                                   QStringLiteral("text/html")}));
        QCOMPARE(_moment, Moment::Change);
        const FileHandle html = receive(QStringLiteral("text/html"));
        const FileHandle text = receive(QStringLiteral("text/plain"));
        QCOMPARE(readAll(html), std::optional<QByteArray>("<b>hello</b>"));
        QCOMPARE(readAll(text), std::optional<QByteArray>("hello"));
    }

    void whatIsThereAtTheStartIsTold() {
        end();
        _compositor.emplace();
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _compositor->copy({{"text/plain", "before"}});
        _connection = WaylandConnection::open();
        follow();
        QVERIFY(awaitSelection());
        QCOMPARE(_types, std::optional(QStringList{QStringLiteral("text/plain")}));
        QCOMPARE(_moment, Moment::AtTheStart);
    }

    void anEmptyClipboardIsTold() {
        _compositor->copy({{"text/plain", "x"}});
        QVERIFY(await([&] { return _types.has_value(); }));
        _compositor->clear();
        QVERIFY(await([&] { return !_types.has_value(); }));
        QVERIFY(!receive(QStringLiteral("text/plain")).isOpen());
    }

    void oldOffersAreGivenBack() {
        for (int copy = 0; copy < 200; ++copy)
            _compositor->copy({{"text/plain", QByteArray::number(copy)}});
        _compositor->copy({{"text/plain", "last"}, {"last", ""}});
        QVERIFY(await([&] { return _types && _types->size() == 2; }));
        QVERIFY(await([&] { return _compositor->offersAlive() == 1; }));
    }

    void aTypeIsNamedOnce() {
        _compositor->copy({{"text/plain", "x"}, {"text/plain", "x"}, {"other", ""}});
        QVERIFY(await([&] { return _types && !_types->isEmpty(); }));
        QCOMPARE(*_types, (QStringList{QStringLiteral("text/plain"), QStringLiteral("other")}));
    }

    void offersWithoutTypesAreOffers() {
        _compositor->copy({{"text/plain", "x"}});
        QVERIFY(await([&] { return _types && !_types->isEmpty(); }));
        _compositor->copy({});
        QVERIFY(await([&] { return _types && _types->isEmpty(); }));
    }

    void thousandsOfTypesAreNotAllRemembered() {
        TestCompositor::Contents contents;
        for (int type = 0; type < 4000; ++type)
            contents.emplaceBack("type/" + QByteArray::number(type), QByteArray());
        contents.emplaceBack("the/mark", QByteArray());
        _control->isWanted = [](const QString &type) { return type == u"the/mark"; };
        _compositor->copy(contents);
        QVERIFY(await([&] { return _types.has_value() && !_types->isEmpty(); }));
        QCOMPARE(_types->size(), WaylandDataControl::mostTypes + 1);
        QCOMPARE(_types->first(), QStringLiteral("the/mark"));
        QCOMPARE(_types->last(), QStringLiteral("type/255"));
    }

    // What does not fit into a message no compositor can say.
    void aTypeOfAMegabyteIsTheEnd() {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^the compositor ")));
        _compositor->copy({{QByteArray(1'000'000, 'x'), "x"}});
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _connection->isLost(); }));
        QVERIFY(!_control->own({QStringLiteral("text/plain")}));
    }

    void whatIsOursIsServed_data() { forms(); }
    void whatIsOursIsServed() {
        openForm();
        QStringList asked;
        _control->onSend = [&](const QString &type, const FileHandle &target, const auto &) {
            asked += type;
            writeOnce(target, "said " + type.toUtf8());
        };
        QVERIFY(_control->own({QStringLiteral("text/plain"), QStringLiteral("text/html")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        QCOMPARE(_compositor->types().mid(0, 2), (QList<QByteArray>{"text/plain", "text/html"}));
        const FileHandle text = _compositor->paste("text/plain");
        QCOMPARE(readAll(text), std::optional<QByteArray>("said text/plain"));
        const FileHandle again = _compositor->paste("text/plain");
        QCOMPARE(readAll(again), std::optional<QByteArray>("said text/plain"));
        QCOMPARE(asked.size(), 2);
    }

    void theTargetDoesNotBlock() {
        FileHandle held;
        _control->onSend = [&](const QString &, FileHandle target, const auto &) {
            held = std::move(target);
        };
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        const FileHandle reading = _compositor->paste("text/plain");
        QVERIFY(await([&] { return held.isOpen(); }));
        const QByteArray bytes(1'000'000, 'x');
        QVERIFY(::write(held.descriptor(), bytes.constData(), size_t(bytes.size())) < bytes.size());
        QCOMPARE(::write(held.descriptor(), bytes.constData(), size_t(bytes.size())), -1);
        QCOMPARE(errno, EAGAIN);
    }

    void whatIsOursIsNotTold() {
        QVERIFY(awaitSelection());
        _told = 0;
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        _compositor->copy({{"other", ""}});
        QVERIFY(await([&] { return _types && !_types->isEmpty(); }));
        QCOMPARE(_told, 1);
        QCOMPARE(_cancelled, 1);
    }

    // The other's copy is on its way to us when we take the clipboard.
    void whatWasCopiedBeforeWeTookItIsNotTold() {
        QVERIFY(awaitSelection());
        _told = 0;
        _compositor->copy({{"other", ""}});
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        _compositor->copy({{"later", ""}});
        QVERIFY(await([&] { return _told > 0; }));
        QCOMPARE(_types, std::optional(QStringList{QStringLiteral("later")}));
        QCOMPARE(_told, 1);
    }

    void owningAgainIsNoCancellation() {
        QVERIFY(_control->own({QStringLiteral("first")}));
        QVERIFY(_control->own({QStringLiteral("second")}));
        QVERIFY(await([&] { return _compositor->types().contains("second"); }));
        QVERIFY(_control->own({QStringLiteral("third")}));
        QVERIFY(await([&] { return _compositor->types().contains("third"); }));
        QCOMPARE(_cancelled, 0);
        QVERIFY(await([&] { return _compositor->sourcesAlive() == 1; }));
    }

    // Managers offer everything again that they have read, our mark included.
    void ourMarkInAnothersHandsIsAnother() {
        QVERIFY(awaitSelection());
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        _told = 0;
        const QByteArray mark = _compositor->types().last();
        _compositor->copy({{"other", ""}});
        QVERIFY(await([&] { return _cancelled == 1 && _told == 1; }));
        _compositor->copy({{"text/plain", "x"}, {mark, ""}});
        QVERIFY(await([&] { return _told == 2; }));
    }

    void aFinishedSeatIsEmpty() {
        QVERIFY(_control->own({QStringLiteral("text/plain")}));
        QVERIFY(await([&] { return _compositor->isClients(); }));
        _told = 0;
        QTest::ignoreMessage(QtInfoMsg, "the seat's clipboard is not ours to see any more");
        _compositor->finishDevices();
        QVERIFY(await([&] { return _told == 1; }));
        QCOMPARE(_types, std::nullopt);
        QCOMPARE(_cancelled, 1);
        QVERIFY(!_control->own({QStringLiteral("text/plain")}));
        QVERIFY(!receive(QStringLiteral("text/plain")).isOpen());
    }

    void theNextSeatIsFollowed() {
        _compositor->removeSeat();
        QVERIFY(await([&] { return !_connection->seat(); }));
        _compositor->addSeat();
        QVERIFY(await([&] { return _connection->seat(); }));
        _compositor->copy({{"there", ""}});
        QVERIFY(await([&] { return _types && _types->contains(QStringLiteral("there")); }));
    }

    void aLostCompositorIsNoHang() {
        _compositor->copy({{"text/plain", "x"}}, TestCompositor::Owner::NeverAnswers);
        QVERIFY(await([&] { return _types.has_value(); }));
        const FileHandle pending = receive(QStringLiteral("text/plain"));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^the compositor has gone: ")));
        _compositor->disconnectClients();
        QVERIFY(await([&] { return _connection->isLost(); }));
        QVERIFY(!_control->own({QStringLiteral("text/plain")}));
        QVERIFY(!receive(QStringLiteral("text/plain")).isOpen());
    }

private:
    [[nodiscard]] FileHandle receive(const QString &type) {
        FileHandle pipe;
        _control->receive(type, [&](FileHandle opened) { pipe = std::move(opened); });
        return pipe;
    }
    void open(const TestCompositor::Offers &offers) {
        end();
        _compositor.emplace(offers);
        qputenv("WAYLAND_DISPLAY", _compositor->display());
        _connection = WaylandConnection::open();
        QVERIFY(_connection);
        follow();
    }
    void follow() {
        _told = 0;
        _cancelled = 0;
        _types.reset();
        _control = WaylandDataControl::make(_connection);
        if (!_control)
            return;
        _control->onSelection = [this](const std::optional<QStringList> &types, Moment moment) {
            _types = types;
            _moment = moment;
            ++_told;
        };
        _control->onCancelled = [this] { ++_cancelled; };
    }
    static void forms() {
        QTest::addColumn<bool>("agreed");
        QTest::newRow("agreed") << true;
        QTest::newRow("wlroots") << false;
    }
    void openForm() {
        QFETCH(bool, agreed);
        open({.agreed = agreed, .wlroots = !agreed});
        QVERIFY(awaitSelection());
        _told = 0;
    }
    [[nodiscard]] bool awaitSelection() {
        return await([&] { return _told > 0; });
    }

    std::optional<TestCompositor> _compositor;
    std::shared_ptr<WaylandConnection> _connection;
    std::unique_ptr<WaylandDataControl> _control;
    std::optional<QStringList> _types;
    Moment _moment = Moment::Change;
    int _told = 0;
    int _cancelled = 0;
};

QTEST_GUILESS_MAIN(WaylandDataControlTest)
#include "tst_waylanddatacontrol.moc"
