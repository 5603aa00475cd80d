// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/DataFile.h"
#include "platform/foundation/PlatformException.h"
#include "tests/kit/FullDisk.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace clipmule;

class DataFileTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void writesAndReplaces() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        QVERIFY(DataFile::write(path, "one"));
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("one")));
        QVERIFY(DataFile::write(path, ""));
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("")));
        DataFile::remove(path);
        QVERIFY(!QFile::exists(path));
        DataFile::remove(path);
    }

    void makesTheFolder() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("a/b/file"));
        QVERIFY(DataFile::write(path, "one"));
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("one")));
        // For this user alone, and what was there stays as it was.
        const auto permissionsOf = [](const QString &name) { return QFile::permissions(name); };
        constexpr auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
        for (const char *made : {"a", "a/b", "a/b/file"})
            QVERIFY(!(permissionsOf(folder.filePath(QString::fromLatin1(made))) & others));
        const QString open = folder.filePath(QStringLiteral("open"));
        QVERIFY(QDir().mkdir(open));
        QVERIFY(QFile::setPermissions(open, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                QFile::ReadOther | QFile::ExeOther));
        QVERIFY(DataFile::write(open + QStringLiteral("/file"), "one"));
        QVERIFY(permissionsOf(open) & QFile::ReadOther);
        QVERIFY(!(permissionsOf(open + QStringLiteral("/file")) & others));
        QVERIFY(DataFile::makeFolder(open));
        QVERIFY(!DataFile::makeFolder(path));
        QVERIFY(!DataFile::makeFolder(path + QStringLiteral("/below")));
    }

    void tooMuchIsNotWritten_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isWritten");
        QTest::newRow("one below") << 99 << true;
        QTest::newRow("at the limit") << 100 << true;
        QTest::newRow("one above") << 101 << false;
    }

    void tooMuchIsNotWritten() {
        QFETCH(int, size);
        QFETCH(bool, isWritten);
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        QVERIFY(DataFile::write(path, "old"));
        const QByteArray bytes(size, 'x');
        if (isWritten)
            QVERIFY(DataFile::write(path, bytes, 100));
        else
            QVERIFY(!DataFile::write(path, bytes, 100));
        QCOMPARE(DataFile::read(path, 100).value(),
                 std::optional(isWritten ? bytes : QByteArray("old")));
        if (isWritten && size == 100)
            QVERIFY(!DataFile::read(path, 99));
    }

    void aLinkIsReplacedAndNotRead() {
        const QTemporaryDir folder;
        const QString victim = folder.filePath(QStringLiteral("victim"));
        const QString path = folder.filePath(QStringLiteral("file"));
        QFile file(victim);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("private");
        file.close();
        const auto permissions = QFile::permissions(victim);
        QVERIFY(QFile::link(victim, path));
        QVERIFY(!DataFile::read(path));
        QVERIFY(DataFile::keepUnreadable(path));
        QVERIFY(DataFile::write(path, "one"));
        QVERIFY(!QFileInfo(path).isSymLink());
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("one")));
        QCOMPARE(DataFile::read(victim).value(), std::optional(QByteArray("private")));
        QCOMPARE(QFile::permissions(victim), permissions);
        // The link was set aside, not what it leads to.
        QVERIFY(QFileInfo(path + QStringLiteral(".unreadable")).isSymLink());
    }

    void nothingIsLeftOfAFailedWrite() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        QVERIFY(QDir().mkpath(path));
        QVERIFY(!DataFile::write(path, "one"));
        QCOMPARE(
            QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            QStringList{QStringLiteral("file")});
    }

    void failedWriteLeavesTheOldFile() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        QVERIFY(DataFile::write(path, "one"));
        QVERIFY(!DataFile::write(path + QStringLiteral("/below"), "two"));
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("one")));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{QStringLiteral("file")});
    }

    void fullDiskLeavesTheOldFileAndSaysSo() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        QVERIFY(DataFile::write(path, "old", 10000));
        // Less than what is gathered before it is written, and more.
        for (const qsizetype size : {5000, 100000}) {
            Result<void> written;
            {
                const kit::FullDisk disk(1000);
                written = DataFile::write(path, QByteArray(size, 'x'), 100000);
            }
            QCOMPARE(written.error().reason, path + QStringLiteral(": File too large"));
            QCOMPARE(DataFile::read(path, 10000).value(), QByteArray("old"));
            QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
        }
    }

    void missingFileIsNothing() {
        const QTemporaryDir folder;
        QCOMPARE(DataFile::read(folder.filePath(QStringLiteral("none"))), std::nullopt);
    }

    void readingAFolderFails() {
        const QTemporaryDir folder;
        QVERIFY(!DataFile::read(folder.path()));
    }

    void readingAPipeDoesNotWait() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        QVERIFY(!DataFile::read(path));
    }

    void tooLargeAFileIsRefused() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("large"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        // A hole: it takes no space.
        QVERIFY(file.resize(DataFile::largest + 1));
        QVERIFY(!DataFile::read(path));
    }

    void plainIdsAreFileNames() {
        const QString extension = QStringLiteral("x");
        QCOMPARE(DataFile::name(QStringLiteral("Main"), extension), QStringLiteral("Main.x"));
        QCOMPARE(DataFile::name(QStringLiteral("mü 1"), extension), QStringLiteral("mü 1.x"));
        QVERIFY(DataFile::name(QStringLiteral("a/b"), extension) !=
                DataFile::name(QStringLiteral("a/c"), extension));
    }

    void longestPlainId() {
        const QString extension = QStringLiteral("x");
        // Counted in bytes: ü is two of them.
        for (const QString &longest : {QString(200, u'a'), QString(100, u'ü')}) {
            QCOMPARE(DataFile::name(longest, extension), longest + QStringLiteral(".x"));
            QVERIFY(DataFile::name(longest + u'a', extension) != longest + QStringLiteral("a.x"));
        }
        QCOMPARE(DataFile::name(QString(199, u'a'), extension),
                 QString(199, u'a') + QStringLiteral(".x"));
    }

    void unreadableFileKeepsASecondName() {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("file"));
        const QString kept = path + QStringLiteral(".unreadable");
        for (const char *bytes : {"one", "two", "three"}) {
            QVERIFY(DataFile::write(path, bytes));
            QVERIFY(DataFile::keepUnreadable(path));
            QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray(bytes)));
        }
        QVERIFY(DataFile::write(path, "four"));
        QCOMPARE(DataFile::read(kept).value(), std::optional(QByteArray("one")));
        QCOMPARE(DataFile::read(kept + u'2').value(), std::optional(QByteArray("two")));
        QCOMPARE(DataFile::read(kept + u'3').value(), std::optional(QByteArray("three")));

        // Gone meanwhile: nothing to keep.
        QVERIFY(DataFile::keepUnreadable(folder.filePath(QStringLiteral("none"))));
        QVERIFY(!QFile::exists(folder.filePath(QStringLiteral("none.unreadable"))));

        // There is an end to it, and then the file stays.
        for (int number = 4; number <= 100; ++number)
            QVERIFY(DataFile::write(kept + QString::number(number), ""));
        QVERIFY(!DataFile::keepUnreadable(path));
        QCOMPARE(DataFile::read(path).value(), std::optional(QByteArray("four")));
    }

    void usersStoreIsInTheDocumentsFolder() {
        QCOMPARE(ClipboardStore::userPath(),
                 QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        const auto other = ClipboardStore::make(QStringLiteral("/other"));
        QCOMPARE(other->dataPath(), QStringLiteral("/other"));
        QCOMPARE(other->path(QStringLiteral("X"), QStringLiteral("y")),
                 QStringLiteral("/other/X.y"));
    }
};

QTEST_GUILESS_MAIN(DataFileTest)
#include "tst_datafile.moc"
