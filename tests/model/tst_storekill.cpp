// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/StoreRecovery.h"
#include "model/ZRKClipmuleClipboard.h"
#include "tests/kit/TestCase.h"
#include "tests/model/StoreFixture.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;

namespace {

constexpr int mostInMain = 200;
constexpr int mostInCustom = 20;

} // namespace

/// A program that saves without a pause is killed at any moment, again and again. Whatever it had
/// reported as saved must be there, whole, and nothing half written.
class StoreKillTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void whatWasSavedSurvives() {
        constexpr int kills = 300;
        StoreFixture fixture;
        QRandomGenerator random(1);
        int saved = -1;
        QList<int> known;
        QList<int> knownInCustom;
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
            const auto main = ZRKClipmuleClipboard::mainClipboard();
            const auto &boards = ZRKClipmuleClipboard::customClipboards();
            QCOMPARE(boards.size(), 1);
            QVERIFY(!main->isDirty() && !boards.first()->isDirty());
            QList<int> now = numbersIn(*main);
            QList<int> nowInCustom = numbersIn(*boards.first());
            QVERIFY(!now.isEmpty() && !nowInCustom.isEmpty());
            // The one that was being saved may be there or not, and may be in the first list only.
            const int newest = now.first();
            const int newestInCustom = nowInCustom.first();
            QVERIFY2(newest == reported || newest == reported + 1,
                     qPrintable(QStringLiteral("%1 %2").arg(newest).arg(reported)));
            QVERIFY(newestInCustom == reported || newestInCustom == newest);
            QCOMPARE(now, withNew(known, saved + 1, newest, mostInMain));
            QCOMPARE(nowInCustom, withNew(knownInCustom, saved + 1, newestInCustom, mostInCustom));
            // What the kill left over goes, and nothing else.
            (void)StoreRecovery::sweep(*fixture.store);
            QCOMPARE(filesIn(fixture), filesSpokenOf(fixture));
            known = std::move(now);
            knownInCustom = std::move(nowInCustom);
            saved = newest;
        }
    }

private:
    // From the newest to the oldest; -1 for one whose parts do not belong together.
    static QList<int> numbersIn(ZRKClipmuleClipboard &clipboard) {
        QList<int> numbers;
        for (const auto &clip : clipboard.items()) {
            const auto item = clip->firstItem();
            const int number = item->string()->toInt();
            const QByteArray image = QByteArray(1000, 'i') + QByteArray::number(number);
            numbers.append(item->imageData() == image ? number : -1);
        }
        return numbers;
    }

    static QSet<QString> filesIn(const StoreFixture &fixture) {
        QSet<QString> paths;
        for (const QString &name : fixture.files())
            paths.insert(fixture.path(name));
        return paths;
    }

    static QSet<QString> filesSpokenOf(const StoreFixture &fixture) {
        QSet<QString> paths{fixture.path(QStringLiteral("Main.clipboard")),
                            fixture.path(QStringLiteral("Custom.clipboards"))};
        for (const auto &clipboard : {ZRKClipmuleClipboard::mainClipboard(),
                                      ZRKClipmuleClipboard::customClipboards().first()}) {
            paths.insert(clipboard->itemsPath());
            for (const auto &clip : clipboard->items())
                paths.insert(clip->firstItem()->imageDataPath());
        }
        return paths;
    }

    // What must be there when clips from the first to the newest were added to what was there
    // before.
    static QList<int> withNew(QList<int> numbers, int first, int newest, int most) {
        for (int number = first; number <= newest; ++number)
            numbers.prepend(number);
        return numbers.first(std::min<qsizetype>(numbers.size(), most));
    }
};

QTEST_GUILESS_MAIN(StoreKillTest)
#include "tst_storekill.moc"
