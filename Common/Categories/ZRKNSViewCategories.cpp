// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSViewCategories.h"

#include <QAbstractButton>
#include <QPainter>
#include <QProxyStyle>

#include <memory>

namespace clipmule::ZRKNSButtonCategory {

namespace {

// Titles are plain text here; how one is painted is the style's affair.
class TitleShadowStyle final : public QProxyStyle {
public:
    void setShadow(const QColor &color, QPointF offset) {
        _color = color;
        _offset = {offset.x(), -offset.y()};
    }

    void drawItemText(QPainter *painter, const QRect &rect, int flags, const QPalette &palette,
                      bool enabled, const QString &text, QPalette::ColorRole role) const override {
        painter->save();
        painter->translate(_offset);
        painter->setPen(_color);
        // Without a role the pen's colour counts.
        QProxyStyle::drawItemText(painter, rect, flags, palette, true, text, QPalette::NoRole);
        painter->restore();
        QProxyStyle::drawItemText(painter, rect, flags, palette, enabled, text, role);
    }

private:
    QColor _color;
    QPointF _offset;
};

} // namespace

void addTitleShadowColorShadowOffset(QAbstractButton &button, const QColor &color, QPointF offset) {
    auto *style = dynamic_cast<TitleShadowStyle *>(button.style());
    if (!style) {
        auto made = std::make_unique<TitleShadowStyle>();
        made->setParent(&button);
        style = made.release();
        button.setStyle(style);
    }
    style->setShadow(color, offset);
    button.update();
}

} // namespace clipmule::ZRKNSButtonCategory

namespace clipmule::ZRKNSViewCategory {

QList<QWidget *> allSubviews(const QWidget &view) {
    QList<QWidget *> all;
    for (QObject *const child : view.children()) {
        auto *const subview = qobject_cast<QWidget *>(child);
        if (!subview || subview->isWindow())
            continue;
        all.append(subview);
        all.append(allSubviews(*subview));
    }
    return all;
}

} // namespace clipmule::ZRKNSViewCategory
