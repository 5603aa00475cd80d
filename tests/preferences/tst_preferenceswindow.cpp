// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PagePairingDialog.h"
#include "preferences/PreferencesWindow.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/kit/MemoryDistributedNotifications.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/Settle.h"
#include "tests/kit/TestCase.h"
#include "tests/preferences/FakeUserServices.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHostAddress>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace clipmule;
using namespace clipmule::kit;
using namespace Qt::StringLiterals;

namespace {

const QString sharedDomain = QStringLiteral("com.zendrik.ClipmuleSync.shared");
const QString anna = QStringLiteral("Anna's Phone");
const QString bert = QStringLiteral("Bert's Phone");

class FakeReader final : public StatusReader {
public:
    void start() override {}
    [[nodiscard]] Agent agent() const override { return is; }
    [[nodiscard]] const std::optional<AgentStatus> &status() const override { return told; }
    [[nodiscard]] bool hasBus() const override { return bus; }
    Agent is = Agent::NotRunning;
    std::optional<AgentStatus> told;
    bool bus = true;
};

class FakeProbe final : public dnssd::NetworkProbe {
public:
    void look(std::function<void(const dnssd::NetworkFacts &)> answer) override {
        ++looks;
        answer(facts);
    }
    dnssd::NetworkFacts facts;
    int looks = 0;
};

} // namespace

class PreferencesWindowTest final : public kit::TestCase {
    Q_OBJECT

    void begin() override {
        _hub = std::make_shared<MemoryDistributedNotifications::Hub>();
        _notifications.emplace(_hub);
        _database.emplace();
        _dnssd.emplace();
        _reader.emplace();
        _probe.emplace();
        _folder.emplace();
        _autostart.emplace(_folder->filePath(u"autostart"_s), QStringList(), u"/bin/sh"_s);
        _userServices.emplace();
        const QString page = _folder->filePath(u"clipmule-web"_s);
        // It tells what it was started with.
        writeProgram(page, "echo \"$@\" >>" + said().toUtf8() + "\n");
        _page.emplace(
            page, *_userServices,
            AutostartEntry(_folder->filePath(u"autostart"_s), {}, {page, u"page.desktop"_s}));
        _pairing.emplace(*_page, QFile::encodeName(_folder->path()));
        _helps = 0;
    }

    void end() override {
        _window.reset();
        _phones.reset();
        _pairing.reset();
        ZRKUserDefaults::setEnvironment({});
    }

private Q_SLOTS:
    void theFirstPhoneShownIsTheOneThatReturnPairs() {
        start();
        appear(bert);
        appear(anna);
        // Sorted by name; nobody has chosen yet.
        QCOMPARE(current(network()), anna);
        button(u"Pair"_s)->click();
        settle();
        QCOMPARE(services(), QStringList{anna});
    }

    void aPhoneThatWasChosenStaysTheCurrentOne() {
        start();
        appear(bert);
        _window->show();
        _window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&*_window));
        network()->setFocus();
        appear(anna);
        QCOMPARE(current(network()), bert);
    }

    void whatPhonesSendIsPastedOrNot() {
        start();
        auto *const box = check(u"Paste what a phone sends"_s);
        QVERIFY(box->isChecked());
        box->click();
        QCOMPARE(stored(u"pasteMode"_s), std::optional(PropertyList(u"clipboard"_s)));
        box->click();
        QCOMPARE(stored(u"pasteMode"_s), std::optional(PropertyList(u"paste"_s)));
        QVERIFY(_database->setValue(sharedDomain, u"pasteMode"_s, PropertyList(u"clipboard"_s)));
        _stores->reload();
        settle();
        QVERIFY(!box->isChecked());
    }

    void aSwitchThatCannotBeWrittenSaysWhy_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("icon") << u"Show the icon in the system tray"_s;
        QTest::newRow("paste") << u"Paste what a phone sends"_s;
    }
    void aSwitchThatCannotBeWrittenSaysWhy() {
        QFETCH(QString, name);
        start();
        _database->setFailsToWrite(u"no space"_s);
        const QString said = u"The settings could not be written: no space"_s;
        QVERIFY(check(name)->isChecked());
        QVERIFY(!labels().contains(said));
        check(name)->click();
        QVERIFY(check(name)->isChecked());
        QVERIFY(labels().contains(said));
    }

    void aPhoneMayHaveAPasteModeOfItsOwn() {
        start();
        auto *const box = _window->findChild<QComboBox *>(u"pasteMode"_s);
        QVERIFY(!box->isEnabled());
        appear(anna);
        appear(bert);
        button(u"Pair"_s)->click();
        settle();
        button(u"Pair"_s)->click();
        settle();
        QVERIFY(box->isEnabled());
        QCOMPARE(current(paired()), bert);
        QCOMPARE(box->currentIndex(), 0);
        QCOMPARE(box->itemText(0), u"As with all phones: paste it"_s);
        choose(box, 2);
        QCOMPARE(_phones->registered()[1].pasteMode, std::optional(PasteMode::Clipboard));
        QCOMPARE(_phones->registered()[0].pasteMode, std::nullopt);
        // The box follows the phone that is current.
        paired()->setCurrentIndex(paired()->model()->index(0, 0));
        QCOMPARE(box->currentIndex(), 0);
        choose(box, 1);
        QCOMPARE(_phones->registered()[0].pasteMode, std::optional(PasteMode::Paste));
        paired()->setCurrentIndex(paired()->model()->index(1, 0));
        QCOMPARE(box->currentIndex(), 2);
        choose(box, 0);
        QCOMPARE(_phones->registered()[1].pasteMode, std::nullopt);
        check(u"Paste what a phone sends"_s)->click();
        QCOMPARE(box->itemText(0), u"As with all phones: only put it on the clipboard"_s);
    }

    void anUnpairedPhoneCanBeBroughtBackForAWhile() {
        start();
        appear(anna);
        button(u"Pair"_s)->click();
        settle();
        const int height = paired()->parentWidget()->height();
        button(u"Unpair"_s)->click();
        settle();
        auto *const told = _window->findChild<QLabel *>(u"removal"_s);
        QVERIFY(!told->isHidden());
        QCOMPARE(told->text(), u"“Anna's Phone” was unpaired."_s);
        // Nothing is pushed away by it.
        QCOMPARE(paired()->parentWidget()->height(), height);
        button(u"Undo"_s)->click();
        settle();
        QCOMPARE(services(), QStringList{anna});
        QVERIFY(told->isHidden());

        button(u"Unpair"_s)->click();
        settle();
        _runLoop.advance(PreferencesWindow::undoOffered - RunLoop::Seconds(1));
        QVERIFY(!told->isHidden());
        _runLoop.advance(RunLoop::Seconds(1.5));
        settle();
        QVERIFY(told->isHidden());
        QVERIFY(!_phones->undoableRemoval());
    }

    void aLongNameDoesNotPushTheButtonsAway() {
        start();
        const QString name(60, u'w');
        appear(name);
        button(u"Pair"_s)->click();
        settle();
        button(u"Unpair"_s)->click();
        settle();
        auto *const told = _window->findChild<QLabel *>(u"removal"_s);
        QCOMPARE(told->text(), u"“"_s + QString(23, u'w') + u"…” was unpaired."_s);
        QVERIFY(told->toolTip().contains(name));
    }

    void aPhoneIsPairedByItsAddress() {
        start();
        button(u"Pair by address…"_s)->click();
        auto *const dialog = _window->findChild<QDialog *>();
        QVERIFY(dialog && dialog->isVisible());
        auto *const name = dialog->findChild<QLineEdit *>(u"phoneName"_s);
        auto *const address = dialog->findChild<QLineEdit *>(u"phoneAddress"_s);
        QPushButton *pair = nullptr;
        for (auto *one : dialog->findChildren<QPushButton *>()) {
            if (one->text() == u"Pair")
                pair = one;
        }
        QVERIFY(pair && !pair->isEnabled());
        name->setText(u" "_s + anna + u' ');
        QVERIFY(!pair->isEnabled());
        address->setText(u"192.168.1.20"_s);
        QVERIFY(!pair->isEnabled());
        QVERIFY(!dialog->findChild<QLabel *>(u"problem"_s)->text().isEmpty());
        address->setText(u" 192.168.1.20:5000 "_s);
        QVERIFY(pair->isEnabled());
        QVERIFY(dialog->findChild<QLabel *>(u"problem"_s)->text().isEmpty());
        // In bytes, as names on the network are.
        name->setText(QString(40, u'ä'));
        QVERIFY(!pair->isEnabled());
        name->setText(u"  "_s);
        QVERIFY(!pair->isEnabled());
        name->setText(anna);
        pair->click();
        settle();
        QCOMPARE(_phones->registered().size(), 1);
        QCOMPARE(_phones->registered()[0].service, anna);
        QCOMPARE(_phones->registered()[0].address, u"192.168.1.20:5000"_s);
        QVERIFY(paired()
                    ->model()
                    ->index(0, 0)
                    .data(Qt::AccessibleTextRole)
                    .toString()
                    .contains(u"by hand at 192.168.1.20:5000"_s));
    }

    void theRenameDialogHasRoomAndSaysWhatItDoes() {
        start();
        appear(anna);
        button(u"Pair"_s)->click();
        settle();
        button(u"Rename…"_s)->click();
        auto *const dialog = _window->findChild<QInputDialog *>();
        QVERIFY(dialog);
        QVERIFY(dialog->width() >= 20 * _window->fontMetrics().height());
        QCOMPARE(dialog->okButtonText(), u"Rename"_s);
        dialog->setTextValue(u"Anna"_s);
        dialog->accept();
        settle();
        QCOMPARE(_phones->registered()[0].name, u"Anna"_s);
    }

    void helpIsOpenedByTheButtonAndByF1() {
        start();
        _window->show();
        _window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&*_window));
        button(u"Help"_s)->click();
        QCOMPARE(_helps, 1);
        QTest::keyClick(&*_window, Qt::Key_F1);
        QCOMPARE(_helps, 2);
        QVERIFY(labels().contains(u"Version "_s + QStringLiteral(CLIPMULE_VERSION)));
    }

    void whyTheClipboardCannotBeUsed_data() {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<bool>("hasDisplay");
        QTest::addColumn<QString>("said");
        QTest::newRow("no display") << u"none"_s << false << u"without a display; restart it"_s;
        QTest::newRow("no clipboard")
            << u"none"_s << true << u"no clipboard for programs without a window."_s;
        QTest::newRow("XWayland") << u"xwayland"_s << true
                                  << u"only while an X11 window has the focus."_s;
        QTest::newRow("another reason")
            << u"x11"_s << true << u"cannot use this desktop’s clipboard"_s;
    }
    void whyTheClipboardCannotBeUsed() {
        QFETCH(QString, backend);
        QFETCH(bool, hasDisplay);
        QFETCH(QString, said);
        start();
        tell({.syncEnabled = true, .hasDisplay = hasDisplay, .pasteboardBackend = backend});
        const QString text = _window->findChild<QLabel *>(u"agentState"_s)->text();
        QVERIFY2(text.contains(said), qPrintable(text));
    }

    void oneWayIsNotEnough() {
        start();
        const auto *const text = _window->findChild<QLabel *>(u"agentState"_s);
        tell({.syncEnabled = true, .pasteboardBackend = u"x11"_s, .pasteboardCanRead = true});
        QVERIFY(text->text().contains(u"cannot use"));
        tell({.syncEnabled = true, .pasteboardBackend = u"x11"_s, .pasteboardCanWrite = true});
        QVERIFY(text->text().contains(u"cannot use"));
        tell({.syncEnabled = true,
              .pasteboardBackend = u"none"_s,
              .pasteboardCanRead = true,
              .pasteboardCanWrite = true});
        QCOMPARE(text->text(), u"No phone is connected."_s);
    }

    void whereNothingCanPasteItIsSaid() {
        start();
        appear(anna);
        button(u"Pair"_s)->click();
        settle();
        AgentStatus status{
            .syncEnabled = true,
            .pasteboardBackend = u"x11"_s,
            .pasteboardCanRead = true,
            .pasteboardCanWrite = true,
            .canPaste = true,
            .phones = {
                {.service = anna, .name = anna, .state = AgentStatus::PhoneState::Connected}}};
        const auto *const text = _window->findChild<QLabel *>(u"agentState"_s);
        tell(status);
        QVERIFY(text->text().startsWith(u"Connected to "));
        QVERIFY(!text->text().contains(u"press"));
        status.canPaste = false;
        tell(status);
        QVERIFY(text->text().endsWith(
            u". Nothing can be pasted for you on this desktop: press Ctrl+V."_s));
        status.pasteBackend = u"xwayland"_s;
        tell(status);
        QVERIFY(text->text().endsWith(u". On this desktop, clips are pasted for you into X11 "
                                      "windows only: elsewhere press Ctrl+V."_s));
        // Who wants it on the clipboard only is not told.
        check(u"Paste what a phone sends"_s)->click();
        QVERIFY(!text->text().contains(u"press"));
    }

    void gnomesMissingIconIsExplained() {
        qputenv("XDG_CURRENT_DESKTOP", "GNOME");
        start();
        const auto *const advice = _window->findChild<QLabel *>(u"trayAdvice"_s);
        QVERIFY(advice->isHidden());
        tell({.hasDisplay = true, .trayKind = u"none"_s});
        QVERIFY(!advice->isHidden());
        QVERIFY(advice->text().startsWith(u"GNOME shows icons of this kind only with"));
        QVERIFY(advice->wordWrap());
        tell({.hasDisplay = true, .trayKind = u"statusnotifier"_s});
        QVERIFY(advice->isHidden());
        qputenv("XDG_CURRENT_DESKTOP", "sway");
        tell({.hasDisplay = true, .trayKind = u"none"_s});
        QVERIFY(advice->isHidden());
    }

    void aLoginEntryThatCannotBeWrittenSaysWhy() {
        // A file where the folder should be.
        QFile file(_folder->filePath(u"autostart"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        start();
        check(u"Start at login"_s)->click();
        QVERIFY(!check(u"Start at login"_s)->isChecked());
        const auto texts = labels().filter(u"The autostart entry could not be written: "_s);
        QCOMPARE(texts.size(), 1);
        QVERIFY(!texts[0].endsWith(u": "));
    }

    void aBrowserIsRevokedWhenItCannotComeBackAnyMore() {
        start();
        appear(u"local/Mum"_s);
        appear(anna);
        for (int phone = 0; phone < 2; ++phone) {
            button(u"Pair"_s)->click();
            settle();
        }
        for (int phone = 0; phone < 2; ++phone)
            button(u"Unpair"_s)->click();
        settle();
        _runLoop.advance(PreferencesWindow::undoOffered - RunLoop::Seconds(1));
        QVERIFY(!QFile::exists(said()));
        _runLoop.advance(2.0);
        // A phone of the network is none of its business.
        QTRY_COMPARE(saidLines(), QByteArray("revoke -- local/Mum\n"));
    }

    void aBrowserThatComesBackIsNotRevoked() {
        start();
        appear(u"local/Mum"_s);
        button(u"Pair"_s)->click();
        settle();
        button(u"Unpair"_s)->click();
        settle();
        button(u"Undo"_s)->click();
        settle();
        QVERIFY(!_phones->undoableRemoval());
        button(u"Unpair"_s)->click();
        settle();
        // The window closes: there is nobody left to bring it back.
        _phones->stop();
        QTRY_COMPARE(saidLines(), QByteArray("revoke -- local/Mum\n"));
    }

    void aBrowserIsRenamedWhereItIsKept() {
        start();
        appear(u"local/Mum"_s);
        appear(anna);
        for (int phone = 0; phone < 2; ++phone) {
            button(u"Pair"_s)->click();
            settle();
        }
        for (int row = 0; row < 2; ++row) {
            paired()->setCurrentIndex(paired()->model()->index(row, 0));
            button(u"Rename…"_s)->click();
            auto *const dialog = _window->findChildren<QInputDialog *>().last();
            dialog->setTextValue(u"Dad"_s);
            dialog->accept();
            settle();
        }
        QTRY_COMPARE(saidLines(), QByteArray("rename -- local/Mum Dad\n"));
        QCOMPARE(_phones->registered()[0].name, u"Dad"_s);
    }

    void thePageIsServedAtLoginOrNot() {
        _userServices->atLogin = UserServices::AtLogin::On;
        start();
        auto *const box = check(u"Serve the page for browsers at login"_s);
        QVERIFY(!box->isHidden());
        QVERIFY(box->isChecked());
        box->click();
        QVERIFY(!box->isChecked());
        QCOMPARE(_userServices->asked.last(), u"off clipmule-web.service"_s);
        box->click();
        QCOMPARE(_userServices->asked.last(), u"on clipmule-web.service"_s);
        // It stays as it is when that does not work, and says why.
        _userServices->problem = u"not allowed"_s;
        box->click();
        QVERIFY(box->isChecked());
        QVERIFY(labels().contains(
            u"Whether the page is served at login could not be changed: not allowed"_s));
        // Somebody else has switched it meanwhile.
        _userServices->atLogin = UserServices::AtLogin::Off;
        QEvent activated(QEvent::WindowActivate);
        QCoreApplication::sendEvent(&*_window, &activated);
        QVERIFY(!box->isChecked());
    }

    void aPageThatCannotBeServedHasNoSwitch() {
        QVERIFY(QFile::remove(_folder->filePath(u"clipmule-web"_s)));
        start();
        QVERIFY(check(u"Serve the page for browsers at login"_s)->isHidden());
    }

    void aPhoneIsAddedByItsBrowser() {
        start();
        QVERIFY(labels().filter(u"Add any phone by its browser"_s).size() == 1);
        button(u"Add a phone by its browser…"_s)->click();
        auto *const dialog = _window->findChild<PagePairingDialog *>();
        QVERIFY(dialog && dialog->isVisible());
        // The program may have ended already.
        QVERIFY(_pairing->stage() != PagePairing::Stage::Idle);
        dialog->reject();
        QTRY_COMPARE(_pairing->stage(), PagePairing::Stage::Idle);
    }

    // On a wide screen a line is no longer than can be read with ease.
    void wideWindowsKeepTheirLinesShort() {
        start();
        _window->resize(3000, 900);
        _window->show();
        QVERIFY(paired()->width() < 60 * _window->fontMetrics().height());
    }

private:
    void start() {
        ZRKUserDefaults::Environment environment;
        environment.database = &*_database;
        environment.distributedNotifications = &*_notifications;
        _stores = SettingsStores::open(environment);
        QVERIFY(_stores);
        _phones.emplace(*_dnssd, *_stores);
        _window.emplace(PreferencesWindow::Services{.phones = *_phones,
                                                    .settings = *_stores,
                                                    .autostart = *_autostart,
                                                    .agent = *_reader,
                                                    .page = *_page,
                                                    .pairing = *_pairing,
                                                    .network = *_probe,
                                                    .startAgent = [] { return true; },
                                                    .showHelp = [this] { ++_helps; }});
        _window->start();
        settle();
    }
    void settle() { QVERIFY(kit::settle(_runLoop)); }
    [[nodiscard]] QString said() const { return _folder->filePath(u"said"_s); }
    [[nodiscard]] QByteArray saidLines() const {
        QFile file(said());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // The agent runs, and says so.
    void tell(const AgentStatus &status) {
        _reader->is = StatusReader::Agent::Running;
        _reader->told = status;
        _reader->onChange();
    }
    void appear(const QString &name) {
        _dnssd->appear({name, u"_clipmule-s2._tcp"_s, u"local"_s},
                       {{QHostAddress(u"10.0.0.1"_s), 7000}}, QByteArray(1, '\0'));
        settle();
    }
    [[nodiscard]] QListView *list(const QString &name) const {
        for (auto *view : _window->findChildren<QListView *>()) {
            if (view->accessibleName() == name)
                return view;
        }
        return nullptr;
    }
    [[nodiscard]] QListView *paired() const { return list(u"Paired phones"_s); }
    [[nodiscard]] QListView *network() const { return list(u"Phones on this network"_s); }
    [[nodiscard]] static QString current(const QListView *view) {
        return view->currentIndex().data().toString();
    }
    template <typename Button>
    [[nodiscard]] Button *named(const QString &text) const {
        for (auto *one : _window->findChildren<Button *>()) {
            if (QString(one->text()).remove(u'&') == text)
                return one;
        }
        return nullptr;
    }
    [[nodiscard]] QPushButton *button(const QString &text) const {
        return named<QPushButton>(text);
    }
    [[nodiscard]] QCheckBox *check(const QString &text) const { return named<QCheckBox>(text); }
    [[nodiscard]] QStringList labels() const {
        QStringList texts;
        for (const auto *one : _window->findChildren<QLabel *>())
            texts.append(one->text());
        return texts;
    }
    void choose(QComboBox *box, int index) {
        box->setCurrentIndex(index);
        Q_EMIT box->activated(index);
        settle();
    }
    [[nodiscard]] QStringList services() const {
        QStringList result;
        for (const auto &phone : _phones->registered())
            result.append(phone.service);
        return result;
    }
    [[nodiscard]] std::optional<PropertyList> stored(const QString &key) {
        const auto all = _database->copyMultiple(sharedDomain);
        return all.contains(key) ? std::optional(all.value(key)) : std::nullopt;
    }

    kit::ManualRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    std::shared_ptr<MemoryDistributedNotifications::Hub> _hub;
    std::optional<MemoryDistributedNotifications> _notifications;
    std::optional<MemoryPreferencesDatabase> _database;
    std::optional<FakeDnsSd> _dnssd;
    std::optional<FakeReader> _reader;
    std::optional<FakeProbe> _probe;
    std::optional<QTemporaryDir> _folder;
    std::optional<AutostartEntry> _autostart;
    std::optional<FakeUserServices> _userServices;
    std::optional<PageProgram> _page;
    std::optional<PagePairing> _pairing;
    std::unique_ptr<SettingsStores> _stores;
    std::optional<PhoneList> _phones;
    std::optional<PreferencesWindow> _window;
    int _helps = 0;
};

QTEST_MAIN(PreferencesWindowTest)
#include "tst_preferenceswindow.moc"
