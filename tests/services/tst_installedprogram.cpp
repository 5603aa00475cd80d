// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/InstalledProgram.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace clipmule;
using namespace Qt::StringLiterals;

namespace {

void make(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

} // namespace

/// On a real file; the clock is the test's.
class InstalledProgramTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        make(path(), "1");
        _told.clear();
        _program.emplace(path());
        _program->onReplaced = [this] { _told.append(u"replaced"_s); };
        _program->onRemoved = [this] { _told.append(u"removed"_s); };
    }

    void end() override {
        _program.reset();
        QFile::remove(path());
    }

private Q_SLOTS:
    void anotherFileInItsPlaceIsTold() {
        replace();
        settleDown();
        QCOMPARE(_told, QStringList(u"replaced"_s));
        // It is the known one from now on.
        QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner));
        settleDown();
        QCOMPARE(_told.size(), 1);
    }

    // As a package manager does it: in use, the old file stays.
    void anotherFileIsToldWhileTheOldOneIsOpen() {
        QFile inUse(path());
        QVERIFY(inUse.open(QIODevice::ReadOnly));
        replace();
        settleDown();
        replace();
        settleDown();
        QVERIFY(QFile::remove(path()));
        settleDown();
        QCOMPARE(_told, (QStringList{u"replaced"_s, u"replaced"_s, u"removed"_s}));
    }

    void aFileThatIsGoneIsTold() {
        QVERIFY(QFile::remove(path()));
        settleDown();
        QCOMPARE(_told, QStringList(u"removed"_s));
    }

    void aFileThatComesBackInTimeWasReplaced() {
        // So that the new one is not the old one's.
        QFile inUse(path());
        QVERIFY(inUse.open(QIODevice::ReadOnly));
        QVERIFY(QFile::remove(path()));
        awaitChange();
        _runLoop.advance(InstalledProgram::settleTime - RunLoop::Seconds(0.5));
        make(path(), "2");
        _runLoop.advance(RunLoop::Seconds(0.4));
        QVERIFY(_told.isEmpty());
        _runLoop.advance(RunLoop::Seconds(0.1));
        QCOMPARE(_told, QStringList(u"replaced"_s));
    }

    void otherPermissionsAreNoOtherProgram() {
        QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner));
        settleDown();
        QVERIFY(_told.isEmpty());
        QVERIFY(QFile::remove(path()));
        settleDown();
        QCOMPARE(_told, QStringList(u"removed"_s));
    }

    void whoIsToldMayLetGoOfIt() {
        _program->onRemoved = [this] { _program.reset(); };
        QVERIFY(QFile::remove(path()));
        settleDown();
        QVERIFY(!_program);
        make(path(), "1");
        _program.emplace(path());
        _program->onReplaced = [this] { _program.reset(); };
        replace();
        settleDown();
        QVERIFY(!_program);
    }

    void noFileIsNotWatched() {
        _program.emplace(QString());
        _program.emplace(_folder.filePath(u"none"_s));
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private:
    QString path() const { return _folder.filePath(u"program"_s); }
    void replace() {
        make(_folder.filePath(u"new"_s), "2");
        QVERIFY(::rename(QFile::encodeName(_folder.filePath(u"new"_s)).constData(),
                         QFile::encodeName(path()).constData()) == 0);
    }
    void awaitChange() { QTRY_COMPARE(_runLoop.pendingCount(), 1); }
    void settleDown() {
        awaitChange();
        // Several changes follow each other; the last one counts.
        QCoreApplication::processEvents();
        _runLoop.advance(InstalledProgram::settleTime);
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    QTemporaryDir _folder;
    QStringList _told;
    std::optional<InstalledProgram> _program;
};

QTEST_GUILESS_MAIN(InstalledProgramTest)
#include "tst_installedprogram.moc"
