// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneDelegate.h"

#include "preferences/PhoneListModel.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace clipmule {

namespace {

using Presence = PhoneList::Presence;

// Distances in device-independent pixels.
constexpr int padding = 8;
constexpr int iconSize = 20;
constexpr int lineGap = 2;
// The contrast that the guidelines for accessible contents want of small text.
constexpr double leastContrast = 4.5;

struct Places {
    QRect icon;
    QRect name;
    QRect description;
};

QFont descriptionFont(const QFont &font) {
    QFont smaller = font;
    if (font.pointSizeF() > 0)
        smaller.setPointSizeF(font.pointSizeF() * 0.9);
    return smaller;
}

Places placesIn(const QStyleOptionViewItem &option) {
    const int nameHeight = QFontMetrics(option.font).height();
    const int descriptionHeight = QFontMetrics(descriptionFont(option.font)).height();
    const QRect inner = option.rect.adjusted(padding, 0, -padding, 0);
    const int top = inner.center().y() - (nameHeight + lineGap + descriptionHeight) / 2;
    const int textLeft = inner.left() + iconSize + padding;
    const int width = inner.right() - textLeft + 1;
    Places places{
        QRect(inner.left(), inner.center().y() - iconSize / 2 + 1, iconSize, iconSize),
        QRect(textLeft, top, width, nameHeight),
        QRect(textLeft, top + nameHeight + lineGap, width, descriptionHeight),
    };
    for (QRect *place : {&places.icon, &places.name, &places.description})
        *place = QStyle::visualRect(option.direction, option.rect, *place);
    return places;
}

bool isDark(const QPalette &palette) {
    return palette.color(QPalette::Base).lightness() < 128;
}

QColor mixed(const QColor &one, const QColor &other, double share) {
    const auto mix = [share](int from, int to) { return int(from + (to - from) * share); };
    return {mix(one.red(), other.red()), mix(one.green(), other.green()),
            mix(one.blue(), other.blue())};
}

double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

// The ground as near to what the theme wants as the text on it can be read.
QColor readableGround(QColor ground, const QColor &text) {
    const QColor away = luminance(text) > luminance(ground) ? Qt::black : Qt::white;
    for (int step = 0; step < 20 && contrast(ground, text) < leastContrast; ++step)
        ground = mixed(ground, away, 0.05);
    return ground;
}

// Paler than the text, as long as it can be read.
QColor muted(const QColor &text, const QColor &ground) {
    for (const double share : {0.3, 0.2, 0.1}) {
        const QColor paler = mixed(text, ground, share);
        if (contrast(paler, ground) >= leastContrast)
            return paler;
    }
    return text;
}

// Two lists have a current phone each; the strong colour is for the one that has the keyboard.
void soften(QStyleOptionViewItem &item) {
    const bool strong = !item.widget || item.widget->hasFocus();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QPalette &palette = item.palette;
        if (strong) {
            palette.setColor(group, QPalette::Highlight,
                             readableGround(palette.color(group, QPalette::Highlight),
                                            palette.color(group, QPalette::HighlightedText)));
            continue;
        }
        palette.setColor(group, QPalette::Highlight,
                         mixed(palette.color(group, QPalette::Base),
                               palette.color(group, QPalette::Highlight),
                               isDark(palette) ? 0.35 : 0.18));
        palette.setColor(group, QPalette::HighlightedText, palette.color(group, QPalette::Text));
    }
}

// Each state has a shape of its own: colour is not seen by everybody.
void paintPresence(QPainter &painter, const QRectF &place, Presence presence, const QColor &text,
                   bool selected, bool dark) {
    const QRectF circle = place.adjusted(2.5, 2.5, -2.5, -2.5);
    const QColor green = dark ? QColor(0x57, 0xc9, 0x7a) : QColor(0x1b, 0x7a, 0x3d);
    const QColor color = selected ? text : presence == Presence::Connected ? green : text;
    if (presence == Presence::Connected) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(circle.adjusted(-0.75, -0.75, 0.75, 0.75));
        // The check mark is cut out in what contrasts with the disc.
        painter.setPen(QPen(color.lightness() < 128 ? Qt::white : Qt::black, 1.8, Qt::SolidLine,
                            Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        const QPointF center = circle.center();
        painter.drawPolyline(QPolygonF{center + QPointF(-3.4, 0.2), center + QPointF(-0.9, 2.7),
                                       center + QPointF(3.6, -2.4)});
        return;
    }
    QColor muted = color;
    muted.setAlphaF(0.75F);
    painter.setBrush(Qt::NoBrush);
    if (presence == Presence::Seen) {
        painter.setPen(QPen(muted, 1.6));
        painter.drawEllipse(circle);
        painter.setPen(Qt::NoPen);
        painter.setBrush(muted);
        painter.drawEllipse(circle.center(), 2.2, 2.2);
        return;
    }
    muted.setAlphaF(0.55F);
    QPen dashed(muted, 1.6);
    dashed.setDashPattern({1.7, 1.7});
    dashed.setCapStyle(Qt::FlatCap);
    painter.setPen(dashed);
    painter.drawEllipse(circle);
}

// Draws a line at the side where the rows begin; it is cut where the text, whatever its direction,
// ends.
void drawLine(QPainter &painter, const QStyleOptionViewItem &item, const QFont &font,
              const QRect &place, const QString &text) {
    const auto alignment =
        int(QStyle::visualAlignment(item.direction, Qt::AlignLeft | Qt::AlignVCenter)) |
        Qt::AlignAbsolute | Qt::TextSingleLine;
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.setFont(font);
    painter.drawText(place, alignment,
                     QFontMetrics(font).elidedText(text, Qt::ElideRight, place.width()));
}

void paintPhone(QPainter &painter, const QRectF &place, const QColor &color) {
    QColor muted = color;
    muted.setAlphaF(0.75F);
    painter.setPen(QPen(muted, 1.5));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(place.adjusted(4.75, 1.75, -4.75, -1.75), 2.5, 2.5);
    painter.setPen(QPen(muted, 1.5, Qt::SolidLine, Qt::RoundCap));
    const double bottom = place.bottom() - 4.5;
    painter.drawLine(QPointF(place.center().x() - 1.2, bottom),
                     QPointF(place.center().x() + 1.2, bottom));
}

} // namespace

void PhoneDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    soften(item);
    const QStyle *const style = item.widget ? item.widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &item, painter, item.widget);

    const bool selected = item.state.testFlag(QStyle::State_Selected);
    const bool strong = selected && item.widget && item.widget->hasFocus();
    const auto group = !item.state.testFlag(QStyle::State_Enabled) ? QPalette::Disabled
                       : item.state.testFlag(QStyle::State_Active) ? QPalette::Active
                                                                   : QPalette::Inactive;
    const QColor text =
        item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    const Places places = placesIn(item);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QVariant presence = index.data(PhoneListModel::PresenceRole);
    if (presence.isValid())
        paintPresence(*painter, places.icon, Presence(presence.toInt()), text, strong,
                      isDark(item.palette));
    else
        paintPhone(*painter, places.icon, text);

    const QColor ground =
        item.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
    const QFont smaller = descriptionFont(item.font);
    painter->setPen(text);
    drawLine(*painter, item, item.font, places.name, item.text);
    painter->setPen(muted(text, ground));
    drawLine(*painter, item, smaller, places.description,
             index.data(PhoneListModel::DescriptionRole).toString());
    painter->restore();

    if (item.state.testFlag(QStyle::State_HasFocus)) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(item);
        focus.state |= QStyle::State_KeyboardFocusChange | QStyle::State_Item;
        focus.backgroundColor =
            item.palette.color(group, selected ? QPalette::Highlight : QPalette::Base);
        style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, item.widget);
    }
}

QSize PhoneDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const {
    const int text = QFontMetrics(option.font).height() + lineGap +
                     QFontMetrics(descriptionFont(option.font)).height();
    return {10 * iconSize, std::max(text, iconSize) + 2 * padding};
}

} // namespace clipmule
