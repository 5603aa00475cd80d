// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/FileHandle.h"
#include "tests/kit/FullDisk.h"
#include "tests/kit/Results.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace clipmule;

class RegularFileTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _place = std::make_unique<QTemporaryDir>();
        QFile file(_place->filePath(QStringLiteral("file")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("12345");
    }

private Q_SLOTS:
    void readsTheWholeFile() {
        const auto contents = RegularFile::read(_place->filePath(QStringLiteral("file")), 100);
        QCOMPARE(kit::reasonOf(contents), QString());
        QCOMPARE(*contents, QByteArray("12345"));
    }

    void followsLinks() {
        const QString link = _place->filePath(QStringLiteral("link"));
        QVERIFY(QFile::link(_place->filePath(QStringLiteral("file")), link));
        QCOMPARE(*RegularFile::read(link, 100), QByteArray("12345"));
    }

    void missingFile() {
        const auto contents = RegularFile::read(_place->filePath(QStringLiteral("none")), 100);
        QVERIFY(contents && !*contents);
    }

    void sizeIsLimited() {
        const QString path = _place->filePath(QStringLiteral("file"));
        QVERIFY(RegularFile::read(path, 6));
        QVERIFY(RegularFile::read(path, 5));
        QCOMPARE(kit::reasonOf(RegularFile::read(path, 4)),
                 QStringLiteral("it is larger than 4 bytes"));
    }

    void whatIsNoFileFails() {
        QCOMPARE(kit::reasonOf(RegularFile::read(_place->path(), 100)),
                 QStringLiteral("it cannot be read"));
        QCOMPARE(kit::reasonOf(RegularFile::read(QStringLiteral("/dev/zero"), 100)),
                 QStringLiteral("it cannot be read"));
        // A pipe that nobody writes to.
        const QString pipe = _place->filePath(QStringLiteral("pipe"));
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QCOMPARE(kit::reasonOf(RegularFile::read(pipe, 100)), QStringLiteral("it cannot be read"));
    }

    void aFileInMemoryHoldsWhatItWasGiven() {
        const FileHandle file = fileInMemory("12345");
        char bytes[10] = {};
        QCOMPARE(::pread(file.descriptor(), bytes, sizeof bytes, 0), 5);
        QCOMPARE(QByteArray(bytes), QByteArray("12345"));
        QVERIFY(fileInMemory({}).isOpen());
    }

    void halfAFileInMemoryIsNone() {
        const kit::FullDisk disk(4);
        QVERIFY(fileInMemory("1234").isOpen());
        QVERIFY(!fileInMemory("12345").isOpen());
    }

private:
    std::unique_ptr<QTemporaryDir> _place;
};

QTEST_GUILESS_MAIN(RegularFileTest)
#include "tst_regularfile.moc"
