// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/LocalRequest.h"
#include "tests/kit/LocalAnswerer.h"
#include "tests/kit/TestCase.h"
#include "tests/web/PageSocket.h"
#include "tests/web/WebProcess.h"

#include <QTcpServer>

using namespace clipmule;
using namespace Qt::StringLiterals;
using web_test::Page;
using web_test::resuming;
using web_test::WebProcess;

// The commands of clipmule-web, beside one that serves and where none does.
class WebCommandsTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _web = std::make_unique<WebProcess>(); }
    void end() override { _web.reset(); }

private Q_SLOTS:
    void aBrowserIsRenamedWhileItIsServed() {
        const auto page = paired();
        QVERIFY(page);
        QCOMPARE(run({u"rename"_s, u"Anna"_s, u"Mum"_s}), 0);
        QCOMPARE(page->hear(u"renamed"_s)[u"name"_s].toString(), u"Mum"_s);
        QCOMPARE(run({u"rename"_s, u"--"_s, u"Mum"_s, u"-Dad"_s}), 0);
        QCOMPARE(page->hear(u"renamed"_s)[u"name"_s].toString(), u"-Dad"_s);
    }

    void browsersAreListedRenamedAndRevokedWhereNoneServes() {
        auto page = paired();
        QVERIFY(page);
        _web->kill();
        QCOMPARE(run({u"list"_s}), 0);
        QCOMPARE(_said.split('\t').value(1), QByteArray("Anna"));
        QCOMPARE(run({u"rename"_s, u"Anna"_s, u"Mum"_s}), 0);
        QCOMPARE(run({u"list"_s}), 0);
        QCOMPARE(_said.split('\t').value(1), QByteArray("Mum"));
        // The agent hears of it, too.
        QVERIFY(settings().contains("<string>local/Anna</string>"));
        QVERIFY(settings().contains("<string>Mum</string>"));
        QVERIFY(_web->start());
        Page later(_web->port(), resuming(page));
        QVERIFY(later.shakeHands());
        later.say({{u"is"_s, u"resume"_s}, {u"language"_s, u"en"_s}});
        QCOMPARE(later.hear(u"welcome"_s)[u"name"_s].toString(), u"Mum"_s);
        _web->kill();
        QCOMPARE(run({u"revoke"_s, u"nobody"_s}), 1);
        QVERIFY(_complained.contains("no browser “nobody” is paired"));
        QCOMPARE(run({u"revoke"_s, u"Mum"_s}), 0);
        QCOMPARE(run({u"list"_s}), 0);
        QCOMPARE(_said, QByteArray());
        QVERIFY(!settings().contains("local/Anna"));
        QVERIFY(_web->start());
        QVERIFY(!Page(_web->port(), resuming(page)).shakeHands());
    }

    void whatTakesOneThatServes_data() {
        QTest::addColumn<QString>("word");
        QTest::newRow("code") << u"code"_s;
        QTest::newRow("stop") << u"stop"_s;
    }
    void whatTakesOneThatServes() {
        QFETCH(QString, word);
        QCOMPARE(run({word}), 1);
        QCOMPARE(_complained, QByteArray("clipmule-web: no clipmule-web serves; start it without a "
                                         "command\n"));
        QCOMPARE(_said, QByteArray());
    }

    void oneThatServesIsStopped() {
        const auto page = paired();
        QVERIFY(page);
        QCOMPARE(run({u"stop"_s}), 0);
        QCOMPARE(_said + _complained, QByteArray());
        QVERIFY(page->socket().closes());
        QVERIFY(kit::await([&] { return _web->process().state() == QProcess::NotRunning; }));
        QCOMPARE(_web->process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(_web->process().exitCode(), 0);
    }

    void aDamagedListIsNamed() {
        QVERIFY(QDir(_web->path(QString())).mkpath(u"state/clipmule-sync/page"_s));
        QFile list(_web->path(u"state/clipmule-sync/page/browsers.json"_s));
        QVERIFY(list.open(QIODevice::WriteOnly) && list.write("{}") == 2);
        list.close();
        QCOMPARE(run({u"list"_s}), 1);
        QVERIFY(_complained.contains("browsers.json is damaged"));
    }

    void theFolderCanBeAnother() {
        QVERIFY(_web->start({u"--data"_s, _web->path(u"elsewhere"_s)}));
        QVERIFY(QFileInfo(_web->path(u"elsewhere/lock"_s)).exists());
        QVERIFY(!QFileInfo(_web->path(u"state"_s)).exists());
    }

    void nothingIsKeptWhereThatIsAskedFor_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("keeps");
        const QStringList none{u"--keep"_s, u"none"_s};
        const QStringList clips{u"--keep"_s, u"clips"_s};
        QTest::newRow("usually") << QStringList() << QByteArray() << true;
        QTest::newRow("option") << none << QByteArray() << false;
        QTest::newRow("file") << QStringList() << QByteArray("none\n") << false;
        QTest::newRow("file that says clips") << QStringList() << QByteArray("clips") << true;
        QTest::newRow("the option goes first") << clips << QByteArray("none\n") << true;
    }
    void nothingIsKeptWhereThatIsAskedFor() {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, file);
        QFETCH(bool, keeps);
        if (!file.isEmpty())
            writeKeep(file);
        QVERIFY(_web->start(options));
        Page page(_web->port(), _web->code());
        QVERIFY(page.shakeHands());
        page.say({{u"is"_s, u"pair"_s}, {u"name"_s, u"Anna"_s}, {u"language"_s, u"en"_s}});
        QCOMPARE(page.hear(u"welcome"_s)[u"keeps"_s].toBool(!keeps), keeps);
    }

    void aFileThatSaysNeitherIsNamed_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("another word") << QByteArray("nothing\n");
        QTest::newRow("empty") << QByteArray("\n");
        QTest::newRow("long") << QByteArray(65, ' ') + "none";
    }
    void aFileThatSaysNeitherIsNamed() {
        QFETCH(QByteArray, file);
        writeKeep(file);
        QVERIFY(!_web->start());
        QVERIFY2(_web->complaint().contains("/config/clipmule-sync/page-keep"),
                 _web->complaint().constData());
        QCOMPARE(_web->process().exitCode(), 2);
    }

    void nonsenseFromTheOneThatServes_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("no JSON") << QByteArray("hello\n");
        QTest::newRow("a list") << QByteArray("[1]\n");
        QTest::newRow("nothing") << QByteArray();
    }
    void nonsenseFromTheOneThatServes() {
        QFETCH(QByteArray, answer);
        kit::LocalAnswerer answerer;
        answerer.start(LocalRequest::pageControl);
        QProcess command;
        QProcessEnvironment environment = _web->process().processEnvironment();
        environment.insert(u"XDG_RUNTIME_DIR"_s, QString::fromLocal8Bit(answerer.folder()));
        command.setProcessEnvironment(environment);
        command.start(u"" CLIPMULE_BIN "/clipmule-web"_s, {u"list"_s});
        QCOMPARE(answerer.question(), QByteArray("{\"do\":\"list\"}\n"));
        answerer.say(answer);
        answerer.hangUp();
        QVERIFY(kit::await([&] { return command.state() == QProcess::NotRunning; }));
        QCOMPARE(command.exitCode(), 1);
        QCOMPARE(command.readAllStandardOutput(), QByteArray());
        QCOMPARE(command.readAllStandardError(),
                 QByteArray("clipmule-web: the clipmule-web that serves does not answer\n"));
    }

    void aPortThatAnotherProgramHas() {
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::LocalHost));
        const QString port = QString::number(other.serverPort());
        QVERIFY(!_web->start({u"--port"_s, port}));
        const QByteArray complaint = _web->complaint();
        QVERIFY2(complaint.endsWith(u"\nclipmule-web: port %1 of 127.0.0.1: %2\n"_s
                                        .arg(port, QString::fromLatin1(LocalRequest::portIsTaken))
                                        .toLatin1()),
                 complaint.constData());
        QCOMPARE(_web->process().exitCode(), 1);
    }

private:
    // The exit status; -1 when it does not end.
    int run(const QStringList &words) {
        QProcess command;
        command.setProcessEnvironment(_web->process().processEnvironment());
        command.start(u"" CLIPMULE_BIN "/clipmule-web"_s, words);
        const bool hasEnded = command.waitForFinished();
        _said = command.readAllStandardOutput();
        _complained = command.readAllStandardError();
        return hasEnded ? command.exitCode() : -1;
    }
    void writeKeep(const QByteArray &bytes) const {
        QFile file(_web->path(u"config/clipmule-sync/page-keep"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    [[nodiscard]] QByteArray settings() const {
        QFile file(_web->path(u"config/clipmule-sync/com.zendrik.ClipmuleSync.shared.plist"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    std::unique_ptr<Page> paired() {
        if (!_web->start())
            return nullptr;
        auto page = std::make_unique<Page>(_web->port(), _web->code());
        if (!page->shakeHands())
            return nullptr;
        page->say({{u"is"_s, u"pair"_s}, {u"name"_s, u"Anna"_s}, {u"language"_s, u"en"_s}});
        return page->hear(u"clips"_s).isEmpty() ? nullptr : std::move(page);
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<WebProcess> _web;
    QByteArray _said;
    QByteArray _complained;
};

QTEST_GUILESS_MAIN(WebCommandsTest)
#include "tst_webcommands.moc"
