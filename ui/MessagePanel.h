// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "ui/InterfaceImage.h"
#include "ui/MessagePanelPlace.h"

#include <QPointer>
#include <QWidget>

class QGraphicsOpacityEffect;

namespace clipmule {

class ZRKStretchableImageView;

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
