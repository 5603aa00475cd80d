// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKClipmuleStatusController.h"

#include "platform/desktop/HelpManager.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"
#include "platform/session/SessionPrograms.h"
#include "platform/tray/StatusItem.h"
#include "support/Settings.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKUserDefaults.h"
#include "ui/SyncStatusSource.h"
#include "ui/ZRKClipmuleDeviceMenuView.h"
#include "ui/ZRKClipmuleStatusView.h"

#include <QCoreApplication>
#include <QEvent>
#include <QIcon>
#include <QLocale>
#include <QMenu>
#include <QPixmapCache>
#include <QRegularExpression>
#include <QWidgetAction>

#include <tuple>
#include <utility>

namespace clipmule {

namespace {

const QString helpBookNameKey = QStringLiteral("CFBundleHelpBookName");
const QString helpAnchor = QStringLiteral("help");
// Sides of the icon in pixels: what status areas ask for, on ordinary and on dense screens.
constexpr int iconSides[] = {16, 22, 24, 32, 44, 48};
constexpr int comparedSide = 48;
// What the toolkit may keep of the pictures that were drawn: nothing. Each frame of the spinner is
// a picture that never comes again. The toolkit would keep 10 MB of them and, for ever, a name for
// each that it has let go of.
constexpr int drawnPicturesKilobytes = 0;

QString firstSentence(const QString &text) {
    static const QRegularExpression end(QStringLiteral("\\.(?= )|。"));
    const auto found = end.match(text);
    return found.hasMatch() ? text.first(found.capturedEnd()) : text;
}

// The header is drawn by us where we draw the menu. Elsewhere its text goes over the bus, where an
// underscore marks the shortcut and a doubled one is itself; on the way the toolkit makes the first
// "&" such a mark.
QString forExportedMenu(QString text) {
    text.replace(u'_', QStringLiteral("__"));
    if (const qsizetype first = text.indexOf(u'&'); first >= 0)
        text.insert(first, u'&');
    return text;
}

} // namespace

// A menu that the desktop draws from our texts is about to be shown as well, but never seen here,
// and not every desktop tells when it has gone: only the window itself says whether it is there.
class ZRKClipmuleStatusController::MenuWatch final : public QObject {
public:
    explicit MenuWatch(ZRKClipmuleStatusController &controller)
        : _controller(controller) {}

    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::Show)
            _controller.menuVisibilityDidChange(true);
        else if (event->type() == QEvent::Hide)
            _controller.menuVisibilityDidChange(false);
        return false;
    }

private:
    ZRKClipmuleStatusController &_controller;
};

std::shared_ptr<ZRKClipmuleStatusController> ZRKClipmuleStatusController::init(Services services) {
    using Self = ZRKClipmuleStatusController;
    auto controller = std::make_shared<Self>(Key{}, std::move(services));
    Self *const self = controller.get();
    auto &center = ZRKNotificationCenter::platformDefault();
    const Selector settingsChanged = selector<&Self::defaultsDidChange>("defaultsDidChange");
    center.addObserver(self, settingsChanged, ZRKUserDefaultsDidChangeNotification);
    center.addObserver(self, settingsChanged, NSUserDefaultsDidChangeNotification);
    center.addObserver(self, selector<&Self::update>("update"), ZRKClipmuleSyncStatusDidChange);
    center.addObserver(self, selector<&Self::update>("update"), ZRKClipmuleSyncDidRefuse);
    const Selector dataMoved = selector<&Self::startNetworkActivity>("startNetworkActivity");
    center.addObserver(self, dataMoved, ZRKStreamDidReceiveData);
    center.addObserver(self, dataMoved, ZRKStreamDidSendData);
    self->defaultsDidChange();
    return controller;
}

ZRKClipmuleStatusController::ZRKClipmuleStatusController(Key, Services services)
    : _services(std::move(services)) {
    QPixmapCache::setCacheLimit(drawnPicturesKilobytes);
}

ZRKClipmuleStatusController::~ZRKClipmuleStatusController() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    if (!_statusItem)
        return;
    _menu->removeEventFilter(_menuWatch.get());
    _statusItem->setMenu(nullptr);
}

void ZRKClipmuleStatusController::defaultsDidChange() {
    const bool show = Settings::truth(_services.sharedDefaults, Settings::Key::ShowStatus);
    if (!show && _statusItem)
        hideStatusItem();
    else if (show && !_statusItem)
        showStatusItem();
    update();
}

void ZRKClipmuleStatusController::showStatusItem() {
    _statusItem = _services.statusBar.statusItemWithLength(statusItemLength);
    _statusView = std::make_unique<ZRKClipmuleStatusView>(_services.source, _services.bundle);
    _statusView->setAction([this](ZRKClipmuleStatusView &) { popUp(); });
    _statusView->setNeedsDisplayCallback([this] { redraw(); });
    _statusView->setNetworkActive(_networkActive);
    _menu = makeMenu();
    _statusItem->onClick = [this] { _statusView->mouseDown(); };
    _statusItem->onHostChange = [this] { callCopyOf(_statusItemDidChange); };
    _statusItem->setName(QCoreApplication::translate("Clipmule", "Clipmule Sync"));
    redraw();
    _statusItem->setMenu(_menu.get());
    if (_statusItemDidChange)
        _statusItemDidChange();
}

void ZRKClipmuleStatusController::hideStatusItem() {
    _statusItem->setMenu(nullptr);
    _statusItem.reset();
    _menu->removeEventFilter(_menuWatch.get());
    _menu->hide();
    // One of its own commands may have led here.
    _menu.release()->deleteLater();
    _headerItem = _toggleItem = _statusTextItem = _updateItem = nullptr;
    _pasteItem = _refusalItem = nullptr;
    _header = nullptr;
    _statusView.reset();
    _drawn = {};
    if (_statusItemDidChange)
        _statusItemDidChange();
}

std::unique_ptr<QMenu> ZRKClipmuleStatusController::makeMenu() {
    using Self = ZRKClipmuleStatusController;
    auto menu = std::make_unique<QMenu>();
    menu->setAccessibleName(QCoreApplication::translate("Clipmule", "Clipmule Sync"));

    auto *const header = new QWidgetAction(menu.get());
    _header = new ZRKClipmuleDeviceMenuView(_services.source, _services.bundle);
    header->setDefaultWidget(_header);
    // Where the desktop draws the menu, the header is a line that cannot be chosen.
    header->setEnabled(false);
    menu->addAction(header);
    _headerItem = header;
    _toggleItem = addItem(*menu, {}, &Self::togglePause);
    _pasteItem = addItem(*menu, QCoreApplication::translate("Clipmule", "Paste What a Phone Sends"),
                         &Self::togglePaste);
    _pasteItem->setCheckable(true);
    menu->addSeparator();
    _statusTextItem = menu->addAction(QString());
    _statusTextItem->setEnabled(false);
    _refusalItem = menu->addAction(QString());
    _refusalItem->setEnabled(false);
    menu->addSeparator();
    addItem(*menu, QCoreApplication::translate("Clipmule", "Clipmule Sync Help"), &Self::showHelp);
    _updateItem = menu->addAction(QCoreApplication::translate("Clipmule", "Check for Updates…"));
    SyncStatusSource &source = _services.source;
    QObject::connect(_updateItem, &QAction::triggered, menu.get(),
                     [&source] { source.checkForUpdates(); });
    addItem(*menu, QCoreApplication::translate("Clipmule", "Open Clipmule Sync Preferences…"),
            &Self::launchPreferences);

    // The desktop may ask for the texts when it shows the menu itself.
    QObject::connect(menu.get(), &QMenu::aboutToShow, menu.get(), [this] { update(); });
    _menuWatch = std::make_unique<MenuWatch>(*this);
    menu->installEventFilter(_menuWatch.get());
    return menu;
}

QAction *ZRKClipmuleStatusController::addItem(QMenu &menu, const QString &title,
                                              void (ZRKClipmuleStatusController::*action)()) {
    QAction *const item = menu.addAction(title);
    QObject::connect(item, &QAction::triggered, &menu, [this, action] { (this->*action)(); });
    return item;
}

void ZRKClipmuleStatusController::update() {
    if (!_statusItem)
        return;
    const SyncStatusSource &source = _services.source;
    const bool enabled = source.isEnabled();
    updateHeaderItem();
    // A phone that goes is announced before it is forgotten.
    if (!_updateHeaderItemLater.isPending())
        _updateHeaderItemLater =
            RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { updateHeaderItem(); });
    _toggleItem->setText(enabled ? QCoreApplication::translate("Clipmule", "Disable Clipmule Sync")
                                 : QCoreApplication::translate("Clipmule", "Enable Clipmule Sync"));
    QString status;
    if (!enabled)
        status = QCoreApplication::translate("Clipmule", "Disabled…");
    else if (!source.isConnected())
        status = QCoreApplication::translate("Clipmule", "Not Connected…");
    else if (_networkActive)
        status = QCoreApplication::translate("Clipmule", "Transfering Data…");
    else
        status = QCoreApplication::translate("Clipmule", "Idle…");
    _statusTextItem->setText(status);
    updatePasteItem();
    updateRefusalItem();
    _updateItem->setEnabled(_services.source.hasUpdater());
    _statusView->setNetworkActive(_networkActive);
    _statusView->setNeedsDisplay();
}

void ZRKClipmuleStatusController::updateHeaderItem() {
    if (_headerItem)
        _headerItem->setText(forExportedMenu(_header->shownName()));
}

void ZRKClipmuleStatusController::updatePasteItem() {
    _pasteItem->setChecked(Settings::pasteMode(_services.sharedDefaults) == PasteMode::Paste);
}

void ZRKClipmuleStatusController::updateRefusalItem() {
    const std::optional<Refusal> refusal = _services.source.lastRefusal();
    _refusalItem->setVisible(refusal.has_value());
    if (!refusal)
        return;
    // The menu says what, and when; how large it was stands in the message.
    const QString sentence = firstSentence(onOneLine(userText(*refusal), shownInLabel));
    const QString time =
        QLocale().toString(refusal->date.toDateTime().toLocalTime().time(), QLocale::ShortFormat);
    _refusalItem->setText(forMenu(time + u' ' + sentence));
}

// Prepares a text that holds a name, for a menu that we draw or that the desktop draws.
QString ZRKClipmuleStatusController::forMenu(const QString &text) const {
    if (_statusItem->host() == StatusItem::Host::NotifierHost)
        return forExportedMenu(text);
    return QString(text).replace(u'&', QStringLiteral("&&"));
}

void ZRKClipmuleStatusController::redraw() {
    if (!_statusItem)
        return;
    // Settings and statistics change with every clip, the picture seldom does; each one that is set
    // goes to the desktop.
    QImage drawn = _statusView->squareImage(comparedSide);
    if (drawn == _drawn)
        return;
    QIcon icon;
    for (const int side : iconSides)
        icon.addPixmap(
            QPixmap::fromImage(side == comparedSide ? drawn : _statusView->squareImage(side)));
    _drawn = std::move(drawn);
    _statusItem->setIcon(icon);
}

void ZRKClipmuleStatusController::popUp() {
    if (!_statusItem)
        return;
    if (!_statusItem->popUpMenu())
        launchPreferences();
    if (!_menu->isVisible())
        _statusView->setHighlighted(false);
}

void ZRKClipmuleStatusController::openMenu() {
    if (!_statusView)
        launchPreferences();
    else if (!_menu->isVisible())
        _statusView->mouseDown();
}

void ZRKClipmuleStatusController::closeMenu() {
    if (_statusItem)
        _statusItem->closeMenu();
}

void ZRKClipmuleStatusController::menuVisibilityDidChange(bool visible) {
    if (_statusView)
        _statusView->setHighlighted(visible);
}

void ZRKClipmuleStatusController::togglePause() {
    _services.source.setEnabled(!_services.source.isEnabled());
}

void ZRKClipmuleStatusController::togglePaste() {
    const bool pastes = Settings::pasteMode(_services.sharedDefaults) == PasteMode::Paste;
    std::ignore = _services.sharedDefaults.setObjectForKey(
        PropertyList(Settings::wordFor(pastes ? PasteMode::Clipboard : PasteMode::Paste)),
        Settings::nameOf(Settings::Key::PasteMode));
    update();
}

void ZRKClipmuleStatusController::showHelp() {
    const Bundle *const bundle = _services.source.prefPaneBundle();
    if (!bundle)
        return;
    _services.helpManager.registerBooksInBundle(*bundle);
    const QString book = bundle->infoText(helpBookNameKey);
    if (!book.isEmpty())
        _services.helpManager.openHelpAnchorInBook(helpAnchor, book);
}

void ZRKClipmuleStatusController::launchPreferences() {
    _services.sessionPrograms.activate(preferencesProgram(), _services.preferencesExecutable);
}

void ZRKClipmuleStatusController::startNetworkActivity() {
    if (!_networkActive) {
        _networkActive = true;
        update();
    }
    _stopNetworkActivity =
        RunLoop::current().performAfter(activityDuration, [this] { stopNetworkActivity(); });
}

void ZRKClipmuleStatusController::stopNetworkActivity() {
    _networkActive = false;
    update();
}

} // namespace clipmule
