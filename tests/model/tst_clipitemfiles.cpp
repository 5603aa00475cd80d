// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ClipboardStore.h"
#include "model/ZRKClipmuleData.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/TestCase.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;

namespace {

QByteArray contentsOf(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

} // namespace

/// The side files of items.
class ClipItemFilesTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        _runLoop = std::make_unique<kit::ManualRunLoop>();
        _runLoopInstallation = std::make_unique<RunLoop::Installation>(*_runLoop);
        _store = ClipboardStore::make(_folder->filePath(QStringLiteral("data")));
    }

    void end() override {
        _store.reset();
        _runLoopInstallation.reset();
        _runLoop.reset();
        _folder.reset();
    }

private Q_SLOTS:
    void pathsAreNamedAfterTheId() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        const QString folder = _folder->filePath(QStringLiteral("data/"));
        QCOMPARE(item.imageDataPath(), folder + item.oid() + QStringLiteral(".imageData"));
        QCOMPARE(item.nativeDictionaryPath(),
                 folder + item.oid() + QStringLiteral(".nativeDictionary"));
    }

    void idsThatAreNoFileNamesStayInTheFolder_data() {
        QTest::addColumn<QString>("oid");
        QTest::newRow("path upwards") << QStringLiteral("../../escape");
        QTest::newRow("absolute path") << QStringLiteral("/etc/passwd");
        QTest::newRow("folder itself") << QStringLiteral(".");
        QTest::newRow("hidden") << QStringLiteral(".profile");
        QTest::newRow("empty") << QString();
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b");
        QTest::newRow("too long") << QString(201, u'x');
        QTest::newRow("half a character") << QString(QChar(u'\xD800'));
    }

    void idsThatAreNoFileNamesStayInTheFolder() {
        QFETCH(QString, oid);
        const auto item = ZRKClipmuleDataItem::initWithDictionary(
            {{QStringLiteral("oid"), oid}, {QStringLiteral("imageData"), QByteArray("image")}});
        item->setStore(_store);
        QCOMPARE(item->oid(), oid);
        const QFileInfo file(item->imageDataPath());
        QCOMPARE(file.path(), _folder->filePath(QStringLiteral("data")));
        const QRegularExpression form(QStringLiteral("^[0-9a-f]{64}\\.imageData$"));
        QVERIFY2(form.match(file.fileName()).hasMatch(), qPrintable(file.fileName()));
        item->saveExtraData();
        QCOMPARE(contentsOf(item->imageDataPath()), QByteArray("image"));
    }

    void imageIsWrittenAndReadBack() {
        const QByteArray image("an image");
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(image);
        item.saveExtraData();
        QVERIFY(!item.isImageDataDirty());
        QCOMPARE(contentsOf(item.imageDataPath()), image);
        // What was copied is for this user's eyes only.
        QCOMPARE(QFile::permissions(item.imageDataPath()) &
                     (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther),
                 QFile::Permissions());

        const size_t hash = item.hash();
        item.releaseCachedData();
        QVERIFY(item.hasImageData());
        QCOMPARE(item.hash(), hash);
        const std::optional<QByteArray> read = item.imageData();
        QCOMPARE(read, std::optional(image));
        QVERIFY(read->constData() != image.constData());
        // Kept from now on.
        QVERIFY(item.imageData()->constData() == read->constData());
        QCOMPARE(item.size(), quint64(image.size()));
    }

    void unsavedImageIsNotReleased() {
        const QByteArray image("an image");
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(image);
        item.setTransientCacheValueForKey(PropertyList(1), QStringLiteral("key"));
        item.releaseCachedData();
        QVERIFY(item.imageData()->constData() == image.constData());
        QVERIFY(!item.transientCacheValueForKey(QStringLiteral("key")));
    }

    void removedImageIsDeletedFromDisk() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(QByteArray("an image"));
        item.saveExtraData();
        item.releaseCachedData();
        item.setDirty(false);

        item.setImageData(std::nullopt);
        QVERIFY(!item.hasImageData());
        QVERIFY(item.isImageDataDirty());
        QVERIFY(item.isDirty());
        QVERIFY(QFile::exists(item.imageDataPath()));
        item.saveExtraData();
        QVERIFY(!QFile::exists(item.imageDataPath()));
        QVERIFY(!item.isImageDataDirty());
    }

    void missingImageFileIsSilent() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(QByteArray("an image"));
        item.saveExtraData();
        item.releaseCachedData();
        QVERIFY(QFile::remove(item.imageDataPath()));
        QCOMPARE(item.imageData(), std::nullopt);
        QVERIFY(item.hasImageData());
        QVERIFY(!item.hasJPEG());
        QCOMPARE(item.size(), quint64(0));
        QVERIFY(!item.toDictionary().contains(QStringLiteral("imageData")));
    }

    void unreadableImageFileIsLogged() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(QByteArray("an image"));
        item.saveExtraData();
        item.releaseCachedData();
        QVERIFY(QFile::remove(item.imageDataPath()));
        QVERIFY(QDir().mkpath(item.imageDataPath()));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable(QStringLiteral("FAILED TO READ ") + item.imageDataPath()));
        QCOMPARE(item.imageData(), std::nullopt);
    }

    void imageThatCannotBeWrittenIsKept() {
        const QByteArray png = QByteArray::fromHex("89504e47 0d0a");
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(png);
        item.setDirty(false);
        // A folder stands where the file should be.
        QVERIFY(QDir().mkpath(item.imageDataPath()));
        const QString line = QStringLiteral("FAILED TO SAVE ") + item.imageDataPath();
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
        item.saveExtraData();
        item.releaseCachedData();
        QVERIFY(item.isDirty());
        QVERIFY(item.isImageDataDirty());
        // It still is an image, whichever way one asks.
        QVERIFY(item.hasImageData());
        QVERIFY(item.hasPNG());
        QCOMPARE(item.bestType(), ZRKClipmuleDataImageDataType);
        QVERIFY(item.toDictionary().contains(QStringLiteral("imageData")));
        QCOMPARE(item.imageData(), std::optional(png));

        // The log knows of it already.
        item.saveExtraData();
        QVERIFY(QDir().rmdir(item.imageDataPath()));
        item.saveExtraData();
        QVERIFY(!item.isImageDataDirty());
        QCOMPARE(contentsOf(item.imageDataPath()), png);

        // Of the next failure it does not.
        item.setImageData(QByteArray("another"));
        QVERIFY(QFile::remove(item.imageDataPath()));
        QVERIFY(QDir().mkpath(item.imageDataPath()));
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
        item.saveExtraData();
    }

    void sizeFetchesTheImageFromDisk() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(QByteArray("an image"));
        item.saveExtraData();
        item.releaseCachedData();
        QCOMPARE(item.size(), quint64(8));
    }

    void eraseDeletesTheFiles() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setImageData(QByteArray("an image"));
        item.saveExtraData();
        item.erase();
        QVERIFY(!QFile::exists(item.imageDataPath()));
        QVERIFY(item.hasImageData());
        // Nothing there any more; errors do not matter.
        item.erase();
    }

    void eraseLeavesWhatTheItemDoesNotSpeakOf() {
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        QVERIFY(QDir().mkpath(QFileInfo(item.imageDataPath()).path()));
        for (const QString &path : {item.imageDataPath(), item.nativeDictionaryPath()}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        item.erase();
        QVERIFY(QFile::exists(item.imageDataPath()));
        QVERIFY(QFile::exists(item.nativeDictionaryPath()));
    }

    // It goes before the save that would have deleted them.
    void eraseDeletesWhatTheNextSaveWould() {
        const auto item = ZRKClipmuleDataItem::initWithNativeDictionary(
            ZRKClipmuleDataItem::NativeDictionary{{QStringLiteral("type"), "bytes"}});
        item->setStore(_store);
        item->setImageData(QByteArray("an image"));
        item->saveExtraData();
        item->setString(QStringLiteral("text"));
        item->setImageData(std::nullopt);
        QVERIFY(QFile::exists(item->imageDataPath()));
        QVERIFY(QFile::exists(item->nativeDictionaryPath()));
        item->erase();
        QVERIFY(!QFile::exists(item->imageDataPath()));
        QVERIFY(!QFile::exists(item->nativeDictionaryPath()));
    }

    // Only what is received has at most a thousand.
    void copyOfManyRepresentations() {
        ZRKClipmuleDataItem::NativeDictionary native;
        for (int number = 0; number < 1001; ++number)
            native.insert(QString::number(number), QByteArray());
        const auto copy = ZRKClipmuleDataItem::initWithNativeDictionary(native)->copyWithZone();
        QCOMPARE(copy->nativeDictionary(), std::optional(native));
    }

    void copySavesAndReleasesTheSource() {
        const QByteArray image("an image");
        ZRKClipmuleDataItem item;
        item.setStore(_store);
        item.setString(QStringLiteral("text"));
        item.setImageData(image);
        const auto copy = item.copyWithZone();
        QVERIFY(copy->oid() != item.oid());
        QVERIFY(copy->isEqual(item));
        QCOMPARE(copy->string(), item.string());
        QVERIFY(copy->imageData()->constData() == image.constData());
        QCOMPARE(copy->createdBy(), item.createdBy());
        QVERIFY(copy->isDirty());
        QVERIFY(copy->isImageDataDirty());

        QCOMPARE(contentsOf(item.imageDataPath()), image);
        QVERIFY(!item.isImageDataDirty());
        // Not in memory any more: with the file gone there is no image.
        QVERIFY(QFile::remove(item.imageDataPath()));
        QCOMPARE(item.imageData(), std::nullopt);
    }

    void copyOfAClip() {
        const auto clip =
            ZRKClipmuleData::initWithStrings({QStringLiteral("one"), QStringLiteral("two")});
        clip->setTitle(QStringLiteral("title"));
        const Date before = *clip->creationDate();
        _runLoop->advance(10);
        const auto copy = clip->copyWithZone();
        QVERIFY(copy->oid() != clip->oid());
        QVERIFY(copy->isEqual(*clip));
        QCOMPARE(copy->title(), clip->title());
        QCOMPARE(copy->creationDate()->secondsSinceReference, before.secondsSinceReference + 10);
        QVERIFY(copy->isDirty());
        QVERIFY(!copy->isSaved());
        QVERIFY(!copy->clipboard());
        QVERIFY(copy->firstItem()->data() == copy.get());
        QVERIFY(clip->firstItem()->data() == clip.get());
        QVERIFY(copy->firstItem()->oid() != clip->firstItem()->oid());
    }

private:
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<kit::ManualRunLoop> _runLoop;
    std::unique_ptr<RunLoop::Installation> _runLoopInstallation;
    std::shared_ptr<ClipboardStore> _store;
};

QTEST_GUILESS_MAIN(ClipItemFilesTest)
#include "tst_clipitemfiles.moc"
