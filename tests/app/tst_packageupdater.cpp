// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "app/PackageUpdater.h"
#include "platform/bundle/Bundle.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/RecordedNotice.h"
#include "tests/kit/TestCase.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;
using Answer = PackageUpdates::Answer;
using Outcome = PackageUpdates::Answer::Outcome;
using Asker = PackageUpdates::Asker;

namespace {

/// A package manager that answers when the test says so.
class FakePackageUpdates final : public PackageUpdates {
public:
    explicit FakePackageUpdates(QStringList &log)
        : _log(log) {}
    void findUpdate(const QString &package, Asker asker, Callback given) override {
        _log.append(u"find "_s + package +
                    (asker == Asker::User ? u" for the user"_s : u" in the background"_s));
        callback = std::move(given);
    }
    void installUpdate(const QString &identifier, Callback given) override {
        _log.append(u"install "_s + identifier);
        callback = std::move(given);
    }
    void answer(const Answer &answer) {
        const Callback one = std::exchange(callback, {});
        one(answer);
    }
    Callback callback;

private:
    QStringList &_log;
};

Answer answerOf(Outcome outcome, const QString &version = {}, const QString &error = {}) {
    return {outcome, version, u"clipmule-sync;"_s + version, error};
}

} // namespace

class PackageUpdaterTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _log.clear();
        _asked.clear();
        _notice.messages.clear();
        auto packages = std::make_unique<FakePackageUpdates>(_log);
        _packages = packages.get();
        _updater = std::make_unique<PackageUpdater>(
            u"clipmule-sync"_s, std::move(packages), std::ref(_notice),
            [this](const QString &version, std::function<void(bool)> answer) {
                _asked.append(version);
                if (answer)
                    _answerQuestion = std::move(answer);
            });
        _updater->onWillInstallUpdate = [this](Updater &) { _log.append(u"will install"_s); };
    }

    void end() override {
        _updater.reset();
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private Q_SLOTS:
    void theUserIsAnswered_data() {
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("message");
        QTest::newRow("up to date")
            << Outcome::UpToDate << QString() << u"Clipmule Sync is up to date."_s;
        QTest::newRow("no package")
            << Outcome::NotInstalled << QString()
            << u"Clipmule Sync was not installed as a package. Update it the way it was "
               "installed."_s;
        QTest::newRow("no PackageKit")
            << Outcome::NoService << QString()
            << u"Cannot check for updates: PackageKit is not available."_s;
        QTest::newRow("failed") << Outcome::Failed << u"no network"_s
                                << u"Could not check for updates: no network"_s;
        QTest::newRow("failed, nobody says why")
            << Outcome::Failed << QString()
            << u"Could not check for updates: no reason was given"_s;
    }
    void theUserIsAnswered() {
        QFETCH(Outcome, outcome);
        QFETCH(QString, error);
        QFETCH(QString, message);
        _updater->checkForUpdates();
        QCOMPARE(_notice.messages, QStringList(u"Checking for updates…"_s));
        QCOMPARE(_log, QStringList(u"find clipmule-sync for the user"_s));
        _packages->answer(answerOf(outcome, {}, error));
        QCOMPARE(_notice.messages, QStringList({u"Checking for updates…"_s, message}));
        QCOMPARE(_asked, QStringList());
    }

    void whatWasToldOnceIsFollowedBySilence() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _runLoop.advance(PackageUpdater::firstAutomaticCheck);
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        QCOMPARE(_notice.messages.size(), 1);
        for (const Outcome outcome : {Outcome::UpToDate, Outcome::NoService}) {
            _runLoop.advance(PackageUpdater::automaticCheckInterval);
            _packages->answer(answerOf(outcome));
            QCOMPARE(_notice.messages.size(), 1);
        }
        _updater->setAutomaticallyChecksForUpdates(false);
    }

    void whatTheUserWantsIsInstalledAndTheOwnerIsToldBefore() {
        _updater->checkForUpdates();
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        QCOMPARE(_asked, QStringList(u"2.0"_s));
        QCOMPARE(_log, QStringList(u"find clipmule-sync for the user"_s));
        _answerQuestion(true);
        QCOMPARE(_log, QStringList({u"find clipmule-sync for the user"_s, u"will install"_s,
                                    u"install clipmule-sync;2.0"_s}));
        _packages->answer(answerOf(Outcome::Installed, u"2.0"_s));
        QCOMPARE(_notice.messages,
                 QStringList({u"Checking for updates…"_s, u"Installing Clipmule Sync 2.0…"_s,
                              u"Clipmule Sync 2.0 is installed. It is used from the next "
                              "start."_s}));
    }

    void itInstallsForAnOwnerThatWantsToHearNothing() {
        _updater->onWillInstallUpdate = {};
        _updater->checkForUpdates();
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        _answerQuestion(true);
        QCOMPARE(_log.constLast(), u"install clipmule-sync;2.0"_s);
    }

    void whatTheUserDoesNotWantIsNotInstalled() {
        _updater->checkForUpdates();
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        _answerQuestion(false);
        QCOMPARE(_log, QStringList(u"find clipmule-sync for the user"_s));
        _updater->checkForUpdates();
        QCOMPARE(_log.size(), 2);
    }

    void aFailedInstallationIsTold() {
        _updater->checkForUpdates();
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        _answerQuestion(true);
        _packages->answer(answerOf(Outcome::Failed, {}, u"not allowed"_s));
        QCOMPARE(_notice.messages.constLast(), u"The update could not be installed: not allowed"_s);
        _updater->checkForUpdates();
        QCOMPARE(_log.constLast(), u"find clipmule-sync for the user"_s);
    }

    void nothingIsBegunTwice() {
        _updater->checkForUpdates();
        _updater->checkForUpdates();
        QCOMPARE(_log.size(), 1);
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        // The question is on the screen: there is nothing to say beside it, but it comes forward.
        const auto messages = _notice.messages.size();
        _updater->checkForUpdates();
        QCOMPARE(_asked, QStringList({_asked.constFirst(), _asked.constFirst()}));
        QCOMPARE(_log.size(), 1);
        QCOMPARE(_notice.messages.size(), messages);
        _answerQuestion(true);
        _updater->checkForUpdates();
        QCOMPARE(_log.size(), 3);
        QCOMPARE(_notice.messages.size(), messages + 1);
        _packages->answer(answerOf(Outcome::Installed, u"2.0"_s));
    }

    void itDoesNotLookByItselfUntilItIsTold() {
        _updater->setAutomaticallyChecksForUpdates(false);
        QCOMPARE(_runLoop.pendingCount(), 0);
        _runLoop.advance(1000000);
        QCOMPARE(_log, QStringList());
    }

    void itLooksByItselfTwoMinutesAfterTheStartAndEveryDay() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _runLoop.advance(119);
        // Each change of any setting tells it again.
        _updater->setAutomaticallyChecksForUpdates(true);
        QCOMPARE(_log, QStringList());
        _runLoop.advance(1.1);
        QCOMPARE(_log, QStringList(u"find clipmule-sync in the background"_s));
        _packages->answer(answerOf(Outcome::UpToDate));
        _runLoop.advance(24 * 60 * 60 - 1);
        QCOMPARE(_log.size(), 1);
        _runLoop.advance(1);
        QCOMPARE(_log.size(), 2);
        _packages->answer(answerOf(Outcome::UpToDate));
        QCOMPARE(_notice.messages, QStringList());
    }

    void itStopsWhenItIsTold() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _updater->setAutomaticallyChecksForUpdates(false);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void whatItFindsByItselfItTellsOncePerVersion() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _runLoop.advance(121);
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        const QString told = u"Clipmule Sync 2.0 is available. “Check for Updates…” in the menu "
                             "installs it."_s;
        QCOMPARE(_notice.messages, QStringList(told));
        QCOMPARE(_asked, QStringList());
        _runLoop.advance(24 * 60 * 60);
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        QCOMPARE(_notice.messages.size(), 1);
        _runLoop.advance(24 * 60 * 60);
        _packages->answer(answerOf(Outcome::Available, u"2.1"_s));
        QCOMPARE(_notice.messages.size(), 2);
    }

    void aFailureInTheBackgroundIsForTheLogOnly() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _runLoop.advance(121);
        QTest::ignoreMessage(QtInfoMsg, "no answer about updates: no network");
        _packages->answer(answerOf(Outcome::Failed, {}, u"no network"_s));
        QCOMPARE(_notice.messages, QStringList());
    }

    // The background's answer is from the lists as they were.
    void aUserWhoAsksMeanwhileGetsAnAnswerFromFreshLists() {
        _updater->setAutomaticallyChecksForUpdates(true);
        _runLoop.advance(121);
        _updater->checkForUpdates();
        QCOMPARE(_log.size(), 1);
        _packages->answer(answerOf(Outcome::UpToDate));
        QCOMPARE(_log.constLast(), u"find clipmule-sync for the user"_s);
        QCOMPARE(_notice.messages, QStringList(u"Checking for updates…"_s));
        _packages->answer(answerOf(Outcome::UpToDate));
        QCOMPARE(_log.size(), 2);
        QCOMPARE(_notice.messages.constLast(), u"Clipmule Sync is up to date."_s);
    }

    void answersAfterItsEndAreHarmless() {
        _updater->checkForUpdates();
        const auto late = _packages->callback;
        _updater.reset();
        late(answerOf(Outcome::UpToDate));
        QCOMPARE(_notice.messages.size(), 1);
        begin();
        _updater->checkForUpdates();
        _packages->answer(answerOf(Outcome::Available, u"2.0"_s));
        _updater.reset();
        _answerQuestion(true);
        QCOMPARE(_log.size(), 1);
    }

    void onlyABundleThatNamesAPackageHasAnUpdater() {
        const auto make = [this](const Bundle &bundle) {
            return PackageUpdater::updaterForBundle(
                bundle, std::make_unique<FakePackageUpdates>(_log), std::ref(_notice), {});
        };
        QVERIFY(!make(Bundle(u"/none"_s)));
        const QTemporaryDir folder;
        QFile information(folder.filePath(u"Info.plist"_s));
        QVERIFY(information.open(QIODevice::WriteOnly));
        information.write("{PackageName = another;}");
        information.close();
        const auto updater = make(Bundle(folder.path()));
        QVERIFY(updater);
        updater->checkForUpdates();
        QCOMPARE(_log, QStringList(u"find another for the user"_s));
        QVERIFY(make(Bundle::mainBundle()));
    }

private:
    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    RecordedNotice _notice;
    QStringList _log;
    QStringList _asked;
    std::function<void(bool)> _answerQuestion;
    FakePackageUpdates *_packages = nullptr;
    std::unique_ptr<PackageUpdater> _updater;
};

QTEST_GUILESS_MAIN(PackageUpdaterTest)
#include "tst_packageupdater.moc"
