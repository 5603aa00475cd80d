// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/windows/DesktopFiles.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>

using namespace clipmule;

class DesktopFilesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _root = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(_root->path()).mkpath(QStringLiteral("user")));
        QVERIFY(QDir(_root->path()).mkpath(QStringLiteral("system")));
    }

private Q_SLOTS:
    void programsAreFoundByEachOfTheirNames() {
        write("system/org.kde.dolphin.desktop", "[Desktop Entry]\nName=Dolphin\n"
                                                "Categories=Qt;KDE;System;FileManager;\n");
        write("system/foo.desktop", "[Desktop Entry]\nStartupWMClass = FooWindow\n"
                                    "Categories=Utility;\n[Desktop Action New]\n"
                                    "Categories=FileManager;\nStartupWMClass=other\n");
        const DesktopFiles files(folders());
        for (const char *name : {"org.kde.dolphin", "Org.KDE.Dolphin", "Dolphin"}) {
            const auto program = files.find(QString::fromLatin1(name));
            QVERIFY2(program, name);
            QCOMPARE(program->identifier, QStringLiteral("org.kde.dolphin"));
            QVERIFY(program->isFileManager);
        }
        for (const char *name : {"foo", "foowindow", "FooWindow"}) {
            const auto program = files.find(QString::fromLatin1(name));
            QVERIFY2(program, name);
            QCOMPARE(program->identifier, QStringLiteral("foo"));
            QVERIFY(!program->isFileManager);
        }
        QVERIFY(!files.find(QStringLiteral("other")));
        QVERIFY(!files.find(QString()));
    }

    void theUsersFileStandsForTheSystems() {
        write("system/a.desktop", "[Desktop Entry]\nCategories=FileManager;\n");
        write("user/a.desktop", "[Desktop Entry]\nCategories=Utility;\n");
        QVERIFY(!DesktopFiles(folders()).find(QStringLiteral("a"))->isFileManager);
    }

    void windowClassGoesBeforeTheLastPart() {
        write("system/org.one.files.desktop", "[Desktop Entry]\n");
        write("system/two.desktop", "[Desktop Entry]\nStartupWMClass=Files\n");
        QCOMPARE(DesktopFiles(folders()).find(QStringLiteral("files"))->identifier,
                 QStringLiteral("two"));
    }

    void newlyInstalledProgramIsFound() {
        const DesktopFiles files(folders());
        QVERIFY(!files.find(QStringLiteral("new")));
        write("user/new.desktop", "[Desktop Entry]\n");
        // A folder's time is coarse; a real installation is not made within the same tick.
        const QString folder = _root->filePath(QStringLiteral("user"));
        struct timespec times[2] = {{2000000000, 0}, {2000000000, 0}};
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(folder).constData(), times, 0), 0);
        QVERIFY(files.find(QStringLiteral("new")));
    }

    void tooLargeFilesAreLeftOut_data() {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("isRead");
        QTest::newRow("one below") << DesktopFiles::maximumFileBytes - 1 << true;
        QTest::newRow("at the limit") << DesktopFiles::maximumFileBytes << true;
        QTest::newRow("one above") << DesktopFiles::maximumFileBytes + 1 << false;
    }
    void tooLargeFilesAreLeftOut() {
        QFETCH(qint64, size);
        QByteArray contents("[Desktop Entry]\n#");
        contents += QByteArray(size - contents.size(), 'x');
        write("user/large.desktop", contents);
        QTEST(DesktopFiles(folders()).find(QStringLiteral("large")).has_value(), "isRead");
    }

    void onlySoManyAreRead() {
        for (int number = 1; number <= DesktopFiles::maximumFiles + 1; ++number)
            write(QStringLiteral("user/p%1.desktop")
                      .arg(number, 6, 10, QLatin1Char('0'))
                      .toLatin1()
                      .constData(),
                  "[Desktop Entry]\n");
        const DesktopFiles files(folders());
        const auto name = [](int number) {
            return QStringLiteral("p%1").arg(number, 6, 10, QLatin1Char('0'));
        };
        QVERIFY(files.find(name(DesktopFiles::maximumFiles - 1)));
        QVERIFY(files.find(name(DesktopFiles::maximumFiles)));
        QVERIFY(!files.find(name(DesktopFiles::maximumFiles + 1)));
    }

    void missingFolderHasNoPrograms() {
        const DesktopFiles files({QStringLiteral("/nonexistent")});
        QVERIFY(!files.find(QStringLiteral("a")));
    }

    void garbageIsNoProgramWithNames() {
        write("user/garbage.desktop", QByteArray("\0\xff=[=\n=\n[\n]", 12));
        QVERIFY(DesktopFiles(folders()).find(QStringLiteral("garbage")));
    }

private:
    QStringList folders() const {
        return {_root->filePath(QStringLiteral("user")), _root->filePath(QStringLiteral("system"))};
    }
    void write(const char *path, const QByteArray &contents) {
        QFile file(_root->filePath(QString::fromLatin1(path)));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(contents), contents.size());
    }

    std::unique_ptr<QTemporaryDir> _root;
};

QTEST_GUILESS_MAIN(DesktopFilesTest)
#include "tst_desktopfiles.moc"
