// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/RegularFile.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace clipmule;
using Outcome = RegularFile::Contents::Outcome;

class RegularFileTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void readsTheWholeFile();
    void followsLinks();
    void missingFile();
    void sizeIsLimited();
    void whatIsNoFileFails();

private:
    std::unique_ptr<QTemporaryDir> _place;
};

void RegularFileTest::init() {
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    _place = std::make_unique<QTemporaryDir>();
    QFile file(_place->filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("12345");
}

void RegularFileTest::readsTheWholeFile() {
    const auto contents = RegularFile::read(_place->filePath(QStringLiteral("file")), 100);
    QCOMPARE(contents.outcome, Outcome::Read);
    QCOMPARE(contents.bytes, QByteArray("12345"));
}

void RegularFileTest::followsLinks() {
    const QString link = _place->filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(_place->filePath(QStringLiteral("file")), link));
    QCOMPARE(RegularFile::read(link, 100).bytes, QByteArray("12345"));
}

void RegularFileTest::missingFile() {
    const auto contents = RegularFile::read(_place->filePath(QStringLiteral("none")), 100);
    QCOMPARE(contents.outcome, Outcome::Missing);
}

void RegularFileTest::sizeIsLimited() {
    const QString path = _place->filePath(QStringLiteral("file"));
    QCOMPARE(RegularFile::read(path, 6).outcome, Outcome::Read);
    QCOMPARE(RegularFile::read(path, 5).outcome, Outcome::Read);
    const auto contents = RegularFile::read(path, 4);
    QCOMPARE(contents.outcome, Outcome::TooLarge);
    QCOMPARE(contents.bytes, QByteArray());
}

void RegularFileTest::whatIsNoFileFails() {
    QCOMPARE(RegularFile::read(_place->path(), 100).outcome, Outcome::Failed);
    QCOMPARE(RegularFile::read(QStringLiteral("/dev/zero"), 100).outcome, Outcome::Failed);
    // A pipe that nobody writes to.
    const QString pipe = _place->filePath(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QCOMPARE(RegularFile::read(pipe, 100).outcome, Outcome::Failed);
}

QTEST_GUILESS_MAIN(RegularFileTest)
#include "tst_regularfile.moc"
