// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PagePairingDialog.h"

#include "preferences/PanelTexts.h"
#include "preferences/WindowParts.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>
#include <QVBoxLayout>

namespace clipmule {

namespace {

using Stage = PagePairing::Stage;

// Empty modules around a code, without which cameras do not find it.
constexpr qsizetype quietZone = 4;
// Widths in units of the font's height. A camera reads a code of five centimetres from an arm's
// length.
constexpr int pictureSize = 15;
constexpr int dialogWidth = 40;
// The port that the firewall's rules of the package speak of.
constexpr int usualPort = 24736;

// Where an administrator's programs are, the user's path often does not lead.
bool isInstalled(const QString &program) {
    return !QStandardPaths::findExecutable(program).isEmpty() ||
           !QStandardPaths::findExecutable(
                program, {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/local/sbin")})
                .isEmpty();
}

// How the firewall of this computer lets the port in; empty where none is known.
QString firewallCommand(int port) {
    const bool isUsual = port == usualPort;
    if (isInstalled(QStringLiteral("ufw")))
        return isUsual ? QStringLiteral("sudo ufw allow \"Clipmule Sync Page\"")
                       : QStringLiteral("sudo ufw allow %1/tcp").arg(port);
    if (isInstalled(QStringLiteral("firewall-cmd")))
        return QStringLiteral(
                   "sudo firewall-cmd --permanent --add-%1 && sudo firewall-cmd --reload")
            .arg(isUsual ? QStringLiteral("service=clipmule-web")
                         : QStringLiteral("port=%1/tcp").arg(port));
    return {};
}

QString adviceToInstall() {
    QString advice =
        PanelTexts::tr("It comes from where Clipmule Sync came from: as the package clipmule-web, "
                       "or built from the same source.");
    if (!isInstalled(QStringLiteral("apt")))
        return advice;
    return advice + u'\n' +
           PanelTexts::tr("In the folder of the downloaded package: %1")
               .arg(QStringLiteral("sudo apt install ./clipmule-web_*.deb"));
}

} // namespace

QrView::QrView(QWidget *parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("code"));
    setAccessibleName(PanelTexts::tr("QR code with the link"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void QrView::showCode(const QStringList &rows) {
    _rows = rows;
    update();
}

QSize QrView::sizeHint() const {
    const int side = pictureSize * fontMetrics().height();
    return {side, side};
}

void QrView::paintEvent(QPaintEvent *) {
    if (_rows.isEmpty())
        return;
    QPainter painter(this);
    const qreal scale = painter.deviceTransform().m11();
    // From here on in pixels of the screen.
    painter.scale(1 / scale, 1 / scale);
    const int across = int(width() * scale);
    const int down = int(height() * scale);
    const auto modules = int(_rows.size() + 2 * quietZone);
    const int module = std::min(across, down) / modules;
    const int side = module * modules;
    const QPoint corner((across - side) / 2, (down - side) / 2);
    painter.fillRect(QRect(corner, QSize(side, side)), Qt::white);
    for (int row = 0; row < int(_rows.size()); ++row) {
        for (int column = 0; column < int(_rows.size()); ++column) {
            if (_rows[row][column] == u'1')
                painter.fillRect(QRect(corner.x() + (column + int(quietZone)) * module,
                                       corner.y() + (row + int(quietZone)) * module, module,
                                       module),
                                 Qt::black);
        }
    }
}

PagePairingDialog::PagePairingDialog(PagePairing &pairing, const PageProgram &program,
                                     QWidget *parent)
    : QDialog(parent)
    , _pairing(pairing)
    , _program(program)
    , _steps(WindowParts::makeHint(this))
    , _picture(new QrView(this))
    , _linkRow(new QWidget(this))
    , _link(new QLineEdit(this))
    , _status(WindowParts::makeHint(this))
    , _advice(WindowParts::makeHint(this)) {
    setWindowTitle(PanelTexts::tr("Add a Phone by Its Browser"));
    _steps->setText(
        PanelTexts::tr("Nothing is installed on the phone.\n"
                       "1. Connect the phone to the Wi-Fi of this computer’s network.\n"
                       "2. Point its camera at the code, and open the link that it offers.\n"
                       "3. Give the phone a name on the page that opens."));
    _status->setObjectName(QStringLiteral("status"));
    _advice->setObjectName(QStringLiteral("pageAdvice"));
    // The commands in it can be copied.
    _advice->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto *const layout = new QVBoxLayout(this);
    layout->setSpacing(WindowParts::lineGap * 2);
    auto *const words = new QVBoxLayout;
    words->addWidget(_steps);
    words->addStretch();
    words->addWidget(_status);
    auto *const top = new QHBoxLayout;
    top->setSpacing(WindowParts::margin);
    top->addWidget(_picture);
    top->addLayout(words, 1);
    layout->addLayout(top);
    _linkRow->setLayout(makeLinkRow());
    layout->addWidget(_linkRow);
    layout->addWidget(_advice);
    layout->addStretch();
    layout->addLayout(makeButtons());
    resize(dialogWidth * fontMetrics().height(), sizeHint().height());
    _pairing.onChange = [this] { showStage(); };
    _pairing.begin();
}

PagePairingDialog::~PagePairingDialog() {
    _pairing.onChange = {};
    _pairing.end();
}

QLayout *PagePairingDialog::makeLinkRow() {
    auto *const row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    auto *const hint = new QLabel(PanelTexts::tr("Or open this lin&k:"), this);
    hint->setBuddy(_link);
    _link->setObjectName(QStringLiteral("link"));
    _link->setAccessibleName(hint->text().remove(u'&'));
    _link->setReadOnly(true);
    auto *const copy = new QPushButton(PanelTexts::tr("&Copy"), this);
    copy->setAutoDefault(false);
    connect(copy, &QPushButton::clicked, this, &PagePairingDialog::copyLink);
    row->addWidget(hint);
    row->addWidget(_link, 1);
    row->addWidget(copy);
    return row;
}

QLayout *PagePairingDialog::makeButtons() {
    auto *const row = new QHBoxLayout;
    _renew = new QPushButton(PanelTexts::tr("New Code"), this);
    _renew->setAutoDefault(false);
    connect(_renew, &QPushButton::clicked, this, [this] { _pairing.begin(); });
    _close = new QPushButton(PanelTexts::tr("Close"), this);
    _close->setDefault(true);
    connect(_close, &QPushButton::clicked, this, &QDialog::reject);
    row->addStretch();
    row->addWidget(_renew);
    row->addWidget(_close);
    return row;
}

void PagePairingDialog::showStage() {
    const Stage stage = _pairing.stage();
    const bool isOnShow = stage == Stage::Shown || stage == Stage::Fetched;
    const bool hadFocus = _renew->hasFocus();
    _picture->showCode(isOnShow ? _pairing.code().rows : QStringList());
    _link->setText(isOnShow ? _pairing.code().link : QString());
    _link->setCursorPosition(0);
    for (QWidget *const part : std::initializer_list<QWidget *>{_steps, _picture, _linkRow})
        part->setVisible(isOnShow || stage == Stage::Starting);
    _linkRow->setEnabled(isOnShow);
    _renew->setVisible(!isOnShow && stage != Stage::Starting && stage != Stage::Paired);
    if (hadFocus && _renew->isHidden())
        _close->setFocus();
    _advice->setText(advice());
    _advice->setVisible(!_advice->text().isEmpty());
    // A layout does not see to it that words which break into lines find room.
    resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
    if (_status->text() == status())
        return;
    _status->setText(status());
    QAccessibleEvent event(_status, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void PagePairingDialog::copyLink() {
    auto *const link = new QMimeData;
    link->setText(_pairing.code().link);
    // It lets somebody in: clipboard managers and paired phones do not keep it.
    link->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
    QGuiApplication::clipboard()->setMimeData(link);
}

QString PagePairingDialog::status() const {
    const QString &told = _pairing.told();
    switch (_pairing.stage()) {
    case Stage::Idle:
        return {};
    case Stage::Starting:
        return PanelTexts::tr("A code is being made…");
    case Stage::Shown:
        return PanelTexts::tr("The code lets one browser in, until %1.")
            .arg(QLocale().toString(_pairing.code().end.toDateTime().toLocalTime().time(),
                                    QLocale::ShortFormat));
    case Stage::Fetched:
        return PanelTexts::tr("The page is open on a phone. Give the phone a name there.");
    case Stage::Paired:
        return PanelTexts::tr("“%1” is paired. What you copy on this computer appears on its page.")
            .arg(told);
    case Stage::Refused:
        return PanelTexts::tr("The phone could not be paired: %1").arg(told);
    case Stage::Expired:
        return PanelTexts::tr("The code’s ten minutes are over.");
    case Stage::Replaced:
        return PanelTexts::tr("A newer code was made elsewhere, which ended this one.");
    case Stage::Moved:
        return PanelTexts::tr("This computer has another address now, so that the link leads "
                              "nowhere.");
    case Stage::Ended:
        return PanelTexts::tr("The program that serves the page has ended, and the code with it.");
    case Stage::NotInstalled:
        return PanelTexts::tr("The page is served by a program of its own, clipmule-web, which is "
                              "not installed.");
    case Stage::NoNetwork:
        return PanelTexts::tr("This computer is in no network that a phone could reach it by. "
                              "Connect it to one.");
    case Stage::PortTaken:
        return PanelTexts::tr("The page cannot be served: another program on this computer has "
                              "its port.");
    case Stage::Failed:
        return told.isEmpty() ? PanelTexts::tr("The program that serves the page does not answer.")
                              : PanelTexts::tr("The page cannot be served: %1").arg(told);
    }
    return {};
}

QString PagePairingDialog::advice() const {
    if (_pairing.stage() == Stage::NotInstalled)
        return adviceToInstall();
    if (_pairing.stage() == Stage::PortTaken)
        return PanelTexts::tr("End that program, or let the page have a port that is free. In a "
                              "terminal:\n%1")
            .arg(QStringLiteral("clipmule-web --port 0"));
    if (_pairing.stage() == Stage::Paired && !_program.isAtLogin())
        return PanelTexts::tr(
            "The phone can come back as long as the page is served. So that it is "
            "served after your next login too, switch it on in the window.");
    if (!_pairing.isOverdue())
        return {};
    const auto &code = _pairing.code();
    const QString command = firewallCommand(code.port);
    const QString firewall =
        command.isEmpty()
            ? PanelTexts::tr("A firewall, which has to let TCP port %1 in.").arg(code.port)
            : PanelTexts::tr("A firewall. This lets the phone in: %1").arg(command);
    const QString page = QUrl(code.link).adjusted(QUrl::RemoveFragment).toString();
    return QStringList{
        PanelTexts::tr("No phone has opened the page yet. What may be in the way:"),
        QStringLiteral("• ") + firewall,
        QStringLiteral("• ") + PanelTexts::tr("A guest network, which keeps devices apart: use the "
                                              "ordinary one for both."),
        QStringLiteral("• ") + PanelTexts::tr("Mobile data: switch it off on the phone for a "
                                              "moment, and Wi-Fi on."),
        PanelTexts::tr("To find out, open %1 in a browser of this computer, and then on the phone. "
                       "If it opens here alone, it is one of these.")
            .arg(page)}
        .join(u'\n');
}

} // namespace clipmule
