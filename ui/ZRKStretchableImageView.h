// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "Common/Categories/ZRKNSImageCategory.h"

#include <QWidget>

namespace clipmule {

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

} // namespace clipmule
