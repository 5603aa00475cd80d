// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/MessagePanel.h"

#include "ui/ViewCoordinates.h"
#include "ui/ZRKStretchableImageView.h"

#include <QBitmap>
#include <QFontInfo>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace clipmule {

namespace {

constexpr int fontSize = 13;
// The text's place, and how much larger than the text the panel is on each side.
constexpr QPoint textOrigin{18, 18};
constexpr int horizontalMargin = 18;
constexpr int verticalMargin = 23;
constexpr int wrapping = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap | Qt::TextWrapAnywhere;
// What is less solid than this belongs to the shadow, which needs blending.
constexpr int solidAlpha = 100;
constexpr int highestText = 10'000;

QFont messageFont() {
    QFont font(QStringLiteral("Lucida Grande"));
    // The toolkit would take any other family instead.
    if (QFontInfo(font).family() != font.family())
        font = QFont();
    font.setPixelSize(fontSize);
    return font;
}

qreal pixelRatioAt(const QRect &frame) {
    const QScreen *screen = QGuiApplication::screenAt(frame.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1;
}

QBitmap outline(const QImage &image) {
    QImage mask(image.size(), QImage::Format_Mono);
    mask.fill(0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) >= solidAlpha)
                mask.setPixel(x, y, 1);
        }
    }
    mask.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    return QBitmap::fromImage(mask);
}

} // namespace

class MessagePanel::TextView final : public QWidget {
public:
    explicit TextView(QWidget *parent)
        : QWidget(parent) {
        setFont(messageFont());
    }

    [[nodiscard]] QSize sizeForText(const QString &text) const {
        const QRect room(0, 0, textWidth, highestText);
        return {textWidth, fontMetrics().boundingRect(room, wrapping, text).height()};
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
        painter.drawText(rect(), wrapping, _text);
    }

private:
    QString _text;
};

// Neither taskbar nor window list shows it, and the window manager leaves it where it is.
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
    setAttribute(Qt::WA_QuitOnClose, false);
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

void MessagePanel::pointTo(const MessagePanelPlace &place) {
    _place = place;
    _contentView->setImage(_background.forPixelRatio(pixelRatioAt(place.frame))
                               .mirrored(place.isMirrored, place.isAbove));
    _contentView->stretchWithLeftCapWidthTopCapHeight(leftCapWidth, topCapHeight);
    placeContents();
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
        _background.forPixelRatio(1).mirrored(_place.isMirrored, _place.isAbove), leftCapWidth,
        topCapHeight);
    setMask(outline(pieces.image(size())));
}

void MessagePanel::placeText() {
    // The wider margin is on the side of the tip.
    QRect frame = flipped(QRectF(textOrigin, QSizeF(_textView->size())), height()).toRect();
    if (_place.isAbove)
        frame.moveTop(textOrigin.y());
    _textView->setGeometry(frame);
}

} // namespace clipmule
