// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/ZRKStretchableImageView.h"

#include <QPainter>

namespace clipmule {

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

} // namespace clipmule
