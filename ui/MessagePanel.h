// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "Common/Categories/ZRKNSImageCategory.h"
#include "ui/InterfaceImage.h"

#include <QRect>
#include <QWidget>

class QGraphicsOpacityEffect;

namespace clipmule {

/// Where the message panel is, and which way it hangs.
struct MessagePanelPlace {
    QRect frame;
    /// Over the status item, because that is in the lower half of the screen.
    bool isAbove = false;
    /// To the right of the status item, because there is no room on the left.
    bool isMirrored = false;
};

/// A panel of that size hangs from the status item's window, most of it to the left, so that the
/// tip of its background points at the item: its centre is 100 points left of the item's. All of it
/// stays on the screen. Everything is in device-independent pixels, y downwards.
[[nodiscard]] MessagePanelPlace placeOfMessagePanel(QSize panel, const QRect &statusItem,
                                                    const QRect &screen);

/// Shows an image as a frame that takes any size. It shows nothing before it was stretched.
class ZRKStretchableImageView final : public QWidget {
    Q_OBJECT

public:
    explicit ZRKStretchableImageView(QWidget *parent = nullptr);

    /// Sets the image, whose device pixel ratio counts. What is shown stays until the next stretch.
    void setImage(const QImage &image) { _image = image; }
    [[nodiscard]] const QImage &image() const { return _image; }
    /// Cuts the image into its nine pieces and redraws; the caps are in points.
    void stretchWithLeftCapWidthTopCapHeight(int leftCapWidth, int topCapHeight);
    /// Draws the pieces over the bounds.
    void drawRect(QPainter &painter, const QRectF &bounds) const { _pieces.draw(painter, bounds); }
    [[nodiscard]] const NinePartImage &pieces() const { return _pieces; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage _image;
    NinePartImage _pieces;
};

/// The borderless window of a message: a text on a background with a tip. It neither takes the
/// keyboard nor the pointer.
class MessagePanel final : public QWidget {
    Q_OBJECT

public:
    static constexpr int leftCapWidth = 54;
    static constexpr int topCapHeight = 25;
    static constexpr int textWidth = 190;

    /// Reads the background from the bundle.
    explicit MessagePanel(const Bundle &bundle);
    ~MessagePanel() override;

    /// The size of the panel that shows this text, which wraps; in points.
    [[nodiscard]] QSize sizeForText(const QString &text) const;
    void setText(const QString &text);
    [[nodiscard]] QString text() const;
    /// The lines of the text as it is wrapped; what ends a line belongs to it.
    [[nodiscard]] QStringList lines() const;
    /// Turns the background's tip to where the status item is.
    void pointTo(const MessagePanelPlace &place);
    /// The panel as it is, shown or not, for where it cannot be a window: with so many pixels a
    /// point.
    [[nodiscard]] QImage picture(qreal pixelRatio);
    /// Sets the opacity of everything in the window, from 0 to 1. What is transparent shows what is
    /// behind where the desktop blends windows, and is cut out or black where it does not.
    void setContentOpacity(qreal opacity);
    [[nodiscard]] qreal contentOpacity() const;
    /// Whether the desktop blends windows; otherwise the window gets the background's outline.
    void setBlended(bool blended);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    class TextView;
    void setBackground(qreal pixelRatio);
    void placeContents();
    void placeText();

    InterfaceImage _background;
    ZRKStretchableImageView *_contentView;
    TextView *_textView;
    QGraphicsOpacityEffect *_opacity;
    MessagePanelPlace _place;
    bool _blended = true;
};

} // namespace clipmule
