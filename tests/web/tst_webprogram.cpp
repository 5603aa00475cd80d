// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/SocketStreams.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/TestCase.h"
#include "tests/web/PageSocket.h"
#include "web/WebProgram.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QTemporaryDir>

using namespace clipmule;
using namespace clipmule::kit;
using web_test::Page;
using web_test::PageClient;
using web_test::PageSocket;

namespace {

QByteArray png(int side) {
    QImage image(side, side, QImage::Format_RGB32);
    // What cannot be compressed.
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column)
            image.setPixel(column, row, qHash(row * side + column, 7) | 0xff000000);
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes;
}

PropertyList clipOf(const PropertyList::Dictionary &item) {
    return MessageEnvelope::make(MessageEnvelope::Type::Clip,
                                 PropertyList(PropertyList::Dictionary{
                                     {u"creationDate"_qs, Date{700000000}},
                                     {u"items"_qs, PropertyList::List{PropertyList(item)}}}));
}

} // namespace

// The whole program with a real socket at each end: a page that was written from the protocol's
// description, and a desk.
class WebProgramTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        QDir(_folder->path()).mkpath(u"page/sub"_qs);
        write(u"page/index.html"_qs, "<title>Page</title>");
        write(u"page/index.html.gz"_qs, "zipped page");
        write(u"page/sub/main.js"_qs, "run()");
        write(u"page/notes.txt"_qs, "not for pages");
        start();
    }

    void end() override {
        _desk.reset();
        _web.reset();
    }

private Q_SLOTS:
    void aBrowserIsPairedByTheCode() {
        const auto page = paired();
        QVERIFY(page);
        QCOMPARE(_welcome[u"computer"_qs].toString(), u"desk"_qs);
        QCOMPARE(_welcome[u"name"_qs].toString(), u"Anna's phone"_qs);
        QCOMPARE(_welcome[u"keeps"_qs].toBool(), true);
        QCOMPARE(_welcome[u"limits"_qs][u"text"_qs].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"limits"_qs][u"picture"_qs].toInt(), 9'999'999);
        QCOMPARE(_welcome[u"filters"_qs].toArray().size(), 10);
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        QCOMPARE(page->hear(u"clips"_qs)[u"clips"_qs].toArray().size(), 0);
        // It is a phone like any other.
        QTRY_COMPARE(_backend.published().size(), 1);
        QCOMPARE(_backend.published().constFirst().service.name, u"Anna's phone"_qs);
    }

    void aPairedBrowserComesBack() {
        const PageClient::Secrets secrets = resuming(paired());
        Page page(port(), secrets);
        QVERIFY(page.shakeHands());
        page.say({{u"is"_qs, u"resume"_qs}, {u"language"_qs, u"en"_qs}});
        QCOMPARE(page.hear(u"welcome"_qs)[u"name"_qs].toString(), u"Anna's phone"_qs);
        // Also to another run of the program.
        end();
        start();
        Page later(port(), secrets);
        QVERIFY(later.shakeHands());
        later.say({{u"is"_qs, u"resume"_qs}, {u"language"_qs, u"en"_qs}});
        QCOMPARE(later.hear(u"welcome"_qs)[u"name"_qs].toString(), u"Anna's phone"_qs);
        QCOMPARE(_backend.published().size(), 1);
    }

    void theKeysAreNobodyElses() {
        QVERIFY(paired());
        const QString file = _folder->filePath(u"data/browsers.json"_qs);
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(QFile::permissions(file) & 0x0077, QFileDevice::Permissions());
        QCOMPARE(QFile::permissions(_folder->filePath(u"data"_qs)) & 0x0077,
                 QFileDevice::Permissions());
    }

    void aClipOfTheDeskIsShown() {
        const auto page = paired();
        connectDesk();
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"away"_qs);
        QCOMPARE(page->hear(u"state"_qs)[u"desk"_qs].toString(), u"connected"_qs);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"string"_qs, u"Grüße 🐴"_qs}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"text"_qs].toString(), u"Grüße 🐴"_qs);
        QCOMPARE(clip[u"kind"_qs].toString(), u"text"_qs);
        QCOMPARE(clip[u"length"_qs].toInt(), 8);
        QCOMPARE(clip[u"at"_qs].toInteger(), 1678307200000);
    }

    void aPictureOfTheDeskIsFetched() {
        const auto page = paired();
        connectDesk();
        const QByteArray bytes = png(400);
        QVERIFY(bytes.size() > 300'000);
        _desk->outputObject(OutputObject::fixed(clipOf({{u"imageData"_qs, bytes}})));
        const QJsonObject clip = page->hear(u"clip"_qs)[u"clip"_qs].toObject();
        QCOMPARE(clip[u"kind"_qs].toString(), u"picture"_qs);
        QCOMPARE(clip[u"picture"_qs][u"type"_qs].toString(), u"image/png"_qs);
        QCOMPARE(clip[u"picture"_qs][u"size"_qs].toInteger(), bytes.size());
        QCOMPARE(clip[u"picture"_qs][u"width"_qs].toInt(), 400);
        QCOMPARE(clip[u"picture"_qs][u"height"_qs].toInt(), 400);
        page->say({{u"is"_qs, u"fetch"_qs},
                   {u"clip"_qs, clip[u"id"_qs]},
                   {u"what"_qs, u"picture"_qs},
                   {u"transfer"_qs, 1}});
        QVERIFY(page->hearData(1) == bytes);
    }

    void aTextOfThePageReachesTheDesk() {
        const auto page = paired();
        connectDesk();
        page->say({{u"is"_qs, u"send"_qs},
                   {u"transfer"_qs, 1},
                   {u"size"_qs, 7},
                   {u"kind"_qs, u"text"_qs},
                   {u"relay"_qs, false}});
        page->sendPiece(1, "Grü");
        page->sendPiece(1, "ße");
        QCOMPARE(page->hear(u"sent"_qs)[u"for"_qs].toInt(), 1);
        QTRY_COMPARE(_received.size(), 2);
        const auto items = _received[1].find(u"1"_qs)->find(u"items"_qs)->list();
        QCOMPARE(items[0].find(u"string"_qs)->string(), u"Grüße"_qs);
    }

    void aBrowserThatForgetsLeavesNothingBehind() {
        const auto other = paired(u"Ben's phone"_qs);
        const auto page = paired();
        const auto folder = [this](const std::unique_ptr<Page> &one) {
            return _folder->filePath(u"data/"_qs +
                                     QString::fromLatin1(one->client().browserId().toHex()));
        };
        QVERIFY(QDir().mkpath(folder(page)));
        QVERIFY(QDir().mkpath(folder(other)));
        page->say({{u"is"_qs, u"forget"_qs}});
        QVERIFY(!page->hear(u"revoked"_qs).isEmpty());
        QTRY_COMPARE(_backend.published().size(), 1);
        QVERIFY(!QFileInfo::exists(folder(page)));
        QVERIFY(QFileInfo(folder(other)).isDir());
        // And not known to another run either.
        end();
        start();
        Page later(port(), resuming(page));
        QVERIFY(!later.shakeHands());
        Page others(port(), resuming(other));
        QVERIFY(others.shakeHands());
    }

private:
    void write(const QString &name, const QByteArray &bytes) {
        QFile file(_folder->filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("no file");
        file.write(bytes);
    }

    void start(bool keepsClips = true) {
        _files = std::make_unique<PageFiles>(_folder->filePath(u"page"_qs));
        WebProgram::Options options;
        options.folder = _folder->filePath(u"data"_qs);
        options.keepsClips = keepsClips;
        options.computer = u"desk"_qs;
        options.addresses = {QHostAddress(QHostAddress::LocalHost)};
        _web = std::make_unique<WebProgram>(_backend, *_files, nullptr, options);
        const auto started = _web->open().and_then([this] { return _web->start(); });
        QVERIFY2(started, started ? "" : qPrintable(started.error().reason));
    }

    [[nodiscard]] quint16 port() const { return _web->server().port(); }

    // The code of the link, as a page reads it.
    QByteArray code() {
        const auto link = _web->makeLink();
        return link ? QByteArray::fromBase64(link->section(u'#', 1).toLatin1(),
                                             QByteArray::Base64UrlEncoding)
                    : QByteArray();
    }

    std::unique_ptr<Page> paired(const QString &name = QStringLiteral("Anna's phone")) {
        auto page = std::make_unique<Page>(port(), PageClient::withCode(code()));
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_qs, u"pair"_qs}, {u"name"_qs, name}, {u"language"_qs, u"en"_qs}});
        _welcome = page->hear(u"welcome"_qs);
        return _welcome.isEmpty() ? nullptr : std::move(page);
    }

    static PageClient::Secrets resuming(const std::unique_ptr<Page> &page) {
        return {.kind = 'R', .id = page->client().browserId(), .key = page->client().browserKey()};
    }

    void connectDesk() {
        QTRY_COMPARE(_backend.published().size(), 1);
        _received.clear();
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), _backend.published().constFirst().port}},
            RunLoop::Seconds(10)));
        _desk->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            _received.append(object);
        };
        QTRY_COMPARE(_received.size(), 1);
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    FakeDnsSd _backend;
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<PageFiles> _files;
    std::unique_ptr<WebProgram> _web;
    std::shared_ptr<ZRKStreamHandler> _desk;
    QList<PropertyList> _received;
    QJsonObject _welcome;
};

QTEST_GUILESS_MAIN(WebProgramTest)
#include "tst_webprogram.moc"
