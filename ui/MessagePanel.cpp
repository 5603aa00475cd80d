// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/MessagePanel.h"

#include <QBitmap>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTextLayout>

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

constexpr int fontSize = 13;
constexpr double distanceOfCentres = 100;
// The text's place, and how much larger than the text the panel is on each side.
constexpr QPoint textOrigin{18, 18};
constexpr int horizontalMargin = 18;
constexpr int verticalMargin = 23;
// What is less solid than this belongs to the shadow, which needs blending.
constexpr int solidAlpha = 100;

// Breaks lines between words where possible, and inside a word that is wider than the panel.
void layOut(QTextLayout &layout) {
    QTextOption option(Qt::AlignHCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    qreal y = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(MessagePanel::textWidth);
        line.setPosition({0, y});
        y += line.height();
    }
    layout.endLayout();
}

// The layout knows no other line end.
QString withLineSeparators(QString text) {
    return text.replace(u'\n', QChar::LineSeparator);
}

qreal pixelRatioAt(const QRect &frame) {
    const QScreen *screen = QGuiApplication::screenAt(frame.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1;
}

// The picture as the screen will show it.
QImage drawn(const NinePartImage &pieces, QSize points, qreal ratio) {
    QImage image(points * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    pieces.draw(painter, {{0, 0}, QSizeF(points)});
    return image;
}

// The points of which every pixel is solid, as a mask: a window is cut at whole points, and on a
// dense screen nothing half transparent may be shown without what is behind it.
QBitmap outline(const QImage &image, QSize points) {
    const qreal ratio = image.devicePixelRatio();
    const auto isSolid = [&](int x, int y) {
        const int bottom = std::min(int(std::ceil((y + 1) * ratio)), image.height());
        const int right = std::min(int(std::ceil((x + 1) * ratio)), image.width());
        for (int row = int(y * ratio); row < bottom; ++row) {
            for (int at = int(x * ratio); at < right; ++at) {
                if (qAlpha(image.pixel(at, row)) < solidAlpha)
                    return false;
            }
        }
        return true;
    };
    QImage mask(points, QImage::Format_Mono);
    mask.fill(0);
    for (int y = 0; y < points.height(); ++y) {
        for (int x = 0; x < points.width(); ++x) {
            if (isSolid(x, y))
                mask.setPixel(x, y, 1);
        }
    }
    mask.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    return QBitmap::fromImage(mask);
}

// As stored it points up and to the right.
QImage backgroundFor(const QImage &image, const MessagePanelPlace &place) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 9, 0)
    Qt::Orientations flips;
    flips.setFlag(Qt::Horizontal, place.isMirrored);
    flips.setFlag(Qt::Vertical, place.isAbove);
    return image.flipped(flips);
#else
    return image.mirrored(place.isMirrored, place.isAbove);
#endif
}

} // namespace

MessagePanelPlace placeOfMessagePanel(QSize panel, const QRect &statusItem, const QRect &screen) {
    MessagePanelPlace place;
    const double centre = statusItem.left() + statusItem.width() / 2.0;
    const double half = panel.width() / 2.0;
    double left = std::floor(centre - half - distanceOfCentres);
    if (left < screen.left()) {
        place.isMirrored = true;
        left = std::ceil(centre - half + distanceOfCentres);
    }
    left = std::max(std::min(left, double(screen.left() + screen.width() - panel.width())),
                    double(screen.left()));

    const int itemBottom = statusItem.top() + statusItem.height();
    place.isAbove = statusItem.top() + itemBottom > 2 * screen.top() + screen.height();
    place.frame = {
        QPoint(int(left), place.isAbove ? statusItem.top() - panel.height() : itemBottom), panel};
    return place;
}

ZRKStretchableImageView::ZRKStretchableImageView(QWidget *parent)
    : QWidget(parent) {}

void ZRKStretchableImageView::stretchWithLeftCapWidthTopCapHeight(int leftCapWidth,
                                                                  int topCapHeight) {
    _pieces = NinePartImage(_image, leftCapWidth, topCapHeight);
    update();
}

void ZRKStretchableImageView::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    drawRect(painter, rect());
}

class MessagePanel::TextView final : public QWidget {
public:
    explicit TextView(QWidget *parent)
        : QWidget(parent) {
        setFont(interfaceFont(fontSize));
    }

    [[nodiscard]] QSize sizeForText(const QString &text) const {
        QTextLayout layout(withLineSeparators(text), font());
        layOut(layout);
        return {textWidth, int(std::ceil(layout.boundingRect().height()))};
    }
    [[nodiscard]] QStringList lines() const {
        const QString text = withLineSeparators(_text);
        QTextLayout layout(text, font());
        layOut(layout);
        QStringList lines;
        for (int at = 0; at < layout.lineCount(); ++at)
            lines.append(
                text.sliced(layout.lineAt(at).textStart(), layout.lineAt(at).textLength()));
        return lines;
    }
    void setText(const QString &text) {
        _text = text;
        update();
    }
    [[nodiscard]] QString text() const { return _text; }

protected:
    void paintEvent(QPaintEvent *) override {
        QPainter painter(this);
        painter.setPen(Qt::white);
        QTextLayout layout(withLineSeparators(_text), font());
        layOut(layout);
        layout.draw(&painter, {0, 0});
    }

private:
    QString _text;
};

// No taskbar and no window list shows the panel, and the window manager leaves it where it is.
MessagePanel::MessagePanel(const Bundle &bundle)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::Tool |
                           Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput |
                           Qt::NoDropShadowWindowHint)
    , _background(InterfaceImage::named(bundle, QStringLiteral("message_background")))
    , _contentView(new ZRKStretchableImageView(this))
    , _textView(new TextView(_contentView))
    , _opacity(new QGraphicsOpacityEffect(_contentView)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    _contentView->setGraphicsEffect(_opacity);
    _opacity->setOpacity(1);
    resize(1, 1);
}

MessagePanel::~MessagePanel() = default;

QSize MessagePanel::sizeForText(const QString &text) const {
    return _textView->sizeForText(text) + QSize(2 * horizontalMargin, 2 * verticalMargin);
}

void MessagePanel::setText(const QString &text) {
    _textView->setText(text);
    _textView->resize(_textView->sizeForText(text));
    setAccessibleName(text);
    placeText();
}

QString MessagePanel::text() const {
    return _textView->text();
}

QStringList MessagePanel::lines() const {
    return _textView->lines();
}

void MessagePanel::pointTo(const MessagePanelPlace &place) {
    _place = place;
    setBackground(pixelRatioAt(place.frame));
    placeContents();
}

void MessagePanel::setBackground(qreal pixelRatio) {
    _contentView->setImage(backgroundFor(_background.forPixelRatio(pixelRatio), _place));
    _contentView->stretchWithLeftCapWidthTopCapHeight(leftCapWidth, topCapHeight);
}

QImage MessagePanel::picture(qreal pixelRatio) {
    setBackground(pixelRatio);
    // As long as it is not shown, nobody tells that its size has changed.
    placeContents();
    QImage image(size() * pixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(pixelRatio);
    image.fill(Qt::transparent);
    // The effect keeps what it has drawn, and learns of changes only where it is shown.
    _opacity->setEnabled(false);
    render(&image, {}, {}, DrawChildren);
    _opacity->setEnabled(true);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.fillRect(rect(), QColor::fromRgbF(0, 0, 0, float(contentOpacity())));
    return image;
}

void MessagePanel::setContentOpacity(qreal opacity) {
    _opacity->setOpacity(opacity);
}

qreal MessagePanel::contentOpacity() const {
    return _opacity->opacity();
}

void MessagePanel::setBlended(bool blended) {
    _blended = blended;
    placeContents();
}

void MessagePanel::resizeEvent(QResizeEvent *) {
    placeContents();
}

void MessagePanel::placeContents() {
    _contentView->setGeometry(rect());
    placeText();
    if (_blended) {
        clearMask();
        return;
    }
    const NinePartImage pieces(
        backgroundFor(_background.forPixelRatio(pixelRatioAt(_place.frame)), _place), leftCapWidth,
        topCapHeight);
    setMask(outline(drawn(pieces, size(), pixelRatioAt(_place.frame)), size()));
}

void MessagePanel::placeText() {
    // The wider margin is on the side of the tip.
    QRect frame = flipped(QRectF(textOrigin, QSizeF(_textView->size())), height()).toRect();
    if (_place.isAbove)
        frame.moveTop(textOrigin.y());
    _textView->setGeometry(frame);
}

} // namespace clipmule
