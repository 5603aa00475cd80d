// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PageProgram.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeUserServices.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;
using AtLogin = UserServices::AtLogin;

// How the program that serves the page is started, now and at login, and told of browsers.
class PageProgramTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        _services = std::make_unique<FakeUserServices>();
        _program = std::make_unique<PageProgram>(
            path(), *_services,
            AutostartEntry(_folder->filePath(u"autostart"_s), {},
                           {path(), u"page.desktop"_s, u"The Page"_s, u"Serves it"_s}));
        // It tells what it was started with.
        writeProgram(path(), "printf '%s\\n' \"$@\" >>" + said().toUtf8() + "; echo . >>" +
                                 said().toUtf8() + "\n");
        _changes = 0;
        _problems.clear();
        _program->onLoginChange = [this] { ++_changes; };
        _program->onProblem = [this](const QString &reason) { _problems.append(reason); };
    }
    void end() override { _program.reset(); }

private Q_SLOTS:
    void itIsInstalledOrNot() {
        QVERIFY(_program->isInstalled());
        QFile::setPermissions(path(), QFile::ReadOwner);
        // Root may run nothing either that nobody may.
        QVERIFY(!_program->isInstalled());
        QVERIFY(QFile::remove(path()));
        QVERIFY(!_program->isInstalled());
    }

    void whatItComplainsAboutLastIsTheReason_data() {
        QTest::addColumn<QByteArray>("program");
        QTest::addColumn<QString>("complaint");
        QTest::newRow("nothing") << QByteArray("exit 1\n") << QString();
        QTest::newRow("its name in front")
            << QByteArray("echo 'clipmule-web: taken' >&2\n") << u"taken"_s;
        QTest::newRow("the last line") << QByteArray("echo one >&2; echo two >&2\n") << u"two"_s;
        QTest::newRow("with signs of control")
            << QByteArray("printf 'a\\033[1mb\\n' >&2\n") << u"a\\x1b[1mb"_s;
        QTest::newRow("what it prints is none") << QByteArray("echo printed\n") << QString();
        // In bytes, with the end of the line.
        QTest::newRow("as much as is read")
            << QByteArray("printf '%4090s\\nabcde' ' ' >&2\n") << u"abcde"_s;
        QTest::newRow("more than that")
            << QByteArray("printf '%4091s\\nabcde' ' ' >&2\n") << QString();
    }
    void whatItComplainsAboutLastIsTheReason() {
        QFETCH(QByteArray, program);
        writeProgram(path(), program);
        QCOMPARE(_program->complaint(), QString());
        QVERIFY(_program->startItself());
        QTRY_VERIFY(_program->itselfHasEnded());
        QTEST(_program->complaint(), "complaint");
    }

    void itIsThereAsLongAsItRuns() {
        writeProgram(path(), "while [ -e " + path().toUtf8() + " ]; do sleep 0.02; done\n");
        QVERIFY(_program->startItself());
        QVERIFY(!_program->itselfHasEnded());
        QVERIFY(QFile::remove(path()));
        QTRY_VERIFY(_program->itselfHasEnded());
    }

    void aProgramThatCannotBeStarted() {
        QVERIFY(QFile::remove(path()));
        QVERIFY(!_program->startItself());
    }

    void theManagerSwitchesItsUnit() {
        _services->atLogin = AtLogin::Off;
        _program->look();
        QCOMPARE(_changes, 1);
        QVERIFY(!_program->isAtLogin());
        _program->setAtLogin(true);
        QVERIFY(_program->isAtLogin());
        _program->setAtLogin(false);
        QVERIFY(!_program->isAtLogin());
        QCOMPARE(_changes, 3);
        QCOMPARE(_services->asked,
                 (QStringList{u"look clipmule-web.service"_s, u"on clipmule-web.service"_s,
                              u"off clipmule-web.service"_s}));
        QVERIFY(!QDir(_folder->filePath(u"autostart"_s)).exists());
        // Somebody else has switched it.
        _services->atLogin = AtLogin::On;
        _program->look();
        QVERIFY(_program->isAtLogin());
    }

    void whatCannotBeSwitchedStaysAsItWas() {
        _services->atLogin = AtLogin::On;
        _program->look();
        _services->problem = u"not allowed"_s;
        _program->setAtLogin(false);
        QVERIFY(_program->isAtLogin());
        QCOMPARE(_problems, QStringList{u"not allowed"_s});
        QCOMPARE(_changes, 2);
    }

    void anEntryIsWrittenWhereThereIsNoUnit() {
        _program->look();
        QVERIFY(!_program->isAtLogin());
        _program->setAtLogin(true);
        QVERIFY(_program->isAtLogin());
        QFile entry(_folder->filePath(u"autostart/page.desktop"_s));
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const QByteArray text = entry.readAll();
        QVERIFY(text.contains("\nName=The Page\nComment=Serves it\nExec=\"" + path().toUtf8()));
        // It serves from now on.
        QTRY_COMPARE(said(1), QByteArray("\n.\n"));
        _program->setAtLogin(false);
        QVERIFY(!_program->isAtLogin());
        // And no longer, as with a unit.
        QTRY_COMPARE(said(2), QByteArray("\n.\nstop\n.\n"));
        _program->look();
        QVERIFY(!_program->isAtLogin());
        QCOMPARE(_services->asked.filter(u"look"_s).size(), 2);
        QCOMPARE(_services->asked.size(), 2);
        _program->setAtLogin(true);
        _program->look();
        QVERIFY(_program->isAtLogin());
    }

    void anEntryThatCannotBeWritten() {
        QFile file(_folder->filePath(u"autostart"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        _program->look();
        _program->setAtLogin(true);
        QVERIFY(!_program->isAtLogin());
        QCOMPARE(_problems.size(), 1);
        // Nor is it started: what is shown is how it stays.
        QVERIFY(!QFile::exists(said()));
    }

    void anEntryThatStaysKeepsItServing() {
        _program->look();
        _program->setAtLogin(true);
        QTRY_COMPARE(said(1), QByteArray("\n.\n"));
        // A folder in its place.
        QVERIFY(QFile::remove(_folder->filePath(u"autostart/page.desktop"_s)));
        QVERIFY(QDir(_folder->path()).mkpath(u"autostart/page.desktop/in the way"_s));
        _program->setAtLogin(true);
        QCOMPARE(_problems.size(), 1);
        QCOMPARE(said(1), QByteArray("\n.\n"));
    }

    void whatItAnswersIsNotShown() {
        writeProgram(path(), "a=$(readlink /proc/$$/fd/1); b=$(readlink /proc/$$/fd/2)\n"
                             "echo $a $b >" +
                                 said().toUtf8() + "\n");
        _program->revoke(u"local/Mum"_s);
        QTRY_COMPARE(said(0), QByteArray("/dev/null /dev/null\n"));
    }

    void browsersAreRenamedAndRevokedByIt() {
        _program->rename(u"local/-Mum"_s, u" -Dad "_s);
        QTRY_COMPARE(said(1), QByteArray("rename\n--\nlocal/-Mum\n-Dad\n.\n"));
        // Without a name it is called as its service.
        _program->rename(u"local/Mum"_s, u" "_s);
        QTRY_COMPARE(said(2), QByteArray("rename\n--\nlocal/-Mum\n-Dad\n.\n"
                                         "rename\n--\nlocal/Mum\nMum\n.\n"));
        QVERIFY(QFile::remove(said()));
        _program->revoke(u"local/Mum"_s);
        QTRY_COMPARE(said(1), QByteArray("revoke\n--\nlocal/Mum\n.\n"));
    }

private:
    [[nodiscard]] QString path() const { return _folder->filePath(u"clipmule-web"_s); }
    [[nodiscard]] QString said() const { return _folder->filePath(u"said"_s); }
    // What it was started with so many times; empty until it was.
    [[nodiscard]] QByteArray said(int times) const {
        QFile file(said());
        const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return text.split('\n').count(".") == times ? text : QByteArray();
    }

    ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<FakeUserServices> _services;
    std::unique_ptr<PageProgram> _program;
    int _changes = 0;
    QStringList _problems;
};

QTEST_GUILESS_MAIN(PageProgramTest)
#include "tst_pageprogram.moc"
