// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PreferencesWindow.h"

#include "preferences/CommandLine.h"
#include "preferences/Doctor.h"
#include "preferences/PagePairingDialog.h"
#include "preferences/PanelTexts.h"
#include "preferences/PhoneListModel.h"
#include "preferences/WindowParts.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QLocale>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QWindow>

namespace clipmule {

namespace {

using Presence = PhoneList::Presence;
using Settings::Key;

// The content's width in units of the font's height: a line is read with ease.
constexpr int widestContent = 44;
// The choices of a phone, in the order of its box.
const QList<std::optional<PasteMode>> pasteChoices{std::nullopt, PasteMode::Paste,
                                                   PasteMode::Clipboard};

} // namespace

PreferencesWindow::PreferencesWindow(Services services)
    : _services(std::move(services)) {
    setWindowTitle(PanelTexts::tr("Clipmule Sync Preferences"));
    setObjectName(QStringLiteral("preferences"));
    // Large letters on a small screen do not fit otherwise.
    auto *const scroller = new QScrollArea(this);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setWidgetResizable(true);
    scroller->setFocusPolicy(Qt::NoFocus);
    setCentralWidget(scroller);
    auto *const content = new QWidget(scroller);
    auto *const layout = new QVBoxLayout(content);
    layout->setContentsMargins(WindowParts::margin, WindowParts::margin, WindowParts::margin,
                               WindowParts::margin);
    layout->setSpacing(WindowParts::sectionGap);
    _problem = new NoticeBar(this);
    layout->addWidget(_problem);
    layout->addLayout(makeSyncSection());
    layout->addLayout(makePairedSection(), 1);
    layout->addLayout(makeNetworkSection(), 1);
    layout->addLayout(makeSwitchesSection());
    auto *const line = new QFrame(this);
    line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    layout->addWidget(line);
    _statistics = new StatisticsRow(this);
    layout->addWidget(_statistics);
    layout->addLayout(makeFooter());
    makeShortcuts();
    _sync->setFocus();
    content->setMaximumWidth(widestContent * fontMetrics().height());
    scroller->setAlignment(Qt::AlignHCenter);
    scroller->setWidget(content);
    scroller->viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    // The size follows the font, but is no larger than what the desktop leaves, with room for a
    // title bar.
    const int unit = fontMetrics().height();
    const QSize available = screen()->availableSize() - QSize(0, 3 * unit);
    setMinimumWidth(std::min(content->minimumSizeHint().width() + 2 * unit, available.width()));
    resize(QSize(32 * unit, 52 * unit).expandedTo(content->sizeHint()).boundedTo(available));
}

PreferencesWindow::~PreferencesWindow() {
    _services.phones.onChange = {};
    _services.settings.onChange = {};
    _services.agent.onChange = {};
    _services.phones.onForgotten = {};
    _services.page.onLoginChange = {};
    _services.page.onProblem = {};
}

// Sections.

QLayout *PreferencesWindow::makeSyncSection() {
    auto *const layout = new QVBoxLayout;
    layout->setSpacing(WindowParts::lineGap);
    _sync =
        makeSwitch(PanelTexts::tr("&Sync the clipboard with the paired phones"), Key::SyncEnabled);
    layout->addWidget(_sync);
    auto *const row = new QHBoxLayout;
    _agentState = WindowParts::makeHint(this);
    _agentState->setObjectName(QStringLiteral("agentState"));
    _startAgent =
        makeButton(PanelTexts::tr("S&tart Clipmule Sync"), &PreferencesWindow::startAgent);
    row->addWidget(_agentState, 1);
    row->addWidget(_startAgent);
    layout->addLayout(row);
    return layout;
}

QLayout *PreferencesWindow::makePairedSection() {
    auto *const layout = new QVBoxLayout;
    layout->setSpacing(WindowParts::lineGap);
    QLabel *const heading = WindowParts::makeHeading(PanelTexts::tr("&Paired phones"), this);
    layout->addWidget(heading);
    _pairedModel = new PhoneListModel(this);
    _paired = makeList(_pairedModel, heading);
    connect(_paired, &QListView::activated, this, &PreferencesWindow::renameCurrent);
    QLabel *const hint = WindowParts::makeHint(this);
    hint->setText(
        PanelTexts::tr("No phone is paired yet. Phones that can be paired appear below."));
    _pairedPages = WindowParts::makePages(_paired, {hint}, this);
    layout->addWidget(_pairedPages, 1);
    layout->addLayout(makePasteRow());
    layout->addLayout(makeRemovalRow());
    return layout;
}

QLayout *PreferencesWindow::makePasteRow() {
    auto *const row = new QHBoxLayout;
    auto *const hint = new QLabel(PanelTexts::tr("&What this phone sends:"), this);
    _pasteMode = new QComboBox(this);
    _pasteMode->setObjectName(QStringLiteral("pasteMode"));
    _pasteMode->addItems(
        {QString(), PanelTexts::tr("Paste it"), PanelTexts::tr("Only put it on the clipboard")});
    hint->setBuddy(_pasteMode);
    _pasteMode->setAccessibleName(hint->text().remove(u'&'));
    connect(_pasteMode, &QComboBox::activated, this, &PreferencesWindow::choosePasteMode);
    row->addWidget(hint);
    row->addWidget(_pasteMode, 1);
    return row;
}

QLayout *PreferencesWindow::makeRemovalRow() {
    _removal = WindowParts::makeHint(this);
    _removal->setWordWrap(false);
    _removal->setObjectName(QStringLiteral("removal"));
    _undo = makeButton(PanelTexts::tr("Und&o"), &PreferencesWindow::undoRemoval);
    _removal->hide();
    _undo->hide();
    _rename = makeButton(PanelTexts::tr("Rena&me…"), &PreferencesWindow::renameCurrent);
    _remove = makeButton(PanelTexts::tr("Unpai&r"), &PreferencesWindow::removeCurrent);
    auto *const row = new QHBoxLayout;
    row->addWidget(_removal);
    row->addWidget(_undo);
    row->addStretch();
    row->addWidget(_rename);
    row->addWidget(_remove);
    return row;
}

QLayout *PreferencesWindow::makeNetworkSection() {
    auto *const layout = new QVBoxLayout;
    layout->setSpacing(WindowParts::lineGap);
    QLabel *const heading =
        WindowParts::makeHeading(PanelTexts::tr("Phones on this &network"), this);
    layout->addWidget(heading);
    _networkModel = new PhoneListModel(this);
    _network = makeList(_networkModel, heading);
    connect(_network, &QListView::activated, this, &PreferencesWindow::addCurrent);
    _networkHint = WindowParts::makeHint(this);
    _advice = WindowParts::makeHint(this);
    // A command in it can be copied.
    _advice->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    _advice->setObjectName(QStringLiteral("advice"));
    _advice->hide();
    _networkPages = WindowParts::makePages(_network, {_networkHint, _advice}, this);
    layout->addWidget(_networkPages, 1);
    _network->installEventFilter(this);
    _addByBrowser = makeButton(PanelTexts::tr("Add a phone by its &browser…"),
                               &PreferencesWindow::addByBrowser);
    _addByBrowser->setAccessibleDescription(
        PanelTexts::tr("Shows a code that the camera of any phone reads"));
    _addByHand = makeButton(PanelTexts::tr("Pair by a&ddress…"), &PreferencesWindow::addByHand);
    _addByHand->setAccessibleDescription(
        PanelTexts::tr("Pairs a phone that this network does not show"));
    _add = makeButton(PanelTexts::tr("P&air"), &PreferencesWindow::addCurrent);
    _add->setAccessibleDescription(PanelTexts::tr("Pairs the selected phone with this computer"));
    auto *const buttons = new QHBoxLayout;
    buttons->addWidget(_addByBrowser);
    buttons->addStretch();
    buttons->addWidget(_addByHand);
    buttons->addWidget(_add);
    layout->addLayout(buttons);
    return layout;
}

QLayout *PreferencesWindow::makeSwitchesSection() {
    auto *const layout = new QVBoxLayout;
    layout->setSpacing(WindowParts::lineGap);
    _paste = new QCheckBox(PanelTexts::tr("Paste what a phone s&ends"), this);
    _paste->setToolTip(PanelTexts::tr("Into the window in front. Otherwise it is only put on the "
                                      "clipboard."));
    connect(_paste, &QCheckBox::clicked, this, [this](bool on) {
        change(Key::PasteMode, Settings::wordFor(on ? PasteMode::Paste : PasteMode::Clipboard));
    });
    auto *const statusItem =
        makeSwitch(PanelTexts::tr("Show the &icon in the system tray"), Key::ShowStatus);
    _trayAdvice = WindowParts::makeHint(this);
    _trayAdvice->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    _trayAdvice->setObjectName(QStringLiteral("trayAdvice"));
    _atLogin = new QCheckBox(PanelTexts::tr("Start at &login"), this);
    connect(_atLogin, &QCheckBox::clicked, this, [this](bool on) {
        if (const auto written = _services.autostart.setEnabled(on); !written)
            showProblem(PanelTexts::tr("The autostart entry could not be written: %1")
                            .arg(written.error().reason));
        showSwitches();
    });
    _pageAtLogin = new QCheckBox(PanelTexts::tr("Ser&ve the page for browsers at login"), this);
    connect(_pageAtLogin, &QCheckBox::clicked, this,
            [this](bool on) { _services.page.setAtLogin(on); });
    auto *const updates =
        makeSwitch(PanelTexts::tr("Check for &updates automatically"), Key::AutoUpdateEnabled);
    for (QWidget *const line : std::initializer_list<QWidget *>{_paste, statusItem, _trayAdvice,
                                                                _atLogin, _pageAtLogin, updates})
        layout->addWidget(line);
    return layout;
}

QLayout *PreferencesWindow::makeFooter() {
    auto *const row = new QHBoxLayout;
    QLabel *const version = WindowParts::makeHint(this);
    version->setText(PanelTexts::tr("Version %1").arg(QStringLiteral(CLIPMULE_VERSION)));
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *const help = new QPushButton(PanelTexts::tr("&Help"), this);
    connect(help, &QPushButton::clicked, this, [this] {
        if (_services.showHelp)
            _services.showHelp();
    });
    auto *const key = new QShortcut(QKeySequence::HelpContents, this);
    connect(key, &QShortcut::activated, help, &QPushButton::click);
    row->addWidget(version, 1);
    row->addWidget(help);
    return row;
}

QPushButton *PreferencesWindow::makeButton(const QString &text,
                                           void (PreferencesWindow::*pressed)()) {
    auto *const button = new QPushButton(text, this);
    connect(button, &QPushButton::clicked, this, pressed);
    return button;
}

QListView *PreferencesWindow::makeList(PhoneListModel *model, QLabel *heading) {
    auto *const list = new QListView(this);
    list->setModel(model);
    list->setItemDelegate(new PhoneDelegate(list));
    list->setUniformItemSizes(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setTabKeyNavigation(false);
    list->setAccessibleName(heading->text().remove(u'&'));
    heading->setBuddy(list);
    connect(list->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        showButtons();
        showPasteMode();
    });
    return list;
}

QCheckBox *PreferencesWindow::makeSwitch(const QString &text, Key which) {
    auto *const box = new QCheckBox(text, this);
    connect(box, &QCheckBox::clicked, this, [this, which](bool on) { change(which, on); });
    _switches.append({box, which});
    return box;
}

void PreferencesWindow::makeShortcuts() {
    const auto add = [this](const QKeySequence &keys, auto slot, QWidget *where) {
        auto *const shortcut = new QShortcut(keys, where);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, slot);
    };
    add(QKeySequence::Undo, &PreferencesWindow::undoRemoval, this);
    add(QKeySequence(Qt::Key_F2), &PreferencesWindow::renameCurrent, _paired);
    add(QKeySequence::Delete, &PreferencesWindow::removeCurrent, _paired);
    for (const auto keys : {QKeySequence::Close, QKeySequence::Quit, QKeySequence::Cancel})
        add(keys, &PreferencesWindow::close, this);
}

// What is shown.

void PreferencesWindow::start() {
    _services.phones.onChange = [this] { showAll(); };
    _services.settings.onChange = [this] { showAll(); };
    _services.agent.onChange = [this] {
        _services.phones.setAgentStatus(_services.agent.status());
        showAll();
    };
    _services.phones.onForgotten = [this](const QString &service) {
        if (LocalNames::isLocal(service))
            _services.page.revoke(service);
    };
    _services.page.onLoginChange = [this] { showSwitches(); };
    _services.page.onProblem = [this](const QString &reason) {
        showProblem(PanelTexts::tr("Whether the page is served at login could not be changed: %1")
                        .arg(reason));
    };
    _services.page.look();
    _services.phones.start();
    _services.settings.start();
    _services.agent.start();
    seekAdviceLater(patienceForPhones);
    showAll();
}

void PreferencesWindow::comeForward(const QString &activationToken) {
    // Where the window system wants to see a permission, it looks for it here.
    if (!activationToken.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.toUtf8());
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

bool PreferencesWindow::event(QEvent *event) {
    if (event->type() == QEvent::WindowActivate) {
        // Others may have changed settings without telling.
        _services.settings.reload();
        _services.page.look();
        showAll();
    }
    return QMainWindow::event(event);
}

bool PreferencesWindow::eventFilter(QObject *object, QEvent *event) {
    if (object == _network && event->type() == QEvent::FocusIn)
        _networkWasVisited = true;
    return QMainWindow::eventFilter(object, event);
}

void PreferencesWindow::showAll() {
    showPhones();
    showPasteMode();
    _agentState->setText(agentText());
    _startAgent->setVisible(_services.agent.agent() == StatusReader::Agent::NotRunning);
    showSwitches();
    _statistics->showStatistics(_services.settings.statistics());
    showRemoval();
    showButtons();
}

void PreferencesWindow::showPhones() {
    const PhoneListModel::Circumstances circumstances{
        _services.agent.agent() == StatusReader::Agent::Running,
        _services.settings.isOn(Key::SyncEnabled), Date::now()};
    const auto paired = _services.phones.registered();
    const auto available = _services.phones.available();
    _pairedModel->setPhones(paired, circumstances);
    _networkModel->setPhones(available, circumstances);
    _pairedPages->setCurrentIndex(paired.isEmpty() ? 1 : 0);
    _networkPages->setCurrentIndex(available.isEmpty() ? 1 : 0);
    // Each list has a current phone from the start, so that it is clear what Return and the buttons
    // are for.
    for (QListView *list : {_paired, _network}) {
        if (!list->currentIndex().isValid() && list->model()->rowCount() > 0)
            list->setCurrentIndex(list->model()->index(0, 0));
    }
    if (!_networkWasVisited && !available.isEmpty())
        _network->setCurrentIndex(_networkModel->index(0, 0));
    _networkHint->setText(
        paired.isEmpty()
            ? PanelTexts::tr("Add any phone by its browser: nothing is installed on it.\n"
                             "Or open the app on your phone, on the same network as this computer. "
                             "The phone appears here.")
            : PanelTexts::tr("To pair another phone, add it by its browser, or open the app on it, "
                             "on the same network as this computer."));
    if (!_services.phones.missesPhones()) {
        _adviceTimer.cancel();
        _advice->hide();
    } else if (!_adviceTimer.isPending()) {
        // A phone has left.
        seekAdviceLater(patienceForPhones);
    }
}

QString PreferencesWindow::agentText() const {
    switch (_services.agent.agent()) {
    case StatusReader::Agent::Unknown:
        return _services.agent.hasBus()
                   ? QString()
                   : PanelTexts::tr("Whether Clipmule Sync is running cannot be seen: there is no "
                                    "session bus.");
    case StatusReader::Agent::NotRunning:
        return PanelTexts::tr("Clipmule Sync is not running.");
    case StatusReader::Agent::Silent:
        return PanelTexts::tr("Clipmule Sync is running, but does not answer.");
    case StatusReader::Agent::Running:
        break;
    }
    const AgentStatus &status = *_services.agent.status();
    if (QString obstacle = clipboardObstacle(status); !obstacle.isEmpty())
        return obstacle;
    if (!_services.settings.isOn(Key::SyncEnabled))
        return PanelTexts::tr("Syncing is off.");
    QStringList connected;
    for (const auto &phone : _services.phones.registered()) {
        if (phone.presence == Presence::Connected)
            connected.append(phone.name);
    }
    if (connected.isEmpty())
        return PanelTexts::tr("No phone is connected.");
    const QString text =
        PanelTexts::tr("Connected to %1.").arg(QLocale().createSeparatedList(connected));
    if (status.canPaste || _services.settings.pasteMode() != PasteMode::Paste)
        return text;
    return text + u' ' +
           (status.pasteBackend == u"xwayland"
                ? PanelTexts::tr("On this desktop, clips are pasted for you into X11 windows only: "
                                 "elsewhere press Ctrl+V.")
                : PanelTexts::tr("Nothing can be pasted for you on this desktop: press Ctrl+V."));
}

void PreferencesWindow::showSwitches() {
    _paste->setChecked(_services.settings.pasteMode() == PasteMode::Paste);
    for (const auto &[box, key] : std::as_const(_switches))
        box->setChecked(_services.settings.isOn(key));
    const auto &status = _services.agent.status();
    _trayAdvice->setText(status ? trayAdvice(*status, qEnvironmentVariable("XDG_CURRENT_DESKTOP"))
                                : QString());
    _trayAdvice->setVisible(!_trayAdvice->text().isEmpty());
    _atLogin->setChecked(_services.autostart.isEnabled());
    _pageAtLogin->setChecked(_services.page.isAtLogin());
    _pageAtLogin->setVisible(_services.page.isInstalled());
}

void PreferencesWindow::showButtons() {
    const bool isPaired = _paired->currentIndex().isValid();
    _rename->setEnabled(isPaired);
    _remove->setEnabled(isPaired);
    _add->setEnabled(_network->currentIndex().isValid());
}

void PreferencesWindow::showRemoval() {
    const auto name = _services.phones.undoableRemoval();
    _removal->setVisible(name.has_value());
    _undo->setVisible(name.has_value());
    if (name == _removalShown)
        return;
    _removalShown = name;
    _undoTimer.cancel();
    if (!name)
        return;
    _removal->setText(PanelTexts::tr("“%1” was unpaired.").arg(ShownText::besideButtons(*name)));
    _removal->setToolTip(name->toHtmlEscaped());
    QAccessibleEvent event(_removal, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
    _undoTimer =
        RunLoop::current().performAfter(undoOffered, [this] { _services.phones.forgetRemovals(); });
}

void PreferencesWindow::showPasteMode() {
    const auto mode = _services.settings.pasteMode();
    _pasteMode->setItemText(0, mode == PasteMode::Paste
                                   ? PanelTexts::tr("As with all phones: paste it")
                                   : PanelTexts::tr("As with all phones: only put it on the "
                                                    "clipboard"));
    const QString service = _pairedModel->serviceAt(_paired->currentIndex());
    _pasteMode->setEnabled(!service.isEmpty());
    for (const auto &phone : _services.phones.registered()) {
        if (phone.service == service)
            _pasteMode->setCurrentIndex(int(pasteChoices.indexOf(phone.pasteMode)));
    }
}

void PreferencesWindow::showProblem(const QString &text) {
    _problem->showNotice(text);
}

// What is done.

bool PreferencesWindow::succeeded(const Result<void> &change) {
    if (!change)
        showProblem(change.error().reason);
    return bool(change);
}

void PreferencesWindow::change(Key setting, const PropertyList &value) {
    if (const auto written = _services.settings.set(setting, value); !written)
        showProblem(SettingsStores::notWritten(written.error()));
    // Also the box, which was clicked in vain.
    showAll();
}

void PreferencesWindow::choosePasteMode() {
    const QString service = _pairedModel->serviceAt(_paired->currentIndex());
    if (!service.isEmpty())
        succeeded(_services.phones.change(service,
                                          {.pasteMode = pasteChoices[_pasteMode->currentIndex()]}));
    showAll();
}

void PreferencesWindow::addByHand() {
    auto *const dialog = new PairByAddressDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const QString service = dialog->phoneName();
        if (!succeeded(_services.phones.change(service, {.address = dialog->address()})))
            return;
        showAll();
        _paired->setCurrentIndex(_pairedModel->indexOf(service));
    });
    dialog->open();
}

void PreferencesWindow::addByBrowser() {
    auto *const dialog = new PagePairingDialog(_services.pairing, _services.page, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::finished, this, [this] {
        if (_services.pairing.stage() == PagePairing::Stage::Paired)
            _paired->setCurrentIndex(_pairedModel->indexOf(_services.pairing.service()));
    });
    dialog->open();
}

void PreferencesWindow::addCurrent() {
    const QString service = _networkModel->serviceAt(_network->currentIndex());
    if (service.isEmpty() || !succeeded(_services.phones.change(service)))
        return;
    showAll();
    _paired->setCurrentIndex(_pairedModel->indexOf(service));
    // The list that had the focus may be gone.
    if (!_network->isVisible())
        _paired->setFocus(Qt::OtherFocusReason);
}

void PreferencesWindow::renameCurrent() {
    const QModelIndex current = _paired->currentIndex();
    const QString service = _pairedModel->serviceAt(current);
    if (service.isEmpty())
        return;
    auto *const dialog = new QInputDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(PanelTexts::tr("Rename Phone"));
    dialog->setLabelText(PanelTexts::tr("Name of the phone:"));
    dialog->setTextValue(current.data().toString());
    dialog->setOkButtonText(PanelTexts::tr("Rename"));
    dialog->resize(24 * fontMetrics().height(), dialog->sizeHint().height());
    if (auto *const edit = dialog->findChild<QLineEdit *>())
        edit->setMaxLength(int(longestDisplayName));
    connect(dialog, &QInputDialog::textValueSelected, this, [this, service](const QString &name) {
        if (!succeeded(_services.phones.rename(service, name)))
            return;
        if (LocalNames::isLocal(service))
            _services.page.rename(service, name);
        showAll();
    });
    dialog->open();
}

void PreferencesWindow::removeCurrent() {
    const QString service = _pairedModel->serviceAt(_paired->currentIndex());
    if (!service.isEmpty() && succeeded(_services.phones.remove(service)))
        showAll();
}

void PreferencesWindow::undoRemoval() {
    if (succeeded(_services.phones.undoRemoval()))
        showAll();
}

void PreferencesWindow::startAgent() {
    if (!_services.startAgent || !_services.startAgent())
        showProblem(PanelTexts::tr("Clipmule Sync could not be started. Is clipmule-sync "
                                   "installed?"));
}

void PreferencesWindow::seekAdviceLater(RunLoop::Seconds delay) {
    _adviceTimer = RunLoop::current().performAfter(delay, [this] { seekAdvice(); });
}

void PreferencesWindow::seekAdvice() {
    if (!_services.phones.missesPhones())
        return;
    _services.network.look([this](const dnssd::NetworkFacts &facts) {
        if (!_services.phones.missesPhones())
            return;
        const NetworkAdvice advice = adviceFor(facts);
        _advice->setText(advice.reason + u'\n' + advice.whatToTry);
        _advice->show();
        seekAdviceLater(adviceInterval);
    });
}

} // namespace clipmule
