// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/session/Session.h"
#include "platform/x11/X11Connection.h"
#include "tests/kit/Await.h"
#include "tests/kit/TestCase.h"
#include "tests/pasteboard/SampleContents.h"
#include "tests/pasteboard/clients/ClientProcess.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace clipmule;
using clipmule::kit::await;
using clipmule::kit::ClientProcess;
using clipmule::kit::kinds;
using clipmule::kit::textOn;

namespace {

const QString umlauts = QStringLiteral("Zwölf Boxkämpfer €\n\t日本 😀");

// A picture that does not compress: 1825 x 1825 pixels are 10 MB of PNG.
const QImage &noise() {
    static const QImage image = [] {
        QImage pixels(1825, 1825, QImage::Format_RGB32);
        quint32 random = 12345;
        for (int y = 0; y < pixels.height(); ++y) {
            auto *line = reinterpret_cast<quint32 *>(pixels.scanLine(y));
            for (int x = 0; x < pixels.width(); ++x) {
                random ^= random << 13;
                random ^= random >> 17;
                random ^= random << 5;
                line[x] = random | 0xff000000;
            }
        }
        return pixels;
    }();
    return image;
}

QByteArray contentsOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
}

void toolkits() {
    QTest::addColumn<QString>("toolkit");
    QTest::newRow("GTK 3") << QStringLiteral("gtk");
    QTest::newRow("Qt 6") << QStringLiteral("qt");
}

} // namespace

// The clipboard beside real applications, both ways.
class PasteboardClientsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _display = openSession().x11;
        QVERIFY(_display);
        _pasteboard = makePasteboard({_display});
        _pasteboard->setWatching(true);
    }

    void end() override {
        _pasteboard.reset();
        _display.reset();
    }

private Q_SLOTS:
    void initTestCase() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        QVERIFY(_folder.isValid());
        QVERIFY(noise().save(pngPath(), "PNG"));
        QVERIFY(contentsOf(pngPath()).size() > 9'900'000);
    }

    void readsTextOfXclip() {
        QVERIFY(xclipCopies(QStringLiteral("UTF8_STRING"), umlauts.toUtf8()));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QCOMPARE(kinds(*_pasteboard), QStringList{QStringLiteral("text")});
        QCOMPARE(textOn(*_pasteboard), umlauts);
        _xclip.kill();
        _xclip.waitForFinished();
        QVERIFY(await([&] { return _pasteboard->contents().isEmpty(); }));
    }

    void readsTenMegabytesOfXclip() {
        const QByteArray png = contentsOf(pngPath());
        QVERIFY(xclipCopies(QStringLiteral("image/png"), png));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QVERIFY(_pasteboard->contents().images.value(0) == png);
        _xclip.kill();
        _xclip.waitForFinished();
    }

    void xclipReadsWhatWeOwn() {
        const QByteArray png = contentsOf(pngPath());
        write({.text = umlauts.toUtf8(), .images = {png}});
        QCOMPARE(xclipReads(QStringLiteral("UTF8_STRING")), umlauts.toUtf8());
        QCOMPARE(xclipReads(QStringLiteral("text/plain;charset=utf-8")), umlauts.toUtf8());
        QVERIFY(xclipReads(QStringLiteral("image/png")) == png);
        QVERIFY(xclipReads(QStringLiteral("image/tiff")).isEmpty());
        QCOMPARE(xclipReads(QStringLiteral("TARGETS")).split('\n').first(4),
                 (QList<QByteArray>{"TARGETS", "TIMESTAMP", "MULTIPLE", "SAVE_TARGETS"}));
    }

    void readsTextOfAToolkit_data() { toolkits(); }
    void readsTextOfAToolkit() {
        QFETCH(QString, toolkit);
        ClientProcess client(toolkit);
        QVERIFY(client.isReady());
        QCOMPARE(client.ask(QStringLiteral("copy-text ") +
                            QString::fromLatin1(umlauts.toUtf8().toHex())),
                 QStringLiteral("done"));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QCOMPARE(kinds(*_pasteboard), QStringList{QStringLiteral("text")});
        QCOMPARE(textOn(*_pasteboard), umlauts);
    }

    void readsAnImageOfAToolkit_data() { toolkits(); }
    void readsAnImageOfAToolkit() {
        QFETCH(QString, toolkit);
        ClientProcess client(toolkit);
        QVERIFY(client.isReady());
        QCOMPARE(client.ask(QStringLiteral("copy-image ") + pngPath()), QStringLiteral("done"));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        // One of the dozen formats that it offers; some versions call one of them a sound.
        QStringList found = kinds(*_pasteboard);
        if (_pasteboard->contents().others.value(QStringLiteral("audio/x-riff")) == std::nullopt)
            found.removeAll(QStringLiteral("audio/x-riff"));
        QCOMPARE(found.join(u' '), QStringLiteral("image"));
        const QImage image = QImage::fromData(_pasteboard->contents().images.value(0));
        QVERIFY(image.convertToFormat(QImage::Format_RGB32) == noise());
    }

    void readsFilesOfAToolkit() {
        ClientProcess client(QStringLiteral("qt"));
        QVERIFY(client.isReady());
        QCOMPARE(client.ask(QStringLiteral("copy-uris file:///a%20b.png file:///%C3%BC.png")),
                 QStringLiteral("done"));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QCOMPARE(_pasteboard->contents().files,
                 (QStringList{QStringLiteral("/a b.png"), QStringLiteral("/ü.png")}));
    }

    void readsAUrlOfAToolkit() {
        ClientProcess client(QStringLiteral("qt"));
        QVERIFY(client.isReady());
        QCOMPARE(client.ask(QStringLiteral("copy-uris https://example.org/%C3%BC?a=b")),
                 QStringLiteral("done"));
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QCOMPARE(_pasteboard->contents().url, QUrl(QStringLiteral("https://example.org/ü?a=b")));
    }

    void aToolkitReadsWhatWeOwn_data() { toolkits(); }
    void aToolkitReadsWhatWeOwn() {
        QFETCH(QString, toolkit);
        ClientProcess client(toolkit);
        QVERIFY(client.isReady());
        write({.text = umlauts.toUtf8(), .images = {contentsOf(pngPath())}});
        QCOMPARE(client.ask(QStringLiteral("read-text")),
                 QStringLiteral("text ") + QString::fromLatin1(umlauts.toUtf8().toHex()));
        const QString path = _folder.filePath(QStringLiteral("read.png"));
        QFile::remove(path);
        QCOMPARE(client.ask(QStringLiteral("read-image ") + path), QStringLiteral("done"));
        QVERIFY(QImage(path).convertToFormat(QImage::Format_RGB32) == noise());
    }

    // Some file managers paste from the one, some from the other target.
    void fileManagersGetBothForms_data() { toolkits(); }
    void fileManagersGetBothForms() {
        QFETCH(QString, toolkit);
        ClientProcess client(toolkit);
        QVERIFY(client.isReady());
        write({.files = {pngPath()}});
        const QStringList targets =
            client.ask(QStringLiteral("read-targets")).split(u' ').sliced(1);
        QVERIFY(targets.contains(QStringLiteral("text/uri-list")));
        QVERIFY(targets.contains(QStringLiteral("x-special/gnome-copied-files")));
        const QByteArray uri = QUrl::fromLocalFile(pngPath()).toEncoded();
        QCOMPARE(xclipReads(QStringLiteral("text/uri-list")), uri + "\r\n");
        QCOMPARE(xclipReads(QStringLiteral("x-special/gnome-copied-files")), "copy\n" + uri);
    }

    void stoppedOwnerIsNotWaitedFor() {
        QVERIFY(xclipCopies(QStringLiteral("UTF8_STRING"), "x"));
        QVERIFY(_xclip.waitForBytesWritten());
        // Stopped before the run loop has heard of it.
        const auto isOwned = [&] {
            const auto reply = _display->reply(
                xcb_get_selection_owner_reply,
                xcb_get_selection_owner(_display->xcb(), _display->atom("CLIPBOARD")));
            return reply && reply->owner != XCB_NONE;
        };
        for (const QDeadlineTimer limit(30000); !isOwned();)
            QVERIFY(!limit.hasExpired());
        const auto pid = pid_t(_xclip.processId());
        QCOMPARE(::kill(pid, SIGSTOP), 0);
        int turns = 0;
        const auto heartbeat =
            RunLoop::current().performEvery(RunLoop::Seconds(0.001), [&] { ++turns; });
        QVERIFY(await([&] { return turns > 50; }));
        QCOMPARE(_pasteboard->changeCount(), 0);
        QVERIFY(_pasteboard->contents().isEmpty());
        ::kill(pid, SIGCONT);
        QVERIFY(await([&] { return _pasteboard->changeCount() == 1; }));
        QCOMPARE(textOn(*_pasteboard), QStringLiteral("x"));
        _xclip.kill();
        _xclip.waitForFinished();
    }

private:
    QString pngPath() const { return _folder.filePath(QStringLiteral("noise.png")); }

    // On return the server knows; a client on another connection might be ahead of it otherwise.
    void write(const PasteboardContents &contents) {
        _pasteboard->write(contents);
        (void)_display->reply(xcb_get_input_focus_reply, xcb_get_input_focus(_display->xcb()));
    }

    // Until the next call or the end of the test, xclip owns the clipboard.
    bool xclipCopies(const QString &target, const QByteArray &data) {
        _xclip.kill();
        _xclip.waitForFinished();
        _xclip.start(QStringLiteral("xclip"),
                     {QStringLiteral("-quiet"), QStringLiteral("-selection"),
                      QStringLiteral("clipboard"), QStringLiteral("-t"), target,
                      QStringLiteral("-i")});
        if (!_xclip.waitForStarted())
            return false;
        _xclip.write(data);
        _xclip.closeWriteChannel();
        return true;
    }

    static QByteArray xclipReads(const QString &target) {
        QProcess xclip;
        xclip.start(QStringLiteral("xclip"),
                    {QStringLiteral("-selection"), QStringLiteral("clipboard"),
                     QStringLiteral("-t"), target, QStringLiteral("-o")});
        if (!await([&] { return xclip.state() == QProcess::NotRunning; }))
            return "(no end)";
        return xclip.readAllStandardOutput();
    }

    QtRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    QTemporaryDir _folder;
    std::shared_ptr<X11Connection> _display;
    std::unique_ptr<Pasteboard> _pasteboard;
    QProcess _xclip;
};

QTEST_GUILESS_MAIN(PasteboardClientsTest)
#include "tst_x11_pasteboardclients.moc"
