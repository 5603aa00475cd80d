// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PrivateFolder.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace clipmule;

namespace {

const QString name = QStringLiteral("Clipmule");

QByteArray contentsOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

void writeFile(const QString &path, const QByteArray &bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

mode_t modeOf(const QString &path) {
    struct stat status {};
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

void setMode(const QString &path, mode_t mode) {
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

} // namespace

class PrivateFolderTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _place = std::make_unique<QTemporaryDir>(); }

private Q_SLOTS:
    void onlyItsOwnerEnters() {
        const mode_t mask = ::umask(0);
        const PrivateFolder folder = make();
        ::umask(mask);
        QCOMPARE(folder.path(), path());
        QCOMPARE(modeOf(path()), mode_t(0700));
    }

    void makesTheParent() {
        const PrivateFolder folder = make();
        QCOMPARE(modeOf(_place->filePath(QStringLiteral("parent"))), mode_t(0700));
        // But no more than that.
        QVERIFY(!PrivateFolder::makeEmpty(_place->filePath(QStringLiteral("none/parent")), name));
    }

    void emptiesWhatWasThere() {
        QVERIFY(make().write(QStringLiteral("old"), "1"));
        QVERIFY(QDir().mkpath(path(QStringLiteral("/below/deeper"))));
        writeFile(path(QStringLiteral("/below/deeper/file")), "2");
        writeFile(path(QStringLiteral("/.hidden")), "3");
        writeFile(_place->filePath(QStringLiteral("parent/neighbour")), "4");
        const PrivateFolder folder = make();
        QVERIFY(QDir(path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
        QCOMPARE(contentsOf(_place->filePath(QStringLiteral("parent/neighbour"))), QByteArray("4"));
    }

    void fileInItsPlaceIsReplaced() {
        QVERIFY(QDir(_place->path()).mkdir(QStringLiteral("parent")));
        setMode(_place->filePath(QStringLiteral("parent")), 0700);
        writeFile(path(), "in the way");
        const PrivateFolder folder = make();
        QVERIFY(QFileInfo(path()).isDir());
    }

    void linkInItsPlaceIsNotFollowed() {
        const QString target = _place->filePath(QStringLiteral("target"));
        QVERIFY(QDir().mkpath(target));
        writeFile(target + QStringLiteral("/file"), "kept");
        (void)make();
        QVERIFY(QDir().rmdir(path()));
        QVERIFY(QFile::link(target, path()));
        const PrivateFolder folder = make();
        QVERIFY(folder.write(QStringLiteral("new"), "1"));
        QCOMPARE(contentsOf(target + QStringLiteral("/file")), QByteArray("kept"));
        QVERIFY(!QFile::exists(target + QStringLiteral("/new")));
        QVERIFY(!QFileInfo(path()).isSymLink());
    }

    void linkInsideIsNotFollowed() {
        const QString target = _place->filePath(QStringLiteral("target"));
        QVERIFY(QDir().mkpath(target));
        writeFile(target + QStringLiteral("/file"), "kept");
        (void)make();
        QVERIFY(QFile::link(target, path(QStringLiteral("/link"))));
        QVERIFY(QFile::link(target + QStringLiteral("/file"), path(QStringLiteral("/filelink"))));
        (void)make();
        QCOMPARE(contentsOf(target + QStringLiteral("/file")), QByteArray("kept"));
        QVERIFY(QDir(path()).isEmpty());
    }

    void parentThatIsALinkIsRefused() {
        const QString target = _place->filePath(QStringLiteral("target"));
        QVERIFY(QDir().mkpath(target + QStringLiteral("/Clipmule")));
        setMode(target, 0700);
        writeFile(target + QStringLiteral("/Clipmule/file"), "kept");
        QVERIFY(QFile::link(target, _place->filePath(QStringLiteral("parent"))));
        QVERIFY(!tried());
        QCOMPARE(contentsOf(target + QStringLiteral("/Clipmule/file")), QByteArray("kept"));
    }

    void parentThatOthersMayWriteToIsRefused() {
        (void)make();
        for (const mode_t mode : {0720, 0702, 01777}) {
            setMode(_place->filePath(QStringLiteral("parent")), mode);
            QVERIFY(!tried());
        }
        setMode(_place->filePath(QStringLiteral("parent")), 0755);
        (void)make();
    }

    void parentOfSomebodyElseIsRefused() {
        if (::geteuid() != 0) {
            // Root's, and nobody else may write to it.
            QVERIFY(!PrivateFolder::makeEmpty(QStringLiteral("/usr"), name));
            return;
        }
        (void)make();
        constexpr uid_t somebody = 12345;
        const QByteArray parent = QFile::encodeName(_place->filePath(QStringLiteral("parent")));
        QCOMPARE(::chown(parent.constData(), somebody, gid_t(-1)), 0);
        QVERIFY(!tried());
    }

    void nestingIsLimited() {
        (void)make();
        for (const int levels : {63, 64}) {
            QVERIFY(QDir().mkpath(path(QStringLiteral("/d").repeated(levels))));
            (void)make();
            QVERIFY(QDir(path()).isEmpty());
        }
        QVERIFY(QDir().mkpath(path(QStringLiteral("/d").repeated(65))));
        QVERIFY(!tried());
    }

    void namesThatLeaveTheFolderAreRefused_data() {
        QTest::addColumn<QString>("fileName");
        QTest::newRow("empty") << QString();
        QTest::newRow("itself") << QStringLiteral(".");
        QTest::newRow("parent") << QStringLiteral("..");
        QTest::newRow("path") << QStringLiteral("../file");
        QTest::newRow("absolute") << QStringLiteral("/tmp/file");
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(u'\0');
    }

    void namesThatLeaveTheFolderAreRefused() {
        QFETCH(QString, fileName);
        const PrivateFolder folder = make();
        QVERIFY(!folder.write(fileName, "1"));
        QVERIFY(!PrivateFolder::makeEmpty(_place->path(), fileName));
    }

    void filesAreForTheOwnerOnly() {
        const mode_t mask = ::umask(0);
        QVERIFY(make().write(QStringLiteral("a ü"), "bytes"));
        ::umask(mask);
        QCOMPARE(contentsOf(path(QStringLiteral("/a ü"))), QByteArray("bytes"));
        QCOMPARE(modeOf(path(QStringLiteral("/a ü"))), mode_t(0600));
    }

    void fileThatIsThereIsNotOverwritten() {
        const PrivateFolder folder = make();
        QVERIFY(folder.write(QStringLiteral("file"), "1"));
        QVERIFY(!folder.write(QStringLiteral("file"), "2"));
        QVERIFY(QFile::link(_place->filePath(QStringLiteral("outside")),
                            path(QStringLiteral("/link"))));
        QVERIFY(!folder.write(QStringLiteral("link"), "2"));
        QCOMPARE(contentsOf(path(QStringLiteral("/file"))), QByteArray("1"));
        QVERIFY(!QFile::exists(_place->filePath(QStringLiteral("outside"))));
    }

    void temporaryPathOfTheSession() {
        const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
        const QString runtime = _place->filePath(QStringLiteral("runtime"));
        QVERIFY(QDir().mkpath(runtime));
        setMode(runtime, 0700);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime));
        QCOMPARE(PrivateFolder::temporaryPath(), runtime);
        setMode(runtime, 0777);
        QVERIFY(PrivateFolder::temporaryPath() != runtime);
        qputenv("XDG_RUNTIME_DIR", before);
    }

    void temporaryPathWithoutASession() {
        const QByteArray before = qgetenv("XDG_RUNTIME_DIR");
        const QString own = QStringLiteral("/tmp/clipmule-%1").arg(::geteuid());
        qunsetenv("XDG_RUNTIME_DIR");
        QCOMPARE(PrivateFolder::temporaryPath(), own);
        qputenv("XDG_RUNTIME_DIR", "relative");
        QCOMPARE(PrivateFolder::temporaryPath(), own);
        qputenv("XDG_RUNTIME_DIR", "/none");
        QCOMPARE(PrivateFolder::temporaryPath(), own);
        qputenv("XDG_RUNTIME_DIR", before);
    }

private:
    [[nodiscard]] QString path(const QString &below = {}) const {
        return _place->filePath(QStringLiteral("parent/Clipmule") + below);
    }
    [[nodiscard]] PrivateFolder make() const { return kit::valueOf(tried()); }
    [[nodiscard]] Result<PrivateFolder> tried() const {
        return PrivateFolder::makeEmpty(_place->filePath(QStringLiteral("parent")), name);
    }
    std::unique_ptr<QTemporaryDir> _place;
};

QTEST_GUILESS_MAIN(PrivateFolderTest)
#include "tst_privatefolder.moc"
