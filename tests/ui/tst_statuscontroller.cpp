// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/HelpManager.h"
#include "platform/session/SessionPrograms.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKUserDefaults.h"
#include "tests/kit/AllocatedBytes.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/TestCase.h"
#include "tests/ui/FakeStatusBar.h"
#include "ui/SyncStatusSource.h"
#include "ui/ZRKClipmuleStatusController.h"
#include "ui/ZRKClipmuleStatusView.h"

#include <QCoreApplication>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

class FakeSource final : public SyncStatusSource {
public:
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    void setEnabled(bool given) override {
        enabled = given;
        ZRKNotificationCenter::platformDefault().postNotificationName(
            NSUserDefaultsDidChangeNotification);
    }
    [[nodiscard]] bool isConnected() const override { return connected; }
    [[nodiscard]] QStringList connectedDeviceNames() const override { return connectedNames; }
    [[nodiscard]] QStringList registeredDeviceNames() const override { return registeredNames; }
    [[nodiscard]] const Bundle *prefPaneBundle() override { return bundle ? &*bundle : nullptr; }
    [[nodiscard]] std::optional<Refusal> lastRefusal() const override { return refusal; }
    [[nodiscard]] bool hasUpdater() override { return updater; }
    void checkForUpdates() override { ++checks; }

    bool enabled = true;
    bool connected = true;
    QStringList connectedNames;
    QStringList registeredNames;
    std::optional<Bundle> bundle;
    std::optional<Refusal> refusal;
    bool updater = true;
    int checks = 0;
};

class FakeHelpManager final : public HelpManager {
public:
    bool registerBooksInBundle(const Bundle &bundle) override {
        registered.append(bundle.path());
        return true;
    }
    void openHelpAnchorInBook(const QString &anchor, const QString &book) override {
        opened.append(anchor + u" in "_s + book);
    }
    QStringList registered;
    QStringList opened;
};

class FakeSessionPrograms final : public SessionPrograms {
public:
    [[nodiscard]] QStringList launchedApplications() const override { return {}; }
    void activate(const QString &identifier, const QString &executable) override {
        activated.append(identifier + u" or "_s + executable);
    }
    void quit(const QString &) override {}
    QStringList activated;
};

const QString showStatus = QStringLiteral("showStatus");
const QString separator = QStringLiteral("--");

} // namespace

class StatusControllerTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        ZRKUserDefaults::Environment environment;
        environment.database = &_database;
        environment.bundles = std::make_shared<const ZRKUserDefaults::Bundles>(
            ZRKUserDefaults::Bundles{Bundle(u"/none"_s), Bundle(u"/none"_s), {}, {}});
        _settings = ZRKUserDefaults::initWithIdentifier(u"shared"_s, environment);
        _settings->setBoolForKey(true, showStatus);
        // Until the settings are on the disk.
        _runLoop.advance(ZRKUserDefaults::synchronizeDelay);
        _source.emplace();
        _bar.emplace();
        _help.emplace();
        _programs.emplace();
        _controller = ZRKClipmuleStatusController::init(
            {.source = *_source,
             .bundle = Bundle::mainBundle(),
             .sharedDefaults = *_settings,
             .statusBar = *_bar,
             .helpManager = *_help,
             .sessionPrograms = *_programs,
             .preferencesExecutable = u"/usr/bin/clipmule-preferences"_s});
    }

    void end() override {
        _controller.reset();
        _settings.reset();
        // A menu that was hidden goes a little later.
        _runLoop.advance(0);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

private Q_SLOTS:
    void theItemIs29PointsWideAndHasANameAnIconAndTheMenu() {
        QCOMPARE(_bar->items.size(), 1);
        QCOMPARE(item().length, 29);
        QCOMPARE(item().name, u"Clipmule Sync"_s);
        QVERIFY(!item().icon.isNull());
        QCOMPARE(item().menu.data(), _controller->menu());
        QCOMPARE(_controller->menu()->accessibleName(), u"Clipmule Sync"_s);
    }

    void theMenuFromTopToBottom() {
        _source->registeredNames = QStringList{u"Anna"_s};
        _controller->update();
        QCOMPARE(titles(),
                 QStringList({u"Anna"_s, u"Disable Clipmule Sync"_s, u"Paste What a Phone Sends"_s,
                              separator, u"Idle…"_s, separator, u"Clipmule Sync Help"_s,
                              u"Check for Updates…"_s, u"Open Clipmule Sync Preferences…"_s}));
    }

    void onlyCommandsCanBeChosen() {
        QList<bool> enabled;
        for (const QAction *const action : _controller->menu()->actions()) {
            if (!action->isSeparator() && action->isVisible())
                enabled.append(action->isEnabled());
        }
        QCOMPARE(enabled, QList<bool>({false, true, true, false, true, true, true}));
    }

    void theStatusLineHasAnOrder_data() {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<bool>("active");
        QTest::addColumn<QString>("toggle");
        QTest::addColumn<QString>("line");
        const QString on = u"Disable Clipmule Sync"_s;
        const QString off = u"Enable Clipmule Sync"_s;
        QTest::newRow("disabled") << false << false << false << off << u"Disabled\u2026"_s;
        QTest::newRow("disabled while data moves")
            << false << true << true << off << u"Disabled\u2026"_s;
        QTest::newRow("no phone") << true << false << false << on << u"Not Connected\u2026"_s;
        QTest::newRow("no phone while data moves")
            << true << false << true << on << u"Not Connected\u2026"_s;
        QTest::newRow("data moves") << true << true << true << on << u"Transfering Data\u2026"_s;
        QTest::newRow("nothing moves") << true << true << false << on << u"Idle\u2026"_s;
    }
    void theStatusLineHasAnOrder() {
        QFETCH(bool, enabled);
        QFETCH(bool, connected);
        QFETCH(bool, active);
        QFETCH(QString, toggle);
        QFETCH(QString, line);
        _source->enabled = enabled;
        _source->connected = connected;
        if (active)
            post(ZRKStreamDidSendData);
        post(u"ZRKClipmuleSyncStatusDidChange"_s);
        QCOMPARE(toggleTitle(), toggle);
        QCOMPARE(statusTitle(), line);
        QCOMPARE(_controller->statusView()->isNetworkActive(), active);
        _runLoop.advance(5);
    }

    void eachNotificationIsHeard_data() {
        QTest::addColumn<QString>("name");
        for (const QString &name :
             {ZRKUserDefaultsDidChangeNotification, NSUserDefaultsDidChangeNotification,
              QStringLiteral("ZRKClipmuleSyncStatusDidChange")})
            QTest::newRow(qPrintable(name)) << name;
    }
    void eachNotificationIsHeard() {
        QFETCH(QString, name);
        _source->connected = false;
        QCOMPARE(statusTitle(), u"Idle…"_s);
        post(name);
        QCOMPARE(statusTitle(), u"Not Connected…"_s);
    }

    void dataInEitherDirectionIsActivity_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("received") << ZRKStreamDidReceiveData;
        QTest::newRow("sent") << ZRKStreamDidSendData;
    }
    void dataInEitherDirectionIsActivity() {
        QFETCH(QString, name);
        post(name);
        QCOMPARE(statusTitle(), u"Transfering Data…"_s);
        QVERIFY(_controller->statusView()->isNetworkActive());
        _runLoop.advance(5);
    }

    void dataEvery300MillisecondsKeepsTheLineWithoutFlicker() {
        post(ZRKStreamDidSendData);
        QAction *const line = action(u"Transfering Data…"_s);
        QStringList seen;
        QObject::connect(line, &QAction::changed, line, [&seen, line] { seen << line->text(); });
        for (int count = 0; count < 20; ++count) {
            _runLoop.advance(0.3);
            QCOMPARE(statusTitle(), u"Transfering Data…"_s);
            post(ZRKStreamDidSendData);
        }
        QCOMPARE(seen, QStringList());
        _runLoop.advance(5);
        QCOMPARE(seen, QStringList(u"Idle…"_s));
    }

    void itEndsHalfASecondAfterTheLastTransfer() {
        post(ZRKStreamDidReceiveData);
        _runLoop.advance(0.3);
        post(ZRKStreamDidReceiveData);
        _runLoop.advance(0.49);
        QCOMPARE(statusTitle(), u"Transfering Data…"_s);
        _runLoop.advance(0.02);
        QCOMPARE(statusTitle(), u"Idle…"_s);
        QVERIFY(!_controller->statusView()->isNetworkActive());
        _runLoop.advance(5);
    }

    void nothingIsScheduledWhileNothingMoves() {
        _runLoop.advance(0);
        QCOMPARE(_runLoop.pendingCount(), 0);
        post(ZRKStreamDidReceiveData);
        QVERIFY(_runLoop.pendingCount() > 0);
        _runLoop.advance(5);
        QCOMPARE(_runLoop.pendingCount(), 0);
    }

    void theSpinnerMovesTheIconTwelveTimesASecond() {
        post(ZRKStreamDidReceiveData);
        const int before = item().icons;
        for (int count = 0; count < 10; ++count) {
            _runLoop.advance(0.1);
            post(ZRKStreamDidReceiveData);
        }
        QVERIFY2(item().icons - before >= 10, qPrintable(QString::number(item().icons - before)));
        QVERIFY2(item().icons - before <= 13, qPrintable(QString::number(item().icons - before)));
        _runLoop.advance(5);
    }

    void noPictureStaysThatWasShown() {
        qint64 before = 0;
        for (int frame = 0; frame < 1300; ++frame) {
            post(ZRKStreamDidReceiveData);
            _runLoop.advance(frame == 1299 ? 5 : 1.0 / ZRKClipmuleStatusView::framesPerTurn);
            std::ignore = item().icon.pixmap(20);
            before = frame == 300 ? kit::allocatedBytes() : before;
        }
        QVERIFY(before > 0 && kit::allocatedBytes() - before < 10'000);
    }

    // Statistics change with every clip, and each picture goes over the bus.
    void thePictureIsNotSetAgainWhenItIsTheSame() {
        const int before = item().icons;
        post(ZRKUserDefaultsDidChangeNotification);
        post(NSUserDefaultsDidChangeNotification);
        QCOMPARE(item().icons, before);
        _source->connected = false;
        post(u"ZRKClipmuleSyncStatusDidChange"_s);
        QCOMPARE(item().icons, before + 1);
    }

    void theIconComesInTheSizesOfTrays() {
        QList<int> sides;
        for (const QSize &size : item().icon.availableSizes())
            sides.append(size.width());
        std::sort(sides.begin(), sides.end());
        QCOMPARE(sides, QList<int>({16, 22, 24, 32, 44, 48}));
    }

    void hidingRemovesTheItemAndItsMenu() {
        const QPointer<QMenu> menu = _controller->menu();
        setShown(false);
        QCOMPARE(_bar->items.size(), 0);
        QVERIFY(!_controller->statusItem());
        QVERIFY(!_controller->statusView());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(menu.isNull());
    }

    void showingAgainMakesANewItemWithFreshTitles() {
        const QPointer<QMenu> menu = _controller->menu();
        setShown(false);
        _source->enabled = false;
        post(u"ZRKClipmuleSyncStatusDidChange"_s);
        setShown(true);
        QCOMPARE(_bar->made, 2);
        QCOMPARE(_bar->items.size(), 1);
        QVERIFY(_controller->menu() != menu.data());
        QCOMPARE(item().menu.data(), _controller->menu());
        QCOMPARE(toggleTitle(), u"Enable Clipmule Sync"_s);
        QCOMPARE(statusTitle(), u"Disabled…"_s);
    }

    void anotherSettingDoesNotMakeAnItem() {
        _settings->setBoolForKey(true, u"autoUpdateEnabled"_s);
        _settings->setBoolForKey(true, showStatus);
        QCOMPARE(_bar->made, 1);
    }

    void activityGoesOnWhileTheItemIsHidden() {
        post(ZRKStreamDidReceiveData);
        setShown(false);
        post(ZRKStreamDidReceiveData);
        setShown(true);
        QCOMPARE(statusTitle(), u"Transfering Data…"_s);
        QVERIFY(_controller->statusView()->isNetworkActive());
        _runLoop.advance(5);
        QCOMPARE(statusTitle(), u"Idle…"_s);
    }

    void whoWantsToKnowIsToldOfTheItem() {
        int changes = 0;
        _controller->setStatusItemDidChange([&changes] { ++changes; });
        setShown(false);
        setShown(true);
        QCOMPARE(changes, 2);
        item().setHost(StatusItem::Host::NotifierHost);
        QCOMPARE(changes, 3);
    }

    void aClickOpensTheMenuAndTheIconIsHighlightedAsLongAsItIsThere() {
        item().click();
        QCOMPARE(item().popUps, 1);
        QVERIFY(_controller->menu()->isVisible());
        QVERIFY(_controller->statusView()->isHighlighted());
        QTest::keyClick(_controller->menu(), Qt::Key_Escape);
        QVERIFY(!_controller->menu()->isVisible());
        QVERIFY(!_controller->statusView()->isHighlighted());
    }

    void aMenuThatDoesNotAppearLeavesNoHighlight() {
        item().showsMenus = false;
        item().click();
        QCOMPARE(item().popUps, 1);
        QVERIFY(!_controller->statusView()->isHighlighted());
    }

    void whereNoMenuCanBePlacedAClickOpensThePreferences() {
        item().click();
        QVERIFY(_programs->activated.isEmpty());
        QTest::keyClick(_controller->menu(), Qt::Key_Escape);
        item().placesMenus = false;
        item().click();
        QCOMPARE(_programs->activated.size(), 1);
        QVERIFY(!_controller->menu()->isVisible());
        QVERIFY(!_controller->statusView()->isHighlighted());
        _controller->openMenu();
        QCOMPARE(_programs->activated.size(), 2);
    }

    // It asks for the texts, and shows them in a window of its own.
    void aMenuThatTheDesktopDrawsDoesNotHighlightButIsUpToDate() {
        _source->connectedNames = QStringList{u"Ben"_s};
        Q_EMIT _controller->menu()->aboutToShow();
        QVERIFY(!_controller->statusView()->isHighlighted());
        QCOMPARE(titles().constFirst(), u"Ben"_s);
    }

    void aMenuThatTheTrayOpensByItselfHighlightsAsWell() {
        _controller->menu()->popup({10, 10});
        QVERIFY(_controller->statusView()->isHighlighted());
        _controller->menu()->hide();
        QVERIFY(!_controller->statusView()->isHighlighted());
    }

    void anOpenMenuCanBeClosed() {
        item().click();
        _controller->closeMenu();
        QVERIFY(!_controller->menu()->isVisible());
        QVERIFY(!_controller->statusView()->isHighlighted());
        setShown(false);
        _controller->closeMenu();
    }

    void hidingTheItemWhileItsMenuIsOpenClosesIt() {
        item().click();
        const QPointer<QMenu> menu = _controller->menu();
        setShown(false);
        QVERIFY(!menu || !menu->isVisible());
    }

    void theHeaderIsAPlainLineWithTheSameText_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("label");
        QTest::newRow("one line") << u"Anna\n Ben\n"_s << u"Anna Ben"_s;
        QTest::newRow("and") << u"A & B"_s << u"A & B"_s;
        QTest::newRow("and twice") << u"A&B&C"_s << u"A&B&C"_s;
        QTest::newRow("and at the end") << u"A&"_s << u"A&"_s;
        QTest::newRow("two at the beginning") << u"&&A"_s << u"&&A"_s;
        QTest::newRow("underscores") << u"Pixel_7 of_Tom"_s << u"Pixel_7 of_Tom"_s;
        QTest::newRow("two underscores") << u"100% _a__b_"_s << u"100% _a__b_"_s;
        QTest::newRow("both") << u"_A&_B&__"_s << u"_A&_B&__"_s;
        QTest::newRow("endless") << QString(60000, u'a') << QString(64, u'a') + u"… (60000)"_s;
        QTest::newRow("turns the order") << u"A\u202eB"_s << u"A\\u202eB"_s;
    }
    // As a desktop reads it that draws the menu: on the bus the toolkit turns the first "&" that
    // is not at the end into "_"; there "_" marks the next letter, and "__" is "_".
    void theHeaderIsAPlainLineWithTheSameText() {
        QFETCH(QString, name);
        _source->connectedNames = QStringList{name};
        _controller->update();
        QString label = titles().constFirst();
        if (const qsizetype mark = label.indexOf(u'&'); mark >= 0 && mark < label.size() - 1)
            label[mark] = u'_';
        QString shown;
        for (qsizetype at = 0; at < label.size(); ++at) {
            if (label[at] == u'_' && ++at == label.size())
                break;
            shown += label[at];
        }
        QTEST(shown, "label");
    }

    void aPhoneThatIsForgottenAfterItWasAnnouncedIsNotShown() {
        _source->registeredNames = QStringList{u"Anna"_s, u"Ben"_s};
        _source->connectedNames = QStringList{u"Anna"_s};
        post(u"ZRKClipmuleSyncStatusDidChange"_s);
        _source->connectedNames.clear();
        _runLoop.advance(0);
        QCOMPARE(titles().constFirst(), u"2 Devices Registered."_s);
    }

    void theToggleItemPausesAndResumes() {
        choose(u"Disable Clipmule Sync"_s);
        QCOMPARE(_source->enabled, false);
        QCOMPARE(toggleTitle(), u"Enable Clipmule Sync"_s);
        choose(u"Enable Clipmule Sync"_s);
        QCOMPARE(_source->enabled, true);
    }

    void thePasteItemChangesTheSettingAndFollowsIt() {
        QAction *const paste = action(u"Paste What a Phone Sends"_s);
        QVERIFY(paste->isCheckable() && paste->isChecked());
        choose(paste->text());
        QCOMPARE(_settings->stringForKey(u"pasteMode"_s), std::optional(u"clipboard"_s));
        QVERIFY(!paste->isChecked());
        choose(paste->text());
        QCOMPARE(_settings->stringForKey(u"pasteMode"_s), std::optional(u"paste"_s));
        QVERIFY(paste->isChecked());
        // Somebody else changes it.
        QVERIFY(_settings->setObjectForKey(PropertyList(u"clipboard"_s), u"pasteMode"_s));
        QVERIFY(!paste->isChecked());
        _settings->removeObjectForKey(u"pasteMode"_s);
        QVERIFY(paste->isChecked());
        _runLoop.advance(ZRKUserDefaults::synchronizeDelay);
    }

    void theRefusalLineTellsTheLastOne() {
        const QStringList before = titles();
        const Date date{770000000};
        const QString time =
            QLocale().toString(date.toDateTime().toLocalTime().time(), QLocale::ShortFormat);
        _source->refusal = Refusal{.direction = Refusal::Direction::FromPhone,
                                   .reason = Refusal::Reason::TooLarge,
                                   .phone = u"A_1 & Co\u202e"_s,
                                   .size = 20,
                                   .limit = 10,
                                   .date = date};
        post(ZRKClipmuleSyncDidRefuse);
        QCOMPARE(titles().at(5),
                 time + u" Not pasted: the clip from A_1 && Co\\u202e is too large."_s);
        QVERIFY(!_controller->menu()->actions().at(5)->isEnabled());
        QCOMPARE(titles().size(), before.size() + 1);
        // Where the desktop draws the menu, other marks count.
        item().setHost(StatusItem::Host::NotifierHost);
        _controller->update();
        QCOMPARE(titles().at(5),
                 time + u" Not pasted: the clip from A__1 && Co\\u202e is too large."_s);
        _source->refusal.reset();
        post(ZRKClipmuleSyncDidRefuse);
        QCOMPARE(titles(), before);
    }

    void theMenuCanBeUsedFromTheKeyboard() {
        item().click();
        QMenu *const menu = _controller->menu();
        QTest::keyClick(menu, Qt::Key_Down);
        QCOMPARE(menu->activeAction()->text(), u"Disable Clipmule Sync"_s);
        QTest::keyClick(menu, Qt::Key_Down);
        QCOMPARE(menu->activeAction()->text(), u"Paste What a Phone Sends"_s);
        QTest::keyClick(menu, Qt::Key_Down);
        QCOMPARE(menu->activeAction()->text(), u"Clipmule Sync Help"_s);
        QTest::keyClick(menu, Qt::Key_Up);
        QTest::keyClick(menu, Qt::Key_Up);
        QTest::keyClick(menu, Qt::Key_Return);
        QCOMPARE(_source->enabled, false);
    }

    void theMenuCanBeOpenedWithoutAClick() {
        _controller->openMenu();
        QVERIFY(_controller->menu()->isVisible());
        QVERIFY(_controller->statusView()->isHighlighted());
        _controller->openMenu();
        QCOMPARE(item().popUps, 1);
        setShown(false);
        _controller->openMenu();
        QCOMPARE(_programs->activated.size(), 1);
    }

    void theUpdateItemAsksTheAgent() {
        choose(u"Check for Updates…"_s);
        QCOMPARE(_source->checks, 1);
    }

    void withoutAnUpdaterTheUpdateItemCannotBeChosen() {
        _source->updater = false;
        _controller->update();
        QVERIFY(!action(u"Check for Updates…"_s)->isEnabled());
    }

    void helpOpensTheBookAtItsAnchor() {
        _source->bundle = Bundle::mainBundle();
        choose(u"Clipmule Sync Help"_s);
        QCOMPARE(_help->registered, QStringList(Bundle::mainBundle().path()));
        QCOMPARE(_help->opened, QStringList(u"help in Clipmule Sync Help"_s));
    }

    void withoutABundleOrABookHelpDoesNothing() {
        choose(u"Clipmule Sync Help"_s);
        QCOMPARE(_help->registered, QStringList());
        const QTemporaryDir empty;
        _source->bundle = Bundle(empty.path());
        choose(u"Clipmule Sync Help"_s);
        QCOMPARE(_help->opened, QStringList());
    }

    void preferencesAreBroughtToTheFront() {
        choose(u"Open Clipmule Sync Preferences…"_s);
        QCOMPARE(_programs->activated, QStringList(u"com.zendrik.ClipmuleSync.Preferences or "
                                                   "/usr/bin/clipmule-preferences"_s));
    }

    void afterItsEndNothingIsHeard() {
        _controller.reset();
        QCOMPARE(_bar->items.size(), 0);
        post(ZRKStreamDidReceiveData);
        post(ZRKUserDefaultsDidChangeNotification);
        QCOMPARE(_bar->made, 1);
    }

private:
    [[nodiscard]] FakeStatusBar::Item &item() const { return *_bar->items.constFirst(); }

    void setShown(bool shown) { _settings->setBoolForKey(shown, showStatus); }

    static void post(const QString &name) {
        ZRKNotificationCenter::platformDefault().postNotificationName(name);
    }

    [[nodiscard]] QStringList titles() const {
        QStringList result;
        for (const QAction *const one : _controller->menu()->actions()) {
            if (one->isVisible())
                result.append(one->isSeparator() ? separator : one->text());
        }
        return result;
    }
    [[nodiscard]] QString toggleTitle() const { return titles().at(1); }
    [[nodiscard]] QString statusTitle() const { return titles().at(4); }

    [[nodiscard]] QAction *action(const QString &title) const {
        for (QAction *const one : _controller->menu()->actions()) {
            if (one->text() == title)
                return one;
        }
        return nullptr;
    }
    void choose(const QString &title) const {
        QAction *const chosen = action(title);
        QVERIFY2(chosen, qPrintable(title));
        chosen->trigger();
    }

    kit::ManualRunLoop _runLoop;
    RunLoop::Installation _installation{_runLoop};
    kit::MemoryPreferencesDatabase _database;
    std::shared_ptr<ZRKUserDefaults> _settings;
    std::optional<FakeSource> _source;
    std::optional<FakeStatusBar> _bar;
    std::optional<FakeHelpManager> _help;
    std::optional<FakeSessionPrograms> _programs;
    std::shared_ptr<ZRKClipmuleStatusController> _controller;
};

QTEST_MAIN(StatusControllerTest)
#include "tst_statuscontroller.moc"
