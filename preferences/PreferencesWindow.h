// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/dnssd/NetworkFacts.h"
#include "platform/session/StatusInterface.h"
#include "preferences/AutostartEntry.h"
#include "preferences/PagePairing.h"
#include "preferences/PhoneList.h"

#include <QMainWindow>

class QCheckBox;
class QComboBox;
class QLabel;
class QListView;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace clipmule {

class NoticeBar;
class PhoneListModel;
class StatisticsRow;

/// The window: pairs phones, shows how things stand, and holds the switches. A change counts at
/// once; there is nothing to confirm.
///
/// Construct, then start(), then show it.
class PreferencesWindow final : public QMainWindow {
    Q_OBJECT

public:
    /// Everything in it outlives the window.
    struct Services {
        PhoneList &phones;
        SettingsStores &settings;
        AutostartEntry &autostart;
        StatusReader &agent;
        PageProgram &page;
        PagePairing &pairing;
        dnssd::NetworkProbe &network;
        /// Starts the agent; false when there is no such program.
        std::function<bool()> startAgent;
        /// Opens the help book.
        std::function<void()> showHelp;
    };

    /// A phone that is there is found within a second; then it is time to ask why none is.
    static constexpr RunLoop::Seconds patienceForPhones{3};
    /// The time between questions to the network while no phone is found.
    static constexpr RunLoop::Seconds adviceInterval{15};
    /// How long the offer to undo is on the screen.
    static constexpr RunLoop::Seconds undoOffered{20};

    explicit PreferencesWindow(Services services);
    ~PreferencesWindow() override;

    void start();
    /// Brings it to the front, whatever state it is in.
    void comeForward(const QString &activationToken);

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    QLayout *makeSyncSection();
    QLayout *makePairedSection();
    QLayout *makeNetworkSection();
    QLayout *makeSwitchesSection();
    QLayout *makeFooter();
    QLayout *makePasteRow();
    QLayout *makeRemovalRow();
    QPushButton *makeButton(const QString &text, void (PreferencesWindow::*pressed)());
    QListView *makeList(PhoneListModel *model, QLabel *heading);
    QCheckBox *makeSwitch(const QString &text, Settings::Key which);
    void makeShortcuts();

    void showAll();
    void showPhones();
    void showSwitches();
    void showButtons();
    void showRemoval();
    void showPasteMode();
    void showProblem(const QString &text);
    /// Whether it worked; shows why not.
    bool succeeded(const Result<void> &change);
    void change(Settings::Key setting, const PropertyList &value);

    void choosePasteMode();
    void addCurrent();
    void addByHand();
    void addByBrowser();
    void renameCurrent();
    void removeCurrent();
    void undoRemoval();
    void startAgent();

    void seekAdviceLater(RunLoop::Seconds delay);
    void seekAdvice();

    [[nodiscard]] QString agentText() const;

    Services _services;
    QCheckBox *_sync = nullptr;
    QLabel *_agentState = nullptr;
    QPushButton *_startAgent = nullptr;
    NoticeBar *_problem = nullptr;

    PhoneListModel *_pairedModel = nullptr;
    QListView *_paired = nullptr;
    QStackedWidget *_pairedPages = nullptr;
    QPushButton *_rename = nullptr;
    QPushButton *_remove = nullptr;
    QLabel *_removal = nullptr;
    QPushButton *_undo = nullptr;
    QComboBox *_pasteMode = nullptr;

    PhoneListModel *_networkModel = nullptr;
    QListView *_network = nullptr;
    QStackedWidget *_networkPages = nullptr;
    QLabel *_networkHint = nullptr;
    QLabel *_advice = nullptr;
    QPushButton *_add = nullptr;
    QPushButton *_addByHand = nullptr;
    QPushButton *_addByBrowser = nullptr;
    // The user has been in the list: which phone is the current one is the user's choice.
    bool _networkWasVisited = false;

    QList<std::pair<QCheckBox *, Settings::Key>> _switches;
    QCheckBox *_paste = nullptr;
    QLabel *_trayAdvice = nullptr;
    QCheckBox *_atLogin = nullptr;
    QCheckBox *_pageAtLogin = nullptr;
    StatisticsRow *_statistics = nullptr;

    RunLoop::Timer _adviceTimer;
    RunLoop::Timer _undoTimer;
    std::optional<QString> _removalShown;
};

} // namespace clipmule
