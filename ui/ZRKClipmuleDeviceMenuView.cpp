// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKClipmuleDeviceMenuView.h"

#include "platform/foundation/Log.h"
#include "support/ZRKNotificationCenter.h"
#include "support/ZRKUserDefaults.h"
#include "ui/InterfaceImage.h"
#include "ui/SyncStatusSource.h"

#include <QCoreApplication>
#include <QEvent>
#include <QMenu>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace clipmule {

namespace {

// Points, with the origin at the bottom left.
constexpr QRectF initialLightFrame{74, 11, 19, 19};
constexpr int topCapHeight = 5;
constexpr int bottomGap = 4;
constexpr int textLeft = 22;
constexpr int textBottom = 3;
constexpr int fontSize = 14;

const QColor textColor = QColor::fromRgbF(0.627F, 0.627F, 0.627F);
const QColor shadowColor = QColor::fromRgbF(0.137F, 0.137F, 0.137F);

QString localized(const char *text) {
    return QCoreApplication::translate("Clipmule", text);
}

QString filled(QString text, qsizetype count) {
    return text.replace(QStringLiteral("%d"), QString::number(count));
}

} // namespace

// The strip lies over the margin that the menu keeps above the header, and clicks go through.
class ZRKClipmuleDeviceMenuView::TopCap final : public QWidget {
public:
    TopCap(QWidget *menu, const ZRKClipmuleDeviceMenuView &view)
        : QWidget(menu)
        , _view(view) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent *) override {
        QPainter painter(this);
        _view.drawTopCap(painter, rect());
    }

private:
    const ZRKClipmuleDeviceMenuView &_view;
};

ZRKClipmuleDeviceMenuView::ZRKClipmuleDeviceMenuView(const SyncStatusSource &status,
                                                     const Bundle &bundle, QWidget *parent)
    : QWidget(parent)
    , _status(status)
    , _background(InterfaceImage::named(bundle, QStringLiteral("device_menu_background")))
    , _lightOnImage(InterfaceImage::named(bundle, QStringLiteral("led_on")))
    , _lightOffImage(InterfaceImage::named(bundle, QStringLiteral("led_off")))
    , _lightOnOpacity(status.isConnected() ? 1 : 0) {
    setFixedHeight(_background.size().height() - 1);
    resize(initialWidth, height());
    setMinimumWidth(initialWidth);
    tellName();
    auto &center = ZRKNotificationCenter::platformDefault();
    center.addObserver(this,
                       selector<&ZRKClipmuleDeviceMenuView::setNeedsDisplay>("setNeedsDisplay"),
                       ZRKUserDefaultsDidChangeNotification);
    center.addObserver(
        this, selector<&ZRKClipmuleDeviceMenuView::connectionDidChange>("connectionDidChange"),
        ZRKClipmuleSyncStatusDidChange);
}

ZRKClipmuleDeviceMenuView::~ZRKClipmuleDeviceMenuView() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    removeTopCap();
}

QString ZRKClipmuleDeviceMenuView::serverName() const {
    const QStringList connected = _status.connectedDeviceNames();
    if (connected.size() == 1)
        return connected.first();
    if (!connected.isEmpty())
        return filled(localized(QT_TRANSLATE_NOOP("Clipmule", "%d Devices Connected.")),
                      connected.size());
    const QStringList registered = _status.registeredDeviceNames();
    if (registered.isEmpty())
        return localized(QT_TRANSLATE_NOOP("Clipmule", "No Device Registered."));
    if (registered.size() == 1)
        return registered.first();
    return filled(localized(QT_TRANSLATE_NOOP("Clipmule", "%d Devices Registered.")),
                  registered.size());
}

QString ZRKClipmuleDeviceMenuView::shownName() const {
    return onOneLine(serverName().simplified(), longestShownName);
}

void ZRKClipmuleDeviceMenuView::connectionDidChange() {
    const qreal from = _lightOnOpacity;
    const qreal target = _status.isConnected() ? 1 : 0;
    setNeedsDisplay();
    _fade.interrupt();
    if (from == target)
        return;
    _fade.start(fadeDuration, [this, from, target](double progress) {
        _lightOnOpacity = from + (target - from) * progress;
        update();
    });
}

void ZRKClipmuleDeviceMenuView::setNeedsDisplay() {
    tellName();
    update();
    // A phone that goes is announced before it is forgotten, and may be the one still counted here.
    if (!_tellNameLater.isPending())
        _tellNameLater = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] {
            tellName();
            update();
        });
}

void ZRKClipmuleDeviceMenuView::tellName() {
    if (const QString name = shownName(); name != accessibleName())
        setAccessibleName(name);
}

QSize ZRKClipmuleDeviceMenuView::sizeHint() const {
    return {initialWidth, height()};
}

QRectF ZRKClipmuleDeviceMenuView::lightFrame(const QSizeF &viewSize) const {
    const qreal widened = viewSize.width() - initialWidth;
    return flipped(initialLightFrame.translated(widened, 0), viewSize.height());
}

void ZRKClipmuleDeviceMenuView::drawRect(QPainter &painter, const QRectF &bounds) const {
    painter.save();
    painter.translate(bounds.topLeft());
    const qreal bodyHeight = _background.size().height() - topCapHeight;
    // The picture's lower part; its own origin is at the bottom, too.
    _background.draw(painter, flipped({0, bottomGap, bounds.width(), bodyHeight}, bounds.height()),
                     flipped({0, 0, 1, bodyHeight}, _background.size().height()));

    const QRectF light = lightFrame(bounds.size());
    const QRectF text =
        flipped({textLeft, textBottom, light.x() - textLeft, bodyHeight}, bounds.height());
    painter.setFont(interfaceFont(fontSize, true));
    const QString name =
        painter.fontMetrics().elidedText(shownName(), Qt::ElideRight, int(text.width()));
    // A name ends, and is cut, where its own script ends; it begins beside the menu's edge.
    painter.setLayoutDirection(name.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    constexpr int alignment =
        Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter | Qt::TextSingleLine;
    painter.setPen(shadowColor);
    painter.drawText(text.translated(0, -1), alignment, name);
    painter.setPen(textColor);
    painter.drawText(text, alignment, name);

    _lightOffImage.draw(painter, light.topLeft());
    painter.setOpacity(_lightOnOpacity);
    _lightOnImage.draw(painter, light.topLeft());
    painter.restore();
}

void ZRKClipmuleDeviceMenuView::drawTopCap(QPainter &painter, const QRectF &contents) const {
    _background.draw(painter, {contents.x(), contents.y(), contents.width(), topCapHeight},
                     {0, 0, 1, topCapHeight});
}

void ZRKClipmuleDeviceMenuView::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    drawRect(painter, rect());
}

void ZRKClipmuleDeviceMenuView::viewWillMoveToWindow(QWidget *window) {
    if (_menuWindow)
        _menuWindow->removeEventFilter(this);
    removeTopCap();
    _menuWindow = window;
    if (!window)
        return;
    resize(std::max(window->width(), minimumWidth()), height());
    window->installEventFilter(this);
    // Most styles keep less, and the strip would hide the header's upper rows.
    if (auto *const menu = qobject_cast<QMenu *>(window)) {
        const int kept = menu->style()->pixelMetric(QStyle::PM_MenuVMargin, nullptr, menu);
        menu->setContentsMargins(0, std::max(topCapHeight - kept, 0), 0, 0);
    }
    placeTopCap();
}

void ZRKClipmuleDeviceMenuView::placeTopCap() {
    const QStyle *const style = _menuWindow->style();
    const int frame = style->pixelMetric(QStyle::PM_MenuPanelWidth, nullptr, _menuWindow);
    if (!_topCap)
        _topCap = new TopCap(_menuWindow, *this);
    _topCap->setGeometry(frame, frame, _menuWindow->width() - 2 * frame, topCapHeight);
    _topCap->show();
}

void ZRKClipmuleDeviceMenuView::removeTopCap() {
    if (!_topCap)
        return;
    // Hidden, it is not painted any more; the view may be gone by the time it is deleted.
    _topCap->hide();
    _topCap->deleteLater();
    _topCap.clear();
}

bool ZRKClipmuleDeviceMenuView::eventFilter(QObject *object, QEvent *event) {
    if (object == _menuWindow && (event->type() == QEvent::Resize || event->type() == QEvent::Show))
        placeTopCap();
    return QWidget::eventFilter(object, event);
}

bool ZRKClipmuleDeviceMenuView::event(QEvent *event) {
    // A menu takes the view in as its child; a window of its own has no cap.
    if (event->type() == QEvent::ParentChange)
        viewWillMoveToWindow(parentWidget() ? window() : nullptr);
    return QWidget::event(event);
}

} // namespace clipmule
