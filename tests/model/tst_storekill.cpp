// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleClipboard.h"
#include "tests/model/StoreFixture.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

using namespace clipmule;
using namespace clipmule::test;

/// A program that saves without a pause is killed at any moment, again and again. Whatever it had
/// reported as saved must be there, whole, and nothing half written.
class StoreKillTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatWasSavedSurvives();
};

void StoreKillTest::init() {
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void StoreKillTest::whatWasSavedSurvives() {
    constexpr int kills = 300;
    StoreFixture fixture;
    QRandomGenerator random(1);
    int saved = -1;
    for (int kill = 0; kill < kills; ++kill) {
        QProcess writer;
        // In the midst of one of the saves that follow the first.
        constexpr int latest = 5000;
        writer.start(QStringLiteral(STORE_WRITER), {fixture.path(), QString::number(saved + 1),
                                                    QString::number(random.bounded(latest))});
        QVERIFY(writer.waitForFinished());
        QCOMPARE(writer.exitStatus(), QProcess::CrashExit);
        const QByteArrayList lines = writer.readAllStandardOutput().split('\n');
        // Behind the last line end there may be half a number.
        QVERIFY(lines.size() >= 2);
        const int reported = lines[lines.size() - 2].toInt();
        QVERIFY(reported > saved);

        fixture.restart();
        const auto clipboard = ZRKClipmuleClipboard::mainClipboard();
        QVERIFY(!clipboard->isDirty());
        const auto &clips = clipboard->items();
        QVERIFY(!clips.isEmpty());
        // The one that was being saved may be there or not.
        const int newest = clips.first()->firstItem()->string()->toInt();
        QVERIFY2(newest == reported || newest == reported + 1,
                 qPrintable(QStringLiteral("%1 %2").arg(newest).arg(reported)));
        QCOMPARE(clips.size(), std::min<qsizetype>(newest + 1, 200));
        for (qsizetype i = 0; i < clips.size(); ++i) {
            const auto item = clips[i]->firstItem();
            const int number = newest - int(i);
            QCOMPARE(item->string(), std::optional(QString::number(number)));
            QCOMPARE(item->imageData(),
                     std::optional(QByteArray(1000, 'i') + QByteArray::number(number)));
        }
        saved = newest;
    }
}

QTEST_GUILESS_MAIN(StoreKillTest)
#include "tst_storekill.moc"
