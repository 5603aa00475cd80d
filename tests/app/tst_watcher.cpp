// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "model/ZRKClipmuleData.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/TestCase.h"

#include <QBuffer>
#include <QImage>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

const QString tooLarge = QStringLiteral("The item you copied is too large to send to Clipmule.");

// The texts of the clips among what a phone received.
QStringList texts(const QList<PropertyList> &objects) {
    QStringList found;
    for (const PropertyList &object : objects) {
        if (const PropertyList *clip = object.find(u"1"_s))
            found.append(clip->find(u"items"_s)->list().constFirst().find(u"string"_s)->string());
    }
    return found;
}

} // namespace

class WatcherTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override { _agent = std::make_unique<AgentFixture>(); }

    void end() override { _agent.reset(); }

private Q_SLOTS:
    void sendsWhatIsCopied() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        const auto objects = phone->received();
        QCOMPARE(objects.size(), 1);
        QCOMPARE(objects[0].dictionary().keys(), QStringList{u"1"_s});
        const PropertyList &item = objects[0].find(u"1"_s)->find(u"items"_s)->list().constFirst();
        QCOMPARE(item.find(u"string"_s)->string(), u"Hello"_s);
        QCOMPARE(item.find(u"createdBy"_s)->integerValue(), 2);
    }

    void looksAtOnceAndTwiceASecondAtMost() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"first"_s);
        _agent->advance(0.49);
        QVERIFY(phone->received().isEmpty());
        _agent->advance(0.01);
        QCOMPARE(texts(phone->received()), QStringList{u"first"_s});
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->settle();
        QCOMPARE(texts(phone->received()), QStringList{u"Hello"_s});
        _agent->pasteboard.copyText(u"again"_s);
        _agent->advance(0.49);
        QVERIFY(phone->received().isEmpty());
        _agent->advance(0.01);
        QCOMPARE(texts(phone->received()), QStringList{u"again"_s});
    }

    void doesNotSendWhatWasThereBefore() {
        _agent->pasteboard.copyText(u"old"_s);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->advance(2);
        QVERIFY(phone->received().isEmpty());
    }

    void atRestNothingIsReadAndNoTimerRuns() {
        _agent->connectedPhone(u"Anna"_s);
        const int before = _agent->pasteboard.readCount();
        // By then the settings that the fixture wrote are on the disk.
        _agent->advance(10);
        const RunLoop::Seconds quiet = _agent->runLoop.timeToNext();
        QVERIFY2(quiet > RunLoop::Seconds(49), qPrintable(QString::number(quiet.count())));
        QCOMPARE(_agent->pasteboard.readCount(), before);
    }

    void aSettingBringsTheTimerBack() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->advance(10);
        _agent->applicationDefaults->setBoolForKey(true, u"watchClipboardByTimer"_s);
        _agent->settle();
        QVERIFY(_agent->runLoop.timeToNext() <= RunLoop::Seconds(0.5));
        _agent->advance(0.1);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.39);
        QVERIFY(texts(phone->received()).isEmpty());
        _agent->advance(0.01);
        QCOMPARE(texts(phone->received()), QStringList{u"Hello"_s});
        _agent->applicationDefaults->setBoolForKey(false, u"watchClipboardByTimer"_s);
        _agent->advance(10);
        QVERIFY(_agent->runLoop.timeToNext() > RunLoop::Seconds(0.5));
    }

    // Whatever ends the last connection, nobody is asked from then on.
    void theWatchEndsWithTheLastPhone_data() {
        using End = std::function<void(AgentFixture &, FakePhone &)>;
        QTest::addColumn<End>("end");
        QTest::newRow("it vanishes")
            << End([](AgentFixture &, FakePhone &phone) { phone.connection().end(); });
        QTest::newRow("it leaves the network") << End(
            [](AgentFixture &agent, FakePhone &phone) { agent.backend.vanish(phone.service); });
        QTest::newRow("it is not registered any more")
            << End([](AgentFixture &agent, FakePhone &) { agent.setRegistered({}); });
        QTest::newRow("the sync is switched off") << End([](AgentFixture &agent, FakePhone &) {
            agent.applicationDefaults->setBoolForKey(false, u"syncEnabled"_s);
        });
        QTest::newRow("the computer sleeps")
            << End([](AgentFixture &agent, FakePhone &) { agent.app->willSleep(); });
        QTest::newRow("the agent ends") << End(
            [](AgentFixture &agent, FakePhone &) { agent.app->applicationShouldTerminate(); });
    }
    void theWatchEndsWithTheLastPhone() {
        QFETCH(std::function<void(AgentFixture &, FakePhone &)>, end);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->appear(u"Ben"_s);
        _agent->advance(1);
        QVERIFY(_agent->pasteboard.isWatching());
        end(*_agent, *phone);
        _agent->settle();
        QVERIFY(!_agent->pasteboard.isWatching());
    }

    void anotherPhoneKeepsTheWatchAlive() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        _agent->advance(1);
        anna->connection().end();
        _agent->advance(1);
        QVERIFY(_agent->pasteboard.isWatching());
        _agent->pasteboard.copyText(u"for Ben"_s);
        _agent->settle();
        QCOMPARE(texts(ben->received()), QStringList{u"for Ben"_s});
    }

    void oneEnvelopeGoesToAllClientsConnectedOrNot() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        ben->connection().end();
        _agent->settle();
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        const auto received = anna->received();
        QCOMPARE(texts(received), QStringList{u"Hello"_s});
        // Ben's waits until his connection is back.
        _agent->advance(5);
        QCOMPARE(ben->connections.size(), 2);
        QCOMPARE(ben->received(), received);
    }

    void theSameTextTwiceIsSentOnce() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"Hello"_s});
    }

    void anEmptyClipboardIsNoClip() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        (void)phone->received();
        _agent->pasteboard.copyByAnotherApplication({});
        _agent->advance(0.5);
        QVERIFY(texts(phone->received()).isEmpty());
    }

    void theLargestClipIsSentAndALargerOneRefused_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("sent");
        QTest::newRow("one below") << 9'999'998 << true;
        QTest::newRow("at the limit") << 9'999'999 << true;
        QTest::newRow("one above") << 10'000'000 << false;
    }
    void theLargestClipIsSentAndALargerOneRefused() {
        QFETCH(int, size);
        QFETCH(bool, sent);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        // A text so large travels without its native form.
        const QString text(size, u'x');
        _agent->pasteboard.copyText(text);
        QCOMPARE(ZRKClipmuleData::initFromPasteboard(_agent->pasteboardServices)->size(),
                 quint64(size));
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), sent ? QStringList{text} : QStringList());
        QCOMPARE(_agent->notice.messages, sent ? QStringList() : QStringList{tooLarge});
        QCOMPARE(_agent->statistic(u"dataSent"_s),
                 sent ? PropertyList(size) : PropertyList(u"missing"_s));
        // Once for each copy.
        _agent->advance(5);
        QCOMPARE(_agent->notice.messages.size(), sent ? 0 : 1);
    }

    void aRefusedClipLeavesTheLastOneKnown() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        _agent->pasteboard.copyText(QString(10'000'000, u'x'));
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"Hello"_s});
    }

    void whyNothingIsSentIsTold() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyByAnotherApplication(
            {.text = "hunter2", .others = {{u"x-kde-passwordManagerHint"_s, "secret"}}});
        _agent->advance(0.5);
        // A metafile, say, which is not fetched.
        _agent->pasteboard.copyByAnotherApplication({.others = {{u"image/x-emf"_s, std::nullopt}}});
        _agent->advance(0.5);
        QVERIFY(texts(phone->received()).isEmpty());
        QCOMPARE(_agent->notice.messages,
                 (QStringList{u"Not sent: what you copied is marked as secret."_s,
                              u"Not sent: there is no text, link or image in what you copied."_s}));
        // Neither an empty clipboard nor the last clip again is a refusal.
        _agent->pasteboard.copyByAnotherApplication({});
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"Hello"_s});
        QCOMPARE(_agent->notice.messages.size(), 2);
        QCOMPARE(_agent->app->refusals().size(), 2);
    }

    void aProgramThatDoesNotAnswerIsInTheJournal() {
        _agent->pasteboard.copyWithoutAnswer();
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->advance(0.5);
        // Before any phone was there.
        QCOMPARE(_agent->app->refusals().size(), 0);
        _agent->pasteboard.copyWithoutAnswer();
        QTest::ignoreMessage(QtInfoMsg, "Not sent: what you copied could not be read. [the program "
                                        "that copied it does not answer]");
        _agent->advance(0.5);
        _agent->advance(5);
        QCOMPARE(_agent->app->refusals().size(), 1);
        QCOMPARE(_agent->app->refusals().first().count, 1U);
        // It may have hung for long: nobody is interrupted.
        QCOMPARE(_agent->notice.messages, QStringList());
        QVERIFY(phone->received().isEmpty());
    }

    void copiesThatOnlyDesktopsReadAreToldApart() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const auto sent = [&](const QByteArray &html) {
            _agent->pasteboard.copyByAnotherApplication({.html = html});
            _agent->advance(0.5);
            return phone->received().size();
        };
        QCOMPARE(sent("<p>1"), 1);
        QCOMPARE(sent("<p>2"), 1);
        QCOMPARE(sent("<p>2"), 0);
        QCOMPARE(sent("<p>1"), 1);
        QCOMPARE(_agent->notice.messages, QStringList());
    }

    void theMemoryOfARefusedClipIsGivenBack_data() {
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isTrimmed");
        // What was read counts: nothing else of this clip is in it.
        QTest::newRow("small") << 20'000 << false;
        QTest::newRow("large") << 20'001 << true;
    }
    void theMemoryOfARefusedClipIsGivenBack() {
        QFETCH(int, size);
        QFETCH(bool, isTrimmed);
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyByAnotherApplication(
            {.text = QByteArray(size - 6, 'x'),
             .others = {{u"x-kde-passwordManagerHint"_s, "secret"}}});
        // The look takes the place of its timer.
        const int before = _agent->runLoop.pendingCount() - 1;
        QTest::ignoreMessage(QtInfoMsg, "Not sent: what you copied is marked as secret.");
        _agent->advance(0.5);
        QCOMPARE(_agent->runLoop.pendingCount() - before, isTrimmed ? 1 : 0);
        _agent->advance(3);
        QCOMPARE(_agent->runLoop.pendingCount(), before);
    }

    void countsWhatIsSent() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        const quint64 size =
            ZRKClipmuleData::initFromPasteboard(_agent->pasteboardServices)->size();
        _agent->advance(0.5);
        QCOMPARE(_agent->statistic(u"dataSent"_s), PropertyList(size));
        QCOMPARE(_agent->statistic(u"textItems"_s), PropertyList(1));
        QCOMPARE(_agent->statistic(u"imageItems"_s), PropertyList(u"missing"_s));
        _agent->pasteboard.copyText(u"World"_s);
        _agent->advance(0.5);
        QCOMPARE(_agent->statistic(u"dataSent"_s), PropertyList(2 * size));
        QCOMPARE(_agent->statistic(u"textItems"_s), PropertyList(2));
    }

    void countsImagesApart() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        QImage image(4, 4, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QByteArray png;
        QBuffer buffer(&png);
        QVERIFY(image.save(&buffer, "PNG"));
        _agent->pasteboard.copyByAnotherApplication({.images = {png}});
        _agent->advance(0.5);
        QCOMPARE(_agent->statistic(u"imageItems"_s), PropertyList(1));
        QCOMPARE(_agent->statistic(u"textItems"_s), PropertyList(u"missing"_s));
    }

    void aFailureIsLoggedAndTheContentsCountAsSeen() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(u"Hello"_s);
        _agent->pasteboard.failReadsWith(u"no clipboard today"_s);
        QTest::ignoreMessage(QtWarningMsg,
                             "ERROR CREATING DATA PasteboardFailure: no clipboard today");
        _agent->advance(0.5);
        _agent->pasteboard.failReadsWith(QString());
        _agent->advance(0.5);
        QVERIFY(texts(phone->received()).isEmpty());
        _agent->pasteboard.copyText(u"World"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"World"_s});
    }

    void whatWasReadIsNotKeptWhenItIsLarge() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->pasteboard.copyText(QString(1024 * 1024, u'x'));
        _agent->advance(0.5);
        QVERIFY(!_agent->pasteboard.clipboard().isEmpty());
        _agent->pasteboard.copyText(QString(1024 * 1024 + 1, u'x'));
        _agent->advance(0.5);
        QVERIFY(_agent->pasteboard.clipboard().isEmpty());
        QCOMPARE(texts(phone->received()).size(), 2);
    }

    void whatAPhoneSentStaysForTheDesk() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        const QString large(2 * 1024 * 1024, u'x');
        phone->send(u"1"_s,
                    PropertyList(PropertyList::Dictionary{
                        {u"items"_s, PropertyList::List{PropertyList(
                                         PropertyList::Dictionary{{u"string"_s, large}})}}}));
        _agent->settle();
        _agent->pasteboard.releaseContents();
        QCOMPARE(_agent->pasteboard.text(), large);
    }

    void thePollEndsWithTheLastConnection() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        _agent->app->disconnect();
        _agent->pasteboard.copyText(u"unseen"_s);
        const int before = _agent->pasteboard.readCount();
        _agent->advance(0.5);
        QCOMPARE(_agent->pasteboard.readCount(), before);
        _agent->app->connect();
        _agent->advance(3);
        QCOMPARE(phone->connections.size(), 2);
        QVERIFY(texts(phone->received()).isEmpty());
        _agent->pasteboard.copyText(u"seen"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"seen"_s});
    }

    void nobodyIsAskedBeforeAPhoneIsThere() {
        _agent->pasteboard.setWatching(true);
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        QVERIFY(!_agent->pasteboard.isWatching());
        _agent->pasteboard.copyText(u"unseen"_s);
        _agent->advance(5);
        QCOMPARE(_agent->pasteboard.readCount(), 0);
        const auto phone = _agent->appear(u"Anna"_s);
        QVERIFY(_agent->pasteboard.isWatching());
        _agent->applicationDefaults->setBoolForKey(false, u"syncEnabled"_s);
        _agent->advance(0.5);
        QVERIFY(!_agent->pasteboard.isWatching());
        _agent->applicationDefaults->setBoolForKey(true, u"syncEnabled"_s);
        _agent->advance(3);
        QCOMPARE(phone->connections.size(), 2);
        QVERIFY(_agent->pasteboard.isWatching());
    }

    void nobodyIsAskedWhileTheSyncIsOff() {
        _agent->applicationDefaults->setBoolForKey(false, u"syncEnabled"_s);
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        _agent->appear(u"Anna"_s);
        QVERIFY(!_agent->pasteboard.isWatching());
    }

    void aReconnectionRestartsADeadPoll() {
        const auto phone = _agent->connectedPhone(u"Anna"_s);
        phone->connection().end();
        _agent->settle();
        _agent->advance(0.5);
        _agent->pasteboard.copyText(u"while nobody listened"_s);
        _agent->advance(4.5);
        QCOMPARE(phone->connections.size(), 2);
        _agent->advance(1);
        QVERIFY(texts(phone->received()).isEmpty());
        _agent->pasteboard.copyText(u"from here on"_s);
        _agent->advance(0.5);
        QCOMPARE(texts(phone->received()), QStringList{u"from here on"_s});
    }

    void aReconnectionLeavesALivingPollAlone() {
        const auto anna = _agent->connectedPhone(u"Anna"_s);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        _agent->advance(0.2);
        ben->connection().end();
        _agent->advance(4.5);
        _agent->pasteboard.copyText(u"sent at once"_s);
        _agent->advance(0.4);
        // Looked at 0.1 s from now, at the moment when Ben is back.
        _agent->pasteboard.copyText(u"kept"_s);
        _agent->advance(0.1);
        QCOMPARE(ben->connections.size(), 2);
        QCOMPARE(texts(anna->received()), (QStringList{u"sent at once"_s, u"kept"_s}));
    }

    void withASecondPhoneThereIsOneLook() {
        _agent->connectedPhone(u"Anna"_s);
        _agent->advance(0.2);
        const auto ben = _agent->connectedPhone(u"Ben"_s);
        _agent->advance(10);
        _agent->pasteboard.copyText(u"Hello"_s);
        const int before = _agent->pasteboard.readCount();
        _agent->settle();
        const int reads = _agent->pasteboard.readCount() - before;
        QVERIFY(reads > 0);
        _agent->advance(0.5);
        QCOMPARE(_agent->pasteboard.readCount() - before, reads);
        QCOMPARE(texts(ben->received()), QStringList{u"Hello"_s});
    }

    void aPhonesFirstConnectionIsAChangeOfStatus() {
        struct StatusCounter final : Object {
            void count() { ++times; }
            int times = 0;
        } counter;
        _agent->setRegistered({u"Anna"_s});
        _agent->launch();
        auto &center = ZRKNotificationCenter::platformDefault();
        center.addObserver(&counter, selector<&StatusCounter::count>("count"),
                           ZRKClipmuleSyncStatusDidChange);
        const auto phone = _agent->appear(u"Anna"_s);
        QCOMPARE(counter.times, 1);
        phone->connection().end();
        _agent->advance(5);
        QCOMPARE(phone->connections.size(), 2);
        QCOMPARE(counter.times, 1);
        center.removeObserver(&counter);
    }

private:
    std::unique_ptr<AgentFixture> _agent;
};

QTEST_GUILESS_MAIN(WatcherTest)
#include "tst_watcher.moc"
